// The channel an XCP message is attributed to: its name, its 64-bit number and the
// renumbering of cascaded loggers.

#include "test_support.h"

#include <memory>

using testsupport::toHex;

namespace {

XCP_Message canMessage(uint8_t ecu, uint8_t canChannel)
{
    XCP_Message message(0x1011121314151617ull, XCP_Message::TT_CAN, XCP_Message::MD_RX, ecu);
    message.setCanTransportTypeSettings(0x1E2E3E4E, CT_EXTENDED, canChannel);
    message.setEthernetTransportTypeSettings("1.2.3.4", "10.20.30.40", "255.0.0.0", 0x6A6B, true);
    return message;
}

XCP_Message ethernetMessage(uint8_t ecu, uint8_t canChannel)
{
    XCP_Message message(0x1011121314151617ull, XCP_Message::TT_ETHERNET, XCP_Message::MD_RX, ecu);
    message.setCanTransportTypeSettings(0x1E2E3E4E, CT_EXTENDED, canChannel);
    message.setEthernetTransportTypeSettings("1.2.3.4", "10.20.30.40", "255.0.0.0", 0x6A6B, true);
    return message;
}

void expectEthernetSettingsKept(const XCP_Message& message)
{
    EXPECT_EQ(message.dstIp, "1.2.3.4");
    EXPECT_EQ(message.srcIp, "10.20.30.40");
    EXPECT_EQ(message.mask, "255.0.0.0");
    EXPECT_EQ(message.port, 0x6A6B);
    EXPECT_TRUE(message.tcp);
    EXPECT_EQ(message.canId, 0x1E2E3E4Eu);
    EXPECT_EQ(message.canType, CT_EXTENDED);
}

}  // namespace

// ---- channel name ------------------------------------------------------------------------------------

TEST(SourceChannelName, EcuZeroIsOneDigit)
{
    EXPECT_EQ(canMessage(0, 0).getSourceChannel(), "CCP_XCP #0");
}

TEST(SourceChannelName, Ecu255IsThreeDigits)
{
    EXPECT_EQ(canMessage(255, 0).getSourceChannel(), "CCP_XCP #255");
}

TEST(SourceChannelName, DecimalWithoutPadding)
{
    EXPECT_EQ(canMessage(7, 0).getSourceChannel(), "CCP_XCP #7");
    EXPECT_EQ(canMessage(0x33, 0).getSourceChannel(), "CCP_XCP #51");
    EXPECT_EQ(canMessage(100, 0).getSourceChannel(), "CCP_XCP #100");
}

TEST(SourceChannelName, DefaultMessageNamesEcu255)
{
    EXPECT_EQ(XCP_Message().getSourceChannel(), "CCP_XCP #255");
}

TEST(SourceChannelName, SameForEveryTransport)
{
    testsupport::CerrCapture cerr;
    for (auto transport : {XCP_Message::TT_UNKNOWN, XCP_Message::TT_ETHERNET, XCP_Message::TT_CAN,
                           XCP_Message::TT_FLEXRAY}) {
        XCP_Message message(1, transport, XCP_Message::MD_TX, 12);
        EXPECT_EQ(message.getSourceChannel(), "CCP_XCP #12");
        EXPECT_EQ(message.getSourceChannelID(), 0x0B0Cu);
    }
}

TEST(SourceChannelName, EachCallGivesANewString)
{
    const XCP_Message message = canMessage(9, 0);
    std::string first = message.getSourceChannel();
    first += "changed";
    EXPECT_EQ(message.getSourceChannel(), "CCP_XCP #9");
}

// ---- channel ID -----------------------------------------------------------------------------------

TEST(SourceChannelId, Ecu5WithLoggerNumberZero)
{
    EXPECT_EQ(canMessage(5, 0).getSourceChannelID(), 0x0B05u);
}

TEST(SourceChannelId, Ecu5WithLoggerNumberTwo)
{
    XCP_Message message = canMessage(5, 0);
    message.setMbnr(2);
    EXPECT_EQ(message.getSourceChannelID(), 0x0000000200000B05ull);
}

TEST(SourceChannelId, FullRangeOfEveryPart)
{
    XCP_Message message = canMessage(255, 0x5F);
    message.setMbnr(0xFFFFFFFFu);
    // Bits 31 to 16 stay zero; the CAN channel plays no part.
    EXPECT_EQ(message.getSourceChannelID(), 0xFFFFFFFF00000BFFull);
    message.setEcuId(0);
    message.setMbnr(0xA1B2C3D4u);
    EXPECT_EQ(message.getSourceChannelID(), 0xA1B2C3D400000B00ull);
}

TEST(SourceChannelId, MatchesTheBaseHelper)
{
    XCP_Message message = ethernetMessage(0x42, 0);
    message.setMbnr(0x01020304u);
    EXPECT_EQ(message.getSourceChannelID(), MessageBase::getSourceChannelID(BUSID_CCPXCP, 0x42, 0x01020304u));
}

