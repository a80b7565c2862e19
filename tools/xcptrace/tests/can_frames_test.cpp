// CAN frames as SocketCAN captures and candump logs hold them, and CAN identifiers as the
// command line takes them.

#include <cstring>

#include "CanFrames.h"
#include "tool_test_support.h"

using namespace tooltest;
using xcptrace::CAN_EXTENDED_FLAG;
using xcptrace::CanFrame;
using xcptrace::CanPair;

namespace {

Bytes frameData(const CanFrame& frame)
{
    return Bytes(frame.data, frame.data + frame.length);
}

struct Line {
    bool ok;
    CanFrame frame;
    std::string interface;
    std::string why;
};

Line candump(const std::string& text)
{
    Line line;
    const char* name = nullptr;
    size_t nameLength = 0;
    line.ok = xcptrace::parseCandumpLine(text.data(), text.size(), line.frame, name, nameLength, line.why);
    if (line.ok) {
        line.interface.assign(name, nameLength);
    }
    return line;
}

}  // namespace

TEST(CanFramesTest, SocketCanClassicFrame)
{
    // Identifier 0x7F1 (big-endian), length 8, no flags, classic payload area of 8 bytes.
    Bytes raw = hex("00 00 07 f1 08 00 00 00 ff 00 11 22 33 44 55 66");
    CanFrame frame;
    std::string why;
    ASSERT_TRUE(xcptrace::parseSocketCan(raw.data(), raw.size(), frame, why)) << why;
    EXPECT_EQ(frame.id, 0x7F1u);
    EXPECT_FALSE(frame.fd);
    EXPECT_FALSE(frame.remote);
    EXPECT_FALSE(frame.error);
    EXPECT_EQ(toHex(frameData(frame)), "ff 00 11 22 33 44 55 66");
}

TEST(CanFramesTest, SocketCanShortPayloadAndExtendedIdentifier)
{
    Bytes raw = hex("98 da f1 10 02 00 00 00 ff 00 00 00 00 00 00 00");
    CanFrame frame;
    std::string why;
    ASSERT_TRUE(xcptrace::parseSocketCan(raw.data(), raw.size(), frame, why)) << why;
    EXPECT_EQ(frame.id, 0x18DAF110u | CAN_EXTENDED_FLAG);
    EXPECT_EQ(toHex(frameData(frame)), "ff 00");
}

TEST(CanFramesTest, SocketCanFdByFlagAndByLength)
{
    Bytes flagged = hex("00 00 01 23 03 04 00 00 aa bb cc");
    CanFrame frame;
    std::string why;
    ASSERT_TRUE(xcptrace::parseSocketCan(flagged.data(), flagged.size(), frame, why)) << why;
    EXPECT_TRUE(frame.fd);
    EXPECT_EQ(toHex(frameData(frame)), "aa bb cc");

    Bytes twelve = concat({hex("00 00 01 23 0c 00 00 00"), Bytes(12, 0x5A)});
    ASSERT_TRUE(xcptrace::parseSocketCan(twelve.data(), twelve.size(), frame, why)) << why;
    EXPECT_TRUE(frame.fd);
    EXPECT_EQ(frame.length, 12);
}

TEST(CanFramesTest, SocketCanRemoteErrorAndBadFrames)
{
    CanFrame frame;
    std::string why;
    Bytes remote = hex("40 00 07 f1 08 00 00 00");
    ASSERT_TRUE(xcptrace::parseSocketCan(remote.data(), remote.size(), frame, why));
    EXPECT_TRUE(frame.remote);
    EXPECT_EQ(frame.length, 0);

    Bytes error = hex("20 00 00 04 08 00 00 00 00 00 00 00 00 00 00 00");
    ASSERT_TRUE(xcptrace::parseSocketCan(error.data(), error.size(), frame, why));
    EXPECT_TRUE(frame.error);

    Bytes cut = hex("00 00 07 f1 08 00 00 00 ff 00");
    EXPECT_FALSE(xcptrace::parseSocketCan(cut.data(), cut.size(), frame, why));
    EXPECT_EQ(why, "payload length 8 but 2 bytes captured");

    Bytes tooLong = hex("00 00 07 f1 41 04 00 00");
    EXPECT_FALSE(xcptrace::parseSocketCan(tooLong.data(), tooLong.size(), frame, why));
    EXPECT_EQ(why, "payload length 65 is beyond CAN FD's 64");

    Bytes header = hex("00 00 07");
    EXPECT_FALSE(xcptrace::parseSocketCan(header.data(), header.size(), frame, why));
    EXPECT_EQ(why, "SocketCAN header needs 8 bytes, the capture kept 3");
}

