// Classic pcap files are read record by record straight from the file when the records are
// plain; libpcap reads the rest. Both ways must give the same packets and the same reports:
// each capture here is read both ways and the results compared, on SocketCAN and Ethernet,
// in both byte orders and both time-stamp resolutions, with time stamps whose top bits are
// set, across many read blocks, and with records that are cut off, oversized or longer than
// the snapshot length in the middle of the file.

#include <pcap/dlt.h>

#include <random>
#include <sstream>

#include "Sources.h"
#include "cli_support.h"

using namespace tooltest;
using clitest::TempDir;
using clitest::writeBytes;

namespace {

constexpr uint32_t MAGIC_MICROSECONDS = 0xA1B2C3D4;
constexpr uint32_t MAGIC_NANOSECONDS = 0xA1B23C4D;

/// A classic pcap file of any byte order, resolution and version.
class Capture {
public:
    Capture(uint32_t linkType, uint32_t magic, bool bigEndian, uint32_t snapshot = 262144, uint16_t minor = 4)
        : bigEndian_(bigEndian)
    {
        put32(magic);
        put16(2);
        put16(minor);
        put32(0);
        put32(0);
        put32(snapshot);
        put32(linkType);
    }
    /// A record with the header fields as given (caplen is the size of `data`).
    void record(uint32_t seconds, uint32_t fraction, const Bytes& data, uint32_t length)
    {
        recordWithCaplen(seconds, fraction, static_cast<uint32_t>(data.size()), data, length);
    }
    void recordWithCaplen(uint32_t seconds, uint32_t fraction, uint32_t caplen, const Bytes& data, uint32_t length)
    {
        put32(seconds);
        put32(fraction);
        put32(caplen);
        put32(length);
        bytes.insert(bytes.end(), data.begin(), data.end());
    }
    Bytes bytes;

private:
    void put16(uint16_t v)
    {
        if (bigEndian_) {
            tooltest::put16(bytes, v);
        } else {
            bytes.push_back(static_cast<uint8_t>(v));
            bytes.push_back(static_cast<uint8_t>(v >> 8));
        }
    }
    void put32(uint32_t v)
    {
        if (bigEndian_) {
            tooltest::put32(bytes, v);
        } else {
            put16(static_cast<uint16_t>(v));
            put16(static_cast<uint16_t>(v >> 16));
        }
    }
    bool bigEndian_;
};

/// What reading a file gave: each packet's line and slave, and the problem reports.
struct Reading {
    std::vector<std::string> packets;
    std::string problems;
};

Reading readCapture(const std::string& path, bool direct, const xcptrace::DecodeOptions& given)
{
    xcptrace::DecodeOptions options = given;
    options.directPcapRecords = direct;
    std::ostringstream reports;
    xcptrace::ProblemLog problems(reports);
    Reading reading;
    {
        std::unique_ptr<xcptrace::PacketSource> source = xcptrace::openInput(path, options, problems);
        while (xcptrace::DecodedPacket* packet = source->next()) {
            std::ostringstream line;
            line << packet->message << " / " << packet->slave.text();
            reading.packets.push_back(line.str());
        }
    }
    problems.writeSummary();
    reading.problems = reports.str();
    return reading;
}

/// Reads the capture both ways; they must agree, and give `expectedPackets` packets.
void expectSameBothWays(const Bytes& capture, size_t expectedPackets, const xcptrace::DecodeOptions& options)
{
    TempDir dir;
    std::string path = dir.file("capture.pcap");
    writeBytes(path, capture);
    Reading direct = readCapture(path, true, options);
    Reading throughLibpcap = readCapture(path, false, options);
    EXPECT_EQ(throughLibpcap.packets.size(), expectedPackets);
    ASSERT_EQ(direct.packets.size(), throughLibpcap.packets.size());
    for (size_t i = 0; i < direct.packets.size(); ++i) {
        ASSERT_EQ(direct.packets[i], throughLibpcap.packets[i]) << "packet " << i + 1;
    }
    EXPECT_EQ(direct.problems, throughLibpcap.problems);
}

xcptrace::DecodeOptions canOptions()
{
    xcptrace::DecodeOptions options;
    options.canPairs.push_back(xcptrace::CanPair{0x7F1, 0x7F2});
    return options;
}

/// A SocketCAN frame: identifier (big-endian), length, flags, two reserved bytes, data.
Bytes socketCan(uint32_t id, const Bytes& data, uint8_t flags = 0)
{
    Bytes frame;
    put32(frame, id);
    frame.push_back(static_cast<uint8_t>(data.size()));
    frame.push_back(flags);
    frame.push_back(0);
    frame.push_back(0);
    frame.insert(frame.end(), data.begin(), data.end());
    return frame;
}

Bytes randomBytes(std::mt19937& random, size_t count)
{
    Bytes bytes(count);
    for (uint8_t& b : bytes) {
        b = static_cast<uint8_t>(random());
    }
    return bytes;
}

/// Time stamps as a logger writes them, and some with the top bit of the seconds or the
/// fraction set (negative to a reader of signed fields).
void randomTime(std::mt19937& random, uint32_t& seconds, uint32_t& fraction, bool nanoseconds)
{
    switch (random() % 4) {
    case 0:
        seconds = 0x80000000u | static_cast<uint32_t>(random());
        fraction = static_cast<uint32_t>(random());
        break;
    case 1:
        seconds = static_cast<uint32_t>(random());
        fraction = 0x80000000u | static_cast<uint32_t>(random());
        break;
    default:
        seconds = 1700000000u + static_cast<uint32_t>(random() % 100000);
        fraction = static_cast<uint32_t>(random() % (nanoseconds ? 1000000000u : 1000000u));
        break;
    }
}

/// XCP on CAN: random packets from master and slave, classic and FD frames.
Capture randomCanCapture(std::mt19937& random, uint32_t magic, bool bigEndian, size_t records)
{
    Capture capture(DLT_CAN_SOCKETCAN, magic, bigEndian);
    for (size_t i = 0; i < records; ++i) {
        uint32_t seconds;
        uint32_t fraction;
        randomTime(random, seconds, fraction, magic == MAGIC_NANOSECONDS);
        bool fd = random() % 5 == 0;
        size_t length = fd ? 1 + random() % 64 : 1 + random() % 8;
        bool fromMaster = random() % 2 == 0;
        Bytes data = randomBytes(random, length);
        if (fromMaster) {
            data[0] |= 0xC0;  // a command: no stimulation packets, which print warnings
        }
        Bytes frame = socketCan(fromMaster ? 0x7F1 : 0x7F2, data, fd ? 0x04 : 0x00);
        capture.record(seconds, fraction, frame, static_cast<uint32_t>(frame.size()));
    }
    return capture;
}

/// XCP on UDP: datagrams of one to three XCP messages between 10.0.0.1 and 10.0.0.2:5555.
Bytes randomUdpFrame(std::mt19937& random, size_t maximumPacket)
{
    Bytes payload;
    bool toSlave = random() % 2 == 0;
    size_t messages = 1 + random() % 3;
    for (size_t m = 0; m < messages; ++m) {
        Bytes packet = randomBytes(random, 1 + random() % maximumPacket);
        if (toSlave) {
            packet[0] |= 0xC0;  // a command: no stimulation packets, which print warnings
        }
        Bytes message = xcp(static_cast<uint16_t>(random()), packet);
        payload.insert(payload.end(), message.begin(), message.end());
    }
    return ethernet(0x0800, ipv4(toSlave ? MASTER_TO_SLAVE : SLAVE_TO_MASTER, 17,
                                 toSlave ? udp(50000, 5555, payload) : udp(5555, 50000, payload)));
}

size_t xcpMessagesIn(const Bytes& frame)
{
    // Ethernet 14, IPv4 20, UDP 8; then LEN (little-endian) and CTR before each packet.
    size_t count = 0;
    for (size_t at = 42; at + 4 <= frame.size(); at += 4 + (frame[at] | frame[at + 1] << 8)) {
        ++count;
    }
    return count;
}

}  // namespace

