// The one-line summary of an XCP message: the base rendering (time stamp in seconds), then
// transport, direction, ECU, XCP meaning, the frame pieces and the CAN or Ethernet settings.
// Covers column padding, plus-one numbering, the port printed in whatever base the
// identification field left behind, the stream state after the line, and the diagnostic
// lines that printing produces through the packet-type query (twice per printed message).

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <iomanip>
#include <memory>
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
const std::string kUnknownDirectionError = "[ERROR] XCP_Message::setPacketType: Unknown direction=UNKNOWN";
const std::string kInvalidDirectionError =
    "[ERROR] XCP_Message::setPacketType: Unknown direction=invalid msg direction";

const timeStamp_t kTimeStamp = 1700000000123456789ull;
const std::string kTimeText = "1700000000.123456789";

/// An Ethernet CONNECT sent by the logger (master).
XCP_Message ethernetConnect()
{
    XCP_Message message(kTimeStamp, M::TT_ETHERNET, M::MD_TX, 0);
    EXPECT_TRUE(message.header.setLEN(2));
    message.packet.identificationField.setType(M::IFT_CTO_PACKET_CODE);
    message.packet.identificationField.pid = 0xFF;
    message.packet.timestampField.setType(M::TST_NO);
    message.packet.dataField.data = {0x00};
    message.setEthernetTransportTypeSettings("10.0.0.2", "10.0.0.1", "255.255.255.0", 5555, false);
    return message;
}

/// An Ethernet DAQ packet received from the slave, relative ODT with the list number as a byte.
XCP_Message ethernetDaq()
{
    XCP_Message message(kTimeStamp, M::TT_ETHERNET, M::MD_RX, 2);
    EXPECT_TRUE(message.header.setLEN(7));
    EXPECT_TRUE(message.header.setCTR(5));
    M::Packet::IdentificationField& id = message.packet.identificationField;
    id.setType(M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE);
    id.pid = 0x00;
    id.setDaqNo(2);
    message.packet.timestampField.setType(M::TST_WORD);
    const uint8_t ticks[] = {0x34, 0x12};
    EXPECT_TRUE(message.packet.timestampField.setTimestamp(ticks, sizeof ticks));
    message.packet.dataField.data = hexBytes("0a 00 ff");
    message.setEthernetTransportTypeSettings("10.0.0.2", "10.0.0.1", "255.255.255.0", 5555, true);
    return message;
}

/// A CAN CONNECT sent by the logger, padded to eight bytes.
XCP_Message canConnect()
{
    XCP_Message message(kTimeStamp, M::TT_CAN, M::MD_TX, 0);
    message.packet.identificationField.setType(M::IFT_CTO_PACKET_CODE);
    message.packet.identificationField.pid = 0xFF;
    message.packet.dataField.data = {0x00};
    message.tail.setFillBytes(6);
    message.setCanTransportTypeSettings(0x7F1, CT_STANDARD, 0);
    return message;
}

/// A minimal received CAN message with the given identification field type and PID.
XCP_Message canMessage(M::msgDirection_t direction, uint8_t pid,
                       M::identificationFieldType_t idType = M::IFT_CTO_PACKET_CODE)
{
    XCP_Message message(kTimeStamp, M::TT_CAN, direction, 0);
    message.packet.identificationField.setType(idType);
    message.packet.identificationField.pid = pid;
    message.setCanTransportTypeSettings(0x7F1, CT_STANDARD, 0);
    return message;
}

const std::string kConnectLine =
    "  XCP ETH Tx  | ECU[1], [CTO_CMD(CONNECT)]; HEADER[on, Data=02 00 00 00]; PACKET[ID Field[Type=CTO_PACKET_CODE, "
    "PID=0xff]; TS Field[Type=NO]; Data Field[Data=00]]; TAIL[off]; ETH[Dst=10.0.0.2, Src=10.0.0.1, "
    "Mask=255.255.255.0, Port=15b3, UDP]";
const std::string kDaqLine =
    "  XCP ETH Rx  | ECU[3], [DTO_DAQ()]; HEADER[on, Data=07 00 05 00]; PACKET[ID Field[Type="
    "RELATIVE_ODT_ABSOLUTE_DAQ_BYTE, PID=0x00, DAQ=2]; TS Field[Type=WORD, Timestamp=34 12]; Data Field[Data=0a 00 "
    "ff]]; TAIL[off]; ETH[Dst=10.0.0.2, Src=10.0.0.1, Mask=255.255.255.0, Port=5555, TCP]";
