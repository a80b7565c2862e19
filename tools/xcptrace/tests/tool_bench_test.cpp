// bench/tool-bench on tiny captures: it must still run and print its tables, with a row
// for every capture and command and the packet counts of the captures it wrote. Nothing
// here looks at how fast anything was.

#include <algorithm>
#include <map>
#include <regex>

#include "cli_support.h"

using namespace clitest;

namespace {

const std::string SCRIPT = std::string(XCPTRACE_SOURCE_DIR) + "/bench/tool-bench";
const std::vector<std::string> CAPTURES = {"UDP pcap", "CAN pcap", "CAN candump"};
const std::vector<std::string> XCPTRACE_COMMANDS = {
    "`xcptrace show FILE > /dev/null`",  "`xcptrace stats FILE > /dev/null`",  "`xcptrace convert FILE -o TRACE`",
    "`xcptrace show TRACE > /dev/null`", "`xcptrace stats TRACE > /dev/null`",
};

bool haveProgram(const std::string& name)
{
    return std::system(("command -v " + name + " >/dev/null 2>&1").c_str()) == 0;
}

std::vector<std::string> cells(const std::string& row)
{
    std::vector<std::string> result;
    std::string cell;
    for (size_t i = 1; i < row.size(); ++i) {
        if (row[i] == '|') {
            size_t first = cell.find_first_not_of(' ');
            size_t last = cell.find_last_not_of(' ');
            result.push_back(first == std::string::npos ? "" : cell.substr(first, last - first + 1));
            cell.clear();
        } else {
            cell += row[i];
        }
    }
    return result;
}

/// The rows of the table that follows the header line `header`.
std::vector<std::vector<std::string>> tableAfter(const std::vector<std::string>& output, const std::string& header)
{
    std::vector<std::vector<std::string>> rows;
    auto at = std::find(output.begin(), output.end(), header);
    if (at == output.end()) {
        ADD_FAILURE() << "no table headed " << header;
        return rows;
    }
    for (at += 2; at != output.end() && !at->empty() && (*at)[0] == '|'; ++at) {
        rows.push_back(cells(*at));
    }
    return rows;
}

/// "1,234" for 1234, as the tables group digits.
std::string grouped(size_t value)
{
    std::string digits = std::to_string(value);
    for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3) {
        digits.insert(static_cast<size_t>(at), ",");
    }
    return digits;
}

size_t xcpPackets(const std::string& capture)
{
    ToolRun run = runXcptrace({"show", capture});
    EXPECT_EQ(run.code, 0) << capture;
    return lines(run.out).size();
}

void expectNumber(const std::string& cell, const std::string& what)
{
    static const std::regex number("[0-9][0-9,]*(\\.[0-9]+)?");
    EXPECT_TRUE(std::regex_match(cell, number)) << what << ": \"" << cell << "\"";
}

struct BenchRun {
    ToolRun run;
    std::vector<std::string> output;
    std::map<std::string, size_t> packets;  ///< by capture file name
};

BenchRun runBench(const TempDir& dir, bool withTshark)
{
    std::vector<std::string> args = {"--packets", "2000",          "--runs",    "1",
                                     "--scale",   "2",             "--xcptrace", XCPTRACE_BINARY,
                                     "--xcpgen",  XCPGEN_BINARY,   "--work-dir", dir.file("captures"),
                                     "--keep",    "--output",      dir.file("tables.md")};
    if (!withTshark) {
        args.push_back("--no-tshark");
    }
    BenchRun bench;
    bench.run = runProgram(SCRIPT, args);
    bench.output = lines(bench.run.out);
    for (const char* name : {"udp.pcap", "can.pcap", "candump.log", "udp-x2.pcap", "can-x2.pcap", "candump-x2.log"}) {
        bench.packets[name] = xcpPackets(dir.file("captures/") + name);
    }
    EXPECT_EQ(readText(dir.file("tables.md")), bench.run.out);
    return bench;
}

