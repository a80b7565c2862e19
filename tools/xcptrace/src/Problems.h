#ifndef XCPTRACE_PROBLEMS_H
#define XCPTRACE_PROBLEMS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

namespace xcptrace {

/// Everything in an input that is skipped rather than decoded. None of them stops a run.
enum class Problem : int {
    TruncatedInput,     ///< the input ends inside a record
    UnreadableRecord,   ///< libpcap refused a record
    TruncatedFrame,     ///< the capture kept fewer bytes than the headers need
    MalformedHeader,    ///< link-layer, IP, UDP or TCP header that does not add up
    IpFragment,         ///< XCP datagram split into IP fragments
    LenOverrun,         ///< XCP LEN beyond the end of the datagram
    ZeroLen,            ///< XCP message with LEN 0 (no PID)
    TrailingBytes,      ///< 1 to 3 bytes after the last XCP message of a datagram
    TcpGap,             ///< bytes of a TCP stream missing from the capture
    TcpIncomplete,      ///< a TCP stream ends inside an XCP message
    EmptyCanFrame,      ///< CAN frame without data on an XCP identifier
    MalformedLine,      ///< candump line that cannot be read
    DamagedRecord,      ///< trace record that does not read back whole
    ForeignRecord,      ///< trace record of a message type other than XCP
    Count
};

/// Counts what was skipped, reports the first problems one line each, and writes the
/// summary line at the end of a run. Lines start with "xcptrace: " and name the input and
/// the packet, line or record concerned.
class ProblemLog {
public:
    static constexpr size_t DETAIL_LIMIT = 20;

    explicit ProblemLog(std::ostream& out) : out_(out) {}

    /// The input that following reports concern, and the word for its units ("packet",
    /// "line", "record").
    void setInput(const std::string& name, const char* unit)
    {
        if (input_ != name) {  // readers set it before every record: copy only when it changes
            input_ = name;
        }
        unit_ = unit;
    }
    const std::string& input() const { return input_; }
    const char* unit() const { return unit_; }

    /// Counts a problem; the first DETAIL_LIMIT are described on a line of their own.
    /// `number` is the packet, line or record number (from 1), 0 for none in particular.
    void report(Problem kind, uint64_t number, const std::string& detail);
    /// A line of information that is not a problem (an XCP-on-CAN pair found, ...).
    void note(const std::string& text);

    uint64_t count(Problem kind) const { return counts_[static_cast<size_t>(kind)]; }
    uint64_t total() const;
    /// "xcptrace: skipped: 1 ..., 2 ..." or nothing when nothing was skipped.
    void writeSummary() const;
    /// What a kind of problem is called, for one or for several ("malformed candump line").
    static const char* name(Problem kind, bool several);

private:
    std::ostream& out_;
    std::string input_;
    const char* unit_ = "packet";
    std::array<uint64_t, static_cast<size_t>(Problem::Count)> counts_{};
    size_t detailed_ = 0;
};

}  // namespace xcptrace

#endif  // XCPTRACE_PROBLEMS_H
