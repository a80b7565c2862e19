// The common message base as the XCP message uses it: identifiers, record offsets, the
// version-1 base header, the channel-ID helper, the base renderings and the virtual interface.

#include "test_support.h"

#include <iomanip>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>

using testsupport::CerrCapture;
using testsupport::hexBytes;
using testsupport::toHex;
using testsupport::writeInto;

namespace {

/// A message type of its own, to compare an XCP message with something that is not one.
class MarkerMessage : public MessageBase {
public:
    explicit MarkerMessage(timeStamp_t ts) : MessageBase(MSGID_MARKER, ts) {}
    MessageBase* clone() const override { return new MarkerMessage(*this); }
    size_t getSize() const override { return MO_BASE_DERIVED; }
    bool operator==(const MessageBase& other) const override
    {
        return dynamic_cast<const MarkerMessage*>(&other) != nullptr;
    }
    std::ostream& print(std::ostream& _os) const override { return _os << "marker"; }
    std::string getSourceChannel() const override { return "marker"; }
    uint64_t getSourceChannelID() const override { return 0; }
};

XCP_Message canMessage(timeStamp_t ts)
{
    XCP_Message message(ts, XCP_Message::TT_CAN, XCP_Message::MD_TX, 0x33);
    message.packet.dataField.data = {0xAA, 0xBB};
    message.setCanTransportTypeSettings(0x1E2E3E4E, CT_FD_EXTENDED, 0x5F);
    return message;
}

std::string rendered(const MessageBase& message)
{
    std::ostringstream text;
    text << message;
    return text.str();
}

}  // namespace

// ---- types and identifiers --------------------------------------------------------------------

TEST(MessageBaseTypes, SharedTypeDefinitions)
{
    EXPECT_TRUE((std::is_same<timeStamp_t, uint64_t>::value));
    EXPECT_TRUE((std::is_same<byteVec_t, std::vector<uint8_t>>::value));
    EXPECT_TRUE((std::is_same<std::underlying_type<msgid_t>::type, uint16_t>::value));
    EXPECT_TRUE((std::is_same<std::underlying_type<busid_t>::type, uint32_t>::value));
    EXPECT_TRUE((std::is_same<std::underlying_type<cantype_t>::type, uint32_t>::value));
    EXPECT_EQ(sizeof(MessageBase::invalidMsgHandling_t), 4u);
}

