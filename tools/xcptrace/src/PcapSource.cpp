// Captures read with libpcap. libpcap reads through a stdio stream of our own making, so
// that the bytes it reads can be counted (for the progress line) and, for pcapng, followed
// block by block to learn each packet's interface, which libpcap does not report.

#include <pcap/pcap.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

#include "CanFrontEnd.h"
#include "EthernetFrontEnd.h"
#include "NetworkDecoding.h"
#include "PcapngInterfaces.h"
#include "Progress.h"
#include "Sources.h"

namespace xcptrace {

namespace {

constexpr size_t STREAM_BUFFER_SIZE = 1u << 18;
constexpr uint64_t PROGRESS_EVERY = 4096;

/// The file under libpcap's stream: counts bytes and shows them to the pcapng tracker.
struct Tap {
    int fd = -1;
    uint64_t bytes = 0;
    PcapngInterfaces* interfaces = nullptr;
};

ssize_t tapRead(void* cookie, char* buffer, size_t size)
{
    Tap* tap = static_cast<Tap*>(cookie);
    ssize_t got;
    do {
        got = ::read(tap->fd, buffer, size);
    } while (got < 0 && errno == EINTR);
    if (got > 0) {
        tap->bytes += static_cast<uint64_t>(got);
        if (tap->interfaces != nullptr) {
            tap->interfaces->feed(reinterpret_cast<const uint8_t*>(buffer), static_cast<size_t>(got));
        }
    }
    return got;
}

int tapClose(void* cookie)
{
    Tap* tap = static_cast<Tap*>(cookie);
    int result = ::close(tap->fd);
    tap->fd = -1;
    return result;
}

class PcapSource : public BatchedSource {
public:
    PcapSource(const std::string& name, int fd, uint64_t size, const DecodeOptions& options, ProblemLog& problems)
        : BatchedSource(problems, name, "packet"),
          ethernet_(options.slavePorts, problems, batch_),
          can_(options.canPairs, problems, batch_),
          progress_(std::cerr, name, size, ProgressMeter::wanted(size))
    {
        problemsAtStart_ = problems.total();
        for (uint16_t port : options.slavePorts) {
            ports_ += (ports_.empty() ? "" : ", ") + std::to_string(port);
        }
        uint8_t magic[4] = {};
        if (::pread(fd, magic, sizeof magic, 0) == 4 && std::memcmp(magic, "\x0A\x0D\x0D\x0A", 4) == 0) {
            interfaces_.reset(new PcapngInterfaces());
        }
        tap_.fd = fd;
        tap_.interfaces = interfaces_.get();
        cookie_io_functions_t functions{};
        functions.read = tapRead;
        functions.close = tapClose;
        std::FILE* stream = ::fopencookie(&tap_, "rb", functions);
        if (stream == nullptr) {
            int error = errno;
            ::close(fd);
            throw InputError("cannot read: " + std::string(std::strerror(error)));
        }
        std::setvbuf(stream, nullptr, _IOFBF, STREAM_BUFFER_SIZE);
        char errorText[PCAP_ERRBUF_SIZE] = {};
        pcap_ = ::pcap_fopen_offline_with_tstamp_precision(stream, PCAP_TSTAMP_PRECISION_NANO, errorText);
        if (pcap_ == nullptr) {
            std::fclose(stream);
            throw InputError(std::string("not a readable capture: ") + errorText);
        }
        linkType_ = ::pcap_datalink(pcap_);
        if (linkType_ != DLT_CAN_SOCKETCAN && !isSupportedIpLinkType(linkType_)) {
            const char* linkName = ::pcap_datalink_val_to_name(linkType_);
            problems_.setInput(name_, unit_);
            problems_.note("link type " + std::to_string(linkType_) + (linkName != nullptr ? " (" + std::string(linkName) + ")" : "") +
                           " carries no XCP this tool can decode; the capture is skipped");
            supported_ = false;
        }
    }

    ~PcapSource() override
    {
        if (pcap_ != nullptr) {
            ::pcap_close(pcap_);
        }
    }

protected:
    bool step() override
    {
        if (done_) {
            return false;
        }
        if (!supported_) {
            done_ = true;
            return false;
        }
        pcap_pkthdr* header = nullptr;
        const u_char* data = nullptr;
        int result = ::pcap_next_ex(pcap_, &header, &data);
        if (result == 1) {
            ++packets_;
            uint64_t timeNs = static_cast<uint64_t>(header->ts.tv_sec) * 1000000000ull +
                              static_cast<uint64_t>(header->ts.tv_usec);  // nanoseconds: opened so
            lastTimeNs_ = timeNs;
            uint32_t interface = 0;
            if (interfaces_ && !interfaces_->nextPacketInterface(interface)) {
                interface = 0;
            }
            if (linkType_ == DLT_CAN_SOCKETCAN) {
                canFrame(data, header->caplen, header->len, timeNs, interface);
            } else {
                ethernet_.frame(linkType_, data, header->caplen, header->len, timeNs, packets_);
            }
            if (progress_.enabled() && packets_ % PROGRESS_EVERY == 0) {
                progress_.update(tap_.bytes, packets_);
            }
            return true;
        }
        if (result == PCAP_ERROR) {
            const char* text = ::pcap_geterr(pcap_);
            if (std::strstr(text, "truncated") != nullptr) {
                problems_.report(Problem::TruncatedInput, packets_ + 1, "the capture ends inside this packet's record");
            } else {
                problems_.report(Problem::UnreadableRecord, packets_ + 1,
                                 std::string("libpcap cannot read this record (") + text + "); the rest is skipped");
            }
        }
        finish();
        return false;
    }

private:
    void canFrame(const uint8_t* data, size_t caplen, size_t length, uint64_t timeNs, uint32_t interface)
    {
        CanFrame frame;
        std::string why;
        if (!parseSocketCan(data, caplen, frame, why)) {
            problems_.report(caplen < length ? Problem::TruncatedFrame : Problem::MalformedHeader, packets_, why);
            return;
        }
        frame.timeNs = timeNs;
        frame.number = packets_;
        frame.channel = interfaces_ ? interfaces_->channelOf(interface) : 0;
        can_.frame(frame);
    }

    void finish()
    {
        done_ = true;
        ethernet_.finish(lastTimeNs_);
        can_.finish();
        progress_.done();
        if (linkType_ == DLT_CAN_SOCKETCAN) {
            if (can_.detecting() && can_.pairs().empty() && can_.frames() != 0) {
                problems_.note("no XCP on CAN found (no CONNECT answered by a positive response within 1 s); "
                               "name the identifiers with --can MASTER_ID:SLAVE_ID");
            }
        } else if (ethernet_.messages() == 0 && packets_ != 0 && problems_.total() == problemsAtStart_) {
            problems_.note("no XCP found on slave port " + ports_ + " (see --port)");
        }
    }

    Tap tap_;
    std::unique_ptr<PcapngInterfaces> interfaces_;
    pcap_t* pcap_ = nullptr;
    int linkType_ = 0;
    bool supported_ = true;
    bool done_ = false;
    uint64_t packets_ = 0;
    uint64_t lastTimeNs_ = 0;
    uint64_t problemsAtStart_ = 0;
    std::string ports_;
    EthernetFrontEnd ethernet_;
    CanFrontEnd can_;
    ProgressMeter progress_;
};

}  // namespace

std::unique_ptr<PacketSource> openPcapSource(const std::string& name, int fd, uint64_t size,
                                             const DecodeOptions& options, ProblemLog& problems)
{
    return std::unique_ptr<PacketSource>(new PcapSource(name, fd, size, options, problems));
}

}  // namespace xcptrace
