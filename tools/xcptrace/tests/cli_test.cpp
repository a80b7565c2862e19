// The xcptrace program end to end: the bundled examples against their golden output,
// trace files written and read back, several inputs, options, and bad inputs with their
// exact messages and exit codes.

#include <algorithm>

#include "cli_support.h"

using namespace clitest;
using tooltest::hex;

namespace {

const char* const UDP = "xcp-session-udp.pcap";
const char* const TCP = "xcp-session-tcp.pcap";
const char* const CAN_PCAP = "xcp-session-can.pcap";
const char* const CAN_LOG = "xcp-session-can.log";

std::string foundPair(const std::string& path, const char* unit)
{
    return "xcptrace: " + path + ": found XCP on CAN: master 7F1, slave 7F2 (CONNECT in " + unit + " 1, response in " +
           unit + " 2)\n";
}

bool startsWith(const std::string& text, const std::string& prefix)
{
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool inTimeOrder(const std::vector<std::string>& shown)
{
    return std::is_sorted(shown.begin(), shown.end(), [](const std::string& a, const std::string& b) {
        return a.substr(0, 20) < b.substr(0, 20);
    });
}

/// Byte offsets at which the records of a classic pcap start.
std::vector<size_t> pcapRecordStarts(const Bytes& pcap)
{
    std::vector<size_t> starts;
    size_t position = 24;
    while (position + 16 <= pcap.size()) {
        starts.push_back(position);
        size_t length = pcap[position + 8] | (pcap[position + 9] << 8) | (pcap[position + 10] << 16) |
                        (static_cast<size_t>(pcap[position + 11]) << 24);
        position += 16 + length;
    }
    return starts;
}

}  // namespace

// ---- the examples ----------------------------------------------------------------------------

TEST(CliTest, ExamplesShowTheirGoldenLines)
{
    struct Case {
        const char* input;
        const char* golden;
        const char* unit;
    };
    const Case cases[] = {{UDP, "xcp-session-udp.show", nullptr},
                          {TCP, "xcp-session-tcp.show", nullptr},
                          {CAN_PCAP, "xcp-session-can.show", "packet"},
                          {CAN_LOG, "xcp-session-can.show", "line"}};
    for (const Case& c : cases) {
        ToolRun run = runXcptrace({"show", example(c.input)});
        EXPECT_EQ(run.code, 0) << c.input;
        EXPECT_EQ(run.out, golden(c.golden)) << c.input;
        EXPECT_EQ(run.err, c.unit == nullptr ? "" : foundPair(example(c.input), c.unit)) << c.input;
    }
}

TEST(CliTest, ExamplesHoldTheWholeSession)
{
    std::vector<std::string> shown = lines(golden("xcp-session-udp.show"));
    auto count = [&](const std::string& text) {
        return std::count_if(shown.begin(), shown.end(),
                             [&](const std::string& line) { return line.find(text) != std::string::npos; });
    };
    for (const char* command : {"CONNECT", "GET_STATUS", "GET_ID", "GET_DAQ_PROCESSOR_INFO", "GET_DAQ_RESOLUTION_INFO",
                                "FREE_DAQ", "ALLOC_DAQ", "ALLOC_ODT", "ALLOC_ODT_ENTRY", "SET_DAQ_PTR", "WRITE_DAQ",
                                "SET_DAQ_LIST_MODE", "START_STOP_DAQ_LIST", "START_STOP_SYNCH", "SHORT_UPLOAD",
                                "DISCONNECT"}) {
        EXPECT_GE(count(std::string("[CTO_CMD(") + command + ")]"), 1) << command;
    }
    // 3 s of DAQ: list 0 at 50 Hz with two ODTs, list 1 at 10 Hz with one; one packet lost.
    EXPECT_EQ(count("[DTO_DAQ()]"), 150 * 2 + 30 - 1);
    EXPECT_EQ(count("[CTO_ERR()]"), 1);
    EXPECT_EQ(count("[CTO_EV()]"), 1);
    EXPECT_EQ(count("[CTO_SERV()]"), 1);
    EXPECT_EQ(shown.size(), 387u);
    EXPECT_TRUE(inTimeOrder(shown));
}

TEST(CliTest, CanCaptureAndCandumpLogGiveTheSameLines)
{
    EXPECT_EQ(runXcptrace({"show", example(CAN_PCAP)}).out, runXcptrace({"show", example(CAN_LOG)}).out);
}

TEST(CliTest, ConvertThenShowGivesTheSameLines)
{
    struct Case {
        const char* input;
        const char* golden;
        const char* unit;
    };
    const Case cases[] = {{UDP, "xcp-session-udp.show", nullptr},
                          {TCP, "xcp-session-tcp.show", nullptr},
                          {CAN_PCAP, "xcp-session-can.show", "packet"},
                          {CAN_LOG, "xcp-session-can.show", "line"}};
    for (const Case& c : cases) {
        TempDir dir;
        std::string trace = dir.file("session.xtr");
        ToolRun convert = runXcptrace({"convert", example(c.input), "-o", trace});
        EXPECT_EQ(convert.code, 0) << c.input;
        EXPECT_EQ(convert.out, "") << c.input;
        EXPECT_EQ(convert.err, c.unit == nullptr ? "" : foundPair(example(c.input), c.unit)) << c.input;
        ToolRun show = runXcptrace({"show", trace});
        EXPECT_EQ(show.code, 0) << c.input;
        EXPECT_EQ(show.out, golden(c.golden)) << c.input;
        EXPECT_EQ(show.err, "") << c.input;

        // The trace file converts again to the same bytes.
        std::string again = dir.file("again.xtr");
        EXPECT_EQ(runXcptrace({"convert", trace, "--output", again}).code, 0);
        EXPECT_EQ(readBytes(again), readBytes(trace)) << c.input;
    }
}

TEST(CliTest, SeveralInputsAreMergedInTimeOrder)
{
    ToolRun run = runXcptrace({"show", example(UDP), example(CAN_LOG)});
    EXPECT_EQ(run.code, 0);
    std::vector<std::string> shown = lines(run.out);
    ASSERT_EQ(shown.size(), lines(golden("xcp-session-udp.show")).size() + lines(golden("xcp-session-can.show")).size());
    EXPECT_TRUE(inTimeOrder(shown));
    // Both sessions start at the same moment: the first input comes first, and its slave
    // is the first to be numbered.
    EXPECT_TRUE(startsWith(shown[0], "1700000000.001244000  XCP ETH Tx  | ECU[1], [CTO_CMD(CONNECT)]")) << shown[0];
    EXPECT_TRUE(startsWith(shown[1], "1700000000.001244000  XCP CAN Tx  | ECU[2], [CTO_CMD(CONNECT)]")) << shown[1];
}

// ---- options -----------------------------------------------------------------------------------

TEST(CliTest, EcuNumberFixedOnTheCommandLine)
{
    ToolRun run = runXcptrace({"show", "--ecu", "7F1:7F2=4", example(CAN_LOG), example(UDP)});
    EXPECT_EQ(run.code, 0);
    std::vector<std::string> shown = lines(run.out);
    ASSERT_FALSE(shown.empty());
    for (const std::string& line : shown) {
        bool can = line.find(" XCP CAN ") != std::string::npos;
        EXPECT_NE(line.find(can ? "| ECU[5]," : "| ECU[1],"), std::string::npos) << line;
    }
}

TEST(CliTest, GivenCanPairNeedsNoDetection)
{
    ToolRun run = runXcptrace({"show", "--can", "7F1:7F2", example(CAN_LOG)});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.out, golden("xcp-session-can.show"));
    EXPECT_EQ(run.err, "");

