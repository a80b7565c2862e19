// xcptrace stats and export end to end, and session tracking on generated captures: the
// bundled examples, trace files, a capture that starts in the middle of a session, a
// session that reconnects with another DAQ layout, and two ECUs interleaved.

#include <algorithm>
#include <nlohmann/json.hpp>

#include "TraceFile.h"
#include "cli_support.h"

using namespace clitest;

namespace {

const char* const UDP = "xcp-session-udp.pcap";
const char* const TCP = "xcp-session-tcp.pcap";
const char* const CAN_PCAP = "xcp-session-can.pcap";
const char* const CAN_LOG = "xcp-session-can.log";

ToolRun xcpgen(const std::vector<std::string>& args)
{
    return runProgram(XCPGEN_BINARY, args);
}

bool hasLine(const std::string& text, const std::string& line)
{
    std::vector<std::string> all = lines(text);
    return std::find(all.begin(), all.end(), line) != all.end();
}

size_t countOf(const std::string& text, const std::string& part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

std::vector<std::string> linesWith(const std::string& text, const std::string& part)
{
    std::vector<std::string> result;
    for (const std::string& line : lines(text)) {
        if (line.find(part) != std::string::npos) {
            result.push_back(line);
        }
    }
    return result;
}

/// The part of a show line after the ECU number: what the packet is, without when and whose.
std::string packetPart(const std::string& line)
{
    size_t start = line.find("[DTO_DAQ()]");
    size_t end = line.find("; TAIL[");
    return line.substr(start, end - start);
}

}  // namespace

// ---- stats on the examples ---------------------------------------------------------------------

TEST(StatsCliTest, ExamplesReportTheLostPacketTheFailedCommandTheEventAndTheServiceRequest)
{
    for (const char* input : {UDP, TCP, CAN_PCAP, CAN_LOG}) {
        ToolRun run = runXcptrace({"stats", example(input)});
        EXPECT_EQ(run.code, 0) << input;
        const std::string& out = run.out;
        bool can = std::string(input).find("can") != std::string::npos;
        EXPECT_TRUE(hasLine(out, can ? "ECU[1]: XCP on CAN, master 7F1, slave 7F2, channel 1"
                                     : std::string("ECU[1]: XCP on ") + (input == TCP ? "TCP" : "UDP") +
                                           ", slave 192.168.0.2:5555, master 192.168.0.1"))
            << input << "\n" << out;
        EXPECT_TRUE(hasLine(out, "  SHORT_UPLOAD                1         0      1          0")) << input;
        EXPECT_TRUE(hasLine(out, "  error                command       count")) << input;
        EXPECT_TRUE(hasLine(out, "  ERR-S2_OUT_OF_RANGE  SHORT_UPLOAD      1")) << input;
        EXPECT_TRUE(hasLine(out, "  event               count")) << input;
        EXPECT_TRUE(hasLine(out, "  EV-S1_DAQ_OVERLOAD      1")) << input;
        EXPECT_TRUE(hasLine(out, "  service request  count")) << input;
        EXPECT_TRUE(hasLine(out, "  SERV_TEXT            1")) << input;
        EXPECT_TRUE(hasLine(out, "  CTO_ERR            1")) << input;
        EXPECT_TRUE(hasLine(out, "  CTO_EV             1")) << input;
        EXPECT_TRUE(hasLine(out, "  CTO_SERV           1")) << input;
        EXPECT_TRUE(hasLine(out, "  DTO_DAQ          329")) << input;
        EXPECT_EQ(countOf(out, "ERR-S"), 1u) << input;
        EXPECT_EQ(countOf(out, "EV-S"), 1u) << input;
        if (can) {
            EXPECT_TRUE(hasLine(out, "  CTR: none on this transport")) << input;
        } else {
            EXPECT_TRUE(hasLine(out, "  CTR          gaps  packets lost")) << input;
            EXPECT_TRUE(hasLine(out, "  from master     0             0")) << input;
            EXPECT_TRUE(hasLine(out, "  from slave      1             1")) << input;
        }
        EXPECT_TRUE(hasLine(out, "skipped as malformed: nothing")) << input;
    }
    // The whole report of the UDP example.
    expectGolden("xcp-session-udp.stats", runXcptrace({"stats", example(UDP)}).out);
}

TEST(StatsCliTest, JsonReportOfTheUdpExample)
{
    ToolRun run = runXcptrace({"stats", "--json", example(UDP)});
    ASSERT_EQ(run.code, 0);
    EXPECT_EQ(run.err, "");
    nlohmann::json document = nlohmann::json::parse(run.out);
    ASSERT_EQ(document["ecus"].size(), 1u);
    const nlohmann::json& ecu = document["ecus"][0];
    EXPECT_EQ(ecu["transport"], "UDP");
    EXPECT_EQ(ecu["packets"], 387);
    EXPECT_EQ(ecu["errors"], nlohmann::json::parse(R"j([{"error": "ERR-S2_OUT_OF_RANGE", "code": 34,
        "command": "SHORT_UPLOAD", "count": 1}])j"));
    EXPECT_EQ(ecu["events"], nlohmann::json::parse(R"j([{"event": "EV-S1_DAQ_OVERLOAD", "code": 6, "count": 1}])j"));
    EXPECT_EQ(ecu["service_requests"],
              nlohmann::json::parse(R"j([{"service_request": "SERV_TEXT", "code": 1, "count": 1}])j"));
    EXPECT_EQ(ecu["ctr"]["from_slave"], nlohmann::json::parse(R"j({"gaps": 1, "lost": 1})j"));
    EXPECT_EQ(ecu["ctr"]["from_master"], nlohmann::json::parse(R"j({"gaps": 0, "lost": 0})j"));
    ASSERT_EQ(ecu["daq_lists"].size(), 2u);
    EXPECT_EQ(ecu["daq_lists"][0]["daq_list"], 0);
    EXPECT_EQ(ecu["daq_lists"][0]["packets"], 299);
    EXPECT_EQ(ecu["daq_lists"][0]["cycles"], 150);
    EXPECT_NEAR(ecu["daq_lists"][0]["rate_hz"].get<double>(), 50.0, 0.01);
    EXPECT_EQ(ecu["daq_lists"][1]["packets"], 30);
    EXPECT_NEAR(ecu["daq_lists"][1]["rate_hz"].get<double>(), 10.0, 0.01);
    EXPECT_EQ(ecu["daq_packets"]["decoded"], 329);
}

