// The XCP message as a value: constructors, accessors, copying, cloning and comparison.

#include "test_support.h"

#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

using testsupport::CerrCapture;
using testsupport::hexBytes;
using testsupport::toHex;

namespace {

const char* const kFlexRayHeaderLine =
    "[ERROR] XCP_Message::Header::setTransportType: flex ray isn't supported at the moment\n";

/// A message of another type, for comparisons across message types.
class MarkerMessage : public MessageBase {
public:
    MarkerMessage() : MessageBase(MSGID_MARKER, 0) {}
    MessageBase* clone() const override { return new MarkerMessage(*this); }
    size_t getSize() const override { return MO_BASE_DERIVED; }
    bool operator==(const MessageBase&) const override { return true; }
    std::ostream& print(std::ostream& _os) const override { return _os; }
    std::string getSourceChannel() const override { return std::string(); }
    uint64_t getSourceChannelID() const override { return 0; }
};

/// Every member set, each to its own pattern, with both CAN and Ethernet settings filled.
XCP_Message fullMessage()
{
    XCP_Message message(0x1011121314151617ull, XCP_Message::TT_ETHERNET, XCP_Message::MD_RX, 0x33);
    EXPECT_TRUE(message.header.setLEN(0x4241));
    EXPECT_TRUE(message.header.setCTR(0x4443));
    XCP_Message::Packet::IdentificationField& id = message.packet.identificationField;
    id.setType(XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD);
    id.pid = 0x55;
    id.firstPid = 0x66;
    id.setDaqNo(0x7778);
    message.packet.timestampField.setType(XCP_Message::TST_WORD);
    const uint8_t ticks[] = {0x88, 0x99};
    EXPECT_TRUE(message.packet.timestampField.setTimestamp(ticks, sizeof ticks));
    message.packet.dataField.data = {0xAA, 0xBB, 0xCC};
    message.tail.data = {0xD1, 0xD2};
    message.setCanTransportTypeSettings(0x1E2E3E4E, CT_FD_EXTENDED, 0x5F);
    message.setEthernetTransportTypeSettings("1.2.3.4", "10.20.30.40", "255.0.0.0", 0x6A6B, true);
    return message;
}

/// A CAN message with active fill bytes.
XCP_Message canMessageWithFill()
{
    XCP_Message message(0x1011121314151617ull, XCP_Message::TT_CAN, XCP_Message::MD_TX, 0x33);
    message.packet.identificationField.setType(XCP_Message::IFT_CTO_PACKET_CODE);
    message.packet.identificationField.pid = 0xFF;
    message.packet.dataField.data = {0x00};
    message.tail.data = {0xD1, 0xD2, 0xD3};
    EXPECT_TRUE(message.tail.setActive(true));
    message.setCanTransportTypeSettings(0x1E2E3E4E, CT_EXTENDED, 0x5F);
    return message;
}

void expectEqualBothWays(const XCP_Message& a, const XCP_Message& b)
{
    EXPECT_TRUE(a == b);
    EXPECT_TRUE(b == a);
}

void expectUnequalBothWays(const XCP_Message& a, const XCP_Message& b)
{
    EXPECT_FALSE(a == b);
    EXPECT_FALSE(b == a);
}

void expectDefaultSettings(const XCP_Message& message)
{
    EXPECT_EQ(message.canId, 0u);
    EXPECT_EQ(message.canType, CT_STANDARD);
    EXPECT_EQ(message.canChannel, 0);
    EXPECT_EQ(message.dstIp, "");
    EXPECT_EQ(message.srcIp, "");
    EXPECT_EQ(message.mask, "");
    EXPECT_EQ(message.port, 0);
    EXPECT_FALSE(message.tcp);
}

void expectDefaultPacket(const XCP_Message::Packet& packet)
{
    EXPECT_EQ(packet.identificationField.pid, 0);
    EXPECT_EQ(packet.identificationField.firstPid, 0);
    EXPECT_EQ(packet.identificationField.getDaqNo(), 0);
    EXPECT_EQ(packet.timestampField.getType(), XCP_Message::TST_NO);
    EXPECT_TRUE(packet.timestampField.getTimestamp().empty());
    EXPECT_TRUE(packet.dataField.data.empty());
}

}  // namespace