    ToolRun swapped = runXcptrace({"show", "--can", "7F2:7F1", example(CAN_LOG)});
    std::vector<std::string> shown = lines(swapped.out);
    ASSERT_FALSE(shown.empty());
    EXPECT_TRUE(startsWith(shown[0], "1700000000.001244000  XCP CAN Rx  | ECU[1], [CTO_RES()]")) << shown[0];
}

TEST(CliTest, OtherSlavePort)
{
    ToolRun none = runXcptrace({"show", "--port", "5556", example(UDP)});
    EXPECT_EQ(none.code, 0);
    EXPECT_EQ(none.out, "");
    EXPECT_EQ(none.err, "xcptrace: " + example(UDP) + ": no XCP found on slave port 5556 (see --port)\n");

    ToolRun both = runXcptrace({"show", "--port", "5556", "--port", "5555", example(UDP)});
    EXPECT_EQ(both.out, golden("xcp-session-udp.show"));
    EXPECT_EQ(both.err, "");
}

TEST(CliTest, HelpOnEverySubcommand)
{
    for (const char* command : {"show", "convert"}) {
        ToolRun run = runXcptrace({command, "--help"});
        EXPECT_EQ(run.code, 0) << command;
        EXPECT_NE(run.out.find(std::string("xcptrace ") + command + " [OPTIONS] INPUT..."), std::string::npos)
            << run.out;
        for (const char* option : {"--port", "--can", "--ecu", "--strict"}) {
            EXPECT_NE(run.out.find(option), std::string::npos) << command << " " << option;
        }
    }
    EXPECT_NE(runXcptrace({"convert", "--help"}).out.find("-o,--output"), std::string::npos);
    ToolRun top = runXcptrace({"--help"});
    EXPECT_EQ(top.code, 0);
    EXPECT_NE(top.out.find("show"), std::string::npos);
    EXPECT_NE(top.out.find("convert"), std::string::npos);
}