TEST(StatsCliTest, TraceFilesGiveTheSameReportAsTheirCapture)
{
    for (const char* input : {UDP, CAN_LOG}) {
        TempDir dir;
        std::string decoded = dir.file("decoded.xtr");
        std::string raw = dir.file("raw.xtr");
        ASSERT_EQ(runXcptrace({"convert", example(input), "-o", decoded}).code, 0);
        ASSERT_EQ(runXcptrace({"convert", "--raw", example(input), "-o", raw}).code, 0);
        std::string expected = runXcptrace({"stats", example(input)}).out;
        // Packets stored decoded are taken as they are; raw ones are decoded on the way.
        ToolRun fromDecoded = runXcptrace({"stats", decoded});
        EXPECT_EQ(fromDecoded.out, expected) << input;
        EXPECT_EQ(fromDecoded.err, "") << input;
        EXPECT_EQ(runXcptrace({"stats", raw}).out, expected) << input;
        EXPECT_EQ(runXcptrace({"show", raw}).out, runXcptrace({"show", example(input)}).out) << input;
        nlohmann::json stored = nlohmann::json::parse(runXcptrace({"stats", "--json", decoded}).out);
        EXPECT_EQ(stored["ecus"][0]["daq_packets"]["stored"], 329) << input;
        EXPECT_EQ(stored["ecus"][0]["daq_packets"]["decoded"], 0) << input;
    }
}

