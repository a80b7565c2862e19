// The example generator: the bundled examples are exactly what it writes, and (where
// tshark is installed) an independent dissector reads the same XCP messages from them as
// xcptrace does.

#include <map>
#include <regex>

#include "cli_support.h"

using namespace clitest;
using tooltest::toHex;

namespace {

const char* const EXAMPLES[] = {"xcp-session-udp.pcap", "xcp-session-tcp.pcap", "xcp-session-can.pcap",
                                "xcp-session-can.log"};

ToolRun xcpgen(const std::vector<std::string>& args)
{
    return runProgram(XCPGEN_BINARY, args);
}

bool haveTshark()
{
    return std::system("command -v tshark >/dev/null 2>&1") == 0;
}

/// tshark with the SigComp dissector off: it claims TCP port 5555 for itself.
ToolRun tshark(const std::vector<std::string>& args)
{
    std::vector<std::string> all{"--disable-protocol", "sigcomp"};
    all.insert(all.end(), args.begin(), args.end());
    return runProgram("tshark", all);
}

/// One XCP message as `xcptrace show --raw` shows it: direction and its bytes (header,
/// PID, data).
struct Shown {
    std::string direction;
    std::string bytes;
};

std::vector<Shown> shownMessages(const std::string& output)
{
    static const std::regex pattern(
        R"(XCP (?:ETH|CAN) (Tx|Rx) .*HEADER\[(?:on, Data=([0-9a-f ]+)|off)\]; PACKET\[ID Field\[Type=CTO_PACKET_CODE, PID=0x([0-9a-f]{2})\]; TS Field\[Type=NO\]; Data Field\[Data=([0-9a-f ]+|Empty)\]\])");
    std::vector<Shown> result;
    for (const std::string& line : lines(output)) {
        std::smatch match;
        if (!std::regex_search(line, match, pattern)) {
            ADD_FAILURE() << "unexpected line: " << line;
            continue;
        }
        std::string bytes = match[2].matched ? match[2].str() + " " : "";
        bytes += match[3].str();
        if (match[4].str() != "Empty") {
            bytes += " " + match[4].str();
        }
        result.push_back(Shown{match[1].str(), bytes});
    }
    return result;
}

std::vector<std::string> splitXcp(const tooltest::Bytes& stream)
{
    std::vector<std::string> messages;
    size_t position = 0;
    while (position + 4 <= stream.size()) {
        size_t length = 4u + stream[position] + (stream[position + 1] << 8);
        EXPECT_LE(position + length, stream.size());
        messages.push_back(toHex(tooltest::Bytes(stream.begin() + static_cast<std::ptrdiff_t>(position),
                                                 stream.begin() + static_cast<std::ptrdiff_t>(position + length))));
        position += length;
    }
    EXPECT_EQ(position, stream.size());
    return messages;
}

tooltest::Bytes fromHex(const std::string& text)
{
    tooltest::Bytes bytes;
    for (size_t i = 0; i + 1 < text.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

std::vector<std::string> ofDirection(const std::vector<Shown>& shown, const std::string& direction)
{
    std::vector<std::string> result;
    for (const Shown& s : shown) {
        if (s.direction == direction) {
            result.push_back(s.bytes);
        }
    }
    return result;
}

}  // namespace

TEST(GeneratorTest, RegeneratedExamplesAreIdentical)
{
    TempDir dir;
    ToolRun run = xcpgen({"--examples", dir.path()});
    ASSERT_EQ(run.code, 0) << run.err;
    for (const char* name : EXAMPLES) {
        tooltest::Bytes made = readBytes(dir.file(name));
        tooltest::Bytes bundled = readBytes(example(name));
        EXPECT_FALSE(made.empty()) << name;
        EXPECT_LT(bundled.size(), 1000000u) << name;
        EXPECT_TRUE(made == bundled) << name << " differs from what the generator writes";
    }
}

TEST(GeneratorTest, DaqPacketCountAndRate)
{
    TempDir dir;
    std::string path = dir.file("many.pcap");
    ASSERT_EQ(xcpgen({"--format", "udp", "--daq-packets", "5000", "--rate", "1000", "-o", path}).code, 0);
    ToolRun show = runProgram(XCPTRACE_BINARY, {"show", path});
    ASSERT_EQ(show.code, 0);
    std::vector<std::string> shown = lines(show.out);
    size_t daq = static_cast<size_t>(std::count_if(shown.begin(), shown.end(), [](const std::string& line) {
        return line.find("[DTO_DAQ()]") != std::string::npos;
    }));
    EXPECT_EQ(daq, 4999u);  // one of them lost on the way
    // 1000 cycles a second: the DAQ phase lasts about 5000 / 2.2 ms.
    std::string firstDaq, lastDaq;
    for (const std::string& line : shown) {
        if (line.find("[DTO_DAQ()]") != std::string::npos) {
            (firstDaq.empty() ? firstDaq : lastDaq) = line.substr(0, 20);
        }
    }
    double span = std::stod(lastDaq) - std::stod(firstDaq);
    EXPECT_GT(span, 2.2);
    EXPECT_LT(span, 2.4);
}

TEST(GeneratorTest, VariantsAnnounceTheirDaqLayoutInTheSession)
{
    TempDir dir;
    std::string path = dir.file("variant.log");
    ASSERT_EQ(xcpgen({"--format", "candump", "--id-type", "word", "--timestamp-size", "2", "--byte-order", "motorola",
                      "--seconds", "0.1", "-o", path})
                  .code,
              0);
    std::string log = readText(path);
    // CONNECT's response: COMM_MODE_BASIC 01 (big-endian), MAX_CTO 8, MAX_DTO 00 08.
    EXPECT_NE(log.find("7F2#FF05010800080101"), std::string::npos);
    // GET_DAQ_PROCESSOR_INFO's response: DAQ_KEY_BYTE 0x80 (relative ODT, DAQ list as a word).
    EXPECT_NE(log.find("7F2#FF11000200020080"), std::string::npos);
    // GET_DAQ_RESOLUTION_INFO's response: TIMESTAMP_MODE 0x32 (1 us, 2 bytes), 1 tick.
    EXPECT_NE(log.find("7F2#FF01040104320001"), std::string::npos);
    // First DAQ packet of list 1: ODT 0, DAQ list 00 01, then the time stamp.
    EXPECT_NE(log.find("7F2#000001"), std::string::npos);
}

TEST(GeneratorTest, ExamplesParseCleanlyInTshark)
{
    if (!haveTshark()) {
        GTEST_SKIP() << "tshark is not installed";
    }
    for (const char* name : EXAMPLES) {
        ToolRun run = tshark({"-r", example(name), "-o", "ip.check_checksum:TRUE", "-o", "udp.check_checksum:TRUE",
                              "-o", "tcp.check_checksum:TRUE", "-Y",
                              "_ws.malformed || _ws.expert.severity >= \"warning\" || tcp.analysis.flags || "
                              "ip.checksum.status == \"Bad\" || udp.checksum.status == \"Bad\" || "
                              "tcp.checksum.status == \"Bad\""});
        EXPECT_EQ(run.code, 0) << name << ": " << run.err;
        EXPECT_EQ(run.out, "") << name;
    }
}

TEST(GeneratorTest, TsharkFindsTheSameXcpMessagesAsXcptrace)
{
    if (!haveTshark()) {
        GTEST_SKIP() << "tshark is not installed";
    }
    // UDP: every datagram's payload, cut into XCP messages.
    {
        ToolRun payloads = tshark({"-r", example("xcp-session-udp.pcap"), "-T", "fields", "-e", "udp.srcport", "-e",
                                   "udp.payload"});
        ASSERT_EQ(payloads.code, 0);
        std::vector<std::string> expected;
        std::vector<std::string> directions;
        for (const std::string& line : lines(payloads.out)) {
            size_t tab = line.find('\t');
            for (const std::string& message : splitXcp(fromHex(line.substr(tab + 1)))) {
                expected.push_back(message);
                directions.push_back(line.substr(0, tab) == "5555" ? "Rx" : "Tx");
            }
        }
        std::vector<Shown> shown = shownMessages(runProgram(XCPTRACE_BINARY, {"show", "--raw", example("xcp-session-udp.pcap")}).out);
        ASSERT_EQ(shown.size(), expected.size());
        for (size_t i = 0; i < shown.size(); ++i) {
            EXPECT_EQ(shown[i].bytes, expected[i]) << "message " << i;
            EXPECT_EQ(shown[i].direction, directions[i]) << "message " << i;
        }
    }
    // TCP: each direction's segments in order, then cut into XCP messages.
    {
        ToolRun segments = tshark({"-r", example("xcp-session-tcp.pcap"), "-T", "fields", "-e", "tcp.srcport", "-e",
                                   "tcp.payload"});
        ASSERT_EQ(segments.code, 0);
        std::map<std::string, tooltest::Bytes> streams;
        for (const std::string& line : lines(segments.out)) {
            size_t tab = line.find('\t');
            tooltest::Bytes bytes = fromHex(line.substr(tab + 1));
            tooltest::Bytes& stream = streams[line.substr(0, tab) == "5555" ? "Rx" : "Tx"];
            stream.insert(stream.end(), bytes.begin(), bytes.end());
        }
        std::vector<Shown> shown = shownMessages(runProgram(XCPTRACE_BINARY, {"show", "--raw", example("xcp-session-tcp.pcap")}).out);
        EXPECT_EQ(ofDirection(shown, "Tx"), splitXcp(streams["Tx"]));
        EXPECT_EQ(ofDirection(shown, "Rx"), splitXcp(streams["Rx"]));
    }
    // CAN: every frame's payload is one packet.
    for (const char* name : {"xcp-session-can.pcap", "xcp-session-can.log"}) {
        ToolRun frames = tshark({"-r", example(name), "-T", "fields", "-e", "can.id", "-e", "data.data"});
        ASSERT_EQ(frames.code, 0);
        std::vector<Shown> shown = shownMessages(runProgram(XCPTRACE_BINARY, {"show", "--raw", example(name)}).out);
        std::vector<std::string> rows = lines(frames.out);
        ASSERT_EQ(shown.size(), rows.size()) << name;
        for (size_t i = 0; i < rows.size(); ++i) {
            size_t tab = rows[i].find('\t');
            EXPECT_EQ(shown[i].bytes, toHex(fromHex(rows[i].substr(tab + 1)))) << name << " frame " << i;
            EXPECT_EQ(shown[i].direction, rows[i].substr(0, tab) == "2033" ? "Tx" : "Rx") << name << " frame " << i;
        }
    }
}

// ---- session variants -------------------------------------------------------------------------

namespace {

std::vector<std::string> linesOf(const std::string& output, const std::string& part)
{
    std::vector<std::string> result;
    for (const std::string& line : lines(output)) {
        if (line.find(part) != std::string::npos) {
            result.push_back(line);
        }
    }
    return result;
}

}  // namespace

TEST(GeneratorTest, SessionVariantsAreDeterministic)
{
    const std::vector<std::vector<std::string>> variants{
        {"--start-at-daq"},
        {"--reconnect-with", "word,2,motorola"},
        {"--ecus", "3", "--ecu-with", "byte,1,intel", "--ecu-with", "aligned,0,motorola"},
        {"--ecus", "2", "--start-at-daq", "--reconnect-with", "absolute,4,motorola"},
    };
    for (const char* format : {"udp", "tcp", "can-pcap", "candump"}) {
        for (const std::vector<std::string>& options : variants) {
            TempDir dir;
            std::vector<std::string> args{"--format", format, "--seconds", "0.2"};
            args.insert(args.end(), options.begin(), options.end());
            std::vector<std::string> first = args;
            first.insert(first.end(), {"-o", dir.file("first")});
            std::vector<std::string> second = args;
            second.insert(second.end(), {"-o", dir.file("second")});
            ASSERT_EQ(xcpgen(first).code, 0) << format << " " << options[0];
            ASSERT_EQ(xcpgen(second).code, 0) << format << " " << options[0];
            EXPECT_FALSE(readBytes(dir.file("first")).empty());
            EXPECT_TRUE(readBytes(dir.file("first")) == readBytes(dir.file("second"))) << format << " " << options[0];
        }
    }
}

TEST(GeneratorTest, StartAtDaqLeavesOutWhatCameBeforeTheDaqPhase)
{
    for (const char* format : {"udp", "candump"}) {
        TempDir dir;
        std::string whole = dir.file("whole");
        std::string middle = dir.file("middle");
        ASSERT_EQ(xcpgen({"--format", format, "--seconds", "0.2", "-o", whole}).code, 0);
        ASSERT_EQ(xcpgen({"--format", format, "--seconds", "0.2", "--start-at-daq", "-o", middle}).code, 0);
        // --can: the CAN identifiers cannot be found without CONNECT.
        std::vector<std::string> wholeLines =
            lines(runProgram(XCPTRACE_BINARY, {"show", "--raw", "--can", "7F1:7F2", whole}).out);
        ToolRun cut = runProgram(XCPTRACE_BINARY, {"show", "--raw", "--can", "7F1:7F2", middle});
        EXPECT_EQ(cut.code, 0);
        std::vector<std::string> cutLines = lines(cut.out);
        auto firstDaq = std::find_if(wholeLines.begin(), wholeLines.end(), [](const std::string& line) {
            return line.find("[DTO_DAQ()]") != std::string::npos;
        });
        // Everything from the first DAQ packet on, counters and all.
        EXPECT_EQ(cutLines, std::vector<std::string>(firstDaq, wholeLines.end())) << format;
        EXPECT_EQ(cutLines.size(), 21u + 6u) << format;
    }
}

TEST(GeneratorTest, ReconnectAnnouncesTheNewLayout)
{
    TempDir dir;
    std::string path = dir.file("reconnect.log");
    ASSERT_EQ(xcpgen({"--format", "candump", "--seconds", "0.2", "--reconnect-with", "aligned,1,motorola", "-o", path})
                  .code,
              0);
    std::string log = readText(path);
    std::vector<std::string> connects = linesOf(log, " can0 7F1#FF00");
    EXPECT_EQ(connects.size(), 2u);
    // Second connection: Motorola; DAQ_KEY_BYTE 0xC0 (aligned); TIMESTAMP_MODE 0x31 (1 byte);
    // list 1 selected first gets FIRST_PID 0, list 0 gets 1.
    EXPECT_NE(log.find("7F2#FF05010800080101"), std::string::npos);
    EXPECT_NE(log.find("7F2#FF110002000200C0"), std::string::npos);
    EXPECT_NE(log.find("7F2#FF01040104310001"), std::string::npos);
    std::vector<std::string> startStop = linesOf(log, "7F1#DE02");
    ASSERT_EQ(startStop.size(), 4u);
    EXPECT_NE(startStop[2].find("7F1#DE020000"), std::string::npos) << startStop[2];  // list 0
    EXPECT_NE(startStop[3].find("7F1#DE020001"), std::string::npos) << startStop[3];  // list 1
    std::vector<std::string> all = lines(log);
    auto answerOf = [&](const std::string& command) {
        auto at = std::find(all.begin(), all.end(), command);
        return at + 1 == all.end() ? std::string() : *(at + 1);
    };
    EXPECT_NE(answerOf(startStop[2]).find("7F2#FF01"), std::string::npos);
    EXPECT_NE(answerOf(startStop[3]).find("7F2#FF00"), std::string::npos);
    EXPECT_NE(answerOf(startStop[0]).find("7F2#FF00"), std::string::npos);
    EXPECT_NE(answerOf(startStop[1]).find("7F2#FF02"), std::string::npos);
}

TEST(GeneratorTest, SeveralEcusRunTheFirstOnesSessionBesideTheirOwn)
{
    for (const char* format : {"udp", "candump"}) {
        TempDir dir;
        std::string one = dir.file("one");
        std::string two = dir.file("two");
        ASSERT_EQ(xcpgen({"--format", format, "--seconds", "0.2", "-o", one}).code, 0);
        ASSERT_EQ(xcpgen({"--format", format, "--seconds", "0.2", "--ecus", "2", "--ecu-with", "word,2,motorola", "-o",
                          two})
                      .code,
                  0);
        std::string single = runProgram(XCPTRACE_BINARY, {"show", "--raw", one}).out;
        ToolRun both = runProgram(XCPTRACE_BINARY, {"show", "--raw", two});
        EXPECT_EQ(both.code, 0);
        // The first slave's packets are those of the single-slave capture.
        EXPECT_EQ(linesOf(both.out, "| ECU[1],"), lines(single)) << format;
        std::vector<std::string> second = linesOf(both.out, "| ECU[2],");
        std::string secondText;
        for (const std::string& line : second) {
            secondText += line + "\n";
        }
        EXPECT_EQ(linesOf(secondText, "[DTO_DAQ()]").size(), 21u) << format;
        EXPECT_EQ(linesOf(secondText, "[CTO_CMD(CONNECT)]").size(), 1u) << format;
        EXPECT_EQ(linesOf(secondText, "[CTO_CMD(DISCONNECT)]").size(), 1u) << format;
        EXPECT_NE(second[0].find("[CTO_CMD(CONNECT)]"), std::string::npos) << second[0];
        EXPECT_NE(second[0].find(std::string(format) == "udp" ? "Dst=192.168.0.3" : "CAN[Id=0x7f3"),
                  std::string::npos)
            << second[0];
    }
}

TEST(GeneratorTest, VariantMistakes)
{
    TempDir dir;
    ToolRun badSize = xcpgen({"--reconnect-with", "word,3,intel", "-o", dir.file("x")});
    EXPECT_EQ(badSize.code, 2);
    EXPECT_EQ(badSize.err, "xcpgen: --reconnect-with word,3,intel: expected TYPE,SIZE,ORDER such as word,2,motorola\n");
    ToolRun badType = xcpgen({"--ecus", "2", "--ecu-with", "nibble,1,intel", "-o", dir.file("x")});
    EXPECT_EQ(badType.code, 2);
    EXPECT_EQ(badType.err, "xcpgen: --ecu-with nibble,1,intel: expected TYPE,SIZE,ORDER such as byte,1,intel\n");
    ToolRun tooMany = xcpgen({"--ecu-with", "byte,1,intel", "-o", dir.file("x")});
    EXPECT_EQ(tooMany.code, 2);
    EXPECT_EQ(tooMany.err, "xcpgen: --ecu-with is given for more slaves than --ecus makes\n");
    EXPECT_EQ(xcpgen({"--ecus", "5", "-o", dir.file("x")}).code, 2);
}

TEST(GeneratorTest, SeveralEcusParseCleanlyInTshark)
{
    if (!haveTshark()) {
        GTEST_SKIP() << "tshark is not installed";
    }
    for (const char* format : {"udp", "tcp"}) {
        TempDir dir;
        std::string path = dir.file("two.pcap");
        ASSERT_EQ(xcpgen({"--format", format, "--seconds", "0.2", "--ecus", "2", "-o", path}).code, 0);
        ToolRun run = tshark({"-r", path, "-o", "ip.check_checksum:TRUE", "-o", "udp.check_checksum:TRUE", "-o",
                              "tcp.check_checksum:TRUE", "-Y",
                              "_ws.malformed || _ws.expert.severity >= \"warning\" || tcp.analysis.flags || "
                              "ip.checksum.status == \"Bad\" || udp.checksum.status == \"Bad\" || "
                              "tcp.checksum.status == \"Bad\""});
        EXPECT_EQ(run.code, 0) << format << ": " << run.err;
        EXPECT_EQ(run.out, "") << format;
    }
}