TEST(PcapRecordsTest, SocketCanInEveryByteOrderAndResolution)
{
    std::mt19937 random(11);
    for (uint32_t magic : {MAGIC_MICROSECONDS, MAGIC_NANOSECONDS}) {
        for (bool bigEndian : {false, true}) {
            SCOPED_TRACE(std::string(magic == MAGIC_NANOSECONDS ? "nanoseconds" : "microseconds") +
                         (bigEndian ? ", big-endian" : ", little-endian"));
            Capture capture = randomCanCapture(random, magic, bigEndian, 2000);
            expectSameBothWays(capture.bytes, 2000, canOptions());
        }
    }
}

TEST(PcapRecordsTest, UdpAcrossManyReadBlocks)
{
    // Some 6 MB of records of up to 1,400 bytes: the direct reading refills its block many
    // times, with records cut at every kind of place by the block's end.
    std::mt19937 random(12);
    for (bool bigEndian : {false, true}) {
        SCOPED_TRACE(bigEndian ? "big-endian" : "little-endian");
        Capture capture(DLT_EN10MB, MAGIC_NANOSECONDS, bigEndian);
        size_t messages = 0;
        for (size_t i = 0; i < 10000; ++i) {
            uint32_t seconds;
            uint32_t fraction;
            randomTime(random, seconds, fraction, true);
            Bytes frame = randomUdpFrame(random, 400);
            messages += xcpMessagesIn(frame);
            capture.record(seconds, fraction, frame, static_cast<uint32_t>(frame.size()));
        }
        ASSERT_GT(capture.bytes.size(), 3u << 20);
        expectSameBothWays(capture.bytes, messages, xcptrace::DecodeOptions());
    }
}

