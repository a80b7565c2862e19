// Captures read with libpcap. libpcap reads through a stdio stream of our own making, so
// that the bytes it reads can be counted (for the progress line) and, for pcapng, followed
// block by block to learn each packet's interface, which libpcap does not report.
//
// libpcap hands out a classic pcap file record by record with two small stdio reads each,
// which costs more than everything else the tool does with a CAN frame. So once libpcap has
// opened and checked a classic pcap file, the plain records (the whole record in the file,
// no more bytes than the snapshot length or the frame's length, a link type whose records
// libpcap passes on unchanged) are taken straight from the file in large blocks, with the
// time stamps, lengths and byte order as libpcap gives them. At the first record that is
// anything else (cut off, oversized, unreadable) libpcap takes over from that record on, so
// it is the one that reads or refuses it.

#include <pcap/pcap.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

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

// Classic pcap: the file header, the record header, and the magic numbers of the two time
// stamp resolutions (as read in the file's own byte order).
constexpr size_t PCAP_FILE_HEADER = 24;
constexpr size_t PCAP_RECORD_HEADER = 16;
constexpr uint32_t PCAP_MAGIC_MICROSECONDS = 0xA1B2C3D4u;
constexpr uint32_t PCAP_MAGIC_NANOSECONDS = 0xA1B23C4Du;
/// Blocks read at once; holds the largest record libpcap accepts (262,144 bytes) many times.
constexpr size_t DIRECT_BUFFER_SIZE = 1u << 20;

uint32_t swap32(uint32_t value)
{
    return (value >> 24) | ((value >> 8) & 0xFF00u) | ((value << 8) & 0xFF0000u) | (value << 24);
}

