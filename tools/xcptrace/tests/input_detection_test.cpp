// Inputs are recognised by their first bytes, never by their names.

#include <cstring>

#include "InputDetection.h"
#include "tool_test_support.h"

using namespace tooltest;
using xcptrace::InputFormat;

namespace {

InputFormat detect(const Bytes& bytes)
{
    return xcptrace::detectInputFormat(bytes.data(), bytes.size());
}

InputFormat detect(const std::string& text)
{
    return xcptrace::detectInputFormat(reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

}  // namespace

TEST(InputDetectionTest, PcapInAllFourByteOrdersAndPrecisions)
{
    EXPECT_EQ(detect(hex("d4 c3 b2 a1 02 00 04 00")), InputFormat::PCAP);
    EXPECT_EQ(detect(hex("a1 b2 c3 d4 00 02 00 04")), InputFormat::PCAP);
    EXPECT_EQ(detect(hex("4d 3c b2 a1 02 00 04 00")), InputFormat::PCAP);
    EXPECT_EQ(detect(hex("a1 b2 3c 4d 00 02 00 04")), InputFormat::PCAP);
}

TEST(InputDetectionTest, PcapngNeedsItsByteOrderMagic)
{
    EXPECT_EQ(detect(hex("0a 0d 0d 0a 1c 00 00 00 4d 3c 2b 1a")), InputFormat::PCAPNG);
    EXPECT_EQ(detect(hex("0a 0d 0d 0a 00 00 00 1c 1a 2b 3c 4d")), InputFormat::PCAPNG);
    // The same first bytes in a text file are just text.
    EXPECT_EQ(detect(std::string("\n\r\r\nhello there")), InputFormat::UNKNOWN);
}

TEST(InputDetectionTest, TraceFile)
{
    EXPECT_EQ(detect(hex("89 51 56 54 52 0d 0a 1a 00 01 00 10 00 00 00 00")), InputFormat::TRACE);
}

TEST(InputDetectionTest, CandumpLog)
{
    EXPECT_EQ(detect(std::string("(1700000000.123456) can0 7F1#FF00\n")), InputFormat::CANDUMP);
    EXPECT_EQ(detect(std::string("\n\n  (1.0) can0 7F1#FF00\n")), InputFormat::CANDUMP);
    // A first line of another form makes the file unknown, whatever follows.
    EXPECT_EQ(detect(std::string("hello\n(1.0) can0 7F1#FF00\n")), InputFormat::UNKNOWN);
    EXPECT_EQ(detect(std::string("(abc) can0 7F1#FF00\n")), InputFormat::UNKNOWN);
}

TEST(InputDetectionTest, EmptyTextAndBinary)
{
    EXPECT_EQ(detect(Bytes()), InputFormat::EMPTY);
    EXPECT_EQ(detect(std::string("just some notes\n")), InputFormat::UNKNOWN);
    EXPECT_EQ(detect(hex("00 01 02 03 28 31")), InputFormat::UNKNOWN);
    EXPECT_EQ(detect(std::string("(")), InputFormat::UNKNOWN);
    EXPECT_STREQ(xcptrace::inputFormatName(InputFormat::CANDUMP), "candump log");
}