TEST(MessageBaseTypes, MessageIdentifiersKeepTheirRecordValues)
{
    const std::pair<msgid_t, unsigned> table[] = {
        {MSGID_MARKER, 0},
        {MSGID_CAN, 1},
        {MSGID_MOST, 2},
        {MSGID_SERIAL, 3},
        {MSGID_ETHERNET_RX, 4},
        {MSGID_FLEXRAY, 5},
        {MSGID_LIN, 6},
        {MSGID_D4K, 7},
        {MSGID_ETHERNET_TX, 8},
        {MSGID_APIX_ASHELL, 9},
        {MSGID_ECL, 10},
        {MSGID_CAN_EXT, 11},
        {MSGID_CONTAINER, 12},
        {MSGID_TTY, 13},
        {MSGID_MOST150, 16},
        {MSGID_MOST50, 17},
        {MSGID_ANALOG, 18},
        {MSGID_GPIO, 19},
        {MSGID_MOST25, 20},
        {MSGID_FLEXRAY_EXT, 21},
        {MSGID_GPS, 22},
        {MSGID_CCP_CRO, 23},
        {MSGID_CCP_DTO, 24},
        {MSGID_XCP, 25},
        {MSGID_KWP2000_REQUEST, 26},
        {MSGID_KWP2000_RESPONSE, 27},
        {MSGID_UDS_REQUEST, 28},
        {MSGID_UDS_RESPONSE, 29},
        {MSGID_ECU_LOG, 30},
        {MSGID_SYSTEMMESSAGE, 0x80},
        {MSGID_CONFIGURATIONDATA, 0x81},
        {MSGID_TIMEJUMP, 0x82},
        {MSGID_DATALOGGINGSTOPPED, 0x83},
        {MSGID_DATALOGGINGSTARTED, 0x84},
        {MSGID_STARTUP, 0x85},
        {MSGID_SHUTDOWN, 0x86},
        {MSGID_TEMPERATURE, 0x87},
        {MSGID_FILETIME, 0x88},
        {MSGID_TRIGGERCLEAR, 0x89},
        {MSGID_TIMEZONE, 0x8A},
        {MSGID_MOST_FUNCTION, 0x90},
        {MSGID_BAP_FUNCTION, 0x91},
        {MSGID_LOST, 0x92},
        {MSGID_TESTTOOLS, 0x93},
        {MSGID_METAINFO, 0x94},
        {MSGID_LOST_EXT, 0x95},
        {MSGID_ENDOFFILE, 0xFF},
        {MSGID_CUSTOMER, 0x100},
        {MSGID_SLEEPMODE, 0x101},
        {MSGID_GETVERSION, 0x8003},
        {MSGID_VERSION, 0x8004},
        {MSGID_GETTIME, 0x8005},
        {MSGID_TIME, 0x8006},
        {MSGID_PING, 0x8008},
        {MSGID_PUSHBUTTON, 0x800F},
        {MSGID_CASCADE, 0x8010},
        {MSGID_CAN_PROXY, 0x8012},
        {MSGID_BYTESTREAM, 0x8013},
        {MSGID_CAN_TRANSPORT, 0x8014},
        {MSGID_BUSLOAD, 0x8015},
        {MSGID_CANSTARTSTOP, 0x8018},
        {MSGID_ONLINESTREAMINGCONFIG, 0x801C},
        {MSGID_START, 0x8020},
        {MSGID_STOP, 0x8021},
        {MSGID_CANLOAD, 0x8022},
        {MSGID_UARTLOAD, 0x8023},
        {MSGID_BUSLOADEXT, 0x8024},
        {MSGID_LOGGER_IDENTIFICATION, 0x8025},
        {MSGID_SIGNAL, 0x8026},
        {MSGID_SSCCONFIG, 0x8030},
        {MSGID_KEYBOARD, 0x8031},
        {MSGID_MOSTRECMODE, 0x8033},
        {MSGID_SBC, 0x8036},
        {MSGID_NAS_IDENTIFICATION, 0x8037},
        {MSGID_QVP_CLIENT_REQUEST, 0xF000},
        {MSGID_QVP_CLIENT_RESPONSE, 0xF001},
        {MSGID_ROUTER, 0xFFFE},
        {MSGID_INVALID, 0xFFFF},
    };
    EXPECT_EQ(sizeof table / sizeof table[0], 78u);
    for (const auto& entry : table) {
        EXPECT_EQ(static_cast<unsigned>(entry.first), entry.second);
    }
}

TEST(MessageBaseTypes, BusIdentifiers)
{
    const busid_t buses[] = {BUSID_UNKNOWN, BUSID_CAN,     BUSID_SERIAL,  BUSID_MOST25,  BUSID_FLEXRAY,
                             BUSID_LIN,     BUSID_ETHERNET, BUSID_CAMERA, BUSID_MOST150, BUSID_MOST50,
                             BUSID_ANALOG,  BUSID_CCPXCP,  BUSID_GPIO,    BUSID_GPS,     BUSID_ECL,
                             BUSID_COMPLEXFILTER, BUSID_TTY, BUSID_TSA,   BUSID_NUM};
    // Numbered 0 to 18 in this order; the last one counts the families.
    uint32_t expected = 0;
    for (busid_t bus : buses) {
        EXPECT_EQ(static_cast<uint32_t>(bus), expected);
        ++expected;
    }
    EXPECT_EQ(BUSID_NUM, 18u);
}