const std::string kCanConnectLine =
    "  XCP CAN Tx  | ECU[1], [CTO_CMD(CONNECT)]; HEADER[off]; PACKET[ID Field[Type=CTO_PACKET_CODE, PID=0xff]; TS "
    "Field[Type=NO]; Data Field[Data=00]]; TAIL[on, Data=00 00 00 00 00 00]; CAN[Id=0x7f1, Type=STD, Ch=1]";

std::string line(const XCP_Message& message)
{
    std::ostringstream text;
    text << message;
    return text.str();
}

std::string baseText(const MessageBase& message)
{
    std::ostringstream text;
    text << message;
    return text.str();
}

std::string canTypeText(cantype_t type)
{
    std::ostringstream text;
    text << type;
    return text.str();
}

/// The part between the bar's ECU and the header: "[<type>(<command>)]; ".
std::string meaningOf(const std::string& text)
{
    size_t start = text.find("], [");
    size_t end = text.find("; HEADER[");
    if (start == std::string::npos || end == std::string::npos) {
        return "<no meaning in: " + text + ">";
    }
    return text.substr(start + 3, end - start - 3);
}

// ---- base rendering --------------------------------------------------------------------------

TEST(BaseRendering, TimeStampInSecondsWithNineDecimals)
{
    const struct {
        timeStamp_t nanoseconds;
        const char* text;
    } cases[] = {
        {0, "0.000000000"},
        {1, "0.000000001"},
        {999999999, "0.999999999"},
        {1000000000, "1.000000000"},
        {1700000000123456789ull, "1700000000.123456789"},
        {1700000000000000042ull, "1700000000.000000042"},
        {UINT64_MAX, "18446744073.709551615"},
    };
    for (const auto& c : cases) {
        XCP_Message message(c.nanoseconds, M::TT_CAN, M::MD_RX, 0);
        EXPECT_EQ(baseText(message), c.text);
    }
}

TEST(BaseRendering, UnaffectedByTheStreamStateAndLeavesItAlone)
{
    XCP_Message message(1700000000000000042ull, M::TT_CAN, M::MD_RX, 0);
    std::ostringstream out;
    out << std::hex << std::uppercase << std::showbase << std::showpos << std::left << std::setfill('0')
        << std::scientific << std::setprecision(2);
    const std::ios_base::fmtflags flags = out.flags();
    std::ostream& returned = (out << static_cast<const MessageBase&>(message));
    EXPECT_EQ(&returned, &out);
    EXPECT_EQ(out.str(), "1700000000.000000042");
    EXPECT_EQ(out.flags(), flags);
    EXPECT_EQ(out.fill(), '0');
    EXPECT_EQ(out.precision(), 2);
}

// ---- worked examples -------------------------------------------------------------------------

TEST(SummaryLine, EthernetCommandSentByTheLogger)
{
    CerrCapture cerr;
    EXPECT_EQ(line(ethernetConnect()), kTimeText + kConnectLine);
    EXPECT_EQ(cerr.text(), "");
}

TEST(SummaryLine, EthernetDaqPacketReceived)
{
    CerrCapture cerr;
    EXPECT_EQ(line(ethernetDaq()), kTimeText + kDaqLine);
    EXPECT_EQ(cerr.text(), "");
}

TEST(SummaryLine, CanCommandSentByTheLogger)
{
    EXPECT_EQ(line(canConnect()), kTimeText + kCanConnectLine);
}

// ---- print, toString and the operator --------------------------------------------------------

TEST(SummaryLine, PrintAndToStringWriteWhatTheOperatorWrites)
{
    const XCP_Message message = ethernetDaq();
    std::ostringstream printed;
    std::ostream& returnedByPrint = message.print(printed);
    EXPECT_EQ(&returnedByPrint, &printed);
    EXPECT_EQ(printed.str(), kTimeText + kDaqLine);

    std::ostringstream streamed;
    std::ostream& returnedByOperator = (streamed << message);
    EXPECT_EQ(&returnedByOperator, &streamed);
    EXPECT_EQ(streamed.str(), printed.str());

    EXPECT_EQ(message.toString(), printed.str());

    // Through the base class, as trace viewers hold messages.
    std::unique_ptr<MessageBase> copy(message.clone());
    std::ostringstream viaBase;
    copy->print(viaBase);
    EXPECT_EQ(viaBase.str(), printed.str());
    EXPECT_EQ(copy->toString(), printed.str());
}