TEST(StatsCliTest, SkippedFramesAppearInTheReport)
{
    std::vector<std::string> log = lines(readText(example(CAN_LOG)));
    log.insert(log.begin() + 3, "garbage here");
    std::string text;
    for (const std::string& line : log) {
        text += line + "\n";
    }
    TempDir dir;
    std::string path = dir.file("broken.log");
    writeText(path, text);
    ToolRun run = runXcptrace({"stats", path});
    EXPECT_EQ(run.code, 0);
    EXPECT_TRUE(hasLine(run.out, "  skipped as malformed     count")) << run.out;
    EXPECT_TRUE(hasLine(run.out, "  malformed candump lines      1")) << run.out;
    EXPECT_EQ(runXcptrace({"stats", "--strict", path}).code, 1);
}

// ---- export --------------------------------------------------------------------------------------

TEST(ExportCliTest, CsvOfTheUdpExample)
{
    ToolRun run = runXcptrace({"export", "--format", "csv", example(UDP)});
    ASSERT_EQ(run.code, 0);
    EXPECT_EQ(run.err, "");
    std::vector<std::string> rows = lines(run.out);
    ASSERT_EQ(rows.size(), 388u);
    EXPECT_EQ(rows[0], "time_ns,ecu,transport,direction,packet_type,command,error,event,service,pid,daq_list,odt,"
                       "ecu_timestamp,data,len,ctr");
    EXPECT_EQ(rows[1], "1700000000001244000,1,UDP,Tx,CTO_CMD,CONNECT,,,,255,,,,00,2,0");
    EXPECT_EQ(rows[2], "1700000000001611000,1,UDP,Rx,CTO_RES,CONNECT,,,,255,,,,0500ff78050101,8,0");
    EXPECT_EQ(linesWith(run.out, ",DTO_DAQ,").size(), 329u);
    // The first DAQ cycle: list 0 (two ODTs, the first with its time stamp of 3 us), list 1.
    EXPECT_EQ(rows[53], "1700000000048971000,1,UDP,Rx,DTO_DAQ,,,,,0,0,0,3,000000000d00,11,26");
    EXPECT_EQ(rows[54], "1700000000048971000,1,UDP,Rx,DTO_DAQ,,,,,1,0,1,,64000000c9028c,8,27");
    EXPECT_EQ(rows[55], "1700000000048971000,1,UDP,Rx,DTO_DAQ,,,,,2,1,0,3,e8030000,9,28");
    EXPECT_EQ(linesWith(run.out, ",CTO_ERR,"),
              std::vector<std::string>{"1700000003050265000,1,UDP,Rx,CTO_ERR,SHORT_UPLOAD,ERR-S2_OUT_OF_RANGE,,,254,,,,22,2,356"});
    EXPECT_EQ(linesWith(run.out, ",CTO_EV,"),
              std::vector<std::string>{"1700000003053814000,1,UDP,Rx,CTO_EV,,,EV-S1_DAQ_OVERLOAD,,253,,,,06,2,357"});
    EXPECT_EQ(linesWith(run.out, ",CTO_SERV,"),
              std::vector<std::string>{"1700000003056852000,1,UDP,Rx,CTO_SERV,,,,SERV_TEXT,252,,,,01646f6e6500,7,358"});
}

TEST(ExportCliTest, JsonLinesOfCanAndTheSameRowsFromATraceFile)
{
    ToolRun jsonl = runXcptrace({"export", "--format", "jsonl", example(CAN_LOG)});
    ASSERT_EQ(jsonl.code, 0);
    std::vector<std::string> rows = lines(jsonl.out);
    ASSERT_EQ(rows.size(), 389u);
    size_t daq = 0;
    for (const std::string& row : rows) {
        nlohmann::json object = nlohmann::json::parse(row);
        EXPECT_EQ(object["transport"], "CAN");
        EXPECT_EQ(object["len"], nullptr);
        EXPECT_EQ(object["ctr"], nullptr);
        if (object["packet_type"] == "DTO_DAQ") {
            ++daq;
            EXPECT_TRUE(object["daq_list"].is_number()) << row;
            EXPECT_TRUE(object["odt"].is_number()) << row;
            EXPECT_EQ(object["ecu_timestamp"].is_number(), object["odt"] == 0) << row;
        }
    }
    EXPECT_EQ(daq, 329u);

    TempDir dir;
    std::string trace = dir.file("can.xtr");
    ASSERT_EQ(runXcptrace({"convert", example(CAN_LOG), "-o", trace}).code, 0);
    EXPECT_EQ(runXcptrace({"export", "--format", "jsonl", trace}).out, jsonl.out);
    std::string file = dir.file("rows.csv");
    ToolRun toFile = runXcptrace({"export", "--format", "csv", "-o", file, trace});
    EXPECT_EQ(toFile.code, 0);
    EXPECT_EQ(toFile.out, "");
    EXPECT_EQ(readText(file), runXcptrace({"export", "--format", "csv", example(CAN_LOG)}).out);
    ToolRun itself = runXcptrace({"export", "--format", "csv", "-o", trace, trace});
    EXPECT_EQ(itself.code, 2);
    EXPECT_EQ(itself.err, "xcptrace: " + trace + ": is also an input; choose another output file\n");
}