TEST(MessageBaseTypes, CanFrameTypes)
{
    EXPECT_EQ(CT_STANDARD, 0u);
    EXPECT_EQ(CT_EXTENDED, 1u);
    EXPECT_EQ(CT_FD_STANDARD, 2u);
    EXPECT_EQ(CT_FD_EXTENDED, 3u);
}

// ---- offsets, version, invalid handling ---------------------------------------------------------

TEST(MessageBaseLayout, VersionOneBaseHeaderOffsets)
{
    EXPECT_EQ(MessageBase::MO_MSGSIZE, 0u);
    EXPECT_EQ(MessageBase::MO_MSGID, 2u);
    EXPECT_EQ(MessageBase::MO_HDRRESERVED, 4u);
    EXPECT_EQ(MessageBase::MO_TIMESTAMP, 6u);
    EXPECT_EQ(MessageBase::MO_BASE_DERIVED, 14u);
}

TEST(MessageBaseLayout, VersionTwoBaseHeaderOffsets)
{
    EXPECT_EQ(MessageBase::MO2_MSGID, 0u);
    EXPECT_EQ(MessageBase::MO2_MSGSIZE, 1u);
    EXPECT_EQ(MessageBase::MO2_TIMESTAMP, 3u);
    EXPECT_EQ(MessageBase::MO2_BASE_DERIVED, 7u);
}

TEST(MessageBaseLayout, XcpBodyOffsets)
{
    EXPECT_EQ(XCP_Message::MO_TRANSPORTTYPE, 14u);
    EXPECT_EQ(XCP_Message::MO_DIRECTION, 15u);
    EXPECT_EQ(XCP_Message::MO_ECUID, 16u);
    EXPECT_EQ(XCP_Message::MO_HEADER, 17u);
    // Version 2 moves only the transport type; the other three keep their version-1 places.
    EXPECT_EQ(XCP_Message::MO2_TRANSPORTTYPE, 7u);
    EXPECT_EQ(XCP_Message::MO2_DIRECTION, 15u);
    EXPECT_EQ(XCP_Message::MO2_ECUID, 16u);
    EXPECT_EQ(XCP_Message::MO2_HEADER, 17u);
}

TEST(MessageBaseLayout, RecordLayoutVersionIsOne)
{
    EXPECT_TRUE((std::is_same<decltype(MessageBase::version), const uint8_t>::value));
    EXPECT_EQ(MessageBase::version, 1u);
}

TEST(MessageBaseLayout, InvalidHandlingValues)
{
    EXPECT_EQ(MessageBase::IMH_RETURN_NULL, 0);
    EXPECT_EQ(MessageBase::IMH_RETURN_INVALID_MESSAGE, 1);
    const MessageBase::invalidMsgHandling_t saved = MessageBase::invalidHandling;
    MessageBase::invalidHandling = MessageBase::IMH_RETURN_INVALID_MESSAGE;
    EXPECT_EQ(MessageBase::invalidHandling, MessageBase::IMH_RETURN_INVALID_MESSAGE);
    MessageBase::invalidHandling = MessageBase::IMH_RETURN_NULL;
    EXPECT_EQ(MessageBase::invalidHandling, MessageBase::IMH_RETURN_NULL);
    MessageBase::invalidHandling = saved;
}

TEST(MessageBaseLayout, XcpReaderIgnoresInvalidHandling)
{
    // The XCP reader hands back a (partly filled) message under either setting.
    const MessageBase::invalidMsgHandling_t saved = MessageBase::invalidHandling;
    const byteVec_t tooShort = hexBytes("00 1a 00 19 00 00 10 11 12 13 14 15 16");
    for (MessageBase::invalidMsgHandling_t handling :
         {MessageBase::IMH_RETURN_NULL, MessageBase::IMH_RETURN_INVALID_MESSAGE}) {
        MessageBase::invalidHandling = handling;
        CerrCapture cerr;
        std::unique_ptr<MessageBase> message(XCP_Message::readFromByteArray(tooShort.data(), tooShort.size()));
        ASSERT_NE(message, nullptr);
        EXPECT_NE(dynamic_cast<XCP_Message*>(message.get()), nullptr);
        EXPECT_EQ(cerr.text(), "[ERROR] XCP message v1 read error\n");
    }
    MessageBase::invalidHandling = saved;
}

