#include "Writers.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>

namespace xcpgen {

namespace {

constexpr uint32_t LINKTYPE_ETHERNET = 1;
constexpr uint32_t LINKTYPE_CAN_SOCKETCAN = 227;
constexpr uint16_t SLAVE_PORT = 5555;
constexpr uint64_t MICROSECOND = 1000;

void putLe16(std::vector<uint8_t>& out, uint16_t v)
{
    out.push_back(static_cast<uint8_t>(v));
    out.push_back(static_cast<uint8_t>(v >> 8));
}

void putBe16(std::vector<uint8_t>& out, uint16_t v)
{
    out.push_back(static_cast<uint8_t>(v >> 8));
    out.push_back(static_cast<uint8_t>(v));
}

void putBe32(std::vector<uint8_t>& out, uint32_t v)
{
    putBe16(out, static_cast<uint16_t>(v >> 16));
    putBe16(out, static_cast<uint16_t>(v));
}

/// A file written through a large stdio buffer.
class OutputFile {
public:
    bool open(const std::string& path, std::string& error)
    {
        file_ = std::fopen(path.c_str(), "wb");
        if (file_ == nullptr) {
            error = std::strerror(errno);
            return false;
        }
        std::setvbuf(file_, nullptr, _IOFBF, 1u << 20);
        return true;
    }
    ~OutputFile()
    {
        if (file_ != nullptr) {
            std::fclose(file_);
        }
    }
    void write(const void* data, size_t count) { std::fwrite(data, 1, count, file_); }
    void write(const std::string& text) { write(text.data(), text.size()); }
    bool close(std::string& error)
    {
        bool failed = std::ferror(file_) != 0;
        failed = std::fclose(file_) != 0 || failed;
        file_ = nullptr;
        if (failed) {
            error = std::strerror(errno != 0 ? errno : EIO);
        }
        return !failed;
    }

private:
    std::FILE* file_ = nullptr;
};

/// Records waiting to be written in time order (equal times keep their order).
template <typename Record>
class TimeOrdered {
public:
    void add(uint64_t timeNs, Record record) { waiting_.emplace(timeNs, std::move(record)); }
    /// Hands every record up to `timeNs` (all when it is UINT64_MAX) to `write`.
    template <typename Write>
    void release(uint64_t timeNs, Write&& write)
    {
        auto end = waiting_.upper_bound(timeNs);
        for (auto it = waiting_.begin(); it != end; ++it) {
            write(it->first, it->second);
        }
        waiting_.erase(waiting_.begin(), end);
    }

private:
    std::multimap<uint64_t, Record> waiting_;
};

/// Classic pcap with microsecond time stamps, little-endian.
class PcapFile {
public:
    bool open(const std::string& path, uint32_t linkType, std::string& error)
    {
        if (!file_.open(path, error)) {
            return false;
        }
        std::vector<uint8_t> header;
        const uint32_t words[] = {0xA1B2C3D4u, 0x00040002u, 0, 0, 262144, linkType};
        for (size_t i = 0; i < 6; ++i) {
            if (i == 1) {
                putLe16(header, 2);  // version 2.4
                putLe16(header, 4);
                continue;
            }
            uint32_t w = words[i];
            for (int b = 0; b < 4; ++b) {
                header.push_back(static_cast<uint8_t>(w >> (8 * b)));
            }
        }
        file_.write(header.data(), header.size());
        return true;
    }
    /// Takes a record; it is written once release() reaches its time.
    void record(uint64_t timeNs, std::vector<uint8_t> frame) { waiting_.add(timeNs, std::move(frame)); }
    void release(uint64_t timeNs)
    {
        waiting_.release(timeNs, [this](uint64_t time, const std::vector<uint8_t>& frame) { write(time, frame); });
    }
    bool close(std::string& error)
    {
        release(UINT64_MAX);
        return file_.close(error);
    }

private:
    void write(uint64_t timeNs, const std::vector<uint8_t>& frame)
    {
        uint32_t fields[4] = {static_cast<uint32_t>(timeNs / 1000000000ull),
                              static_cast<uint32_t>(timeNs % 1000000000ull / 1000),
                              static_cast<uint32_t>(frame.size()), static_cast<uint32_t>(frame.size())};
        uint8_t header[16];
        for (int i = 0; i < 4; ++i) {
            for (int b = 0; b < 4; ++b) {
                header[4 * i + b] = static_cast<uint8_t>(fields[i] >> (8 * b));
            }
        }
        file_.write(header, sizeof header);
        file_.write(frame.data(), frame.size());
    }

