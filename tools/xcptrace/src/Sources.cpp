#include "Sources.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace xcptrace {

DecodedPacket* BatchedSource::next()
{
    while (position_ >= batch_.size()) {
        if (ended_) {
            return nullptr;
        }
        batch_.clear();
        position_ = 0;
        problems_.setInput(name_, unit_);
        if (!step()) {
            ended_ = true;
        }
    }
    return &batch_[position_++];
}

MergedSource::MergedSource(std::vector<std::unique_ptr<PacketSource>> inputs)
    : inputs_(std::move(inputs)), heads_(inputs_.size(), nullptr)
{
}

DecodedPacket* MergedSource::next()
{
    if (inputs_.size() == 1) {
        return inputs_[0]->next();
    }
    if (!primed_) {
        for (size_t i = 0; i < inputs_.size(); ++i) {
            heads_[i] = inputs_[i]->next();
        }
        primed_ = true;
    } else if (last_ < heads_.size() && heads_[last_] != nullptr) {
        heads_[last_] = inputs_[last_]->next();
    }
    size_t best = heads_.size();
    for (size_t i = 0; i < heads_.size(); ++i) {
        if (heads_[i] != nullptr &&
            (best == heads_.size() || heads_[i]->message.getTimeStamp() < heads_[best]->message.getTimeStamp())) {
            best = i;
        }
    }
    last_ = best;
    return best == heads_.size() ? nullptr : heads_[best];
}

namespace {

std::string errnoText(int error)
{
    return std::strerror(error);
}

}  // namespace

std::unique_ptr<PacketSource> openInput(const std::string& path, const DecodeOptions& options, ProblemLog& problems)
{
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        throw InputError("cannot open: " + errnoText(errno));
    }
    struct stat status {};
    if (::fstat(fd, &status) != 0) {
        int error = errno;
        ::close(fd);
        throw InputError("cannot read: " + errnoText(error));
    }
    if (S_ISDIR(status.st_mode)) {
        ::close(fd);
        throw InputError("cannot read: " + errnoText(EISDIR));
    }
    uint8_t head[DETECTION_BYTES];
    ssize_t got;
    do {
        got = ::pread(fd, head, sizeof head, 0);
    } while (got < 0 && errno == EINTR);
    if (got < 0) {
        int error = errno;
        ::close(fd);
        throw InputError("cannot read: " + errnoText(error));
    }
    uint64_t size = S_ISREG(status.st_mode) ? static_cast<uint64_t>(status.st_size) : 0;
    InputFormat format = detectInputFormat(head, static_cast<size_t>(got));
    switch (format) {
    case InputFormat::PCAP:
    case InputFormat::PCAPNG:
        return openPcapSource(path, fd, size, options, problems);
    case InputFormat::CANDUMP:
    case InputFormat::TRACE: {
        std::FILE* file = ::fdopen(fd, "rb");
        if (file == nullptr) {
            int error = errno;
            ::close(fd);
            throw InputError("cannot read: " + errnoText(error));
        }
        if (format == InputFormat::CANDUMP) {
            return openCandumpSource(path, file, size, options, problems);
        }
        return openTraceFileSource(path, file, size, problems);
    }
    case InputFormat::EMPTY:
        ::close(fd);
        throw InputError("empty file");
    case InputFormat::UNKNOWN:
        break;
    }
    ::close(fd);
    throw InputError("unrecognised format (not a pcap or pcapng capture, a candump log or an xcptrace trace file)");
}

}  // namespace xcptrace