// ---- class shape -----------------------------------------------------------------------------

TEST(MessageBaseShape, AbstractWithVirtualDestructorAndProtectedConstruction)
{
    EXPECT_TRUE(std::is_abstract<MessageBase>::value);
    EXPECT_TRUE(std::has_virtual_destructor<MessageBase>::value);
    EXPECT_FALSE((std::is_constructible<MessageBase, msgid_t, uint64_t>::value));
    EXPECT_TRUE((std::is_base_of<MessageBase, XCP_Message>::value));
    EXPECT_TRUE((std::is_convertible<XCP_Message*, MessageBase*>::value));
}

TEST(MessageBaseShape, EveryConstructorUsesTheXcpIdentifier)
{
    XCP_Message byDefault;
    XCP_Message withValues(0x1011121314151617ull, XCP_Message::TT_ETHERNET, XCP_Message::MD_RX, 1);
    EXPECT_EQ(byDefault.getMsgId(), MSGID_XCP);
    EXPECT_EQ(byDefault.getTimeStamp(), 0u);
    EXPECT_EQ(withValues.getMsgId(), MSGID_XCP);
    EXPECT_EQ(withValues.getTimeStamp(), 0x1011121314151617ull);

    CerrCapture cerr;
    const byteVec_t tooShort = hexBytes("00");
    std::unique_ptr<MessageBase> parsed(XCP_Message::readFromByteArray(tooShort.data(), tooShort.size()));
    EXPECT_EQ(parsed->getMsgId(), MSGID_XCP);
    EXPECT_EQ(parsed->getTimeStamp(), 0u);
}

TEST(MessageBaseShape, TimeStampAndLoggerNumberAccessors)
{
    XCP_Message message;
    EXPECT_EQ(message.getMbnr(), 0u);
    message.setTimeStamp(0x0102030405060708ull);
    message.setMbnr(0x0A0B0C0Du);
    EXPECT_EQ(message.getTimeStamp(), 0x0102030405060708ull);
    EXPECT_EQ(message.getMbnr(), 0x0A0B0C0Du);
}

// ---- channel ID helper ---------------------------------------------------------------------------

TEST(MessageBaseChannelId, BusTimes256PlusChannelInTheLowBits)
{
    EXPECT_EQ(MessageBase::getSourceChannelID(BUSID_CCPXCP, 5, 0), 0x0B05u);
    EXPECT_EQ(MessageBase::getSourceChannelID(BUSID_UNKNOWN, 0, 0), 0u);
    EXPECT_EQ(MessageBase::getSourceChannelID(BUSID_CAN, 0xFF, 0), 0x01FFu);
    // 18 * 256 + 255
    EXPECT_EQ(MessageBase::getSourceChannelID(BUSID_NUM, 0xFF, 0), 0x12FFu);
}

TEST(MessageBaseChannelId, LoggerNumberInTheUpperHalf)
{
    EXPECT_EQ(MessageBase::getSourceChannelID(BUSID_CCPXCP, 5, 2), 0x0000000200000B05ull);
    EXPECT_EQ(MessageBase::getSourceChannelID(BUSID_ETHERNET, 0x12, 0xA1B2C3D4u), 0xA1B2C3D400000612ull);
    EXPECT_EQ(MessageBase::getSourceChannelID(BUSID_TSA, 0xFF, 0xFFFFFFFFu), 0xFFFFFFFF000011FFull);
}

// ---- base header ------------------------------------------------------------------------------