TEST(CanFramesTest, CandumpClassicLine)
{
    Line line = candump("(1700000000.123456) can0 7F1#FF00");
    ASSERT_TRUE(line.ok) << line.why;
    EXPECT_EQ(line.frame.timeNs, 1700000000123456000ull);
    EXPECT_EQ(line.interface, "can0");
    EXPECT_EQ(line.frame.id, 0x7F1u);
    EXPECT_FALSE(line.frame.fd);
    EXPECT_EQ(toHex(frameData(line.frame)), "ff 00");
}

TEST(CanFramesTest, CandumpExtendedFdRemoteAndErrorLines)
{
    Line extended = candump("(1700000000.000001) vcan1 18DAF110#0102030405060708");
    ASSERT_TRUE(extended.ok) << extended.why;
    EXPECT_EQ(extended.frame.id, 0x18DAF110u | CAN_EXTENDED_FLAG);
    EXPECT_EQ(extended.frame.length, 8);

    Line fd = candump("(1700000000.5) can2 123##1DEADBEEF00112233445566778899");
    ASSERT_TRUE(fd.ok) << fd.why;
    EXPECT_TRUE(fd.frame.fd);
    EXPECT_EQ(fd.frame.timeNs, 1700000000500000000ull);
    EXPECT_EQ(toHex(frameData(fd.frame)), "de ad be ef 00 11 22 33 44 55 66 77 88 99");

    Line fdExtended = candump("(1.000000000) can0 00000123##0");
    ASSERT_TRUE(fdExtended.ok) << fdExtended.why;
    EXPECT_TRUE(fdExtended.frame.fd);
    EXPECT_EQ(fdExtended.frame.id, 0x123u | CAN_EXTENDED_FLAG);
    EXPECT_EQ(fdExtended.frame.length, 0);

    Line remote = candump("(1.0) can0 7F1#R");
    ASSERT_TRUE(remote.ok) << remote.why;
    EXPECT_TRUE(remote.frame.remote);
    EXPECT_TRUE(candump("(1.0) can0 7F1#R8").ok);

    Line error = candump("(1.0) can0 20000004#0000000000000000");
    ASSERT_TRUE(error.ok) << error.why;
    EXPECT_TRUE(error.frame.error);
}

TEST(CanFramesTest, CandumpOptionalPartsAccepted)
{
    EXPECT_TRUE(candump("(1.0) can0 7F1#11223344\r").ok);
    EXPECT_TRUE(candump("(1.0) can0 7F1#1122334455667788_9").ok);
    EXPECT_TRUE(candump("(1.0) can0 7F1#11.22.33").ok);
    EXPECT_TRUE(candump("(1.0) can0 7F1#1122 R").ok);
    EXPECT_TRUE(candump("  (1.0)   can0   7F1#").ok);
}