TEST(PcapRecordsTest, RecordsLongerThanTheirFrameOrTheSnapshotInTheMiddle)
{
    // libpcap reads on from the first record that is not plain; what it makes of that one
    // and of the rest must be what it makes of them when it reads the whole file.
    std::mt19937 random(13);
    Capture capture(DLT_CAN_SOCKETCAN, MAGIC_MICROSECONDS, false, 64);
    for (size_t i = 0; i < 300; ++i) {
        Bytes frame = socketCan(0x7F2, randomBytes(random, 8));
        uint32_t length = static_cast<uint32_t>(frame.size());
        if (i == 100) {
            length = 4;  // the capture kept more than the frame had
        }
        if (i == 200) {
            // More than the snapshot length of 64: libpcap keeps 64 bytes of this CAN FD
            // frame, too few for its data.
            frame = socketCan(0x7F2, randomBytes(random, 64), 0x04);
            length = static_cast<uint32_t>(frame.size());
        }
        capture.record(1700000000u, static_cast<uint32_t>(i), frame, length);
    }
    expectSameBothWays(capture.bytes, 299, canOptions());  // the cut CAN FD frame is skipped
}

TEST(PcapRecordsTest, OversizedRecordStopsTheReadingWithLibpcapsReason)
{
    Capture capture(DLT_CAN_SOCKETCAN, MAGIC_NANOSECONDS, true);
    for (uint32_t i = 0; i < 50; ++i) {
        capture.record(1700000000u, i, socketCan(0x7F2, hex("00 11 22 33")), 12);
    }
    capture.recordWithCaplen(1700000000u, 50, 300000, socketCan(0x7F2, hex("00 11")), 300000);
    capture.record(1700000000u, 51, socketCan(0x7F2, hex("00 11")), 10);
    expectSameBothWays(capture.bytes, 50, canOptions());
}

TEST(PcapRecordsTest, CaptureCutInsideARecordHeaderOrItsData)
{
    std::mt19937 random(14);
    Capture whole(DLT_CAN_SOCKETCAN, MAGIC_MICROSECONDS, false);
    for (uint32_t i = 0; i < 40; ++i) {
        Bytes frame = socketCan(0x7F2, randomBytes(random, 8));
        whole.record(1700000000u, i, frame, static_cast<uint32_t>(frame.size()));
    }
    // Every record is 16 + 16 bytes: cut at every byte of the last one, inside its header
    // and inside its data.
    size_t lastRecord = whole.bytes.size() - 32;
    for (size_t end = lastRecord + 1; end < whole.bytes.size(); ++end) {
        SCOPED_TRACE("cut after byte " + std::to_string(end));
        expectSameBothWays(Bytes(whole.bytes.begin(), whole.bytes.begin() + static_cast<std::ptrdiff_t>(end)), 39,
                           canOptions());
    }
}

TEST(PcapRecordsTest, OlderFileVersionIsReadAsLibpcapReadsIt)
{
    // Version 2.3 files may hold the two lengths the other way round: libpcap takes the
    // smaller as the bytes captured. Here that leaves half of the last record's bytes
    // where the next record header should be.
    std::mt19937 random(15);
    Capture capture(DLT_CAN_SOCKETCAN, MAGIC_MICROSECONDS, false, 262144, 3);
    for (uint32_t i = 0; i < 20; ++i) {
        Bytes frame = socketCan(0x7F2, randomBytes(random, 8));
        capture.record(1700000000u, i, frame, i == 19 ? 8 : static_cast<uint32_t>(frame.size()));
    }
    expectSameBothWays(capture.bytes, 19, canOptions());
}