// ---- session tracking on generated captures -----------------------------------------------------

TEST(SessionCliTest, CaptureStartingInTheMiddleOfASession)
{
    TempDir dir;
    std::string whole = dir.file("whole.pcap");
    std::string middle = dir.file("middle.pcap");
    ASSERT_EQ(xcpgen({"--id-type", "byte", "--seconds", "0.2", "-o", whole}).code, 0);
    ASSERT_EQ(xcpgen({"--id-type", "byte", "--seconds", "0.2", "--start-at-daq", "-o", middle}).code, 0);

    // Without the session start the DAQ packets stay as captured, and the tool says so once.
    ToolRun plain = runXcptrace({"show", middle});
    EXPECT_EQ(plain.code, 0);
    std::vector<std::string> daq = linesWith(plain.out, "[DTO_DAQ()]");
    ASSERT_EQ(daq.size(), 21u);
    for (const std::string& line : daq) {
        EXPECT_NE(line.find("ID Field[Type=CTO_PACKET_CODE, PID=0x0"), std::string::npos) << line;
    }
    EXPECT_EQ(plain.err, "xcptrace: ECU[1]: DAQ packets before the session's DAQ configuration (no response to "
                         "GET_DAQ_PROCESSOR_INFO seen) are shown as captured; --daq-id-type and --daq-timestamp-size "
                         "say how to decode them\n");

    // Told how, they decode as in the whole capture.
    ToolRun told = runXcptrace({"show", "--daq-id-type", "byte", "--daq-timestamp-size", "4", middle});
    EXPECT_EQ(told.code, 0);
    EXPECT_EQ(linesWith(told.out, "[DTO_DAQ()]"), linesWith(runXcptrace({"show", whole}).out, "[DTO_DAQ()]"));
    EXPECT_EQ(told.err, "xcptrace: ECU[1]: DAQ packets before the session's configuration: assuming identification "
                        "field RELATIVE_ODT_ABSOLUTE_DAQ_BYTE (--daq-id-type), time stamps of 4 bytes in the first "
                        "ODT of every DAQ list (--daq-timestamp-size), byte order Intel (no CONNECT seen; see "
                        "--daq-byte-order)\n");

    ToolRun stats = runXcptrace({"stats", "--daq-id-type", "byte", "--daq-timestamp-size", "4", middle});
    EXPECT_TRUE(hasLine(stats.out, "  session: no CONNECT seen; identification field not seen; time stamps not seen"))
        << stats.out;
    EXPECT_TRUE(hasLine(stats.out, "  from slave      1             1")) << stats.out;
    // The slave's clock counts microseconds, as the capture's does: without the unit the span
    // is in ticks, as many as the capture's microseconds from the first cycle to the last.
    nlohmann::json lists = nlohmann::json::parse(runXcptrace({"stats", "--json", "--daq-id-type", "byte",
                                                              "--daq-timestamp-size", "4", middle})
                                                     .out)["ecus"][0]["daq_lists"];
    for (unsigned list = 0; list < 2; ++list) {
        std::vector<std::string> firstOdts =
            linesWith(told.out, "PID=0x00, DAQ=" + std::to_string(list) + "]; TS Field[Type=DWORD");
        ASSERT_EQ(firstOdts.size(), list == 0 ? 10u : 2u);
        auto microseconds = [](const std::string& line) {
            return std::stoull(line.substr(0, 10)) * 1000000ull + std::stoull(line.substr(11, 9)) / 1000;
        };
        uint64_t span = microseconds(firstOdts.back()) - microseconds(firstOdts.front());
        EXPECT_EQ(lists[list]["daq_list"], list);
        EXPECT_EQ(lists[list]["packets"], list == 0 ? 19 : 2);
        EXPECT_EQ(lists[list]["timestamp_span"], span) << list;
        EXPECT_EQ(lists[list]["timestamp_unit"], "ticks");
        EXPECT_DOUBLE_EQ(lists[list]["rate_hz"].get<double>(), (firstOdts.size() - 1) * 1e6 / span) << list;
    }
    ToolRun undecoded = runXcptrace({"stats", middle});
    EXPECT_TRUE(hasLine(undecoded.out, "  shown as captured: no DAQ configuration known     21")) << undecoded.out;
}

