#include "Problems.h"

namespace xcptrace {

namespace {

struct ProblemName {
    const char* one;
    const char* many;
};

const ProblemName PROBLEM_NAMES[] = {
    {"input cut off inside a record", "inputs cut off inside a record"},
    {"unreadable capture record", "unreadable capture records"},
    {"frame cut short by the capture", "frames cut short by the capture"},
    {"frame with malformed headers", "frames with malformed headers"},
    {"fragmented XCP datagram (not reassembled)", "fragmented XCP datagrams (not reassembled)"},
    {"XCP message whose LEN overruns its datagram", "XCP messages whose LEN overruns their datagram"},
    {"XCP message with LEN 0", "XCP messages with LEN 0"},
    {"datagram with stray bytes after its last XCP message", "datagrams with stray bytes after their last XCP message"},
    {"gap in a TCP stream", "gaps in TCP streams"},
    {"XCP message cut off at the end of a TCP stream", "XCP messages cut off at the end of TCP streams"},
    {"CAN frame without data on an XCP identifier", "CAN frames without data on XCP identifiers"},
    {"malformed candump line", "malformed candump lines"},
    {"damaged trace record", "damaged trace records"},
    {"trace record of another message type", "trace records of other message types"},
};
static_assert(sizeof PROBLEM_NAMES / sizeof PROBLEM_NAMES[0] == static_cast<size_t>(Problem::Count),
              "every problem needs its summary text");

}  // namespace

void ProblemLog::report(Problem kind, uint64_t number, const std::string& detail)
{
    ++counts_[static_cast<size_t>(kind)];
    if (detailed_ < DETAIL_LIMIT) {
        out_ << "xcptrace: " << input_ << ": ";
        if (number != 0) {
            out_ << unit_ << " " << number << ": ";
        }
        out_ << detail << "\n";
    } else if (detailed_ == DETAIL_LIMIT) {
        out_ << "xcptrace: further problems are counted but not listed\n";
    }
    ++detailed_;
    out_.flush();
}

void ProblemLog::note(const std::string& text)
{
    out_ << "xcptrace: " << input_ << ": " << text << "\n";
    out_.flush();
}

uint64_t ProblemLog::total() const
{
    uint64_t sum = 0;
    for (uint64_t count : counts_) {
        sum += count;
    }
    return sum;
}

const char* ProblemLog::name(Problem kind, bool several)
{
    const ProblemName& names = PROBLEM_NAMES[static_cast<size_t>(kind)];
    return several ? names.many : names.one;
}

void ProblemLog::writeSummary() const
{
    if (total() == 0) {
        return;
    }
    out_ << "xcptrace: skipped:";
    const char* separator = " ";
    for (size_t i = 0; i < counts_.size(); ++i) {
        if (counts_[i] != 0) {
            out_ << separator << counts_[i] << " " << (counts_[i] == 1 ? PROBLEM_NAMES[i].one : PROBLEM_NAMES[i].many);
            separator = ", ";
        }
    }
    out_ << "\n";
    out_.flush();
}

}  // namespace xcptrace
