// The summary line is written in one of two ways: formatted at once and written with a single
// call on an ordinary stream, or by separate insertions on a stream whose state the line
// depends on (a pending width, sign, base prefix, upper case, adjustment, unit buffering, a
// tied stream, exceptions, non-classic locales) or when printing writes a diagnostic line.
// These tests check that both give the same text and leave the same stream state: against a
// reference built from the pieces' own renderings, against each other, and against
// hand-written lines for streams with unusual flags.

#include <gtest/gtest.h>

#include <cstdint>
#include <iomanip>
#include <ios>
#include <locale>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "XCP_Message.h"
#include "test_support.h"

namespace {

using M = XCP_Message;
using testsupport::CerrCapture;
using testsupport::hexBytes;
using testsupport::repeatedLine;

const std::string kStimulationWarning =
    "[WARNING] XCP_Message::setPacketType: STIMULATION is not supported at the moment";

// Pieces with contents the public setters do not produce, as records of other writers can.
struct HeaderWith : XCP_Message::Header {
    HeaderWith(bool on, const byteVec_t& bytes)
    {
        active = on;
        data = bytes;
    }
};

struct TailWith : XCP_Message::Tail {
    TailWith(bool on, const byteVec_t& bytes)
    {
        active = on;
        data = bytes;
    }
};

struct TimestampWith : XCP_Message::Packet::TimestampField {
    TimestampWith(M::timestampFieldType_t fieldType, const byteVec_t& bytes)
    {
        type = fieldType;
        timestamp = bytes;
    }
};

/// A string buffer that counts the block writes it receives: a line written at once arrives
/// as one, a line of separate insertions as many.
class CountingBuf : public std::stringbuf {
public:
    int blockWrites() const { return blockWrites_; }

protected:
    std::streamsize xsputn(const char* text, std::streamsize count) override
    {
        ++blockWrites_;
        return std::stringbuf::xsputn(text, count);
    }

private:
    int blockWrites_ = 0;
};

/// Digits grouped one by one with an apostrophe.
struct GroupEachDigit : std::numpunct<char> {
    char do_thousands_sep() const override { return '\''; }
    std::string do_grouping() const override { return "\1"; }
};

/// Sets the global locale for the lifetime of the object.
class GlobalLocale {
public:
    explicit GlobalLocale(const std::locale& locale) : previous_(std::locale::global(locale)) {}
    ~GlobalLocale() { std::locale::global(previous_); }
    GlobalLocale(const GlobalLocale&) = delete;
    GlobalLocale& operator=(const GlobalLocale&) = delete;

private:
    std::locale previous_;
};

template <typename Value>
std::string rendered(const Value& value)
{
    std::ostringstream text;
    text << value;
    return text.str();
}

std::string lowerHex(uint32_t value)
{
    std::ostringstream text;
    text << std::hex << value;
    return text.str();
}

bool isDaqType(M::identificationFieldType_t type)
{
    return type == M::IFT_ABSOLUTE_ODT_NUMBER || type == M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE ||
           type == M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD || type == M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED;
}

/// The line put together from the base rendering, the display texts and the pieces' own
/// stream operators, each on a fresh stream. Any diagnostic lines of the packet-type query
/// are left in `cerrText`.
std::string referenceLine(const XCP_Message& message, std::string& cerrText)
{
    CerrCapture cerr;
    std::string line = rendered(static_cast<const MessageBase&>(message));
    line += "  XCP " + rendered(message.transportType) + " " + rendered(message.msgDirection) + " ";
    if (message.transportType == M::TT_ETHERNET || message.transportType == M::TT_CAN) {
        line += " ";
    } else if (message.transportType == M::TT_FLEXRAY) {
        line += "  ";
    }
    line += "| ECU[" + std::to_string(message.ecuId + 1) + "], [" + rendered(message.getPacketType()) + "(";
    if (message.getPacketType() == M::PT_CTO_CMD) {
        line += rendered(static_cast<M::cmdCode_t>(message.packet.identificationField.pid));
    }
    line += ")]; " + rendered(message.header) + "; " + rendered(message.packet) + "; " + rendered(message.tail);
    if (message.transportType == M::TT_CAN) {
        line += "; CAN[Id=0x" + lowerHex(message.canId) + ", Type=" + rendered(message.canType) +
                ", Ch=" + std::to_string(message.canChannel + 1) + "]";
    } else if (message.transportType == M::TT_ETHERNET) {
        const bool daq = isDaqType(message.packet.identificationField.getType());
        line += "; ETH[Dst=" + message.dstIp + ", Src=" + message.srcIp + ", Mask=" + message.mask +
                ", Port=" + (daq ? std::to_string(message.port) : lowerHex(message.port)) +
                (message.tcp ? ", TCP]" : ", UDP]");
    }
    cerrText = cerr.text();
    return line;
}

/// What a line left behind in its stream, besides the text.
struct Outcome {
    std::string text;
    std::string cerrText;
    int blockWrites = 0;
    std::ios_base::fmtflags flags{};
    char fill = ' ';
    std::streamsize width = 0;
    std::streamsize precision = 0;
};

/// Prints the message once into a fresh stream prepared by `prepare`.
template <typename Prepare>
Outcome printOn(const XCP_Message& message, Prepare prepare)
{
    CountingBuf buffer;
    std::ostream out(&buffer);
    prepare(out);
    Outcome outcome;
    {
        CerrCapture cerr;
        out << message;
        outcome.cerrText = cerr.text();
    }
    outcome.text = buffer.str();
    outcome.blockWrites = buffer.blockWrites();
    outcome.flags = out.flags();
    outcome.fill = out.fill();
    outcome.width = out.width();
    outcome.precision = out.precision();
    return outcome;
}

Outcome printOnOrdinaryStream(const XCP_Message& message)
{
    return printOn(message, [](std::ostream&) {});
}

/// Printing writes no diagnostic line for received packets and for commands.
bool classifiesQuietly(const XCP_Message& message)
{
    return message.msgDirection == M::MD_RX ||
           (message.msgDirection == M::MD_TX && message.packet.identificationField.pid >= 0xC0);
}

std::string describe(const XCP_Message& message)
{
    return "message " + rendered(message);
}

// ---- the messages ----------------------------------------------------------------------------

byteVec_t patternBytes(size_t count, uint8_t seed)
{
    byteVec_t bytes;
    for (size_t i = 0; i < count; ++i) {
        bytes.push_back(static_cast<uint8_t>(seed + i * 37));
    }
    return bytes;
}

/// A message with every field set to one of the values that matter to the line, picked by a
/// fixed-seed generator so that the set is the same on every run and platform.
XCP_Message pickedMessage(std::mt19937& generator)
{
    auto pick = [&generator](const auto& values) { return values[generator() % values.size()]; };
    const std::vector<timeStamp_t> times = {0, 1, 999999999, 1000000000, 1700000000123456789ull,
                                            1700000000000000042ull, UINT64_MAX};
    const std::vector<int32_t> transports = {M::TT_UNKNOWN, M::TT_ETHERNET, M::TT_CAN, M::TT_FLEXRAY, 4, -1};
    const std::vector<int32_t> directions = {M::MD_RX, M::MD_TX, M::MD_RX, M::MD_TX, M::MD_UNKNOWN, 3};
    const std::vector<int32_t> idTypes = {0, 1, 2, 3, 5, 4, -1, 99};
    const std::vector<int32_t> tsTypes = {M::TST_NO, M::TST_BYTE, M::TST_WORD, M::TST_DWORD, 3, -1};
    const std::vector<int> pids = {0x00, 0x01, 0x0f, 0x10, 0x7f, 0xbf, 0xc0, 0xc7, 0xcc, 0xe9, 0xf0, 0xfb, 0xfc,
                                   0xfd, 0xfe, 0xff};
    const std::vector<int> smallValues = {0, 1, 9, 10, 99, 100, 254, 255};
    const std::vector<int> daqNumbers = {0, 1, 9, 10, 255, 256, 4660, 9999, 10000, 65535};
    const std::vector<size_t> dataSizes = {0, 1, 2, 7, 8, 64, 200, 1500};
    const std::vector<size_t> pieceSizes = {0, 1, 4, 6, 255};
    const std::vector<uint32_t> canIds = {0, 1, 0xf, 0x10, 0x7f1, 0x18daf110, 0x1fffffff, 0xffffffff};
    const std::vector<uint32_t> canTypes = {CT_STANDARD, CT_EXTENDED, CT_FD_STANDARD, CT_FD_EXTENDED, 4, 0xffffffff};
    const std::vector<int> ports = {0, 1, 9, 10, 15, 16, 255, 5555, 65535};
    const std::vector<std::string> texts = {"", "10.0.0.2", "255.255.255.0", "fe80::1234:5678:9abc:def0%eth0",
                                            std::string(300, 'x')};

    const int32_t transport = pick(transports);
    XCP_Message message(pick(times), M::TT_UNKNOWN, static_cast<M::msgDirection_t>(pick(directions)),
                        static_cast<uint8_t>(pick(smallValues)));
    message.setTransportType(static_cast<M::transportType_t>(transport));
    M::Packet::IdentificationField& id = message.packet.identificationField;
    id.setType(static_cast<M::identificationFieldType_t>(pick(idTypes)));
    id.pid = static_cast<uint8_t>(pick(pids));
    id.firstPid = static_cast<uint8_t>(pick(pids));
    id.setDaqNo(static_cast<uint16_t>(pick(daqNumbers)));
    const auto tsType = static_cast<M::timestampFieldType_t>(pick(tsTypes));
    message.packet.timestampField = TimestampWith(tsType, patternBytes(pick(pieceSizes), 0x11));
    message.packet.dataField.data = patternBytes(pick(dataSizes), 0x22);
    message.header = HeaderWith(generator() % 2 == 0, patternBytes(pick(pieceSizes), 0x33));
    message.tail = TailWith(generator() % 2 == 0, patternBytes(pick(pieceSizes), 0x44));
    message.setCanTransportTypeSettings(pick(canIds), static_cast<cantype_t>(pick(canTypes)),
                                        static_cast<uint8_t>(pick(smallValues)));
    message.setEthernetTransportTypeSettings(pick(texts), pick(texts), pick(texts),
                                             static_cast<uint16_t>(pick(ports)), generator() % 2 == 0);
    return message;
}

/// Hand-made messages for the corners, then many picked ones.
std::vector<XCP_Message> messageCorpus()
{
    std::vector<XCP_Message> messages;

    XCP_Message can(1700000000123456789ull, M::TT_CAN, M::MD_TX, 0);
    can.packet.identificationField.setType(M::IFT_CTO_PACKET_CODE);
    can.packet.identificationField.pid = 0xF0;
    can.packet.dataField.data = hexBytes("0a ff");
    can.setCanTransportTypeSettings(0x7F1, CT_EXTENDED, 0);
    messages.push_back(can);

    XCP_Message ethernet(1700000000123456789ull, M::TT_ETHERNET, M::MD_RX, 2);
    EXPECT_TRUE(ethernet.header.setLEN(7));
    ethernet.packet.identificationField.setType(M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD);
    ethernet.packet.identificationField.setDaqNo(7);
    ethernet.packet.timestampField.setType(M::TST_WORD);
    ethernet.packet.dataField.data = patternBytes(200, 0x01);
    ethernet.setEthernetTransportTypeSettings("192.168.10.20", "192.168.10.1", "255.255.255.0", 5555, false);
    messages.push_back(ethernet);

    // Every PID in both directions, on both transports, with each identification type.
    for (M::transportType_t transport : {M::TT_CAN, M::TT_ETHERNET}) {
        for (M::msgDirection_t direction : {M::MD_RX, M::MD_TX}) {
            for (int32_t idType : {0, 1, 2, 3, 4, 5}) {
                for (int pid = 0; pid <= 0xFF; pid += (idType == 5 ? 1 : 17)) {
                    XCP_Message message = transport == M::TT_CAN ? can : ethernet;
                    message.setMsgDirection(direction);
                    message.packet.identificationField.setType(static_cast<M::identificationFieldType_t>(idType));
                    message.packet.identificationField.pid = static_cast<uint8_t>(pid);
                    message.packet.identificationField.firstPid = static_cast<uint8_t>(255 - pid);
                    messages.push_back(message);
                }
            }
        }
    }
    // The largest numbers and a line far longer than usual.
    XCP_Message large = ethernet;
    large.setEcuId(255);
    large.packet.identificationField.setType(M::IFT_ABSOLUTE_ODT_NUMBER);
    large.packet.identificationField.setDaqNo(65535);
    large.packet.dataField.data = patternBytes(4000, 0x05);
    large.setEthernetTransportTypeSettings(std::string(300, 'd'), std::string(300, 's'), std::string(300, 'm'), 65535,
                                           true);
    large.setTimeStamp(UINT64_MAX);
    messages.push_back(large);
    XCP_Message canLimits = can;
    canLimits.setEcuId(255);
    canLimits.setCanTransportTypeSettings(0xFFFFFFFF, CT_FD_EXTENDED, 255);
    canLimits.tail.setFillBytes(255);
    messages.push_back(canLimits);

    std::mt19937 generator(20240607u);
    for (int i = 0; i < 1000; ++i) {
        messages.push_back(pickedMessage(generator));
    }
    return messages;
}

const std::vector<XCP_Message>& corpus()
{
    static const std::vector<XCP_Message> messages = messageCorpus();
    return messages;
}

// ---- both paths against the reference --------------------------------------------------------

TEST(RenderingPaths, OrdinaryStreamGivesTheReferenceLine)
{
    int writtenAtOnce = 0;
    for (const XCP_Message& message : corpus()) {
        std::string referenceCerr;
        const std::string reference = referenceLine(message, referenceCerr);
        const Outcome outcome = printOnOrdinaryStream(message);
        ASSERT_EQ(outcome.text, reference);
        EXPECT_EQ(outcome.cerrText, referenceCerr) << describe(message);
        if (outcome.blockWrites == 1) {
            ++writtenAtOnce;
        }
        // A message whose classification writes a diagnostic line is printed by insertions.
        if (!classifiesQuietly(message)) {
            EXPECT_GT(outcome.blockWrites, 1) << describe(message);
        }
    }
    // Most of the corpus is ordinary enough for the line written at once.
    EXPECT_GT(writtenAtOnce, static_cast<int>(corpus().size()) / 3);
}

TEST(RenderingPaths, OrdinaryMessagesAreWrittenWithOneCall)
{
    const XCP_Message& can = corpus()[0];
    const XCP_Message& ethernet = corpus()[1];
    EXPECT_EQ(printOnOrdinaryStream(can).blockWrites, 1);
    EXPECT_EQ(printOnOrdinaryStream(ethernet).blockWrites, 1);
    // Settings that play no part in the line leave it on the single write.
    const Outcome unconcerned = printOn(ethernet, [](std::ostream& out) {
        out << std::oct << std::boolalpha << std::fixed << std::setprecision(3) << std::setfill('*');
    });
    EXPECT_EQ(unconcerned.blockWrites, 1);
    EXPECT_EQ(unconcerned.text, printOnOrdinaryStream(ethernet).text);
}

/// Streams that make the line go through the separate insertions without changing its text.
struct SameTextStream {
    const char* name;
    void (*prepare)(std::ostream&);
};

std::ostringstream& tiedStream()
{
    static std::ostringstream stream;
    return stream;
}

const SameTextStream kSameTextStreams[] = {
    {"unit buffered", [](std::ostream& out) { out << std::unitbuf; }},
    {"tied", [](std::ostream& out) { out.tie(&tiedStream()); }},
    {"throwing on bad", [](std::ostream& out) { out.exceptions(std::ios_base::badbit); }},
    {"internal adjustment", [](std::ostream& out) { out << std::internal; }},
    {"look-alike locale", [](std::ostream& out) { out.imbue(std::locale(std::locale::classic(), new std::numpunct<char>)); }},
};

TEST(RenderingPaths, InsertionsGiveWhatTheLineWrittenAtOnceGives)
{
    // Each message on one of the streams in turn, every tenth on all of them: the suite also
    // runs under the sanitizers on a 32-bit target, where the freed memory the sanitizer
    // holds back must stay well within the address space.
    const size_t streamCount = sizeof kSameTextStreams / sizeof kSameTextStreams[0];
    for (size_t index = 0; index < corpus().size(); ++index) {
        const XCP_Message& message = corpus()[index];
        const Outcome atOnce = printOnOrdinaryStream(message);
        for (size_t streamIndex = 0; streamIndex < streamCount; ++streamIndex) {
            if (index % 10 != 0 && index % streamCount != streamIndex) {
                continue;
            }
            const SameTextStream& stream = kSameTextStreams[streamIndex];
            const Outcome insertions = printOn(message, stream.prepare);
            ASSERT_EQ(insertions.text, atOnce.text) << stream.name;
            EXPECT_GT(insertions.blockWrites, 1) << stream.name;
            EXPECT_EQ(insertions.cerrText, atOnce.cerrText) << stream.name;
            EXPECT_EQ(insertions.fill, atOnce.fill) << stream.name << ", " << describe(message);
            EXPECT_EQ(insertions.flags & std::ios_base::basefield, atOnce.flags & std::ios_base::basefield)
                << stream.name << ", " << describe(message);
            EXPECT_EQ(insertions.width, 0) << stream.name;
        }
    }
}

// ---- the stream after the line -----------------------------------------------------------------

TEST(RenderingPaths, StreamStateAfterTheLineOnBothPaths)
{
    const std::ios_base::fmtflags callerFlags = std::ios_base::oct | std::ios_base::boolalpha |
                                                std::ios_base::scientific | std::ios_base::skipws;
    for (const XCP_Message& message : corpus()) {
        const bool daq = isDaqType(message.packet.identificationField.getType());
        const std::ios_base::fmtflags base =
            message.transportType == M::TT_CAN || daq ? std::ios_base::dec : std::ios_base::hex;
        auto prepare = [callerFlags](std::ostream& out) {
            out.flags(callerFlags);
            out.fill('*');
            out.precision(3);
        };
        auto prepareUnitBuffered = [callerFlags](std::ostream& out) {
            out.flags(callerFlags | std::ios_base::unitbuf);
            out.fill('*');
            out.precision(3);
        };
        const Outcome atOnce = printOn(message, prepare);
        const Outcome insertions = printOn(message, prepareUnitBuffered);
        ASSERT_EQ(atOnce.text, insertions.text);
        EXPECT_EQ(atOnce.flags, (callerFlags & ~std::ios_base::basefield) | base) << describe(message);
        EXPECT_EQ(insertions.flags, (callerFlags & ~std::ios_base::basefield) | base | std::ios_base::unitbuf);
        EXPECT_EQ(atOnce.fill, '0');
        EXPECT_EQ(insertions.fill, '0');
        EXPECT_EQ(atOnce.width, 0);
        EXPECT_EQ(atOnce.precision, 3);
        EXPECT_EQ(insertions.precision, 3);
    }
}

TEST(RenderingPaths, FailedStreamStillAsksForThePacketTypeTwiceAndTakesFillAndBase)
{
    XCP_Message stimulation = corpus()[0];
    stimulation.packet.identificationField.pid = 0x20;
    XCP_Message command = corpus()[0];
    XCP_Message daq = corpus()[1];
    for (const XCP_Message* message : {&stimulation, &command, &daq}) {
        const Outcome outcome = printOn(*message, [](std::ostream& out) {
            out << std::hex;
            out.setstate(std::ios_base::badbit);
        });
        EXPECT_EQ(outcome.text, "");
        EXPECT_EQ(outcome.cerrText, message == &stimulation ? repeatedLine(kStimulationWarning, 2) : "");
        EXPECT_EQ(outcome.fill, '0');
        EXPECT_EQ(outcome.flags & std::ios_base::basefield, std::ios_base::dec);
    }
}

TEST(RenderingPaths, DiagnosticLinesStayWhereTheInsertionsPutThem)
{
    // With the diagnostic stream and the line in one buffer, as on a terminal, each warning
    // shows right after the text printed before the packet-type query that wrote it.
    XCP_Message stimulation = corpus()[0];
    stimulation.packet.identificationField.pid = 0x20;
    std::stringbuf shared;
    std::ostream out(&shared);
    std::streambuf* savedCerr = std::cerr.rdbuf(&shared);
    out << stimulation;
    std::cerr.rdbuf(savedCerr);
    EXPECT_EQ(shared.str(), "1700000000.123456789  XCP CAN Tx  | ECU[1], [" + kStimulationWarning + "\nDTO_STIM(" +
                                kStimulationWarning +
                                "\n)]; HEADER[off]; PACKET[ID Field[Type=CTO_PACKET_CODE, PID=0x20]; TS "
                                "Field[Type=NO]; Data Field[Data=0a ff]]; TAIL[off]; CAN[Id=0x7f1, Type=EXT, Ch=1]");
}

// ---- unusual flags, written out by hand ------------------------------------------------------------

const std::string kTime = "1700000000.123456789";

/// A DOWNLOAD command on CAN.
XCP_Message canCommand()
{
    return corpus()[0];
}

/// A DAQ packet with absolute ODT numbers received over TCP from ECU 254.
XCP_Message ethernetDaq()
{
    XCP_Message message(1700000000123456789ull, M::TT_ETHERNET, M::MD_RX, 254);
    EXPECT_TRUE(message.header.setLEN(7));
    EXPECT_TRUE(message.header.setCTR(5));
    M::Packet::IdentificationField& id = message.packet.identificationField;
    id.setType(M::IFT_ABSOLUTE_ODT_NUMBER);
    id.pid = 0x05;
    id.firstPid = 0x0b;
    id.setDaqNo(4660);
    message.packet.timestampField.setType(M::TST_WORD);
    const uint8_t ticks[] = {0x34, 0x12};
    EXPECT_TRUE(message.packet.timestampField.setTimestamp(ticks, sizeof ticks));
    message.packet.dataField.data = hexBytes("0a ff");
    message.setEthernetTransportTypeSettings("10.0.0.2", "10.0.0.1", "255.255.255.0", 5555, true);
    return message;
}

/// A CONNECT sent over UDP: its port shows in hex.
XCP_Message ethernetConnect()
{
    XCP_Message message(1700000000123456789ull, M::TT_ETHERNET, M::MD_TX, 0);
    EXPECT_TRUE(message.header.setLEN(2));
    message.packet.identificationField.setType(M::IFT_CTO_PACKET_CODE);
    message.packet.identificationField.pid = 0xFF;
    message.packet.dataField.data = {0x00};
    message.setEthernetTransportTypeSettings("10.0.0.2", "10.0.0.1", "255.255.255.0", 5555, false);
    return message;
}

/// The lines on a stream with default state, for reading the cases below against.
const std::string kCanLine =
    "  XCP CAN Tx  | ECU[1], [CTO_CMD(DOWNLOAD)]; HEADER[off]; PACKET[ID Field[Type=CTO_PACKET_CODE, PID=0xf0]; TS "
    "Field[Type=NO]; Data Field[Data=0a ff]]; TAIL[off]; CAN[Id=0x7f1, Type=EXT, Ch=1]";
const std::string kDaqLine =
    "  XCP ETH Rx  | ECU[255], [DTO_DAQ()]; HEADER[on, Data=07 00 05 00]; PACKET[ID Field[Type=ABSOLUTE_ODT_NUMBER, "
    "PID=0x05, FIRST_PID=0x0b, DAQ=4660]; TS Field[Type=WORD, Timestamp=34 12]; Data Field[Data=0a ff]]; TAIL[off]; "
    "ETH[Dst=10.0.0.2, Src=10.0.0.1, Mask=255.255.255.0, Port=5555, TCP]";
const std::string kConnectLine =
    "  XCP ETH Tx  | ECU[1], [CTO_CMD(CONNECT)]; HEADER[on, Data=02 00 00 00]; PACKET[ID Field[Type=CTO_PACKET_CODE, "
    "PID=0xff]; TS Field[Type=NO]; Data Field[Data=00]]; TAIL[off]; ETH[Dst=10.0.0.2, Src=10.0.0.1, "
    "Mask=255.255.255.0, Port=15b3, UDP]";

template <typename Prepare>
void expectLines(Prepare prepare, const std::string& can, const std::string& daq, const std::string& connect)
{
    const Outcome canOutcome = printOn(canCommand(), prepare);
    const Outcome daqOutcome = printOn(ethernetDaq(), prepare);
    const Outcome connectOutcome = printOn(ethernetConnect(), prepare);
    EXPECT_EQ(canOutcome.text, kTime + can);
    EXPECT_EQ(daqOutcome.text, kTime + daq);
    EXPECT_EQ(connectOutcome.text, kTime + connect);
    EXPECT_GT(canOutcome.blockWrites, 1);
    EXPECT_GT(daqOutcome.blockWrites, 1);
    EXPECT_GT(connectOutcome.blockWrites, 1);
}

TEST(RenderingPaths, DefaultStreamLinesAsWrittenOut)
{
    EXPECT_EQ(printOnOrdinaryStream(canCommand()).text, kTime + kCanLine);
    EXPECT_EQ(printOnOrdinaryStream(ethernetDaq()).text, kTime + kDaqLine);
    EXPECT_EQ(printOnOrdinaryStream(ethernetConnect()).text, kTime + kConnectLine);
}

TEST(RenderingPaths, UpperCaseReachesPidsIdentifierAndHexPortButNotTheDumps)
{
    expectLines([](std::ostream& out) { out << std::uppercase; },
                "  XCP CAN Tx  | ECU[1], [CTO_CMD(DOWNLOAD)]; HEADER[off]; PACKET[ID Field[Type=CTO_PACKET_CODE, "
                "PID=0xF0]; TS Field[Type=NO]; Data Field[Data=0a ff]]; TAIL[off]; CAN[Id=0x7F1, Type=EXT, Ch=1]",
                "  XCP ETH Rx  | ECU[255], [DTO_DAQ()]; HEADER[on, Data=07 00 05 00]; PACKET[ID Field[Type="
                "ABSOLUTE_ODT_NUMBER, PID=0x05, FIRST_PID=0x0B, DAQ=4660]; TS Field[Type=WORD, Timestamp=34 12]; Data "
                "Field[Data=0a ff]]; TAIL[off]; ETH[Dst=10.0.0.2, Src=10.0.0.1, Mask=255.255.255.0, Port=5555, TCP]",
                "  XCP ETH Tx  | ECU[1], [CTO_CMD(CONNECT)]; HEADER[on, Data=02 00 00 00]; PACKET[ID Field[Type="
                "CTO_PACKET_CODE, PID=0xFF]; TS Field[Type=NO]; Data Field[Data=00]]; TAIL[off]; ETH[Dst=10.0.0.2, "
                "Src=10.0.0.1, Mask=255.255.255.0, Port=15B3, UDP]");
}

TEST(RenderingPaths, ShowBasePrefixesEveryHexNumberButZero)
{
    // The prefix counts towards the PID's width of 2, so a small PID is not padded.
    expectLines([](std::ostream& out) { out << std::showbase; },
                "  XCP CAN Tx  | ECU[1], [CTO_CMD(DOWNLOAD)]; HEADER[off]; PACKET[ID Field[Type=CTO_PACKET_CODE, "
                "PID=0x0xf0]; TS Field[Type=NO]; Data Field[Data=0a ff]]; TAIL[off]; CAN[Id=0x0x7f1, Type=EXT, Ch=1]",
                "  XCP ETH Rx  | ECU[255], [DTO_DAQ()]; HEADER[on, Data=07 00 05 00]; PACKET[ID Field[Type="
                "ABSOLUTE_ODT_NUMBER, PID=0x0x5, FIRST_PID=0x0xb, DAQ=4660]; TS Field[Type=WORD, Timestamp=34 12]; "
                "Data Field[Data=0a ff]]; TAIL[off]; ETH[Dst=10.0.0.2, Src=10.0.0.1, Mask=255.255.255.0, Port=5555, "
                "TCP]",
                "  XCP ETH Tx  | ECU[1], [CTO_CMD(CONNECT)]; HEADER[on, Data=02 00 00 00]; PACKET[ID Field[Type="
                "CTO_PACKET_CODE, PID=0x0xff]; TS Field[Type=NO]; Data Field[Data=00]]; TAIL[off]; ETH[Dst=10.0.0.2, "
                "Src=10.0.0.1, Mask=255.255.255.0, Port=0x15b3, UDP]");
    XCP_Message zero = canCommand();
    zero.setMsgDirection(M::MD_RX);
    zero.packet.identificationField.pid = 0x00;
    const Outcome outcome = printOn(zero, [](std::ostream& out) { out << std::showbase; });
    EXPECT_NE(outcome.text.find(", PID=0x00]"), std::string::npos) << outcome.text;
}

TEST(RenderingPaths, ShowPosSignsTheSignedNumbersOnly)
{
    // ECU and channel are written as int, the DAQ list number and the port as unsigned.
    expectLines([](std::ostream& out) { out << std::showpos; },
                "  XCP CAN Tx  | ECU[+1], [CTO_CMD(DOWNLOAD)]; HEADER[off]; PACKET[ID Field[Type=CTO_PACKET_CODE, "
                "PID=0xf0]; TS Field[Type=NO]; Data Field[Data=0a ff]]; TAIL[off]; CAN[Id=0x7f1, Type=EXT, Ch=+1]",
                "  XCP ETH Rx  | ECU[+255], [DTO_DAQ()]; HEADER[on, Data=07 00 05 00]; PACKET[ID Field[Type="
                "ABSOLUTE_ODT_NUMBER, PID=0x05, FIRST_PID=0x0b, DAQ=4660]; TS Field[Type=WORD, Timestamp=34 12]; Data "
                "Field[Data=0a ff]]; TAIL[off]; ETH[Dst=10.0.0.2, Src=10.0.0.1, Mask=255.255.255.0, Port=5555, TCP]",
                "  XCP ETH Tx  | ECU[+1], [CTO_CMD(CONNECT)]; HEADER[on, Data=02 00 00 00]; PACKET[ID Field[Type="
                "CTO_PACKET_CODE, PID=0xff]; TS Field[Type=NO]; Data Field[Data=00]]; TAIL[off]; ETH[Dst=10.0.0.2, "
                "Src=10.0.0.1, Mask=255.255.255.0, Port=15b3, UDP]");
}

TEST(RenderingPaths, LeftAdjustmentPadsSmallPidsOnTheRight)
{
    expectLines([](std::ostream& out) { out << std::left; },
                kCanLine,
                "  XCP ETH Rx  | ECU[255], [DTO_DAQ()]; HEADER[on, Data=07 00 05 00]; PACKET[ID Field[Type="
                "ABSOLUTE_ODT_NUMBER, PID=0x50, FIRST_PID=0xb0, DAQ=4660]; TS Field[Type=WORD, Timestamp=34 12]; Data "
                "Field[Data=0a ff]]; TAIL[off]; ETH[Dst=10.0.0.2, Src=10.0.0.1, Mask=255.255.255.0, Port=5555, TCP]",
                kConnectLine);
}

TEST(RenderingPaths, PendingWidthPadsTheFirstInsertionAfterTheTimeStamp)
{
    const std::string padding(6, ' ');
    expectLines([](std::ostream& out) { out << std::setw(12); }, padding + kCanLine, padding + kDaqLine,
                padding + kConnectLine);
    const Outcome starred = printOn(canCommand(), [](std::ostream& out) { out << std::setfill('*') << std::setw(8); });
    EXPECT_EQ(starred.text, kTime + "**" + kCanLine);
    EXPECT_EQ(starred.width, 0);
    EXPECT_EQ(starred.fill, '0');
}

TEST(RenderingPaths, DigitGroupingOfTheStreamsLocale)
{
    // The stream's numbers are grouped, hex ones included; the dumps run on scratch streams
    // with the global locale and are not.
    expectLines([](std::ostream& out) { out.imbue(std::locale(std::locale::classic(), new GroupEachDigit)); },
                "  XCP CAN Tx  | ECU[1], [CTO_CMD(DOWNLOAD)]; HEADER[off]; PACKET[ID Field[Type=CTO_PACKET_CODE, "
                "PID=0xf'0]; TS Field[Type=NO]; Data Field[Data=0a ff]]; TAIL[off]; CAN[Id=0x7'f'1, Type=EXT, Ch=1]",
                "  XCP ETH Rx  | ECU[2'5'5], [DTO_DAQ()]; HEADER[on, Data=07 00 05 00]; PACKET[ID Field[Type="
                "ABSOLUTE_ODT_NUMBER, PID=0x05, FIRST_PID=0x0b, DAQ=4'6'6'0]; TS Field[Type=WORD, Timestamp=34 12]; "
                "Data Field[Data=0a ff]]; TAIL[off]; ETH[Dst=10.0.0.2, Src=10.0.0.1, Mask=255.255.255.0, "
                "Port=5'5'5'5, TCP]",
                "  XCP ETH Tx  | ECU[1], [CTO_CMD(CONNECT)]; HEADER[on, Data=02 00 00 00]; PACKET[ID Field[Type="
                "CTO_PACKET_CODE, PID=0xf'f]; TS Field[Type=NO]; Data Field[Data=00]]; TAIL[off]; ETH[Dst=10.0.0.2, "
                "Src=10.0.0.1, Mask=255.255.255.0, Port=1'5'b'3, UDP]");
}

TEST(RenderingPaths, DigitGroupingOfTheGlobalLocaleReachesTheDumpsOnly)
{
    GlobalLocale grouping(std::locale(std::locale::classic(), new GroupEachDigit));
    expectLines([](std::ostream& out) { out.imbue(std::locale::classic()); },
                "  XCP CAN Tx  | ECU[1], [CTO_CMD(DOWNLOAD)]; HEADER[off]; PACKET[ID Field[Type=CTO_PACKET_CODE, "
                "PID=0xf0]; TS Field[Type=NO]; Data Field[Data=0a f'f]]; TAIL[off]; CAN[Id=0x7f1, Type=EXT, Ch=1]",
                "  XCP ETH Rx  | ECU[255], [DTO_DAQ()]; HEADER[on, Data=07 00 05 00]; PACKET[ID Field[Type="
                "ABSOLUTE_ODT_NUMBER, PID=0x05, FIRST_PID=0x0b, DAQ=4660]; TS Field[Type=WORD, Timestamp=3'4 1'2]; "
                "Data Field[Data=0a f'f]]; TAIL[off]; ETH[Dst=10.0.0.2, Src=10.0.0.1, Mask=255.255.255.0, Port=5555, "
                "TCP]",
                kConnectLine);
}

TEST(RenderingPaths, DiagnosticsAndUnnamedCanTypeTakeTheInsertions)
{
    XCP_Message unknownDirection = canCommand();
    unknownDirection.setMsgDirection(M::MD_UNKNOWN);
    XCP_Message unnamedCanType = canCommand();
    unnamedCanType.setCanTransportTypeSettings(0x7F1, static_cast<cantype_t>(7), 0);
    for (const XCP_Message* message : {&unknownDirection, &unnamedCanType}) {
        std::string referenceCerr;
        const std::string reference = referenceLine(*message, referenceCerr);
        const Outcome outcome = printOnOrdinaryStream(*message);
        EXPECT_EQ(outcome.text, reference);
        EXPECT_EQ(outcome.cerrText, referenceCerr);
        EXPECT_GT(outcome.blockWrites, 1);
    }
    EXPECT_NE(printOnOrdinaryStream(unnamedCanType).text.find("Type=" + rendered(static_cast<cantype_t>(7)) + ", Ch=1]"),
              std::string::npos);
}

}  // namespace