TEST(SessionCliTest, ReconnectWithAnotherDaqLayout)
{
    TempDir dir;
    std::string path = dir.file("reconnect.pcap");
    ASSERT_EQ(xcpgen({"--seconds", "0.2", "--reconnect-with", "absolute,2,motorola", "-o", path}).code, 0);
    ToolRun run = runXcptrace({"show", path});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.err, "");
    std::vector<std::string> shown = lines(run.out);
    auto second = std::find_if(shown.begin() + 1, shown.end(), [](const std::string& line) {
        return line.find("[CTO_CMD(CONNECT)]") != std::string::npos;
    });
    ASSERT_NE(second, shown.end());
    std::vector<std::string> before(shown.begin(), second);
    std::vector<std::string> after(second, shown.end());
    // First connection: list 0 from FIRST_PID 0 (two ODTs), list 1 from 2; 4-byte Intel time stamps.
    std::vector<std::string> firstDaq = linesWith(std::string(run.out, 0, run.out.find(*second)), "[DTO_DAQ()]");
    ASSERT_EQ(firstDaq.size(), 21u);
    EXPECT_NE(firstDaq[0].find("PID=0x00, FIRST_PID=0x00, DAQ=0]; TS Field[Type=DWORD"), std::string::npos);
    EXPECT_NE(firstDaq[1].find("PID=0x01, FIRST_PID=0x00, DAQ=0]; TS Field[Type=NO]"), std::string::npos);
    EXPECT_NE(firstDaq[2].find("PID=0x02, FIRST_PID=0x02, DAQ=1]; TS Field[Type=DWORD"), std::string::npos);
    // Second connection: the slave numbers list 1 first (FIRST_PID 0), list 0 from 1; time
    // stamps of 2 bytes, most significant first.
    std::string afterText;
    for (const std::string& line : after) {
        afterText += line + "\n";
    }
    std::vector<std::string> secondDaq = linesWith(afterText, "[DTO_DAQ()]");
    ASSERT_EQ(secondDaq.size(), 22u);
    EXPECT_NE(secondDaq[0].find("PID=0x01, FIRST_PID=0x01, DAQ=0]; TS Field[Type=WORD, Timestamp=00 "),
              std::string::npos)
        << secondDaq[0];
    EXPECT_NE(secondDaq[1].find("PID=0x02, FIRST_PID=0x01, DAQ=0]; TS Field[Type=NO]"), std::string::npos)
        << secondDaq[1];
    EXPECT_NE(secondDaq[2].find("PID=0x00, FIRST_PID=0x00, DAQ=1]; TS Field[Type=WORD, Timestamp=00 "),
              std::string::npos)
        << secondDaq[2];

    ToolRun stats = runXcptrace({"stats", path});
    EXPECT_TRUE(hasLine(stats.out, "  session: CONNECT seen 2 times; byte order Motorola, MAX_CTO 255, MAX_DTO 1400; "
                                   "identification field ABSOLUTE_ODT_NUMBER; time stamps 2 bytes, 1 x 1 US a tick"))
        << stats.out;
    EXPECT_TRUE(hasLine(stats.out, "  CONNECT                     2         2      0          0")) << stats.out;
    EXPECT_TRUE(hasLine(stats.out, "  DTO_DAQ           43")) << stats.out;
    EXPECT_TRUE(hasLine(stats.out, "  from slave      1             1")) << stats.out;
    nlohmann::json lists = nlohmann::json::parse(runXcptrace({"stats", "--json", path}).out)["ecus"][0]["daq_lists"];
    EXPECT_EQ(lists[0]["packets"], 39);
    EXPECT_EQ(lists[1]["packets"], 4);
    EXPECT_NEAR(lists[0]["rate_hz"].get<double>(), 50.0, 0.05);
}