// ---- cascading ---------------------------------------------------------------------------------------

TEST(SourceChannelCascade, CanMessageWrapsBothNumbers)
{
    XCP_Message message = canMessage(250, 1);
    message.cascadeChannel(10, 3);
    EXPECT_EQ(message.getEcuId(), 4);
    EXPECT_EQ(message.canChannel, 4);
    expectEthernetSettingsKept(message);
    EXPECT_EQ(message.getMbnr(), 0u);
}

TEST(SourceChannelCascade, EthernetMessageKeepsItsCanChannel)
{
    XCP_Message message = ethernetMessage(7, 9);
    message.cascadeChannel(1, 3);
    EXPECT_EQ(message.getEcuId(), 8);
    EXPECT_EQ(message.canChannel, 9);
    expectEthernetSettingsKept(message);
}

TEST(SourceChannelCascade, OtherTransportsKeepTheirCanChannel)
{
    testsupport::CerrCapture cerr;
    for (auto transport : {XCP_Message::TT_UNKNOWN, XCP_Message::TT_FLEXRAY,
                           static_cast<XCP_Message::transportType_t>(9)}) {
        XCP_Message message(1, transport, XCP_Message::MD_TX, 20);
        message.setCanTransportTypeSettings(0x1E2E3E4E, CT_EXTENDED, 9);
        message.cascadeChannel(5, 3);
        EXPECT_EQ(message.getEcuId(), 25) << transport;
        EXPECT_EQ(message.canChannel, 9) << transport;
    }
}

TEST(SourceChannelCascade, SixteenBitOffsetsLandInEightBits)
{
    XCP_Message message = canMessage(5, 1);
    message.cascadeChannel(0x0101, 0x0203);
    EXPECT_EQ(message.getEcuId(), 6);
    EXPECT_EQ(message.canChannel, 4);
    message.cascadeChannel(0xFFFF, 0xFFFF);  // minus one, modulo 256
    EXPECT_EQ(message.getEcuId(), 5);
    EXPECT_EQ(message.canChannel, 3);
}

TEST(SourceChannelCascade, ZeroOffsetsChangeNothing)
{
    XCP_Message message = canMessage(5, 1);
    message.cascadeChannel(0, 0);
    EXPECT_EQ(message.getEcuId(), 5);
    EXPECT_EQ(message.canChannel, 1);
}

TEST(SourceChannelCascade, NameIdAndRecordCarryTheNewNumbers)
{
    XCP_Message message = canMessage(250, 1);
    message.setMbnr(2);
    message.cascadeChannel(10, 3);
    EXPECT_EQ(message.getSourceChannel(), "CCP_XCP #4");
    EXPECT_EQ(message.getSourceChannelID(), 0x0000000200000B04ull);
    const byteVec_t record = testsupport::writeRecord(message);
    ASSERT_EQ(record.size(), 32u + 2);
    EXPECT_EQ(record[XCP_Message::MO_ECUID], 4);
    EXPECT_EQ(toHex(record.data() + record.size() - 6, 6), "1e 2e 3e 4e 01 04");  // id, CT_EXTENDED, channel
}

TEST(SourceChannelCascade, OneArgumentFormThroughTheBaseLeavesTheXcpNumbers)
{
    XCP_Message message = canMessage(250, 1);
    message.setMbnr(2);
    MessageBase& base = message;
    base.cascadeChannel(3);
    EXPECT_EQ(message.getEcuId(), 250);
    EXPECT_EQ(message.canChannel, 1);
    // The base renumbers its logger number, which shows in the upper half of the ID.
    EXPECT_EQ(message.getMbnr(), 5u);
    EXPECT_EQ(message.getSourceChannelID(), 0x0000000500000BFAull);
    EXPECT_EQ(message.getSourceChannel(), "CCP_XCP #250");
}

TEST(SourceChannelCascade, OneArgumentFormOnTheXcpMessageIsTheBasesOwn)
{
    XCP_Message message = ethernetMessage(7, 9);
    message.cascadeChannel(static_cast<uint16_t>(0xFFFF));
    EXPECT_EQ(message.getEcuId(), 7);
    EXPECT_EQ(message.canChannel, 9);
    EXPECT_EQ(message.getMbnr(), 0xFFFFu);
}

TEST(SourceChannelCascade, TwoArgumentFormLeavesTheLoggerNumber)
{
    XCP_Message message = canMessage(1, 1);
    message.setMbnr(0x77);
    message.cascadeChannel(1, 1);
    EXPECT_EQ(message.getMbnr(), 0x77u);
}

TEST(SourceChannelVirtuals, NameAndIdThroughTheBase)
{
    XCP_Message concrete = canMessage(0x21, 0);
    concrete.setMbnr(3);
    std::unique_ptr<MessageBase> message(concrete.clone());
    EXPECT_EQ(message->getSourceChannel(), "CCP_XCP #33");
    EXPECT_EQ(message->getSourceChannelID(), 0x0000000300000B21ull);
}