TEST(SummaryLine, NoLineEndAndNoFlush)
{
    testsupport::FlushRecordingBuf buffer;
    std::ostream out(&buffer);
    out << ethernetConnect();
    canConnect().print(out);
    out << ethernetDaq();
    EXPECT_EQ(buffer.str(), kTimeText + kConnectLine + kTimeText + kCanConnectLine + kTimeText + kDaqLine);
    EXPECT_TRUE(buffer.syncPositions().empty());
}

TEST(SummaryLine, PrintingLeavesTheMessageUnchanged)
{
    const XCP_Message original = ethernetConnect();
    XCP_Message message = ethernetConnect();
    line(message);
    message.toString();
    EXPECT_TRUE(message == original);
    EXPECT_EQ(message.getTimeStamp(), original.getTimeStamp());
    EXPECT_EQ(line(message), line(original));
}

// ---- transport, direction and column ---------------------------------------------------------

TEST(SummaryLine, ColumnPaddingByTransport)
{
    XCP_Message message(kTimeStamp, M::TT_UNKNOWN, M::MD_RX, 0);
    message.packet.identificationField.setType(M::IFT_CTO_PACKET_CODE);
    message.packet.identificationField.pid = 0xFF;
    message.setCanTransportTypeSettings(0x7F1, CT_STANDARD, 0);
    message.setEthernetTransportTypeSettings("a", "b", "c", 1, false);
    const std::string pieces =
        "[CTO_RES()]; HEADER[off]; PACKET[ID Field[Type=CTO_PACKET_CODE, PID=0xff]; TS Field[Type=NO]; Data "
        "Field[Data=Empty]]; TAIL[off]";

    // Unknown and out-of-range transports: no padding and no settings suffix.
    EXPECT_EQ(line(message), kTimeText + "  XCP UNKNOWN Rx | ECU[1], " + pieces);
    message.setTransportType(M::TT_FLEXRAY);
    EXPECT_EQ(line(message), kTimeText + "  XCP FR Rx   | ECU[1], " + pieces);
    message.setTransportType(M::TT_CAN);
    EXPECT_EQ(line(message), kTimeText + "  XCP CAN Rx  | ECU[1], " + pieces + "; CAN[Id=0x7f1, Type=STD, Ch=1]");
    message.setTransportType(M::TT_ETHERNET);
    EXPECT_EQ(line(message), kTimeText + "  XCP ETH Rx  | ECU[1], " + pieces + "; ETH[Dst=a, Src=b, Mask=c, Port=1, UDP]");
    for (int32_t transport : {4, -1, 99}) {
        message.setTransportType(static_cast<M::transportType_t>(transport));
        EXPECT_EQ(line(message), kTimeText + "  XCP invalid transport type Rx | ECU[1], " + pieces)
            << "transport " << transport;
    }
}

TEST(SummaryLine, DirectionNamesAreNotCompensated)
{
    const std::string txStart = kTimeText + "  XCP CAN Tx  | ECU[1], ";
    EXPECT_EQ(line(canMessage(M::MD_TX, 0xFF)).substr(0, txStart.size()), txStart);
    const std::string rxStart = kTimeText + "  XCP CAN Rx  | ECU[1], ";
    EXPECT_EQ(line(canMessage(M::MD_RX, 0xFF)).substr(0, rxStart.size()), rxStart);

    XCP_Message unknown = canMessage(M::MD_UNKNOWN, 0xFF);
    {
        CerrCapture cerr;
        const std::string expected = kTimeText + "  XCP CAN UNKNOWN  | ECU[1], [UNKNOWN()]; HEADER[off]; ";
        EXPECT_EQ(line(unknown).substr(0, expected.size()), expected);
        EXPECT_EQ(cerr.text(), repeatedLine(kUnknownDirectionError, 2));
    }
    XCP_Message invalid = canMessage(static_cast<M::msgDirection_t>(3), 0xFF);
    {
        CerrCapture cerr;
        const std::string expected = kTimeText + "  XCP CAN invalid msg direction  | ECU[1], [UNKNOWN()]; HEADER[off]; ";
        EXPECT_EQ(line(invalid).substr(0, expected.size()), expected);
        EXPECT_EQ(cerr.text(), repeatedLine(kInvalidDirectionError, 2));
    }
}