TEST(SessionCliTest, TwoEcusInterleaved)
{
    for (const char* format : {"udp", "candump"}) {
        TempDir dir;
        std::string path = dir.file(std::string("two.") + (std::string(format) == "udp" ? "pcap" : "log"));
        ASSERT_EQ(xcpgen({"--format", format, "--seconds", "0.2", "--ecus", "2", "--ecu-with", "byte,2,motorola", "-o",
                          path})
                      .code,
                  0);
        ToolRun run = runXcptrace({"show", path});
        EXPECT_EQ(run.code, 0) << format;
        std::vector<std::string> first = linesWith(run.out, "| ECU[1], [DTO_DAQ()]");
        std::vector<std::string> second = linesWith(run.out, "| ECU[2], [DTO_DAQ()]");
        ASSERT_EQ(first.size(), 21u) << format;
        ASSERT_EQ(second.size(), 21u) << format;
        for (const std::string& line : first) {
            EXPECT_NE(line.find("ID Field[Type=ABSOLUTE_ODT_NUMBER"), std::string::npos) << line;
        }
        for (const std::string& line : second) {
            EXPECT_NE(line.find("ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_BYTE"), std::string::npos) << line;
        }
        EXPECT_NE(second[0].find("PID=0x00, DAQ=0]; TS Field[Type=WORD"), std::string::npos) << second[0];
        // The sessions run side by side: the ECUs take turns throughout.
        std::vector<std::string> all = lines(run.out);
        size_t switches = 0;
        for (size_t i = 1; i < all.size(); ++i) {
            switches += all[i].find("| ECU[1],") != all[i - 1].find("| ECU[1],") ? 1 : 0;
        }
        EXPECT_GT(switches, 40u) << format;

        ToolRun stats = runXcptrace({"stats", path});
        bool udp = std::string(format) == "udp";
        EXPECT_TRUE(hasLine(stats.out, udp ? "ECU[1]: XCP on UDP, slave 192.168.0.2:5555, master 192.168.0.1"
                                           : "ECU[1]: XCP on CAN, master 7F1, slave 7F2, channel 1"))
            << stats.out;
        EXPECT_TRUE(hasLine(stats.out, udp ? "ECU[2]: XCP on UDP, slave 192.168.0.3:5555, master 192.168.0.1"
                                           : "ECU[2]: XCP on CAN, master 7F3, slave 7F4, channel 1"))
            << stats.out;
        EXPECT_EQ(countOf(stats.out, "  ERR-S2_OUT_OF_RANGE  SHORT_UPLOAD      1\n"), 2u) << stats.out;
        EXPECT_EQ(countOf(stats.out, "identification field RELATIVE_ODT_ABSOLUTE_DAQ_BYTE; time stamps 2 bytes"), 1u);
        EXPECT_EQ(countOf(stats.out, "identification field ABSOLUTE_ODT_NUMBER; time stamps 4 bytes"), 1u);
        if (udp) {
            EXPECT_EQ(countOf(stats.out, "  from slave      1             1\n"), 2u) << stats.out;
        }
    }
}

// ---- options and help ---------------------------------------------------------------------------

TEST(SessionCliTest, RawShowsEveryPacketAsCaptured)
{
    ToolRun raw = runXcptrace({"show", "--raw", example(UDP)});
    EXPECT_EQ(raw.code, 0);
    std::vector<std::string> daq = linesWith(raw.out, "[DTO_DAQ()]");
    ASSERT_EQ(daq.size(), 329u);
    EXPECT_EQ(packetPart(daq[0]), "[DTO_DAQ()]; HEADER[on, Data=0b 00 1a 00]; PACKET[ID Field[Type=CTO_PACKET_CODE, "
                                  "PID=0x00]; TS Field[Type=NO]; Data Field[Data=03 00 00 00 00 00 00 00 0d 00]]");
    EXPECT_EQ(linesWith(raw.out, "Type=CTO_PACKET_CODE").size(), 387u);
}