TEST(CanFramesTest, CandumpMalformedLinesSayWhy)
{
    EXPECT_EQ(candump("can0 7F1#FF00").why, "no time stamp in parentheses");
    EXPECT_EQ(candump("(1700000000) can0 7F1#FF00").why, "time stamp is not seconds.fraction");
    EXPECT_EQ(candump("(1.1234567890) can0 7F1#FF00").why, "time stamp has more than 9 decimals");
    EXPECT_EQ(candump("(1.0)can0 7F1#FF00").why, "no blank after the time stamp");
    EXPECT_EQ(candump("(1.0) can0 7F#FF00").why, "no CAN identifier of 3 or 8 hex digits followed by '#'");
    EXPECT_EQ(candump("(1.0) can0 7F1 FF00").why, "no CAN identifier of 3 or 8 hex digits followed by '#'");
    EXPECT_EQ(candump("(1.0) can0 800#FF00").why, "standard identifier above 7FF");
    EXPECT_EQ(candump("(1.0) can0 7F1#FF0").why, "data is not hexadecimal byte pairs");
    EXPECT_EQ(candump("(1.0) can0 7F1#GG").why, "data is not hexadecimal byte pairs");
    EXPECT_EQ(candump("(1.0) can0 7F1#112233445566778899").why, "more than 8 data bytes");
    EXPECT_EQ(candump("(1.0) can0 7F1##").why, "CAN FD frame without its flags digit");
    EXPECT_EQ(candump("(1.0) can0 7F1#11 extra").why, "unexpected text after the frame");
    EXPECT_EQ(candump("(1.0) can0 7F1#11_").why, "'_' without its length code");
    EXPECT_FALSE(candump("(1.0) can0 123##1" + std::string(130, 'A')).ok);
}

TEST(CanFramesTest, InterfaceNumbers)
{
    EXPECT_EQ(xcptrace::interfaceNumber("can0", 4), 0);
    EXPECT_EQ(xcptrace::interfaceNumber("vcan12", 6), 12);
    EXPECT_EQ(xcptrace::interfaceNumber("can", 3), -1);
    EXPECT_EQ(xcptrace::interfaceNumber("can256", 6), -1);
    EXPECT_EQ(xcptrace::interfaceNumber("can1000", 7), -1);
}

TEST(CanFramesTest, CanIdentifiersFromTheCommandLine)
{
    uint32_t id = 0;
    ASSERT_TRUE(xcptrace::parseCanId("7F1", id));
    EXPECT_EQ(id, 0x7F1u);
    ASSERT_TRUE(xcptrace::parseCanId("7f1", id));
    EXPECT_EQ(id, 0x7F1u);
    ASSERT_TRUE(xcptrace::parseCanId("0x7F1", id));
    EXPECT_EQ(id, 0x7F1u);
    ASSERT_TRUE(xcptrace::parseCanId("18DAF110", id));
    EXPECT_EQ(id, 0x18DAF110u | CAN_EXTENDED_FLAG);
    ASSERT_TRUE(xcptrace::parseCanId("000007F1", id));
    EXPECT_EQ(id, 0x7F1u | CAN_EXTENDED_FLAG);
    ASSERT_TRUE(xcptrace::parseCanId("7F1x", id));
    EXPECT_EQ(id, 0x7F1u | CAN_EXTENDED_FLAG);
    EXPECT_FALSE(xcptrace::parseCanId("800", id));
    EXPECT_FALSE(xcptrace::parseCanId("20000000", id));
    EXPECT_FALSE(xcptrace::parseCanId("123456789", id));
    EXPECT_FALSE(xcptrace::parseCanId("", id));
    EXPECT_FALSE(xcptrace::parseCanId("7G1", id));

    CanPair pair;
    ASSERT_TRUE(xcptrace::parseCanPair("7F1:7F2", pair));
    EXPECT_EQ(pair.master, 0x7F1u);
    EXPECT_EQ(pair.slave, 0x7F2u);
    ASSERT_TRUE(xcptrace::parseCanPair("18DA10F1:18DAF110", pair));
    EXPECT_EQ(pair.slave, 0x18DAF110u | CAN_EXTENDED_FLAG);
    EXPECT_FALSE(xcptrace::parseCanPair("7F1", pair));
    EXPECT_FALSE(xcptrace::parseCanPair("7F1:7F1", pair));
    EXPECT_FALSE(xcptrace::parseCanPair("7F1:7F2:7F3", pair));
    EXPECT_FALSE(xcptrace::parseCanPair("7F1-7F2", pair));
}