// ---- enumerations ------------------------------------------------------------------------------

TEST(MessageRecordEnums, DirectionAndTransportValues)
{
    EXPECT_EQ(XCP_Message::MD_UNKNOWN, 0);
    EXPECT_EQ(XCP_Message::MD_RX, 1);
    EXPECT_EQ(XCP_Message::MD_TX, 2);
    EXPECT_EQ(sizeof(XCP_Message::msgDirection_t), 4u);
    EXPECT_EQ(XCP_Message::TT_UNKNOWN, 0);
    EXPECT_EQ(XCP_Message::TT_ETHERNET, 1);
    EXPECT_EQ(XCP_Message::TT_CAN, 2);
    EXPECT_EQ(XCP_Message::TT_FLEXRAY, 3);
    EXPECT_EQ(sizeof(XCP_Message::transportType_t), 4u);
}

// ---- default constructor --------------------------------------------------------------------------

TEST(MessageRecordConstruction, DefaultMessage)
{
    CerrCapture cerr;
    XCP_Message message;
    EXPECT_EQ(message.getMsgId(), MSGID_XCP);
    EXPECT_EQ(message.getTimeStamp(), 0u);
    EXPECT_EQ(message.getEcuId(), 255);
    EXPECT_EQ(message.getTransportType(), XCP_Message::TT_UNKNOWN);
    EXPECT_EQ(message.getMsgDirection(), XCP_Message::MD_UNKNOWN);
    expectDefaultSettings(message);
    EXPECT_FALSE(message.header.isActive());
    EXPECT_TRUE(message.header.getData().empty());
    expectDefaultPacket(message.packet);
    EXPECT_FALSE(message.tail.isActive());
    EXPECT_TRUE(message.tail.data.empty());
    EXPECT_EQ(cerr.text(), "");
}

TEST(MessageRecordConstruction, DefaultPiecesCarryTheUnknownTransport)
{
    XCP_Message message;
    // Neither piece is set up for Ethernet, CAN or FlexRay: no LEN, and the tail cannot be
    // switched on.
    uint16_t len = 0xBEEF;
    EXPECT_FALSE(message.header.getLEN(len));
    EXPECT_EQ(len, 0xBEEF);
    EXPECT_FALSE(message.tail.setActive(true));
    EXPECT_FALSE(message.tail.isActive());
}

TEST(MessageRecordConstruction, DefaultMessageGettersReturnFalseAndLeaveOutputs)
{
    XCP_Message message;
    uint32_t id = 0xA5A5A5A5;
    cantype_t type = CT_FD_STANDARD;
    uint8_t channel = 0x77;
    EXPECT_FALSE(message.getCanTransportTypeSettings(id, type, channel));
    EXPECT_EQ(id, 0xA5A5A5A5u);
    EXPECT_EQ(type, CT_FD_STANDARD);
    EXPECT_EQ(channel, 0x77);

    std::string dst = "keep-dst", src = "keep-src", mask = "keep-mask";
    uint16_t port = 0x1234;
    bool tcp = true;
    EXPECT_FALSE(message.getEthernetTransportTypeSettings(dst, src, mask, port, tcp));
    EXPECT_EQ(dst, "keep-dst");
    EXPECT_EQ(src, "keep-src");
    EXPECT_EQ(mask, "keep-mask");
    EXPECT_EQ(port, 0x1234);
    EXPECT_TRUE(tcp);
}

// ---- constructor with values ---------------------------------------------------------------------

TEST(MessageRecordConstruction, ValuesAreTakenFromTheArguments)
{
    XCP_Message message(0x1011121314151617ull, XCP_Message::TT_CAN, XCP_Message::MD_TX, 0x33);
    EXPECT_EQ(message.getMsgId(), MSGID_XCP);
    EXPECT_EQ(message.getTimeStamp(), 0x1011121314151617ull);
    EXPECT_EQ(message.getTransportType(), XCP_Message::TT_CAN);
    EXPECT_EQ(message.getMsgDirection(), XCP_Message::MD_TX);
    EXPECT_EQ(message.getEcuId(), 0x33);
    expectDefaultSettings(message);
    expectDefaultPacket(message.packet);
}

