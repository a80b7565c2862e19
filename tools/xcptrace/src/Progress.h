#ifndef XCPTRACE_PROGRESS_H
#define XCPTRACE_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>

namespace xcptrace {

/// A progress line on the error stream for large inputs: bytes read, packets, rate.
/// Redrawn at most twice a second and cleared when the input is done.
class ProgressMeter {
public:
    /// Inputs above this size get a progress line, when the error stream is a terminal.
    static constexpr uint64_t THRESHOLD_BYTES = 50ull * 1000 * 1000;

    ProgressMeter(std::ostream& out, const std::string& name, uint64_t totalBytes, bool enabled);
    ~ProgressMeter();
    ProgressMeter(const ProgressMeter&) = delete;
    ProgressMeter& operator=(const ProgressMeter&) = delete;

    bool enabled() const { return enabled_; }
    /// Cheap to call often; draws only when half a second has passed.
    void update(uint64_t bytes, uint64_t packets);
    void done();

    /// Whether an input of this size read with the error stream on file descriptor 2
    /// should show progress.
    static bool wanted(uint64_t totalBytes);

private:
    std::ostream& out_;
    std::string name_;
    uint64_t total_;
    bool enabled_;
    bool drawn_ = false;
    size_t width_ = 0;
    std::chrono::steady_clock::time_point start_;
    std::chrono::steady_clock::time_point last_;
};

}  // namespace xcptrace

#endif  // XCPTRACE_PROGRESS_H