TEST(CliTest, CommandLineMistakes)
{
    EXPECT_EQ(runXcptrace({}).code, 2);
    EXPECT_EQ(runXcptrace({"frobnicate"}).code, 2);
    EXPECT_EQ(runXcptrace({"show"}).code, 2);
    EXPECT_EQ(runXcptrace({"convert", example(UDP)}).code, 2);
    EXPECT_EQ(runXcptrace({"show", "--port", "70000", example(UDP)}).code, 2);

    ToolRun can = runXcptrace({"show", "--can", "7F1-7F2", example(UDP)});
    EXPECT_EQ(can.code, 2);
    EXPECT_EQ(can.out, "");
    EXPECT_EQ(can.err,
              "xcptrace: --can 7F1-7F2: expected MASTER_ID:SLAVE_ID, two different identifiers in hexadecimal "
              "(standard up to 7FF; extended with 8 digits or a trailing x)\n");

    ToolRun ecu = runXcptrace({"show", "--ecu", "10.0.0.2:5555=300", example(UDP)});
    EXPECT_EQ(ecu.code, 2);
    EXPECT_EQ(ecu.err, "xcptrace: --ecu 10.0.0.2:5555=300: the ECU number must be 0 to 255\n");

    ToolRun twice = runXcptrace({"show", "--ecu", "7F1:7F2=1", "--ecu", "7F1:7F2=2", example(UDP)});
    EXPECT_EQ(twice.code, 2);
    EXPECT_EQ(twice.err, "xcptrace: --ecu 7F1:7F2=2: this slave already has a number\n");
}

// ---- bad inputs --------------------------------------------------------------------------------

TEST(CliTest, MissingEmptyTextAndDirectoryInputs)
{
    TempDir dir;
    std::string empty = dir.file("empty.pcap");
    writeText(empty, "");
    std::string text = dir.file("notes.txt");
    writeText(text, "These are not packets.\nNot at all.\n");
    std::string missing = dir.file("missing.pcap");

    struct Case {
        std::string path;
        std::string message;
    };
    const Case cases[] = {
        {missing, "xcptrace: " + missing + ": cannot open: No such file or directory\n"},
        {empty, "xcptrace: " + empty + ": empty file\n"},
        {text, "xcptrace: " + text +
                   ": unrecognised format (not a pcap or pcapng capture, a candump log or an xcptrace trace file)\n"},
        {dir.path(), "xcptrace: " + dir.path() + ": cannot read: Is a directory\n"},
    };
    for (const Case& c : cases) {
        for (const char* command : {"show", "convert"}) {
            std::vector<std::string> args{command, example(UDP), c.path};
            if (std::string(command) == "convert") {
                args.push_back("-o");
                args.push_back(dir.file("out.xtr"));
            }
            ToolRun run = runXcptrace(args);
            EXPECT_EQ(run.code, 2) << c.path;
            EXPECT_EQ(run.out, "") << c.path;
            EXPECT_EQ(run.err, c.message) << c.path;
        }
    }
}