TEST(MessageRecordConstruction, EthernetHeaderHoldsFourZeroBytes)
{
    CerrCapture cerr;
    XCP_Message message(1, XCP_Message::TT_ETHERNET, XCP_Message::MD_RX, 0);
    EXPECT_TRUE(message.header.isActive());
    EXPECT_EQ(toHex(message.header.getData()), "00 00 00 00");
    // The header knows it is an Ethernet header: LEN and CTR are there.
    EXPECT_TRUE(message.header.setLEN(0x4241));
    EXPECT_EQ(toHex(message.header.getData()), "41 42 00 00");
    EXPECT_FALSE(message.tail.isActive());
    EXPECT_TRUE(message.tail.data.empty());
    EXPECT_FALSE(message.tail.setActive(true));
    expectDefaultSettings(message);
    EXPECT_EQ(cerr.text(), "");
}

TEST(MessageRecordConstruction, CanHeaderIsEmpty)
{
    CerrCapture cerr;
    XCP_Message message(1, XCP_Message::TT_CAN, XCP_Message::MD_RX, 0);
    EXPECT_FALSE(message.header.isActive());
    EXPECT_TRUE(message.header.getData().empty());
    EXPECT_FALSE(message.tail.isActive());
    EXPECT_TRUE(message.tail.data.empty());
    // A CAN tail can be switched on.
    EXPECT_TRUE(message.tail.setActive(true));
    EXPECT_EQ(cerr.text(), "");
}

TEST(MessageRecordConstruction, FlexRayIsReportedOnceAndConstructionCompletes)
{
    CerrCapture cerr;
    XCP_Message message(0x1011121314151617ull, XCP_Message::TT_FLEXRAY, XCP_Message::MD_TX, 0x33);
    EXPECT_EQ(cerr.text(), kFlexRayHeaderLine);
    EXPECT_TRUE(message.header.isActive());
    EXPECT_TRUE(message.header.getData().empty());
    EXPECT_FALSE(message.tail.isActive());
    EXPECT_TRUE(message.tail.data.empty());
    EXPECT_TRUE(message.tail.setActive(true));
    EXPECT_EQ(message.getTransportType(), XCP_Message::TT_FLEXRAY);
    EXPECT_EQ(message.getMsgDirection(), XCP_Message::MD_TX);
    EXPECT_EQ(message.getEcuId(), 0x33);
    EXPECT_EQ(message.getTimeStamp(), 0x1011121314151617ull);
    expectDefaultSettings(message);
}

TEST(MessageRecordConstruction, UnknownTransportPiecesCarryOnlyTheType)
{
    CerrCapture cerr;
    XCP_Message message(1, XCP_Message::TT_UNKNOWN, XCP_Message::MD_RX, 0);
    EXPECT_FALSE(message.header.isActive());
    EXPECT_TRUE(message.header.getData().empty());
    EXPECT_FALSE(message.tail.isActive());
    EXPECT_TRUE(message.tail.data.empty());
    EXPECT_FALSE(message.tail.setActive(true));
    EXPECT_EQ(cerr.text(), "");
}

TEST(MessageRecordConstruction, OutOfRangeTransportIsTreatedAsUnknown)
{
    CerrCapture cerr;
    const auto strange = static_cast<XCP_Message::transportType_t>(9);
    XCP_Message message(1, strange, static_cast<XCP_Message::msgDirection_t>(7), 0);
    EXPECT_EQ(message.getTransportType(), strange);
    EXPECT_EQ(message.getMsgDirection(), static_cast<XCP_Message::msgDirection_t>(7));
    EXPECT_FALSE(message.header.isActive());
    EXPECT_TRUE(message.header.getData().empty());
    EXPECT_FALSE(message.tail.isActive());
    EXPECT_FALSE(message.tail.setActive(true));
    EXPECT_EQ(cerr.text(), "");
}

// ---- accessors ------------------------------------------------------------------------------------