// ---- ECU and packet meaning ------------------------------------------------------------------

TEST(SummaryLine, EcuIsShownPlusOneInDecimal)
{
    for (int ecu : {0, 9, 15, 254, 255}) {
        XCP_Message message = canMessage(M::MD_RX, 0xFF);
        message.setEcuId(static_cast<uint8_t>(ecu));
        std::ostringstream out;
        out << std::hex << std::showbase;  // the line sets decimal for the ECU itself
        out << message;
        const std::string expected = "| ECU[" + std::to_string(ecu + 1) + "], ";
        EXPECT_NE(out.str().find(expected), std::string::npos) << out.str();
    }
    XCP_Message last = canMessage(M::MD_RX, 0xFF);
    last.setEcuId(255);
    EXPECT_NE(line(last).find("| ECU[256], [CTO_RES()]"), std::string::npos);
}

TEST(SummaryLine, ReceivedPacketsShowEmptyParentheses)
{
    CerrCapture cerr;
    EXPECT_EQ(meaningOf(line(canMessage(M::MD_RX, 0xFF))), "[CTO_RES()]");
    EXPECT_EQ(meaningOf(line(canMessage(M::MD_RX, 0xFE))), "[CTO_ERR()]");
    EXPECT_EQ(meaningOf(line(canMessage(M::MD_RX, 0xFD))), "[CTO_EV()]");
    EXPECT_EQ(meaningOf(line(canMessage(M::MD_RX, 0xFC))), "[CTO_SERV()]");
    EXPECT_EQ(meaningOf(line(canMessage(M::MD_RX, 0x10))), "[DTO_DAQ()]");
    EXPECT_EQ(meaningOf(line(canMessage(M::MD_RX, 0xFB))), "[DTO_DAQ()]");
    EXPECT_EQ(cerr.text(), "");
}

TEST(SummaryLine, CommandsShowTheirNameInParentheses)
{
    CerrCapture cerr;
    EXPECT_EQ(meaningOf(line(canMessage(M::MD_TX, 0xFF))), "[CTO_CMD(CONNECT)]");
    EXPECT_EQ(meaningOf(line(canMessage(M::MD_TX, 0xCC))), "[CTO_CMD(PROGRAMM_PREPARE)]");
    EXPECT_EQ(meaningOf(line(canMessage(M::MD_TX, 0xC7))), "[CTO_CMD(WRITE_DAQ_MULTIPLE)]");
    EXPECT_EQ(meaningOf(line(canMessage(M::MD_TX, 0xC3))), "[CTO_CMD(invalid command code)]");
    EXPECT_EQ(meaningOf(line(canMessage(M::MD_TX, 0xC0))), "[CTO_CMD(invalid command code)]");
    for (int pid = 0xC0; pid <= 0xFF; ++pid) {
        std::ostringstream name;
        name << static_cast<M::cmdCode_t>(pid);
        EXPECT_EQ(meaningOf(line(canMessage(M::MD_TX, static_cast<uint8_t>(pid)))), "[CTO_CMD(" + name.str() + ")]");
    }
    EXPECT_EQ(cerr.text(), "");
}

TEST(SummaryLine, StimulationWarnsTwicePerPrintedMessage)
{
    XCP_Message stimulation = canMessage(M::MD_TX, 0x20);
    CerrCapture cerr;
    EXPECT_EQ(meaningOf(line(stimulation)), "[DTO_STIM()]");
    EXPECT_EQ(cerr.text(), repeatedLine(kStimulationWarning, 2));
    cerr.clear();
    stimulation.toString();
    line(stimulation);
    EXPECT_EQ(cerr.text(), repeatedLine(kStimulationWarning, 4));
}

TEST(SummaryLine, UnknownDirectionIsReportedTwicePerPrintedMessage)
{
    XCP_Message message = ethernetConnect();
    message.setMsgDirection(M::MD_UNKNOWN);
    CerrCapture cerr;
    EXPECT_EQ(meaningOf(line(message)), "[UNKNOWN()]");
    EXPECT_EQ(cerr.text(), repeatedLine(kUnknownDirectionError, 2));
}

// ---- CAN settings ----------------------------------------------------------------------------