TEST(SessionCliTest, HelpOfStatsAndExport)
{
    ToolRun stats = runXcptrace({"stats", "--help"});
    EXPECT_EQ(stats.code, 0);
    for (const char* option : {"xcptrace stats [OPTIONS] INPUT...", "--json", "--daq-id-type", "--daq-timestamp-size",
                               "--daq-byte-order", "--port", "--can", "--ecu", "--strict"}) {
        EXPECT_NE(stats.out.find(option), std::string::npos) << option;
    }
    ToolRun exporting = runXcptrace({"export", "--help"});
    EXPECT_EQ(exporting.code, 0);
    for (const char* option : {"xcptrace export [OPTIONS] INPUT...", "--format", "-o,--output", "--raw",
                               "--daq-id-type"}) {
        EXPECT_NE(exporting.out.find(option), std::string::npos) << option;
    }
    for (const char* command : {"show", "convert"}) {
        ToolRun run = runXcptrace({command, "--help"});
        EXPECT_NE(run.out.find("--raw"), std::string::npos) << command;
        EXPECT_NE(run.out.find("--daq-timestamp-size"), std::string::npos) << command;
    }
    ToolRun top = runXcptrace({"--help"});
    EXPECT_NE(top.out.find("stats"), std::string::npos);
    EXPECT_NE(top.out.find("export"), std::string::npos);
}

TEST(SessionCliTest, CommandLineMistakes)
{
    EXPECT_EQ(runXcptrace({"export", example(UDP)}).code, 2);                       // no --format
    EXPECT_EQ(runXcptrace({"export", "--format", "xml", example(UDP)}).code, 2);
    EXPECT_EQ(runXcptrace({"show", "--daq-id-type", "nibble", example(UDP)}).code, 2);
    EXPECT_EQ(runXcptrace({"show", "--daq-timestamp-size", "3", example(UDP)}).code, 2);
    EXPECT_EQ(runXcptrace({"show", "--daq-byte-order", "pdp", example(UDP)}).code, 2);
    EXPECT_EQ(runXcptrace({"stats", "--raw", example(UDP)}).code, 2);
    EXPECT_EQ(runXcptrace({"stats", "--json"}).code, 2);
}

TEST(StatsCliTest, AddressesThatAreNotTextStillGiveValidJson)
{
    // A trace file is written by anyone: its address strings may hold any bytes.
    TempDir dir;
    std::string path = dir.file("odd.xtr");
    xcptrace::TraceFileWriter writer;
    std::string error;
    ASSERT_TRUE(writer.open(path, error)) << error;
    XCP_Message message(1700000000000000000ull, XCP_Message::TT_ETHERNET, XCP_Message::MD_RX, 0);
    message.packet.identificationField.setType(XCP_Message::IFT_CTO_PACKET_CODE);
    message.packet.identificationField.pid = 0xFD;
    message.packet.dataField.data = {0x06};
    message.setEthernetTransportTypeSettings("\x80\xff", "10.0.0.\xc3", "", 5555, false);
    ASSERT_TRUE(writer.write(message));
    ASSERT_TRUE(writer.close(error)) << error;

    ToolRun run = runXcptrace({"stats", "--json", path});
    EXPECT_EQ(run.code, 0) << run.err;
    nlohmann::json document = nlohmann::json::parse(run.out);
    EXPECT_EQ(document["ecus"][0]["slave_address"], "10.0.0.\xef\xbf\xbd");
    EXPECT_EQ(document["ecus"][0]["master_address"], "\xef\xbf\xbd\xef\xbf\xbd");
    ToolRun rows = runXcptrace({"export", "--format", "jsonl", path});
    EXPECT_EQ(rows.code, 0);
    EXPECT_EQ(nlohmann::json::parse(rows.out)["event"], "EV-S1_DAQ_OVERLOAD");
}