TEST(MessageRecordAccessors, TransportDirectionAndEcu)
{
    XCP_Message message;
    message.setTransportType(XCP_Message::TT_CAN);
    message.setMsgDirection(XCP_Message::MD_RX);
    message.setEcuId(0x33);
    EXPECT_EQ(message.getTransportType(), XCP_Message::TT_CAN);
    EXPECT_EQ(message.transportType, XCP_Message::TT_CAN);
    EXPECT_EQ(message.getMsgDirection(), XCP_Message::MD_RX);
    EXPECT_EQ(message.msgDirection, XCP_Message::MD_RX);
    EXPECT_EQ(message.getEcuId(), 0x33);
    EXPECT_EQ(message.ecuId, 0x33);
    message.setEcuId(0);
    EXPECT_EQ(message.getEcuId(), 0);
}

TEST(MessageRecordAccessors, SettingTheTransportDoesNotReshapeHeaderOrTail)
{
    XCP_Message message(1, XCP_Message::TT_CAN, XCP_Message::MD_RX, 0);
    message.setTransportType(XCP_Message::TT_ETHERNET);
    EXPECT_FALSE(message.header.isActive());
    EXPECT_TRUE(message.header.getData().empty());
    // The tail is still a CAN tail.
    EXPECT_TRUE(message.tail.setActive(true));
}

TEST(MessageRecordAccessors, CanSettingsOnAnEthernetMessageStayHiddenUntilTheTransportIsCan)
{
    XCP_Message message(1, XCP_Message::TT_ETHERNET, XCP_Message::MD_RX, 0);
    message.setCanTransportTypeSettings(0x123, CT_EXTENDED, 2);
    EXPECT_EQ(message.canId, 0x123u);
    EXPECT_EQ(message.canType, CT_EXTENDED);
    EXPECT_EQ(message.canChannel, 2);

    uint32_t id = 0xA5A5A5A5;
    cantype_t type = CT_FD_STANDARD;
    uint8_t channel = 0x77;
    EXPECT_FALSE(message.getCanTransportTypeSettings(id, type, channel));
    EXPECT_EQ(id, 0xA5A5A5A5u);
    EXPECT_EQ(type, CT_FD_STANDARD);
    EXPECT_EQ(channel, 0x77);

    message.setTransportType(XCP_Message::TT_CAN);
    EXPECT_TRUE(message.getCanTransportTypeSettings(id, type, channel));
    EXPECT_EQ(id, 0x123u);
    EXPECT_EQ(type, CT_EXTENDED);
    EXPECT_EQ(channel, 2);
}

TEST(MessageRecordAccessors, CanGetterLeavesOutputsForEveryOtherTransport)
{
    CerrCapture cerr;
    for (auto transport : {XCP_Message::TT_UNKNOWN, XCP_Message::TT_ETHERNET, XCP_Message::TT_FLEXRAY,
                           static_cast<XCP_Message::transportType_t>(9)}) {
        XCP_Message message = fullMessage();
        message.setTransportType(transport);
        uint32_t id = 0xA5A5A5A5;
        cantype_t type = CT_FD_STANDARD;
        uint8_t channel = 0x77;
        EXPECT_FALSE(message.getCanTransportTypeSettings(id, type, channel)) << transport;
        EXPECT_EQ(id, 0xA5A5A5A5u);
        EXPECT_EQ(type, CT_FD_STANDARD);
        EXPECT_EQ(channel, 0x77);
    }
}