void expectTables(const BenchRun& bench, bool withTshark)
{
    ASSERT_EQ(bench.run.code, 0) << bench.run.err;
    // The generator adds the session around the 2,000 DAQ packets: some 60 packets.
    for (const auto& capture : bench.packets) {
        size_t least = capture.first.find("-x2") != std::string::npos ? 4000 : 2000;
        EXPECT_GT(capture.second, least) << capture.first;
        EXPECT_LT(capture.second, least + 100) << capture.first;
    }
    ASSERT_FALSE(bench.output.empty());
    EXPECT_EQ(bench.output[0], "XCP packets per capture: UDP pcap " + grouped(bench.packets.at("udp.pcap")) +
                                   "; CAN pcap " + grouped(bench.packets.at("can.pcap")) + "; CAN candump " +
                                   grouped(bench.packets.at("candump.log")) +
                                   ". Wall times are the median of 1 run, peak memory the largest of them.");

    std::vector<std::vector<std::string>> rows = tableAfter(
        bench.output, "| capture | command | input MB | wall s | XCP packets/s | MB/s | peak memory MB | throughput vs tshark |");
    std::vector<std::pair<std::string, std::string>> expected;
    for (const std::string& capture : CAPTURES) {
        expected.emplace_back(capture, "`cat FILE > /dev/null`");
        if (withTshark && capture != "CAN candump") {
            expected.emplace_back(capture, "`tshark -r FILE > /dev/null`");
        }
        for (const std::string& command : XCPTRACE_COMMANDS) {
            expected.emplace_back(capture, command);
        }
    }
    ASSERT_EQ(rows.size(), expected.size() + 1);
    for (size_t i = 0; i < expected.size(); ++i) {
        const std::vector<std::string>& row = rows[i];
        ASSERT_EQ(row.size(), 8u) << i;
        EXPECT_EQ(row[0], expected[i].first) << i;
        EXPECT_EQ(row[1], expected[i].second) << i;
        for (size_t column = 2; column < 7; ++column) {
            expectNumber(row[column], row[0] + " " + row[1] + ", column " + std::to_string(column + 1));
        }
        bool ratio = withTshark && row[0] != "CAN candump";
        if (ratio) {
            EXPECT_TRUE(std::regex_match(row[7], std::regex("[0-9]+(\\.[0-9])?x"))) << row[7];
        } else {
            EXPECT_EQ(row[7], "n/a");
        }
    }
    EXPECT_EQ(rows.back()[0], "(process start)");
    expectNumber(rows.back()[3], "process start");

    std::vector<std::vector<std::string>> targets = tableAfter(bench.output, "| capture | target | measured | |");
    std::vector<std::string> targetNames;
    for (const std::vector<std::string>& row : targets) {
        ASSERT_EQ(row.size(), 4u);
        targetNames.push_back(row[0] + ": " + row[1]);
        EXPECT_TRUE(row[3] == "met" || row[3] == "missed") << row[3];
    }
    std::vector<std::string> expectedTargets;
    for (const std::string& capture : CAPTURES) {
        if (withTshark && capture != "CAN candump") {
            expectedTargets.push_back(capture + ": `xcptrace stats` at least 20x the throughput of `tshark -r`");
            expectedTargets.push_back(capture + ": `xcptrace show` at least 5x the throughput of `tshark -r`");
        }
        expectedTargets.push_back(capture + ": peak memory of every xcptrace command under 64 MB");
    }
    EXPECT_EQ(targetNames, expectedTargets);

    std::vector<std::vector<std::string>> scaled = tableAfter(
        bench.output, "| capture | command | XCP packets | wall s | peak memory MB | XCP packets x2 | wall s x2 | "
                      "peak memory MB x2 |");
    ASSERT_EQ(scaled.size(), CAPTURES.size() * XCPTRACE_COMMANDS.size());
    const char* files[][2] = {{"udp.pcap", "udp-x2.pcap"}, {"can.pcap", "can-x2.pcap"}, {"candump.log", "candump-x2.log"}};
    for (size_t i = 0; i < scaled.size(); ++i) {
        const std::vector<std::string>& row = scaled[i];
        size_t capture = i / XCPTRACE_COMMANDS.size();
        ASSERT_EQ(row.size(), 8u);
        EXPECT_EQ(row[0], CAPTURES[capture]);
        EXPECT_EQ(row[1], XCPTRACE_COMMANDS[i % XCPTRACE_COMMANDS.size()]);
        EXPECT_EQ(row[2], grouped(bench.packets.at(files[capture][0])));
        EXPECT_EQ(row[5], grouped(bench.packets.at(files[capture][1])));
        for (size_t column : {3, 4, 6, 7}) {
            expectNumber(row[column], row[0] + " " + row[1] + ", column " + std::to_string(column + 1));
        }
    }
    EXPECT_EQ(bench.output.back().rfind("Machine: ", 0), 0u) << bench.output.back();
}

}  // namespace

TEST(ToolBenchTest, TinyRunWithoutTsharkPrintsEveryTable)
{
    if (!haveProgram("/usr/bin/time")) {
        GTEST_SKIP() << "/usr/bin/time is not installed (Debian: time)";
    }
    TempDir dir;
    BenchRun bench = runBench(dir, false);
    expectTables(bench, false);
}

TEST(ToolBenchTest, TinyRunWithTsharkAddsItsRowsAndTheTargets)
{
    if (!haveProgram("/usr/bin/time") || !haveProgram("tshark")) {
        GTEST_SKIP() << "needs /usr/bin/time and tshark";
    }
    TempDir dir;
    BenchRun bench = runBench(dir, true);
    expectTables(bench, true);
}

TEST(ToolBenchTest, WrongOptionIsRefused)
{
    ToolRun run = runProgram(SCRIPT, {"--packets", "many"});
    EXPECT_EQ(run.code, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "tool-bench: --packets takes a positive number\n");
}