TEST(MessageBaseHeader, WritesSizeIdentifierReservedWordAndTimeStamp)
{
    const XCP_Message message = canMessage(0x1011121314151617ull);
    ASSERT_EQ(message.getSize(), 34u);  // 24 + timestamp 2 + data 2 + settings 6
    testsupport::WriteResult result = writeInto(14, [&](uint8_t*& cursor, size_t maxlen) {
        return message.MessageBase::writeToByteArray(cursor, maxlen, false);
    });
    EXPECT_EQ(result.returned, 14u);
    //                       size  id    resvd time stamp
    EXPECT_EQ(toHex(result.bytes), toHex(hexBytes("00 22 00 19 00 00 10 11 12 13 14 15 16 17")));
    EXPECT_TRUE(result.guardIntact);
}

TEST(MessageBaseHeader, ReadsBackWhatItWrote)
{
    // The same 14 bytes, followed by an XCP body, read back into the base part.
    const byteVec_t record =
        hexBytes("00 22 00 19 00 00 10 11 12 13 14 15 16 17  02 02 33  00  00 00 00 00 00  00 00  00 02 aa bb  00"
                 "  1e 2e 3e 4e 03 5f");
    CerrCapture cerr;
    std::unique_ptr<MessageBase> read(XCP_Message::readFromByteArray(record.data(), record.size()));
    EXPECT_EQ(read->getTimeStamp(), 0x1011121314151617ull);
    EXPECT_EQ(read->getMsgId(), MSGID_XCP);
    EXPECT_TRUE(*read == canMessage(0));
    EXPECT_EQ(cerr.text(), "");
}

TEST(MessageBaseHeader, SyncFlagDoesNotChangeTheVersionOneHeader)
{
    const XCP_Message message = canMessage(0x1011121314151617ull);
    auto write = [&](bool sync) {
        return writeInto(14, [&](uint8_t*& cursor, size_t maxlen) {
            return message.MessageBase::writeToByteArray(cursor, maxlen, sync);
        });
    };
    EXPECT_EQ(toHex(write(true).bytes), toHex(write(false).bytes));
    EXPECT_EQ(write(true).returned, 14u);
}

TEST(MessageBaseHeader, SizeFieldTakesTheLowSixteenBitsOfTheVirtualSize)
{
    XCP_Message message(0x1011121314151617ull, XCP_Message::TT_UNKNOWN, XCP_Message::MD_RX, 0x33);
    message.packet.dataField.data.assign(70000, 0xAA);
    ASSERT_EQ(message.getSize(), 70026u);  // 0x1118A
    testsupport::WriteResult result = writeInto(14, [&](uint8_t*& cursor, size_t maxlen) {
        return message.MessageBase::writeToByteArray(cursor, maxlen, true);
    });
    EXPECT_EQ(toHex(result.bytes), toHex(hexBytes("11 8a 00 19 00 00 10 11 12 13 14 15 16 17")));
}

TEST(MessageBaseHeader, RefusesARoomSmallerThanTheHeader)
{
    const XCP_Message message = canMessage(0x1011121314151617ull);
    byteVec_t buffer(13 + 16, 0xEE);
    uint8_t* cursor = buffer.data();
    CerrCapture cerr;
    EXPECT_EQ(message.MessageBase::writeToByteArray(cursor, 13, false), 0u);
    EXPECT_EQ(cursor, buffer.data());
    EXPECT_EQ(toHex(buffer), toHex(byteVec_t(buffer.size(), 0xEE)));
    EXPECT_EQ(cerr.text(), "");
}