TEST(MessageRecordAccessors, EthernetSettingsOnACanMessageStayHiddenUntilTheTransportIsEthernet)
{
    XCP_Message message(1, XCP_Message::TT_CAN, XCP_Message::MD_RX, 0);
    message.setEthernetTransportTypeSettings("1.2.3.4", "10.20.30.40", "255.0.0.0", 0x6A6B, true);
    EXPECT_EQ(message.dstIp, "1.2.3.4");
    EXPECT_EQ(message.srcIp, "10.20.30.40");
    EXPECT_EQ(message.mask, "255.0.0.0");
    EXPECT_EQ(message.port, 0x6A6B);
    EXPECT_TRUE(message.tcp);

    std::string dst = "keep-dst", src = "keep-src", mask = "keep-mask";
    uint16_t port = 0x1234;
    bool tcp = false;
    EXPECT_FALSE(message.getEthernetTransportTypeSettings(dst, src, mask, port, tcp));
    EXPECT_EQ(dst, "keep-dst");
    EXPECT_EQ(src, "keep-src");
    EXPECT_EQ(mask, "keep-mask");
    EXPECT_EQ(port, 0x1234);
    EXPECT_FALSE(tcp);

    message.setTransportType(XCP_Message::TT_ETHERNET);
    EXPECT_TRUE(message.getEthernetTransportTypeSettings(dst, src, mask, port, tcp));
    EXPECT_EQ(dst, "1.2.3.4");
    EXPECT_EQ(src, "10.20.30.40");
    EXPECT_EQ(mask, "255.0.0.0");
    EXPECT_EQ(port, 0x6A6B);
    EXPECT_TRUE(tcp);
}

TEST(MessageRecordAccessors, EthernetGetterReplacesLongerOutputsAndClearsTcp)
{
    XCP_Message message(1, XCP_Message::TT_ETHERNET, XCP_Message::MD_RX, 0);
    message.setEthernetTransportTypeSettings("", "1.1.1.1", "0.0.0.0", 0, false);
    std::string dst = "a much longer previous text", src = "x", mask = "y";
    uint16_t port = 0xFFFF;
    bool tcp = true;
    EXPECT_TRUE(message.getEthernetTransportTypeSettings(dst, src, mask, port, tcp));
    EXPECT_EQ(dst, "");
    EXPECT_EQ(src, "1.1.1.1");
    EXPECT_EQ(mask, "0.0.0.0");
    EXPECT_EQ(port, 0);
    EXPECT_FALSE(tcp);
}

TEST(MessageRecordAccessors, EthernetGetterLeavesOutputsForEveryOtherTransport)
{
    CerrCapture cerr;
    for (auto transport : {XCP_Message::TT_UNKNOWN, XCP_Message::TT_CAN, XCP_Message::TT_FLEXRAY,
                           static_cast<XCP_Message::transportType_t>(9)}) {
        XCP_Message message = fullMessage();
        message.setTransportType(transport);
        std::string dst = "keep-dst", src = "keep-src", mask = "keep-mask";
        uint16_t port = 0x1234;
        bool tcp = false;
        EXPECT_FALSE(message.getEthernetTransportTypeSettings(dst, src, mask, port, tcp)) << transport;
        EXPECT_EQ(dst, "keep-dst");
        EXPECT_EQ(src, "keep-src");
        EXPECT_EQ(mask, "keep-mask");
        EXPECT_EQ(port, 0x1234);
        EXPECT_FALSE(tcp);
    }
}

// ---- copy, move, clone ------------------------------------------------------------------------------

TEST(MessageRecordCopy, CopyTakesEveryMemberAndTheBasePart)
{
    XCP_Message original = fullMessage();
    original.setMbnr(0x0A0B0C0D);
    XCP_Message copy(original);
    expectEqualBothWays(copy, original);
    EXPECT_EQ(copy.getTimeStamp(), 0x1011121314151617ull);
    EXPECT_EQ(copy.getMbnr(), 0x0A0B0C0Du);
    EXPECT_EQ(copy.getMsgId(), MSGID_XCP);
    EXPECT_TRUE(copy.header.isActive());
    uint16_t ctr = 0;
    EXPECT_TRUE(copy.header.getCTR(ctr));  // still an Ethernet header
    EXPECT_EQ(ctr, 0x4443);
    EXPECT_EQ(toHex(testsupport::writeRecord(copy)), toHex(testsupport::writeRecord(original)));
}

TEST(MessageRecordCopy, CopyKeepsThePiecesOwnStateOfACanMessage)
{
    const XCP_Message original = canMessageWithFill();
    XCP_Message copy(original);
    EXPECT_TRUE(copy.tail.isActive());
    EXPECT_EQ(toHex(copy.tail.data), "d1 d2 d3");
    EXPECT_EQ(toHex(testsupport::writeRecord(copy)), toHex(testsupport::writeRecord(original)));
}