    OutputFile file_;
    TimeOrdered<std::vector<uint8_t>> waiting_;
};

/// XCP on Ethernet: LEN and CTR before every packet; one counter for each side. A lost
/// packet uses up its counter value without being sent.
class XcpFramer {
public:
    std::vector<uint8_t> frame(const Send& send)
    {
        std::vector<uint8_t> bytes;
        uint16_t& counter = counters_[send.fromMaster ? 0 : 1];
        for (const Packet& packet : send.packets) {
            if (!packet.lost && send.captured) {
                putLe16(bytes, static_cast<uint16_t>(packet.bytes.size()));
                putLe16(bytes, counter);
                bytes.insert(bytes.end(), packet.bytes.begin(), packet.bytes.end());
            }
            ++counter;
        }
        return bytes;
    }

private:
    uint16_t counters_[2] = {0, 0};
};

struct Host {
    uint8_t mac[6];
    uint8_t ip[4];
    uint16_t port;
};

const Host MASTER_UDP{{0x02, 0x00, 0x00, 0x00, 0x00, 0x01}, {192, 168, 0, 1}, 50000};
const Host MASTER_TCP{{0x02, 0x00, 0x00, 0x00, 0x00, 0x01}, {192, 168, 0, 1}, 50001};

/// The slaves: 192.168.0.2, .3, ... on port 5555.
Host slaveHost(unsigned ecu)
{
    uint8_t last = static_cast<uint8_t>(2 + ecu);
    return Host{{0x02, 0x00, 0x00, 0x00, 0x00, last}, {192, 168, 0, last}, SLAVE_PORT};
}

/// The master's end of the TCP connection to each slave: its own port.
Host masterTcpHost(unsigned ecu)
{
    Host host = MASTER_TCP;
    host.port = static_cast<uint16_t>(MASTER_TCP.port + ecu);
    return host;
}

uint32_t sumWords(const uint8_t* data, size_t count, uint32_t sum = 0)
{
    for (size_t i = 0; i + 1 < count; i += 2) {
        sum += static_cast<uint32_t>((data[i] << 8) | data[i + 1]);
    }
    if (count % 2 != 0) {
        sum += static_cast<uint32_t>(data[count - 1] << 8);
    }
    return sum;
}

uint16_t foldChecksum(uint32_t sum)
{
    while ((sum >> 16) != 0) {
        sum = (sum & 0xFFFF) + (sum >> 16);
    }
    return static_cast<uint16_t>(~sum);
}

/// Ethernet II + IPv4 (+ the given UDP or TCP segment), padded to the 60-byte minimum.
std::vector<uint8_t> ipv4Frame(const Host& from, const Host& to, uint8_t protocol, std::vector<uint8_t> segment,
                               uint16_t identification)
{
    // Transport checksum over the pseudo header.
    size_t checksumOffset = protocol == 17 ? 6 : 16;
    segment[checksumOffset] = 0;
    segment[checksumOffset + 1] = 0;
    uint8_t pseudo[12];
    std::memcpy(pseudo, from.ip, 4);
    std::memcpy(pseudo + 4, to.ip, 4);
    pseudo[8] = 0;
    pseudo[9] = protocol;
    pseudo[10] = static_cast<uint8_t>(segment.size() >> 8);
    pseudo[11] = static_cast<uint8_t>(segment.size());
    uint16_t checksum = foldChecksum(sumWords(segment.data(), segment.size(), sumWords(pseudo, sizeof pseudo)));
    if (protocol == 17 && checksum == 0) {
        checksum = 0xFFFF;
    }
    segment[checksumOffset] = static_cast<uint8_t>(checksum >> 8);
    segment[checksumOffset + 1] = static_cast<uint8_t>(checksum);

    std::vector<uint8_t> frame(to.mac, to.mac + 6);
    frame.insert(frame.end(), from.mac, from.mac + 6);
    putBe16(frame, 0x0800);
    size_t ipStart = frame.size();
    frame.push_back(0x45);
    frame.push_back(0x00);
    putBe16(frame, static_cast<uint16_t>(20 + segment.size()));
    putBe16(frame, identification);
    putBe16(frame, 0x4000);  // don't fragment
    frame.push_back(64);
    frame.push_back(protocol);
    putBe16(frame, 0);
    frame.insert(frame.end(), from.ip, from.ip + 4);
    frame.insert(frame.end(), to.ip, to.ip + 4);
    uint16_t headerChecksum = foldChecksum(sumWords(frame.data() + ipStart, 20));
    frame[ipStart + 10] = static_cast<uint8_t>(headerChecksum >> 8);
    frame[ipStart + 11] = static_cast<uint8_t>(headerChecksum);
    frame.insert(frame.end(), segment.begin(), segment.end());
    if (frame.size() < 60) {
        frame.resize(60, 0);
    }
    return frame;
}

class UdpWriter : public TransportWriter {
public:
    explicit UdpWriter(unsigned ecus) : framers_(ecus) {}
    bool open(const std::string& path, std::string& error) { return pcap_.open(path, LINKTYPE_ETHERNET, error); }
    void begin(uint64_t) override {}
    void send(const Send& send) override
    {
        pcap_.release(send.timeNs);
        std::vector<uint8_t> payload = framers_[send.ecu].frame(send);
        if (payload.empty()) {
            return;
        }
        Host slave = slaveHost(send.ecu);
        const Host& from = send.fromMaster ? MASTER_UDP : slave;
        const Host& to = send.fromMaster ? slave : MASTER_UDP;
        std::vector<uint8_t> udp;
        putBe16(udp, from.port);
        putBe16(udp, to.port);
        putBe16(udp, static_cast<uint16_t>(8 + payload.size()));
        putBe16(udp, 0);
        udp.insert(udp.end(), payload.begin(), payload.end());
        pcap_.record(send.timeNs, ipv4Frame(from, to, 17, std::move(udp), ++identification_));
    }
    void end(uint64_t) override {}
    bool close(std::string& error) override { return pcap_.close(error); }

private:
    PcapFile pcap_;
    std::vector<XcpFramer> framers_;
    uint16_t identification_ = 0;
};

/// XCP on TCP: one connection per slave, handshake first, FIN last; every send is cut into one to
/// three segments at places that fall inside XCP messages, and the other side
/// acknowledges it.
class TcpWriter : public TransportWriter {
public:
    TcpWriter(uint64_t seed, unsigned ecus) : random_(seed ^ 0x7C9A3B1Dull), connections_(ecus) {}
    bool open(const std::string& path, std::string& error) { return pcap_.open(path, LINKTYPE_ETHERNET, error); }