TEST(CliTest, PcapCutOffInsideARecord)
{
    Bytes pcap = readBytes(example(UDP));
    std::vector<size_t> starts = pcapRecordStarts(pcap);
    ASSERT_GT(starts.size(), 30u);
    TempDir dir;
    std::string whole = dir.file("whole-records.pcap");
    writeBytes(whole, Bytes(pcap.begin(), pcap.begin() + static_cast<std::ptrdiff_t>(starts[30])));
    std::string cut = dir.file("cut.pcap");
    writeBytes(cut, Bytes(pcap.begin(), pcap.begin() + static_cast<std::ptrdiff_t>(starts[30] + 20)));
    std::string cutHeader = dir.file("cut-header.pcap");
    writeBytes(cutHeader, Bytes(pcap.begin(), pcap.begin() + static_cast<std::ptrdiff_t>(starts[30] + 5)));

    ToolRun reference = runXcptrace({"show", whole});
    ASSERT_EQ(reference.code, 0);
    EXPECT_EQ(reference.err, "");
    std::vector<std::string> expected = lines(reference.out);
    ASSERT_FALSE(expected.empty());
    std::vector<std::string> all = lines(golden("xcp-session-udp.show"));
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), all.begin()));

    for (const std::string& path : {cut, cutHeader}) {
        ToolRun run = runXcptrace({"show", path});
        EXPECT_EQ(run.code, 0) << path;
        EXPECT_EQ(run.out, reference.out) << path;
        EXPECT_EQ(run.err, "xcptrace: " + path +
                               ": packet 31: the capture ends inside this packet's record\n"
                               "xcptrace: skipped: 1 input cut off inside a record\n")
            << path;
        ToolRun strict = runXcptrace({"show", "--strict", path});
        EXPECT_EQ(strict.code, 1) << path;
        EXPECT_EQ(strict.out, reference.out) << path;
    }
}

TEST(CliTest, PcapCutInsideItsFileHeader)
{
    TempDir dir;
    std::string path = dir.file("header.pcap");
    Bytes pcap = readBytes(example(UDP));
    writeBytes(path, Bytes(pcap.begin(), pcap.begin() + 10));
    ToolRun run = runXcptrace({"show", path});
    EXPECT_EQ(run.code, 2);
    EXPECT_EQ(run.err, "xcptrace: " + path +
                           ": not a readable capture: truncated dump file; tried to read 24 file header bytes, only "
                           "got 6\n");
}

TEST(CliTest, CandumpLogWithMalformedLines)
{
    std::vector<std::string> log = lines(readText(example(CAN_LOG)));
    ASSERT_GT(log.size(), 20u);
    log.insert(log.begin() + 3, "garbage here");
    log.insert(log.begin() + 10, "");
    log.insert(log.begin() + 11, "(1700000000.005000) can0 7F1#F");
    log.insert(log.begin() + 12, "(1700000000.005001) can0 7F1#FF00 trailing words");
    std::string text;
    for (const std::string& line : log) {
        text += line + "\n";
    }
    TempDir dir;
    std::string path = dir.file("broken.log");
    writeText(path, text);

    ToolRun run = runXcptrace({"show", path});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.out, golden("xcp-session-can.show"));
    EXPECT_EQ(run.err, foundPair(path, "line") +
                           "xcptrace: " + path + ": line 4: no time stamp in parentheses: \"garbage here\"\n"
                           "xcptrace: " + path + ": line 12: data is not hexadecimal byte pairs: "
                           "\"(1700000000.005000) can0 7F1#F\"\n"
                           "xcptrace: " + path + ": line 13: unexpected text after the frame: "
                           "\"(1700000000.005001) can0 7F1#FF00 trailing words\"\n"
                           "xcptrace: skipped: 3 malformed candump lines\n");
    ToolRun strict = runXcptrace({"show", "--strict", path});
    EXPECT_EQ(strict.code, 1);
    EXPECT_EQ(strict.out, run.out);
}