TEST(MessageBaseHeader, ReservedWordIsKeptFromTheRecordItWasReadFrom)
{
    // Bytes 4 and 5 are not the XCP message's; they survive a read and a new write.
    const byteVec_t record =
        hexBytes("00 22 00 19 33 34 10 11 12 13 14 15 16 17  02 02 33  00  00 00 00 00 00  00 00  00 02 aa bb  00"
                 "  1e 2e 3e 4e 03 5f");
    CerrCapture cerr;
    std::unique_ptr<MessageBase> read(XCP_Message::readFromByteArray(record.data(), record.size()));
    testsupport::WriteResult result = writeInto(14, [&](uint8_t*& cursor, size_t maxlen) {
        return read->MessageBase::writeToByteArray(cursor, maxlen, false);
    });
    EXPECT_EQ(toHex(result.bytes), toHex(hexBytes("00 22 00 19 33 34 10 11 12 13 14 15 16 17")));
    EXPECT_EQ(cerr.text(), "");
}

// ---- renderings --------------------------------------------------------------------------------

TEST(MessageBaseRendering, TimeStampAsSecondsWithNineDecimals)
{
    EXPECT_EQ(rendered(XCP_Message(1700000000123456789ull, XCP_Message::TT_CAN, XCP_Message::MD_RX, 0)),
              "1700000000.123456789");
    EXPECT_EQ(rendered(XCP_Message()), "0.000000000");
    EXPECT_EQ(rendered(XCP_Message(5, XCP_Message::TT_CAN, XCP_Message::MD_RX, 0)), "0.000000005");
    EXPECT_EQ(rendered(XCP_Message(1000000000ull, XCP_Message::TT_CAN, XCP_Message::MD_RX, 0)), "1.000000000");
    EXPECT_EQ(rendered(XCP_Message(std::numeric_limits<uint64_t>::max(), XCP_Message::TT_CAN,
                                   XCP_Message::MD_RX, 0)),
              "18446744073.709551615");
}

TEST(MessageBaseRendering, ReturnsTheSameStreamAndAppends)
{
    const XCP_Message message(1700000000123456789ull, XCP_Message::TT_CAN, XCP_Message::MD_RX, 0);
    std::ostringstream text;
    text << "<";
    std::ostream& returned = text << static_cast<const MessageBase&>(message);
    EXPECT_EQ(&returned, &text);
    text << ">";
    EXPECT_EQ(text.str(), "<1700000000.123456789>");
}

TEST(MessageBaseRendering, IgnoresAndKeepsTheStreamFormat)
{
    const XCP_Message message(1700000000012345678ull, XCP_Message::TT_CAN, XCP_Message::MD_RX, 0);
    std::ostringstream text;
    text << std::hex << std::uppercase << std::showpos << std::showbase << std::left << std::setfill('*')
         << std::setprecision(2) << std::scientific;
    const std::ios_base::fmtflags flags = text.flags();
    text << std::setw(30) << static_cast<const MessageBase&>(message);
    EXPECT_EQ(text.str(), "1700000000.012345678");
    EXPECT_EQ(text.flags(), flags);
    EXPECT_EQ(text.fill(), '*');
    EXPECT_EQ(text.precision(), 2);
    // The width is left for the caller's next field.
    EXPECT_EQ(text.width(), 30);
}

TEST(MessageBaseRendering, CanFrameTypes)
{
    auto text = [](cantype_t type) {
        std::ostringstream stream;
        std::ostream& returned = stream << type;
        EXPECT_EQ(&returned, &stream);
        return stream.str();
    };
    EXPECT_EQ(text(CT_STANDARD), "STD");
    EXPECT_EQ(text(CT_EXTENDED), "EXT");
    EXPECT_EQ(text(CT_FD_STANDARD), "FD_STD");
    EXPECT_EQ(text(CT_FD_EXTENDED), "FD_EXT");
    EXPECT_EQ(text(static_cast<cantype_t>(4)), "invalid CAN type");
    EXPECT_EQ(text(static_cast<cantype_t>(0xFFFFFFFFu)), "invalid CAN type");
}

// ---- virtual interface, used through the base ----------------------------------------------------