    void begin(uint64_t timeNs) override
    {
        for (unsigned ecu = 0; ecu < connections_.size(); ++ecu) {
            uint64_t start = timeNs + ecu * 300 * MICROSECOND;
            uint32_t* next = connections_[ecu].next;
            segment(ecu, start, true, FLAG_SYN, nullptr, 0);
            ++next[0];
            segment(ecu, start + 100 * MICROSECOND, false, FLAG_SYN | FLAG_ACK, nullptr, 0);
            ++next[1];
            segment(ecu, start + 200 * MICROSECOND, true, FLAG_ACK, nullptr, 0);
        }
    }

    void send(const Send& send) override
    {
        pcap_.release(send.timeNs);
        Connection& connection = connections_[send.ecu];
        std::vector<uint8_t> bytes = connection.framer.frame(send);
        if (bytes.empty()) {
            return;
        }
        size_t pieces = 1 + static_cast<size_t>(nextRandom() % 3);
        if (pieces > bytes.size()) {
            pieces = bytes.size();
        }
        std::vector<size_t> cuts;
        while (cuts.size() + 1 < pieces) {
            size_t cut = 1 + static_cast<size_t>(nextRandom() % (bytes.size() - 1));
            if (std::find(cuts.begin(), cuts.end(), cut) == cuts.end()) {
                cuts.push_back(cut);
            }
        }
        std::sort(cuts.begin(), cuts.end());
        cuts.push_back(bytes.size());
        uint64_t time = send.timeNs;
        size_t start = 0;
        for (size_t cut : cuts) {
            segment(send.ecu, time, send.fromMaster, FLAG_PSH | FLAG_ACK, bytes.data() + start, cut - start);
            connection.next[send.fromMaster ? 0 : 1] += static_cast<uint32_t>(cut - start);
            start = cut;
            time += 2 * MICROSECOND;
        }
        segment(send.ecu, time + 8 * MICROSECOND, !send.fromMaster, FLAG_ACK, nullptr, 0);
    }

