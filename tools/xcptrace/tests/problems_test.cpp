// What the problem log writes: one line per problem up to a limit, and the summary.

#include "Problems.h"
#include "tool_test_support.h"

using xcptrace::Problem;
using xcptrace::ProblemLog;

TEST(ProblemsTest, LinesNameTheInputAndTheUnit)
{
    std::ostringstream out;
    ProblemLog log(out);
    log.setInput("a.log", "line");
    log.report(Problem::MalformedLine, 7, "no time stamp in parentheses: \"x\"");
    log.setInput("b.pcap", "packet");
    log.report(Problem::TcpGap, 0, "TCP 1 -> 2: 4 bytes missing");
    log.note("found something");
    EXPECT_EQ(out.str(),
              "xcptrace: a.log: line 7: no time stamp in parentheses: \"x\"\n"
              "xcptrace: b.pcap: TCP 1 -> 2: 4 bytes missing\n"
              "xcptrace: b.pcap: found something\n");
    EXPECT_EQ(log.total(), 2u);
    EXPECT_EQ(log.count(Problem::MalformedLine), 1u);
}

TEST(ProblemsTest, SummaryCountsEveryKindInOneLine)
{
    std::ostringstream out;
    ProblemLog log(out);
    log.setInput("x", "packet");
    log.report(Problem::MalformedLine, 1, "a");
    log.report(Problem::MalformedLine, 2, "b");
    log.report(Problem::TruncatedInput, 3, "c");
    out.str("");
    log.writeSummary();
    EXPECT_EQ(out.str(), "xcptrace: skipped: 1 input cut off inside a record, 2 malformed candump lines\n");
}

TEST(ProblemsTest, NoSummaryWhenNothingWasSkipped)
{
    std::ostringstream out;
    ProblemLog log(out);
    log.note("n");
    out.str("");
    log.writeSummary();
    EXPECT_EQ(out.str(), "");
}

TEST(ProblemsTest, OnlyTheFirstProblemsAreListed)
{
    std::ostringstream out;
    ProblemLog log(out);
    log.setInput("x", "packet");
    for (int i = 1; i <= 25; ++i) {
        log.report(Problem::LenOverrun, static_cast<uint64_t>(i), "d");
    }
    std::string text = out.str();
    size_t lines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
    EXPECT_EQ(lines, ProblemLog::DETAIL_LIMIT + 1);
    EXPECT_NE(text.find("xcptrace: x: packet 20: d\n"), std::string::npos);
    EXPECT_EQ(text.find("packet 21"), std::string::npos);
    EXPECT_NE(text.find("xcptrace: further problems are counted but not listed\n"), std::string::npos);
    out.str("");
    log.writeSummary();
    EXPECT_EQ(out.str(), "xcptrace: skipped: 25 XCP messages whose LEN overruns their datagram\n");
}