TEST(CliTest, TraceFileCutOffOrDamaged)
{
    TempDir dir;
    std::string trace = dir.file("whole.xtr");
    ASSERT_EQ(runXcptrace({"convert", example(UDP), "-o", trace}).code, 0);
    Bytes bytes = readBytes(trace);
    std::vector<std::string> all = lines(golden("xcp-session-udp.show"));

    std::string cut = dir.file("cut.xtr");
    writeBytes(cut, Bytes(bytes.begin(), bytes.end() - 5));
    ToolRun run = runXcptrace({"show", cut});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(lines(run.out), std::vector<std::string>(all.begin(), all.end() - 1));
    EXPECT_EQ(run.err, "xcptrace: " + cut +
                           ": record 387: the file ends inside this record\n"
                           "xcptrace: skipped: 1 input cut off inside a record\n");

    // The first record (after the 16-byte file header and its 4-byte length) is given the
    // message identifier of a CAN message; the second loses its last byte inside a record
    // whose length says otherwise.
    Bytes foreign = bytes;
    foreign[16 + 4 + 2] = 0x00;
    foreign[16 + 4 + 3] = 0x01;
    std::string foreignPath = dir.file("foreign.xtr");
    writeBytes(foreignPath, foreign);
    ToolRun other = runXcptrace({"show", foreignPath});
    EXPECT_EQ(other.code, 0);
    EXPECT_EQ(lines(other.out), std::vector<std::string>(all.begin() + 1, all.end()));
    EXPECT_EQ(other.err, "xcptrace: " + foreignPath +
                             ": record 1: message identifier 1 is not XCP; the record is skipped\n"
                             "xcptrace: skipped: 1 trace record of another message type\n");

    Bytes damaged = bytes;
    damaged[16 + 4 + 17] = 0x05;  // the first record's header claims 5 bytes instead of 4
    std::string damagedPath = dir.file("damaged.xtr");
    writeBytes(damagedPath, damaged);
    ToolRun bad = runXcptrace({"show", "--strict", damagedPath});
    EXPECT_EQ(bad.code, 1);
    EXPECT_EQ(lines(bad.out), std::vector<std::string>(all.begin() + 1, all.end()));
    EXPECT_EQ(bad.err, "[ERROR] XCP_Message::Header::readFromByteArray: ethernet; invalid headerSize\n"
                       "[ERROR] XCP Header read error\n"
                       "xcptrace: " + damagedPath +
                           ": record 1: the record's 61 bytes do not read back as one XCP message; it is skipped\n"
                           "xcptrace: skipped: 1 damaged trace record\n");
}

TEST(CliTest, ConvertRefusesToOverwriteItsInput)
{
    TempDir dir;
    std::string trace = dir.file("a.xtr");
    ASSERT_EQ(runXcptrace({"convert", example(UDP), "-o", trace}).code, 0);
    Bytes before = readBytes(trace);
    ToolRun run = runXcptrace({"convert", trace, "-o", trace});
    EXPECT_EQ(run.code, 2);
    EXPECT_EQ(run.err, "xcptrace: " + trace + ": is also an input; choose another output file\n");
    EXPECT_EQ(readBytes(trace), before);

    ToolRun unwritable = runXcptrace({"convert", example(UDP), "-o", dir.file("no/such/dir.xtr")});
    EXPECT_EQ(unwritable.code, 2);
    EXPECT_EQ(unwritable.err, "xcptrace: " + dir.file("no/such/dir.xtr") + ": cannot create: No such file or directory\n");
}

// ---- other captures ----------------------------------------------------------------------------