TEST(MessageRecordCopy, MoveTakesEveryMember)
{
    XCP_Message source = fullMessage();
    source.setMbnr(7);
    const XCP_Message expected = fullMessage();
    XCP_Message moved(std::move(source));
    expectEqualBothWays(moved, expected);
    EXPECT_EQ(moved.getTimeStamp(), 0x1011121314151617ull);
    EXPECT_EQ(moved.getMbnr(), 7u);
}

TEST(MessageRecordCopy, CopyAssignmentReplacesEveryMemberAndTheBasePart)
{
    XCP_Message original = fullMessage();
    original.setMbnr(0x0A0B0C0D);
    XCP_Message target = canMessageWithFill();
    target = original;
    expectEqualBothWays(target, original);
    EXPECT_EQ(target.getTimeStamp(), 0x1011121314151617ull);
    EXPECT_EQ(target.getMbnr(), 0x0A0B0C0Du);
    EXPECT_EQ(toHex(testsupport::writeRecord(target)), toHex(testsupport::writeRecord(original)));
    target.packet.dataField.data.push_back(0x01);  // the copy shares no storage
    EXPECT_FALSE(target == original);
}

TEST(MessageRecordCopy, MoveAssignmentTakesEveryMember)
{
    XCP_Message source = fullMessage();
    source.setMbnr(7);
    XCP_Message target = canMessageWithFill();
    target = std::move(source);
    expectEqualBothWays(target, fullMessage());
    EXPECT_EQ(target.getTimeStamp(), 0x1011121314151617ull);
    EXPECT_EQ(target.getMbnr(), 7u);
}

TEST(MessageRecordCopy, CloneReturnsAnXcpMessageOwnedByTheCaller)
{
    EXPECT_TRUE((std::is_same<decltype(std::declval<const XCP_Message&>().clone()), XCP_Message*>::value));
    const XCP_Message original = fullMessage();
    std::unique_ptr<XCP_Message> copy(original.clone());
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy.get(), &original);
    expectEqualBothWays(*copy, original);
    EXPECT_EQ(copy->getTimeStamp(), original.getTimeStamp());
    EXPECT_EQ(toHex(testsupport::writeRecord(*copy)), toHex(testsupport::writeRecord(original)));
}

TEST(MessageRecordCopy, CloneSharesNoStorage)
{
    XCP_Message original = fullMessage();
    original.setEthernetTransportTypeSettings(std::string(40, 'd'), std::string(40, 's'), std::string(40, 'm'),
                                              1, false);
    std::unique_ptr<XCP_Message> copy(original.clone());
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy->header.getData().data(), original.header.getData().data());
    EXPECT_NE(copy->packet.timestampField.getTimestamp().data(),
              original.packet.timestampField.getTimestamp().data());
    EXPECT_NE(copy->packet.dataField.data.data(), original.packet.dataField.data.data());
    EXPECT_NE(copy->tail.data.data(), original.tail.data.data());
    EXPECT_NE(copy->dstIp.data(), original.dstIp.data());
    EXPECT_NE(copy->srcIp.data(), original.srcIp.data());
    EXPECT_NE(copy->mask.data(), original.mask.data());

    // Changing the clone leaves the source as it was.
    copy->header.setLEN(0x0101);
    const uint8_t ticks[] = {0x01, 0x02};
    copy->packet.timestampField.setTimestamp(ticks, sizeof ticks);
    copy->packet.dataField.data[0] = 0x01;
    copy->tail.data[0] = 0x01;
    copy->dstIp[0] = 'X';
    copy->srcIp[0] = 'X';
    copy->mask[0] = 'X';
    const XCP_Message pristine = [] {
        XCP_Message message = fullMessage();
        message.setEthernetTransportTypeSettings(std::string(40, 'd'), std::string(40, 's'),
                                                 std::string(40, 'm'), 1, false);
        return message;
    }();
    expectEqualBothWays(original, pristine);
    expectUnequalBothWays(*copy, original);
}

