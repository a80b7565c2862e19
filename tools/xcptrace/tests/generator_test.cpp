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