TEST(CliTest, PcapngWithNamedCanInterfacesAndNanosecondTimes)
{
    PcapngBuilder pcapng(227, {"can0", "can3"});
    uint64_t t = 1700000000123456789ull;
    pcapng.packet(1, t, socketCan(0x7F1, hex("ff 00")));
    pcapng.packet(1, t + 1000, socketCan(0x7F2, hex("ff 05 00 08 08 00 01 01")));
    pcapng.packet(0, t + 2000, socketCan(0x7F1, hex("fd")));  // same identifiers, other bus
    TempDir dir;
    std::string path = dir.file("can.pcapng");
    writeBytes(path, pcapng.bytes);
    ToolRun run = runXcptrace({"show", path});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.err, foundPair(path, "packet"));
    std::vector<std::string> shown = lines(run.out);
    ASSERT_EQ(shown.size(), 3u);
    EXPECT_EQ(shown[0],
              "1700000000.123456789  XCP CAN Tx  | ECU[1], [CTO_CMD(CONNECT)]; HEADER[off]; PACKET[ID "
              "Field[Type=CTO_PACKET_CODE, PID=0xff]; TS Field[Type=NO]; Data Field[Data=00]]; TAIL[off]; "
              "CAN[Id=0x7f1, Type=STD, Ch=4]");
    EXPECT_NE(shown[1].find("CAN[Id=0x7f2, Type=STD, Ch=4]"), std::string::npos);
    EXPECT_NE(shown[2].find("CAN[Id=0x7f1, Type=STD, Ch=1]"), std::string::npos);
    EXPECT_TRUE(startsWith(shown[2], "1700000000.123458789  XCP CAN Tx  | ECU[1], [CTO_CMD(GET_STATUS)]")) << shown[2];
}

TEST(CliTest, PcapngEthernetWithVlanAndIpv6)
{
    using namespace tooltest;
    PcapngBuilder pcapng(1, {"eth0"});
    uint64_t t = 1700000000000000001ull;
    pcapng.packet(0, t, ethernet(0x0800, ipv4(MASTER_TO_SLAVE, 17, udp(50000, 5555, xcp(0, hex("ff 00")))), {0x8100}));
    pcapng.packet(0, t + 5, ethernet(0x86DD, ipv6(2, 1, 6, tcp(5555, 50001, 77, PSH | ACK, xcp(4, hex("fd 06"))))));
    TempDir dir;
    std::string path = dir.file("eth.pcapng");
    writeBytes(path, pcapng.bytes);
    ToolRun run = runXcptrace({"show", path});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.err, "");
    std::vector<std::string> shown = lines(run.out);
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_TRUE(startsWith(shown[0], "1700000000.000000001  XCP ETH Tx  | ECU[1], [CTO_CMD(CONNECT)]")) << shown[0];
    EXPECT_NE(shown[0].find("ETH[Dst=10.0.0.2, Src=10.0.0.1, Mask=, Port=15b3, UDP]"), std::string::npos);
    EXPECT_TRUE(startsWith(shown[1], "1700000000.000000006  XCP ETH Rx  | ECU[2], [CTO_EV()]")) << shown[1];
    EXPECT_NE(shown[1].find("ETH[Dst=fd00::1, Src=fd00::2, Mask=, Port=15b3, TCP]"), std::string::npos);
}

TEST(CliTest, UnsupportedLinkTypeIsSkippedWithANote)
{
    PcapBuilder pcap(105);  // IEEE 802.11
    pcap.record(1700000000000000000ull, hex("08 00 00 00"));
    TempDir dir;
    std::string path = dir.file("wifi.pcap");
    writeBytes(path, pcap.bytes);
    ToolRun run = runXcptrace({"show", path});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "xcptrace: " + path +
                           ": link type 105 (IEEE802_11) carries no XCP this tool can decode; the capture is skipped\n");
}

TEST(CliTest, StimulationPacketsLeaveTheLibraryDiagnosticsOnTheErrorStream)
{
    using namespace tooltest;
    PcapBuilder pcap(1);
    pcap.record(1700000000000000000ull,
                ethernet(0x0800, ipv4(MASTER_TO_SLAVE, 17, udp(50000, 5555, xcp(0, hex("10 01 02"))))));
    TempDir dir;
    std::string path = dir.file("stim.pcap");
    writeBytes(path, pcap.bytes);
    ToolRun run = runXcptrace({"show", path});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(lines(run.out).size(), 1u);
    EXPECT_NE(run.out.find("[DTO_STIM()]"), std::string::npos);
    // Printing asks for the packet type twice; each time the library says so.
    EXPECT_EQ(run.err, "[WARNING] XCP_Message::setPacketType: STIMULATION is not supported at the moment\n"
                       "[WARNING] XCP_Message::setPacketType: STIMULATION is not supported at the moment\n");
}