uint32_t load32(const uint8_t* bytes)
{
    uint32_t value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

/// Link types whose records libpcap passes on as they are in the file. Linux cooked
/// captures (whose CAN headers libpcap rewrites) and BSD loopback stay with libpcap.
bool passedOnUnchanged(int linkType)
{
    switch (linkType) {
    case DLT_EN10MB:
    case DLT_RAW:
    case DLT_IPV4:
    case DLT_IPV6:
    case DLT_CAN_SOCKETCAN:
        return true;
    default:
        return false;
    }
}

/// The file under libpcap's stream: counts bytes and shows them to the pcapng tracker.
/// `prefix` is read before the file (the file header again, when libpcap takes over in the
/// middle of a classic pcap file). The stream does not close the file.
struct Tap {
    int fd = -1;
    uint64_t bytes = 0;
    PcapngInterfaces* interfaces = nullptr;
    std::string prefix;
    size_t prefixUsed = 0;
};

ssize_t tapRead(void* cookie, char* buffer, size_t size)
{
    Tap* tap = static_cast<Tap*>(cookie);
    if (tap->prefixUsed < tap->prefix.size()) {
        size_t count = std::min(size, tap->prefix.size() - tap->prefixUsed);
        std::memcpy(buffer, tap->prefix.data() + tap->prefixUsed, count);
        tap->prefixUsed += count;
        return static_cast<ssize_t>(count);
    }
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

int tapClose(void*)
{
    return 0;
}

class PcapSource : public BatchedSource {
public:
    PcapSource(const std::string& name, int fd, uint64_t size, const DecodeOptions& options, ProblemLog& problems)
        : BatchedSource(problems, name, "packet"),
          fd_(fd),
          ethernet_(options.slavePorts, problems, batch_),
          can_(options.canPairs, problems, batch_),
          progress_(std::cerr, name, size, ProgressMeter::wanted(size))
    {
        problemsAtStart_ = problems.total();
        for (uint16_t port : options.slavePorts) {
            ports_ += (ports_.empty() ? "" : ", ") + std::to_string(port);
        }
        uint8_t head[PCAP_FILE_HEADER] = {};
        ssize_t headBytes = ::pread(fd, head, sizeof head, 0);
        if (headBytes >= 4 && std::memcmp(head, "\x0A\x0D\x0D\x0A", 4) == 0) {
            interfaces_.reset(new PcapngInterfaces());
        }
        tap_.fd = fd;
        tap_.interfaces = interfaces_.get();
        std::string error;
        pcap_ = openStream(tap_, error);
        if (pcap_ == nullptr) {
            ::close(fd_);
            throw InputError(error);
        }
        linkType_ = ::pcap_datalink(pcap_);
        if (linkType_ != DLT_CAN_SOCKETCAN && !isSupportedIpLinkType(linkType_)) {
            const char* linkName = ::pcap_datalink_val_to_name(linkType_);
            problems_.setInput(name_, unit_);
            problems_.note("link type " + std::to_string(linkType_) + (linkName != nullptr ? " (" + std::string(linkName) + ")" : "") +
                           " carries no XCP this tool can decode; the capture is skipped");
            supported_ = false;
        }
        if (options.directPcapRecords && headBytes == static_cast<ssize_t>(PCAP_FILE_HEADER) && !interfaces_) {
            startDirect(head);
        }
    }

    ~PcapSource() override
    {
        if (pcap_ != nullptr) {
            ::pcap_close(pcap_);
        }
        ::close(fd_);
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
        if (direct_) {
            uint64_t timeNs = 0;
            const uint8_t* data = nullptr;
            uint32_t caplen = 0;
            uint32_t length = 0;
            switch (nextDirectRecord(timeNs, data, caplen, length)) {
            case DirectRecord::READ:
                packet(timeNs, data, caplen, length, 0);
                return true;
            case DirectRecord::END:
                finish();
                return false;
            case DirectRecord::NOT_PLAIN:
                if (!handOverToLibpcap()) {
                    finish();
                    return false;
                }
                break;
            }
        }
        pcap_pkthdr* header = nullptr;
        const u_char* data = nullptr;
        int result = ::pcap_next_ex(pcap_, &header, &data);
        if (result == 1) {
            uint64_t timeNs = static_cast<uint64_t>(header->ts.tv_sec) * 1000000000ull +
                              static_cast<uint64_t>(header->ts.tv_usec);  // nanoseconds: opened so
            uint32_t interface = 0;
            if (interfaces_ && !interfaces_->nextPacketInterface(interface)) {
                interface = 0;
            }
            packet(timeNs, data, header->caplen, header->len, interface);
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
    enum class DirectRecord { READ, END, NOT_PLAIN };

    /// A libpcap handle reading through `tap`; nullptr with the reason in `error`.
    static pcap_t* openStream(Tap& tap, std::string& error)
    {
        cookie_io_functions_t functions{};
        functions.read = tapRead;
        functions.close = tapClose;
        std::FILE* stream = ::fopencookie(&tap, "rb", functions);
        if (stream == nullptr) {
            error = "cannot read: " + std::string(std::strerror(errno));
            return nullptr;
        }
        std::setvbuf(stream, nullptr, _IOFBF, STREAM_BUFFER_SIZE);
        char errorText[PCAP_ERRBUF_SIZE] = {};
        pcap_t* pcap = ::pcap_fopen_offline_with_tstamp_precision(stream, PCAP_TSTAMP_PRECISION_NANO, errorText);
        if (pcap == nullptr) {
            std::fclose(stream);
            error = std::string("not a readable capture: ") + errorText;
        }
        return pcap;
    }

    /// Reads the records of a classic pcap file directly from now on, when libpcap would
    /// pass them on as they are: a file of version 2.4 or later (older ones may have the
    /// two lengths the other way round) with one of the two usual magic numbers.
    void startDirect(const uint8_t* head)
    {
        uint32_t magic = load32(head);
        bool swapped = ::pcap_is_swapped(pcap_) == 1;
        if (swapped) {
            magic = swap32(magic);
        }
        if ((magic != PCAP_MAGIC_MICROSECONDS && magic != PCAP_MAGIC_NANOSECONDS) || !passedOnUnchanged(linkType_) ||
            ::pcap_major_version(pcap_) != 2 || ::pcap_minor_version(pcap_) < 4 || ::pcap_snapshot(pcap_) <= 0) {
            return;
        }
        direct_ = true;
        swapped_ = swapped;
        microseconds_ = magic == PCAP_MAGIC_MICROSECONDS;
        snapshot_ = static_cast<uint32_t>(::pcap_snapshot(pcap_));
        fileHeader_.assign(reinterpret_cast<const char*>(head), PCAP_FILE_HEADER);
        buffer_.resize(DIRECT_BUFFER_SIZE);
        readOffset_ = PCAP_FILE_HEADER;
    }

    /// Makes at least `count` bytes available from begin_ on, if the file has them.
    bool have(size_t count)
    {
        if (end_ - begin_ >= count) {
            return true;
        }
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
        while (end_ < buffer_.size()) {
            ssize_t got = ::pread(fd_, buffer_.data() + end_, buffer_.size() - end_, static_cast<off_t>(readOffset_));
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got <= 0) {
                break;  // the end, or a read error that libpcap will meet and report
            }
            end_ += static_cast<size_t>(got);
            readOffset_ += static_cast<uint64_t>(got);
        }
        return end_ - begin_ >= count;
    }

    /// The next record, with the time stamp and lengths as libpcap gives them: the seconds
    /// and the fraction are signed in the reader's byte order and unsigned in the other,
    /// and a fraction in microseconds becomes nanoseconds.
    DirectRecord nextDirectRecord(uint64_t& timeNs, const uint8_t*& data, uint32_t& caplen, uint32_t& length)
    {
        if (!have(PCAP_RECORD_HEADER)) {
            return end_ == begin_ ? DirectRecord::END : DirectRecord::NOT_PLAIN;
        }
        const uint8_t* record = buffer_.data() + begin_;
        uint32_t seconds = load32(record);
        uint32_t fraction = load32(record + 4);
        caplen = load32(record + 8);
        length = load32(record + 12);
        int64_t secondsValue;
        int64_t fractionValue;
        if (swapped_) {
            secondsValue = swap32(seconds);
            fractionValue = swap32(fraction);
            caplen = swap32(caplen);
            length = swap32(length);
        } else {
            secondsValue = static_cast<int32_t>(seconds);
            fractionValue = static_cast<int32_t>(fraction);
        }
        if (caplen > snapshot_ || caplen > length || !have(PCAP_RECORD_HEADER + caplen)) {
            return DirectRecord::NOT_PLAIN;
        }
        if (microseconds_) {
            fractionValue *= 1000;
        }
        timeNs = static_cast<uint64_t>(secondsValue) * 1000000000ull + static_cast<uint64_t>(fractionValue);
        data = buffer_.data() + begin_ + PCAP_RECORD_HEADER;
        begin_ += PCAP_RECORD_HEADER + caplen;
        return DirectRecord::READ;
    }

    /// libpcap reads on from the record at begin_: it gets the file header again and then
    /// the file from that record on. False when that cannot be arranged.
    bool handOverToLibpcap()
    {
        direct_ = false;
        uint64_t offset = readOffset_ - (end_ - begin_);
        buffer_.clear();
        buffer_.shrink_to_fit();
        ::pcap_close(pcap_);
        pcap_ = nullptr;
        std::string error;
        if (::lseek(fd_, static_cast<off_t>(offset), SEEK_SET) >= 0) {
            tap_.prefix = fileHeader_;
            tap_.prefixUsed = 0;
            tap_.bytes = offset;
            pcap_ = openStream(tap_, error);
        } else {
            error = std::strerror(errno);
        }
        if (pcap_ == nullptr) {
            problems_.report(Problem::UnreadableRecord, packets_ + 1,
                             "cannot read on from this record (" + error + "); the rest is skipped");
            return false;
        }
        return true;
    }

    void packet(uint64_t timeNs, const uint8_t* data, uint32_t caplen, uint32_t length, uint32_t interface)
    {
        ++packets_;
        lastTimeNs_ = timeNs;
        if (linkType_ == DLT_CAN_SOCKETCAN) {
            canFrame(data, caplen, length, timeNs, interface);
        } else {
            ethernet_.frame(linkType_, data, caplen, length, timeNs, packets_);
        }
        if (progress_.enabled() && packets_ % PROGRESS_EVERY == 0) {
            progress_.update(direct_ ? readOffset_ : tap_.bytes, packets_);
        }
    }

    void canFrame(const uint8_t* data, size_t caplen, size_t length, uint64_t timeNs, uint32_t interface)
    {
        CanFrame& frame = canFrame_;  // reused: parseSocketCan and the lines below set every field
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

    int fd_;
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

    // Reading classic pcap records directly.
    bool direct_ = false;
    bool swapped_ = false;
    bool microseconds_ = false;
    uint32_t snapshot_ = 0;
    std::string fileHeader_;
    std::vector<uint8_t> buffer_;
    size_t begin_ = 0;
    size_t end_ = 0;
    uint64_t readOffset_ = 0;  ///< file offset of buffer_[end_]

    CanFrame canFrame_;
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