TEST(MessageBaseVirtuals, CloneThroughTheBaseGivesAnEqualXcpMessage)
{
    std::unique_ptr<MessageBase> original(new XCP_Message(canMessage(0x1011121314151617ull)));
    std::unique_ptr<MessageBase> copy(original->clone());
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy.get(), original.get());
    ASSERT_NE(dynamic_cast<XCP_Message*>(copy.get()), nullptr);
    EXPECT_TRUE(*copy == *original);
    EXPECT_EQ(copy->getTimeStamp(), 0x1011121314151617ull);
}

TEST(MessageBaseVirtuals, SizeAndWriterThroughTheBase)
{
    const XCP_Message concrete = canMessage(0x1011121314151617ull);
    const MessageBase& base = concrete;
    EXPECT_EQ(base.getSize(), concrete.getSize());
    testsupport::WriteResult viaBase = writeInto(base.getSize() + 2, [&](uint8_t*& cursor, size_t maxlen) {
        return base.writeToByteArray(cursor, maxlen, false);
    });
    EXPECT_EQ(viaBase.returned, concrete.getSize());
    EXPECT_EQ(toHex(viaBase.bytes), toHex(testsupport::writeRecord(concrete)));
}

TEST(MessageBaseVirtuals, PrintAndToStringThroughTheBase)
{
    const XCP_Message concrete = canMessage(1700000000123456789ull);
    const MessageBase& base = concrete;
    CerrCapture cerr;
    std::ostringstream direct;
    direct << concrete;
    std::ostringstream printed;
    std::ostream& returned = base.print(printed);
    EXPECT_EQ(&returned, &printed);
    EXPECT_EQ(printed.str(), direct.str());
    EXPECT_EQ(base.toString(), direct.str());
    // The XCP line starts with the base rendering.
    EXPECT_EQ(direct.str().rfind("1700000000.123456789  XCP CAN Tx  | ECU[52], ", 0), 0u) << direct.str();
    // A packet sent by the logger with PID 0 classifies as stimulation; each of the three
    // renderings asks for the packet type twice.
    EXPECT_EQ(cerr.text(),
              testsupport::repeatedLine("[WARNING] XCP_Message::setPacketType: STIMULATION is not supported at the moment", 6));
}

TEST(MessageBaseVirtuals, SourceChannelThroughTheBase)
{
    XCP_Message concrete = canMessage(0);
    concrete.setMbnr(2);
    const MessageBase& base = concrete;
    EXPECT_EQ(base.getSourceChannel(), "CCP_XCP #51");
    EXPECT_EQ(base.getSourceChannelID(), 0x0000000200000B33ull);
}

TEST(MessageBaseVirtuals, EqualityThroughTheBase)
{
    const XCP_Message first = canMessage(1);
    const XCP_Message second = canMessage(2);
    const MarkerMessage marker(1);
    const MessageBase& a = first;
    const MessageBase& b = second;
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a == marker);
    EXPECT_FALSE(marker == a);
}

TEST(MessageBaseVirtuals, OneArgumentCascadeIsTheBasesOwn)
{
    XCP_Message concrete = canMessage(0);
    concrete.setMbnr(2);
    MessageBase& base = concrete;
    base.cascadeChannel(3);
    EXPECT_EQ(concrete.getMbnr(), 5u);
    EXPECT_EQ(concrete.getEcuId(), 0x33);
    EXPECT_EQ(concrete.canChannel, 0x5F);
}

TEST(MessageBaseVirtuals, DeletionThroughTheBaseReleasesEverything)
{
    // The sanitizer build reports a leak or a mismatched delete if the XCP members are not
    // released through the base pointer.
    MessageBase* message = new XCP_Message(canMessage(1));
    XCP_Message* concrete = static_cast<XCP_Message*>(message);
    concrete->packet.dataField.data.assign(4096, 0x5A);
    concrete->setEthernetTransportTypeSettings(std::string(300, 'd'), std::string(300, 's'),
                                               std::string(300, 'm'), 1, true);
    concrete->tail.data.assign(512, 0x11);
    MessageBase* copy = message->clone();
    EXPECT_TRUE(*copy == *message);
    delete message;
    delete copy;
}
