// One direction of a TCP connection put back in order.

#include "TcpReassembly.h"
#include "tool_test_support.h"

using namespace tooltest;
using xcptrace::TcpStreamReassembler;

namespace {

/// Records what the reassembler delivers: data as hex runs and gaps as "gap N".
class Recorder : public xcptrace::StreamSink {
public:
    void streamData(const uint8_t* data, size_t count) override
    {
        stream.insert(stream.end(), data, data + count);
        events.push_back(toHex(Bytes(data, data + count)));
    }
    void streamGap(uint64_t missing) override { events.push_back("gap " + std::to_string(missing)); }

    Bytes stream;
    std::vector<std::string> events;
};

const Bytes STREAM = hex("00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f");

Bytes piece(size_t from, size_t to)
{
    return Bytes(STREAM.begin() + static_cast<std::ptrdiff_t>(from), STREAM.begin() + static_cast<std::ptrdiff_t>(to));
}

void segment(TcpStreamReassembler& r, Recorder& out, uint32_t isn, size_t from, size_t to)
{
    Bytes bytes = piece(from, to);
    r.segment(isn + 1 + static_cast<uint32_t>(from), false, bytes.data(), bytes.size(), out);
}

}  // namespace

TEST(TcpReassemblyTest, InOrderSegmentsAfterSyn)
{
    TcpStreamReassembler r;
    Recorder out;
    r.segment(1000, true, nullptr, 0, out);
    segment(r, out, 1000, 0, 4);
    segment(r, out, 1000, 4, 16);
    EXPECT_EQ(toHex(out.stream), toHex(STREAM));
    EXPECT_EQ(r.duplicateBytes(), 0u);
    EXPECT_EQ(r.nextSequence(), 1000u + 1 + 16);
}

TEST(TcpReassemblyTest, RetransmittedAndOverlappingBytesAreDeliveredOnce)
{
    TcpStreamReassembler r;
    Recorder out;
    r.segment(1000, true, nullptr, 0, out);
    segment(r, out, 1000, 0, 6);
    segment(r, out, 1000, 0, 6);   // retransmission
    segment(r, out, 1000, 3, 10);  // overlaps 3 bytes
    segment(r, out, 1000, 10, 16);
    EXPECT_EQ(toHex(out.stream), toHex(STREAM));
    EXPECT_EQ(r.duplicateBytes(), 9u);
    EXPECT_EQ(out.events, (std::vector<std::string>{"00 01 02 03 04 05", "06 07 08 09", "0a 0b 0c 0d 0e 0f"}));
}

TEST(TcpReassemblyTest, OutOfOrderSegmentsWaitForTheHole)
{
    TcpStreamReassembler r;
    Recorder out;
    r.segment(1000, true, nullptr, 0, out);
    segment(r, out, 1000, 10, 16);
    segment(r, out, 1000, 4, 10);
    EXPECT_TRUE(out.stream.empty());
    EXPECT_EQ(r.pendingBytes(), 12u);
    segment(r, out, 1000, 0, 4);
    EXPECT_EQ(toHex(out.stream), toHex(STREAM));
    EXPECT_EQ(r.pendingBytes(), 0u);
}

TEST(TcpReassemblyTest, WaitingSegmentsOverlappingEachOther)
{
    TcpStreamReassembler r;
    Recorder out;
    r.segment(1000, true, nullptr, 0, out);
    segment(r, out, 1000, 8, 12);
    segment(r, out, 1000, 6, 16);  // covers the one before
    segment(r, out, 1000, 8, 10);  // shorter duplicate at the same place
    segment(r, out, 1000, 0, 7);
    EXPECT_EQ(toHex(out.stream), toHex(STREAM));
}

TEST(TcpReassemblyTest, HoleGivenUpAtTheEndOfTheStream)
{
    TcpStreamReassembler r;
    Recorder out;
    r.segment(1000, true, nullptr, 0, out);
    segment(r, out, 1000, 0, 4);
    segment(r, out, 1000, 10, 16);
    r.flush(out);
    EXPECT_EQ(out.events, (std::vector<std::string>{"00 01 02 03", "gap 6", "0a 0b 0c 0d 0e 0f"}));
    // A late copy of the missing bytes is old news now.
    segment(r, out, 1000, 4, 10);
    EXPECT_EQ(out.events.size(), 3u);
}

TEST(TcpReassemblyTest, HoleGivenUpWhenTooMuchWaitsBehindIt)
{
    TcpStreamReassembler r;
    Recorder out;
    r.segment(0, true, nullptr, 0, out);
    Bytes block(64 * 1024, 0x5A);
    // 1 byte missing at the start; 17 blocks of 64 KiB wait behind it (more than 1 MiB).
    for (uint32_t i = 0; i < 17; ++i) {
        r.segment(2 + i * static_cast<uint32_t>(block.size()), false, block.data(), block.size(), out);
    }
    ASSERT_FALSE(out.events.empty());
    EXPECT_EQ(out.events.front(), "gap 1");
    EXPECT_EQ(out.stream.size(), 17 * block.size());
    EXPECT_EQ(r.pendingBytes(), 0u);
}

TEST(TcpReassemblyTest, CaptureStartingMidStreamStartsAtTheFirstSegment)
{
    TcpStreamReassembler r;
    Recorder out;
    Bytes first = piece(4, 8);
    r.segment(5000, false, first.data(), first.size(), out);
    Bytes second = piece(8, 12);
    r.segment(5004, false, second.data(), second.size(), out);
    EXPECT_EQ(toHex(out.stream), toHex(piece(4, 12)));
}

TEST(TcpReassemblyTest, SequenceNumbersWrapAround)
{
    TcpStreamReassembler r;
    Recorder out;
    uint32_t isn = 0xFFFFFFF8u;
    r.segment(isn, true, nullptr, 0, out);
    segment(r, out, isn, 8, 16);  // after the wrap, ahead of the stream
    segment(r, out, isn, 0, 8);   // before the wrap
    EXPECT_EQ(toHex(out.stream), toHex(STREAM));
    EXPECT_EQ(r.nextSequence(), isn + 1 + 16);
}

TEST(TcpReassemblyTest, RetransmittedSynChangesNothingButANewSynStartsAgain)
{
    TcpStreamReassembler r;
    Recorder out;
    r.segment(1000, true, nullptr, 0, out);
    segment(r, out, 1000, 0, 4);
    r.segment(1000, true, nullptr, 0, out);  // the same SYN again
    segment(r, out, 1000, 4, 8);
    EXPECT_EQ(toHex(out.stream), toHex(piece(0, 8)));

    r.segment(9000, true, nullptr, 0, out);  // a new connection on the same ports
    Bytes fresh = hex("77 88");
    r.segment(9001, false, fresh.data(), fresh.size(), out);
    EXPECT_EQ(out.events.back(), "77 88");
}
