#include "Progress.h"

#include <unistd.h>

#include <cstdio>

namespace xcptrace {

ProgressMeter::ProgressMeter(std::ostream& out, const std::string& name, uint64_t totalBytes, bool enabled)
    : out_(out), name_(name), total_(totalBytes), enabled_(enabled), start_(std::chrono::steady_clock::now()),
      last_(start_)
{
}

ProgressMeter::~ProgressMeter()
{
    done();
}

bool ProgressMeter::wanted(uint64_t totalBytes)
{
    return totalBytes > THRESHOLD_BYTES && isatty(STDERR_FILENO) == 1;
}

void ProgressMeter::update(uint64_t bytes, uint64_t packets)
{
    if (!enabled_) {
        return;
    }
    auto now = std::chrono::steady_clock::now();
    if (now - last_ < std::chrono::milliseconds(500)) {
        return;
    }
    last_ = now;
    double seconds = std::chrono::duration<double>(now - start_).count();
    double megabytes = static_cast<double>(bytes) / 1e6;
    char text[256];
    int length = std::snprintf(text, sizeof text,
                               "xcptrace: %s: %.1f of %.1f MB (%.0f%%), %llu packets, %.1f MB/s", name_.c_str(),
                               megabytes, static_cast<double>(total_) / 1e6,
                               total_ == 0 ? 0.0 : 100.0 * static_cast<double>(bytes) / static_cast<double>(total_),
                               static_cast<unsigned long long>(packets), seconds > 0 ? megabytes / seconds : 0.0);
    size_t shown = length < 0 ? 0 : static_cast<size_t>(length) < sizeof text ? static_cast<size_t>(length) : sizeof text - 1;
    out_ << '\r' << text;
    for (size_t i = shown; i < width_; ++i) {
        out_ << ' ';
    }
    width_ = shown > width_ ? shown : width_;
    out_.flush();
    drawn_ = true;
}

void ProgressMeter::done()
{
    if (drawn_) {
        out_ << '\r' << std::string(width_, ' ') << '\r';
        out_.flush();
        drawn_ = false;
    }
}

}  // namespace xcptrace