TEST(MessageRecordCopy, CloneOfADefaultMessage)
{
    const XCP_Message original;
    std::unique_ptr<XCP_Message> copy(original.clone());
    expectEqualBothWays(*copy, original);
    EXPECT_EQ(copy->getEcuId(), 255);
}

// ---- equality ----------------------------------------------------------------------------------------

TEST(MessageRecordEquality, EqualMessagesCompareEqual)
{
    expectEqualBothWays(fullMessage(), fullMessage());
    expectEqualBothWays(XCP_Message(), XCP_Message());
    const XCP_Message message = fullMessage();
    EXPECT_TRUE(message == message);
}

TEST(MessageRecordEquality, TimeStampTakesNoPart)
{
    XCP_Message later = fullMessage();
    later.setTimeStamp(0x2021222324252627ull);
    expectEqualBothWays(fullMessage(), later);
}

TEST(MessageRecordEquality, LoggerNumberTakesNoPart)
{
    XCP_Message other = fullMessage();
    other.setMbnr(99);
    expectEqualBothWays(fullMessage(), other);
}

TEST(MessageRecordEquality, ReservedWordTakesNoPart)
{
    const XCP_Message message = canMessageWithFill();
    byteVec_t record = testsupport::writeRecord(message);
    record[MessageBase::MO_HDRRESERVED] = 0x33;
    record[MessageBase::MO_HDRRESERVED + 1] = 0x34;
    CerrCapture cerr;
    std::unique_ptr<XCP_Message> read = testsupport::readRecord(record);
    expectEqualBothWays(*read, message);
    EXPECT_EQ(cerr.text(), "");
}

TEST(MessageRecordEquality, HeaderTransportTypeAndActiveFlagTakeNoPart)
{
    CerrCapture cerr;
    XCP_Message unknownHeader = canMessageWithFill();
    unknownHeader.header.setTransportType(XCP_Message::TT_UNKNOWN);  // inactive, no bytes
    XCP_Message flexRayHeader = canMessageWithFill();
    flexRayHeader.header.setTransportType(XCP_Message::TT_FLEXRAY);  // active, no bytes
    ASSERT_TRUE(flexRayHeader.header.isActive());
    ASSERT_FALSE(canMessageWithFill().header.isActive());
    expectEqualBothWays(canMessageWithFill(), unknownHeader);
    expectEqualBothWays(canMessageWithFill(), flexRayHeader);
    expectEqualBothWays(unknownHeader, flexRayHeader);
    EXPECT_EQ(cerr.text(), kFlexRayHeaderLine);
}

TEST(MessageRecordEquality, TailTransportTypeAndActiveFlagTakeNoPart)
{
    XCP_Message switchedOff = canMessageWithFill();
    ASSERT_TRUE(switchedOff.tail.setActive(false));
    XCP_Message unknownTail = canMessageWithFill();
    unknownTail.tail.setTransportType(XCP_Message::TT_UNKNOWN);  // keeps bytes and flag
    ASSERT_FALSE(unknownTail.tail.setActive(false));             // no longer a CAN tail
    XCP_Message ethernetShapedTail = canMessageWithFill();
    ethernetShapedTail.tail.setTransportType(XCP_Message::TT_ETHERNET);
    ethernetShapedTail.tail.data = {0xD1, 0xD2, 0xD3};
    expectEqualBothWays(canMessageWithFill(), switchedOff);
    expectEqualBothWays(canMessageWithFill(), unknownTail);
    expectEqualBothWays(canMessageWithFill(), ethernetShapedTail);
}

TEST(MessageRecordEquality, AnotherMessageTypeIsNeverEqual)
{
    const MarkerMessage marker;
    EXPECT_FALSE(fullMessage() == marker);
    EXPECT_FALSE(XCP_Message() == marker);
}

