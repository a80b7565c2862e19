// candump logs (`candump -l`), read line by line.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "CanFrontEnd.h"
#include "Progress.h"
#include "Sources.h"

namespace xcptrace {

namespace {

constexpr size_t STREAM_BUFFER_SIZE = 1u << 18;
constexpr uint64_t PROGRESS_EVERY = 4096;
constexpr size_t QUOTE_LIMIT = 60;

class CandumpSource : public BatchedSource {
public:
    CandumpSource(const std::string& name, std::FILE* file, uint64_t size, const DecodeOptions& options,
                  ProblemLog& problems)
        : BatchedSource(problems, name, "line"),
          file_(file),
          can_(options.canPairs, problems, batch_),
          progress_(std::cerr, name, size, ProgressMeter::wanted(size))
    {
        std::setvbuf(file_, nullptr, _IOFBF, STREAM_BUFFER_SIZE);
    }

    ~CandumpSource() override
    {
        std::free(line_);
        std::fclose(file_);
    }

protected:
    bool step() override
    {
        if (done_) {
            return false;
        }
        ssize_t length = ::getline(&line_, &capacity_, file_);
        if (length < 0) {
            finish();
            return false;
        }
        ++lines_;
        bytes_ += static_cast<uint64_t>(length);
        size_t used = static_cast<size_t>(length);
        while (used > 0 && (line_[used - 1] == '\n' || line_[used - 1] == '\r')) {
            --used;
        }
        if (progress_.enabled() && lines_ % PROGRESS_EVERY == 0) {
            progress_.update(bytes_, lines_);
        }
        if (std::strspn(line_, " \t") >= used) {
            return true;  // blank line
        }
        CanFrame frame;
        const char* interfaceName = nullptr;
        size_t interfaceLength = 0;
        std::string why;
        if (!parseCandumpLine(line_, used, frame, interfaceName, interfaceLength, why)) {
            std::string quoted(line_, used < QUOTE_LIMIT ? used : QUOTE_LIMIT);
            for (char& c : quoted) {
                if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
                    c = '?';
                }
            }
            problems_.report(Problem::MalformedLine, lines_,
                             why + ": \"" + quoted + (used > QUOTE_LIMIT ? "...\"" : "\""));
            return true;
        }
        frame.number = lines_;
        frame.channel = channelOf(interfaceName, interfaceLength);
        can_.frame(frame);
        return true;
    }

private:
    /// The number at the end of the interface's name, else its order of first appearance.
    uint8_t channelOf(const char* name, size_t length)
    {
        if (length == lastName_.size() && std::memcmp(name, lastName_.data(), length) == 0) {
            return lastChannel_;
        }
        lastName_.assign(name, length);
        int number = interfaceNumber(name, length);
        if (number < 0) {
            size_t index = 0;
            while (index < unnumbered_.size() && unnumbered_[index] != lastName_) {
                ++index;
            }
            if (index == unnumbered_.size()) {
                unnumbered_.push_back(lastName_);
            }
            number = static_cast<int>(index <= 255 ? index : 255);
        }
        lastChannel_ = static_cast<uint8_t>(number);
        return lastChannel_;
    }

    void finish()
    {
        done_ = true;
        can_.finish();
        progress_.done();
        if (can_.detecting() && can_.pairs().empty() && can_.frames() != 0) {
            problems_.note("no XCP on CAN found (no CONNECT answered by a positive response within 1 s); "
                           "name the identifiers with --can MASTER_ID:SLAVE_ID");
        }
    }

    std::FILE* file_;
    char* line_ = nullptr;
    size_t capacity_ = 0;
    uint64_t lines_ = 0;
    uint64_t bytes_ = 0;
    bool done_ = false;
    std::string lastName_;
    uint8_t lastChannel_ = 0;
    std::vector<std::string> unnumbered_;
    CanFrontEnd can_;
    ProgressMeter progress_;
};

}  // namespace

std::unique_ptr<PacketSource> openCandumpSource(const std::string& name, std::FILE* file, uint64_t size,
                                                const DecodeOptions& options, ProblemLog& problems)
{
    return std::unique_ptr<PacketSource>(new CandumpSource(name, file, size, options, problems));
}

}  // namespace xcptrace