    void end(uint64_t timeNs) override
    {
        pcap_.release(timeNs);
        for (unsigned ecu = 0; ecu < connections_.size(); ++ecu) {
            uint64_t start = timeNs + ecu * 300 * MICROSECOND;
            uint32_t* next = connections_[ecu].next;
            segment(ecu, start, true, FLAG_FIN | FLAG_ACK, nullptr, 0);
            ++next[0];
            segment(ecu, start + 100 * MICROSECOND, false, FLAG_FIN | FLAG_ACK, nullptr, 0);
            ++next[1];
            segment(ecu, start + 200 * MICROSECOND, true, FLAG_ACK, nullptr, 0);
        }
    }

    bool close(std::string& error) override { return pcap_.close(error); }

private:
    static constexpr uint8_t FLAG_FIN = 0x01;
    static constexpr uint8_t FLAG_SYN = 0x02;
    static constexpr uint8_t FLAG_PSH = 0x08;
    static constexpr uint8_t FLAG_ACK = 0x10;

    uint64_t nextRandom()
    {
        uint64_t z = (random_ += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }

    struct Connection {
        XcpFramer framer;
        uint32_t next[2] = {0x10000000u, 0x20000000u};  // initial sequence numbers: master, slave
    };

    void segment(unsigned ecu, uint64_t timeNs, bool fromMaster, uint8_t flags, const uint8_t* data, size_t count)
    {
        Host master = masterTcpHost(ecu);
        Host slave = slaveHost(ecu);
        const Host& from = fromMaster ? master : slave;
        const Host& to = fromMaster ? slave : master;
        const uint32_t* next = connections_[ecu].next;
        std::vector<uint8_t> tcp;
        putBe16(tcp, from.port);
        putBe16(tcp, to.port);
        putBe32(tcp, next[fromMaster ? 0 : 1]);
        putBe32(tcp, (flags & FLAG_ACK) != 0 ? next[fromMaster ? 1 : 0] : 0);
        tcp.push_back(0x50);  // header length 20
        tcp.push_back(flags);
        putBe16(tcp, 65535);  // window
        putBe16(tcp, 0);      // checksum, filled in below
        putBe16(tcp, 0);      // urgent pointer
        if (data != nullptr) {
            tcp.insert(tcp.end(), data, data + count);
        }
        pcap_.record(timeNs, ipv4Frame(from, to, 6, std::move(tcp), ++identification_));
    }

    PcapFile pcap_;
    uint64_t random_;
    std::vector<Connection> connections_;
    uint16_t identification_ = 0;
};

/// XCP on CAN: one packet per frame, master and slave on their own identifiers; the
/// packets of one send follow each other 200 us apart.
class CanWriterBase : public TransportWriter {
public:
    explicit CanWriterBase(const TransportConfig& config) : config_(config) {}
    void begin(uint64_t) override {}
    void end(uint64_t) override {}
    void send(const Send& send) override
    {
        release(send.timeNs);
        uint64_t time = send.timeNs;
        uint32_t offset = 2 * send.ecu;
        for (const Packet& packet : send.packets) {
            if (!packet.lost && send.captured) {
                std::vector<uint8_t> payload = packet.bytes;
                if (config_.canPadding && payload.size() < 8) {
                    payload.resize(8, 0x00);
                }
                frame(time, (send.fromMaster ? config_.canMaster : config_.canSlave) + offset, payload);
            }
            time += 200 * MICROSECOND;
        }
    }

protected:
    /// Takes a frame; it is written once release() reaches its time.
    virtual void frame(uint64_t timeNs, uint32_t id, const std::vector<uint8_t>& payload) = 0;
    virtual void release(uint64_t timeNs) = 0;
    TransportConfig config_;
};

class CanPcapWriter : public CanWriterBase {
public:
    using CanWriterBase::CanWriterBase;
    bool open(const std::string& path, std::string& error)
    {
        return pcap_.open(path, LINKTYPE_CAN_SOCKETCAN, error);
    }
    bool close(std::string& error) override { return pcap_.close(error); }

protected:
    void release(uint64_t timeNs) override { pcap_.release(timeNs); }
    void frame(uint64_t timeNs, uint32_t id, const std::vector<uint8_t>& payload) override
    {
        std::vector<uint8_t> bytes;
        putBe32(bytes, id);
        bytes.push_back(static_cast<uint8_t>(payload.size()));
        bytes.push_back(0x00);  // FD flags
        bytes.push_back(0x00);  // reserved
        bytes.push_back(0x00);
        bytes.insert(bytes.end(), payload.begin(), payload.end());
        // A classic SocketCAN frame always occupies 8 payload bytes.
        if (bytes.size() < 16) {
            bytes.resize(16, 0x00);
        }
        pcap_.record(timeNs, std::move(bytes));
    }

private:
    PcapFile pcap_;
};

class CandumpWriter : public CanWriterBase {
public:
    using CanWriterBase::CanWriterBase;
    bool open(const std::string& path, std::string& error) { return file_.open(path, error); }
    bool close(std::string& error) override
    {
        release(UINT64_MAX);
        return file_.close(error);
    }

protected:
    void release(uint64_t timeNs) override
    {
        waiting_.release(timeNs, [this](uint64_t, const std::string& line) { file_.write(line); });
    }
    void frame(uint64_t timeNs, uint32_t id, const std::vector<uint8_t>& payload) override
    {
        char line[64 + 2 * 64];
        int length = std::snprintf(line, sizeof line, "(%llu.%06llu) can0 %03X#",
                                   static_cast<unsigned long long>(timeNs / 1000000000ull),
                                   static_cast<unsigned long long>(timeNs % 1000000000ull / 1000),
                                   static_cast<unsigned>(id));
        std::string text(line, static_cast<size_t>(length));
        for (uint8_t byte : payload) {
            char pair[3];
            std::snprintf(pair, sizeof pair, "%02X", byte);
            text += pair;
        }
        text += '\n';
        waiting_.add(timeNs, std::move(text));
    }

private:
    OutputFile file_;
    TimeOrdered<std::string> waiting_;
};

}  // namespace

std::unique_ptr<TransportWriter> openWriter(const TransportConfig& config, const std::string& path,
                                            std::string& error)
{
    switch (config.format) {
    case Format::UDP: {
        auto writer = std::make_unique<UdpWriter>(config.ecus);
        return writer->open(path, error) ? std::move(writer) : nullptr;
    }
    case Format::TCP: {
        auto writer = std::make_unique<TcpWriter>(config.seed, config.ecus);
        return writer->open(path, error) ? std::move(writer) : nullptr;
    }
    case Format::CAN_PCAP: {
        auto writer = std::make_unique<CanPcapWriter>(config);
        return writer->open(path, error) ? std::move(writer) : nullptr;
    }
    case Format::CANDUMP: {
        auto writer = std::make_unique<CandumpWriter>(config);
        return writer->open(path, error) ? std::move(writer) : nullptr;
    }
    }
    return nullptr;
}

}  // namespace xcpgen