TEST(CanSuffix, IdentifierInLowerCaseHexWithoutPadding)
{
    const struct {
        uint32_t id;
        const char* text;
    } cases[] = {
        {0x0, "0x0"}, {0x7F1, "0x7f1"}, {0x18DAF110, "0x18daf110"}, {0x1FFFFFFF, "0x1fffffff"}, {0xFFFFFFFF, "0xffffffff"},
    };
    for (const auto& c : cases) {
        XCP_Message message = canConnect();
        message.setCanTransportTypeSettings(c.id, CT_EXTENDED, 0);
        const std::string text = line(message);
        const std::string suffix = std::string("; CAN[Id=") + c.text + ", Type=" + canTypeText(CT_EXTENDED) + ", Ch=1]";
        ASSERT_GE(text.size(), suffix.size());
        EXPECT_EQ(text.substr(text.size() - suffix.size()), suffix);
    }
}

TEST(CanSuffix, FrameTypeThroughTheLibrarysRendering)
{
    const cantype_t types[] = {CT_STANDARD, CT_EXTENDED, CT_FD_STANDARD, CT_FD_EXTENDED, static_cast<cantype_t>(9)};
    for (cantype_t type : types) {
        XCP_Message message = canConnect();
        message.setCanTransportTypeSettings(0x123, type, 3);
        const std::string suffix = "; CAN[Id=0x123, Type=" + canTypeText(type) + ", Ch=4]";
        const std::string text = line(message);
        EXPECT_EQ(text.substr(text.size() - suffix.size()), suffix);
    }
    EXPECT_EQ(canTypeText(CT_STANDARD), "STD");
}

TEST(CanSuffix, ChannelPlusOneInDecimal)
{
    for (int channel : {0, 15, 99, 255}) {
        XCP_Message message = canConnect();
        message.setCanTransportTypeSettings(0x7F1, CT_STANDARD, static_cast<uint8_t>(channel));
        const std::string suffix = "; CAN[Id=0x7f1, Type=STD, Ch=" + std::to_string(channel + 1) + "]";
        const std::string text = line(message);
        EXPECT_EQ(text.substr(text.size() - suffix.size()), suffix);
    }
}

TEST(CanSuffix, LeavesTheStreamDecimalWithFillZero)
{
    for (const XCP_Message& message : {canConnect(), canMessage(M::MD_RX, 0x03, M::IFT_ABSOLUTE_ODT_NUMBER)}) {
        std::ostringstream out;
        out << message;
        out.str("");
        out << 255 << "|" << std::setw(3) << 7;
        EXPECT_EQ(out.str(), "255|007");
    }
}

// ---- Ethernet settings -----------------------------------------------------------------------

std::string ethernetSuffix(const std::string& text)
{
    size_t start = text.rfind("; ETH[");
    return start == std::string::npos ? "<no Ethernet suffix in: " + text + ">" : text.substr(start);
}

TEST(EthernetSuffix, AddressesAsTheyStandTcpOrUdp)
{
    XCP_Message message = ethernetConnect();
    message.setEthernetTransportTypeSettings("", "", "", 5555, false);
    EXPECT_EQ(ethernetSuffix(line(message)), "; ETH[Dst=, Src=, Mask=, Port=15b3, UDP]");
    message.setEthernetTransportTypeSettings("fe80::1", "host name", "/24", 5555, true);
    EXPECT_EQ(ethernetSuffix(line(message)), "; ETH[Dst=fe80::1, Src=host name, Mask=/24, Port=15b3, TCP]");
}

TEST(EthernetSuffix, PortInHexAfterACtoIdentificationField)
{
    const struct {
        uint16_t port;
        const char* text;
    } cases[] = {{0, "0"}, {10, "a"}, {255, "ff"}, {5555, "15b3"}, {65535, "ffff"}};
    for (const auto& c : cases) {
        XCP_Message message = ethernetConnect();
        message.setEthernetTransportTypeSettings("d", "s", "m", c.port, false);
        std::ostringstream out;
        out << std::dec;  // the line does not set a base for the port
        out << message;
        EXPECT_EQ(ethernetSuffix(out.str()), std::string("; ETH[Dst=d, Src=s, Mask=m, Port=") + c.text + ", UDP]");
    }
    // An identification field type without enumerator is treated as a CTO: hex as well.
    XCP_Message unnamed = ethernetDaq();
    unnamed.packet.identificationField.setType(static_cast<M::identificationFieldType_t>(4));
    EXPECT_EQ(ethernetSuffix(line(unnamed)), "; ETH[Dst=10.0.0.2, Src=10.0.0.1, Mask=255.255.255.0, Port=15b3, TCP]");
}