TEST(MessageRecordEquality, SettingsAreComparedWhateverTheTransport)
{
    XCP_Message canA(1, XCP_Message::TT_CAN, XCP_Message::MD_RX, 1);
    XCP_Message canB(1, XCP_Message::TT_CAN, XCP_Message::MD_RX, 1);
    canB.dstIp = "10.0.0.1";
    expectUnequalBothWays(canA, canB);

    XCP_Message ethA(1, XCP_Message::TT_ETHERNET, XCP_Message::MD_RX, 1);
    XCP_Message ethB(1, XCP_Message::TT_ETHERNET, XCP_Message::MD_RX, 1);
    ethB.canId = 0x7F1;
    expectUnequalBothWays(ethA, ethB);

    XCP_Message unknownA;
    XCP_Message unknownB;
    unknownB.port = 1;
    expectUnequalBothWays(unknownA, unknownB);
}

/// One compared member changed on the full message.
struct FieldChange {
    const char* name;
    std::function<void(XCP_Message&)> change;
};

class MessageRecordFieldEquality : public ::testing::TestWithParam<FieldChange> {
};

TEST_P(MessageRecordFieldEquality, ADifferenceInThisFieldMakesMessagesUnequal)
{
    CerrCapture cerr;
    XCP_Message changed = fullMessage();
    GetParam().change(changed);
    expectUnequalBothWays(fullMessage(), changed);
}

namespace {

XCP_Message::Packet::TimestampField timestampFrom(const std::string& hex)
{
    const byteVec_t bytes = hexBytes(hex);
    XCP_Message::Packet::TimestampField field;
    EXPECT_EQ(field.readFromByteArray(bytes.data(), bytes.size()), bytes.size());
    return field;
}

const FieldChange kFieldChanges[] = {
    {"TransportType", [](XCP_Message& m) { m.setTransportType(XCP_Message::TT_CAN); }},
    {"Direction", [](XCP_Message& m) { m.setMsgDirection(XCP_Message::MD_TX); }},
    {"EcuId", [](XCP_Message& m) { m.setEcuId(0x34); }},
    {"HeaderByte", [](XCP_Message& m) { m.header.setCTR(0x4543); }},
    {"HeaderLength", [](XCP_Message& m) { m.header.setTransportType(XCP_Message::TT_CAN); }},
    {"Pid", [](XCP_Message& m) { m.packet.identificationField.pid = 0x56; }},
    {"FirstPid", [](XCP_Message& m) { m.packet.identificationField.firstPid = 0x67; }},
    {"IdentificationType",
     [](XCP_Message& m) { m.packet.identificationField.setType(XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED); }},
    {"DaqNo", [](XCP_Message& m) { m.packet.identificationField.setDaqNo(0x7878); }},
    // Same two bytes, declared as a double word.
    {"TimestampType", [](XCP_Message& m) { m.packet.timestampField = timestampFrom("04 02 88 99"); }},
    {"TimestampBytes", [](XCP_Message& m) { m.packet.timestampField = timestampFrom("02 02 88 9a"); }},
    {"TimestampLength", [](XCP_Message& m) { m.packet.timestampField = timestampFrom("02 03 88 99 00"); }},
    {"DataByte", [](XCP_Message& m) { m.packet.dataField.data[2] = 0xCD; }},
    {"DataLength", [](XCP_Message& m) { m.packet.dataField.data.push_back(0x00); }},
    {"TailByte", [](XCP_Message& m) { m.tail.data[1] = 0xD3; }},
    {"TailLength", [](XCP_Message& m) { m.tail.data.pop_back(); }},
    {"CanId", [](XCP_Message& m) { m.canId = 0x1E2E3E4F; }},
    {"CanChannel", [](XCP_Message& m) { m.canChannel = 0x60; }},
    {"CanType", [](XCP_Message& m) { m.canType = CT_FD_STANDARD; }},
    {"DstIp", [](XCP_Message& m) { m.dstIp = "1.2.3.5"; }},
    {"SrcIp", [](XCP_Message& m) { m.srcIp = "10.20.30.41"; }},
    {"Mask", [](XCP_Message& m) { m.mask = "255.255.0.0"; }},
    {"Port", [](XCP_Message& m) { m.port = 0x6A6C; }},
    {"Tcp", [](XCP_Message& m) { m.tcp = false; }},
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(EveryComparedField, MessageRecordFieldEquality, ::testing::ValuesIn(kFieldChanges),
                         [](const ::testing::TestParamInfo<FieldChange>& info) { return info.param.name; });