TEST(EthernetSuffix, PortInDecimalAfterEachDaqIdentificationField)
{
    const M::identificationFieldType_t daqTypes[] = {M::IFT_ABSOLUTE_ODT_NUMBER, M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE,
                                                     M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD,
                                                     M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED};
    for (M::identificationFieldType_t type : daqTypes) {
        for (uint16_t port : {uint16_t{0}, uint16_t{10}, uint16_t{5555}, uint16_t{65535}}) {
            XCP_Message message = ethernetDaq();
            message.packet.identificationField.setType(type);
            message.setEthernetTransportTypeSettings("d", "s", "m", port, true);
            std::ostringstream out;
            out << std::oct;
            out << message;
            EXPECT_EQ(ethernetSuffix(out.str()), "; ETH[Dst=d, Src=s, Mask=m, Port=" + std::to_string(port) + ", TCP]");
        }
    }
}

TEST(EthernetSuffix, SameSettingsShowThePortByPacketKind)
{
    XCP_Message command = ethernetConnect();
    XCP_Message daq = ethernetDaq();
    daq.setEthernetTransportTypeSettings("10.0.0.2", "10.0.0.1", "255.255.255.0", 5555, false);
    EXPECT_EQ(ethernetSuffix(line(command)), "; ETH[Dst=10.0.0.2, Src=10.0.0.1, Mask=255.255.255.0, Port=15b3, UDP]");
    EXPECT_EQ(ethernetSuffix(line(daq)), "; ETH[Dst=10.0.0.2, Src=10.0.0.1, Mask=255.255.255.0, Port=5555, UDP]");
}

// ---- the stream after the line -----------------------------------------------------------------

TEST(SummaryLine, StreamKeepsFillZeroAndTheBaseTheLineLeft)
{
    std::ostringstream afterCommand;
    afterCommand << ethernetConnect();
    EXPECT_EQ(afterCommand.fill(), '0');
    afterCommand.str("");
    afterCommand << 255 << "|" << std::setw(5) << 42;
    EXPECT_EQ(afterCommand.str(), "ff|0002a");

    std::ostringstream afterDaq;
    afterDaq << ethernetDaq();
    EXPECT_EQ(afterDaq.fill(), '0');
    afterDaq.str("");
    afterDaq << 255 << "|" << std::setw(5) << 42;
    EXPECT_EQ(afterDaq.str(), "255|00042");
}

TEST(SummaryLine, PrintedTwiceIntoOneStreamGivesTheSameLine)
{
    // The first line leaves fill '0' and (for a CTO on Ethernet) hex behind; the second line,
    // time stamp included, must not show it.
    XCP_Message command = ethernetConnect();
    command.setTimeStamp(1700000000000000042ull);
    std::ostringstream out;
    out << command << "\n" << command;
    const std::string first = "1700000000.000000042" + kConnectLine;
    EXPECT_EQ(out.str(), first + "\n" + first);
}

TEST(SummaryLine, EachLineIsTheSameWhateverWasPrintedBefore)
{
    XCP_Message unknownTransport = canMessage(M::MD_RX, 0xFE);
    unknownTransport.setTransportType(M::TT_UNKNOWN);
    XCP_Message bigEcu = canConnect();
    bigEcu.setEcuId(200);
    bigEcu.setCanTransportTypeSettings(0xABC, CT_FD_EXTENDED, 254);
    bigEcu.setTimeStamp(12345678901ull);
    const std::vector<XCP_Message> messages = {ethernetConnect(), ethernetDaq(), canConnect(),
                                               canMessage(M::MD_RX, 0x07, M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD),
                                               unknownTransport, bigEcu};
    std::vector<std::string> fresh;
    for (const XCP_Message& message : messages) {
        fresh.push_back(line(message));
    }
    std::ostringstream out;
    std::string expected;
    for (int round = 0; round < 2; ++round) {
        for (size_t i = 0; i < messages.size(); ++i) {
            out << messages[i] << "\n";
            expected += fresh[i] + "\n";
        }
    }
    EXPECT_EQ(out.str(), expected);
    EXPECT_NE(fresh[5].find("12.345678901  XCP CAN Tx  | ECU[201], "), std::string::npos) << fresh[5];
    EXPECT_NE(fresh[5].find("; CAN[Id=0xabc, Type=" + canTypeText(CT_FD_EXTENDED) + ", Ch=255]"), std::string::npos)
        << fresh[5];
}

}  // namespace
