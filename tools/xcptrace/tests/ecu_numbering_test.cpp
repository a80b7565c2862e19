// ECU numbers: order of first appearance, numbers fixed on the command line.

#include "EcuNumbering.h"
#include "tool_test_support.h"

using namespace tooltest;
using xcptrace::EcuNumbering;
using xcptrace::SlaveKey;

namespace {

SlaveKey ip4(uint8_t last, uint16_t port = 5555)
{
    uint8_t address[4] = {10, 0, 0, last};
    return SlaveKey::ip(4, address, port);
}

}  // namespace

TEST(EcuNumberingTest, NumbersFollowFirstAppearance)
{
    std::ostringstream notes;
    EcuNumbering numbering(notes);
    EXPECT_EQ(numbering.numberOf(ip4(2)), 0);
    EXPECT_EQ(numbering.numberOf(SlaveKey::can(0x7F1, 0x7F2)), 1);
    EXPECT_EQ(numbering.numberOf(ip4(2)), 0);
    EXPECT_EQ(numbering.numberOf(ip4(2, 5556)), 2);  // same address, other port: other slave
    EXPECT_EQ(numbering.numberOf(SlaveKey::can(0x7F1, 0x7F2)), 1);
    EXPECT_EQ(numbering.slaves(), 3u);
}

TEST(EcuNumberingTest, FixedNumbersAreKeptAndSkipped)
{
    std::ostringstream notes;
    EcuNumbering numbering(notes);
    ASSERT_TRUE(numbering.fix(ip4(9), 0));
    ASSERT_TRUE(numbering.fix(SlaveKey::can(0x100, 0x101), 2));
    EXPECT_FALSE(numbering.fix(ip4(9), 5));
    EXPECT_EQ(numbering.numberOf(ip4(2)), 1);
    EXPECT_EQ(numbering.numberOf(ip4(3)), 3);
    EXPECT_EQ(numbering.numberOf(ip4(9)), 0);
    EXPECT_EQ(numbering.numberOf(SlaveKey::can(0x100, 0x101)), 2);
}

TEST(EcuNumberingTest, AppliesOnlyToPacketsWithASlave)
{
    std::ostringstream notes;
    EcuNumbering numbering(notes);
    xcptrace::DecodedPacket fromCapture;
    fromCapture.slave = ip4(2);
    fromCapture.message.setEcuId(77);
    numbering.apply(fromCapture);
    EXPECT_EQ(fromCapture.message.getEcuId(), 0);

    xcptrace::DecodedPacket fromTrace;
    fromTrace.message.setEcuId(77);
    numbering.apply(fromTrace);
    EXPECT_EQ(fromTrace.message.getEcuId(), 77);
}

TEST(EcuNumberingTest, MoreThan256SlavesShareNumbersWithOneNote)
{
    std::ostringstream notes;
    EcuNumbering numbering(notes);
    for (unsigned i = 0; i < 256; ++i) {
        EXPECT_EQ(numbering.numberOf(ip4(1, static_cast<uint16_t>(1000 + i))), i);
    }
    EXPECT_EQ(numbering.numberOf(ip4(1, 9000)), 0);
    EXPECT_EQ(numbering.numberOf(ip4(1, 9001)), 1);
    EXPECT_EQ(notes.str(), "xcptrace: more than 256 XCP slaves: ECU numbers are given again from 0\n");
}

TEST(EcuNumberingTest, AssignmentsFromTheCommandLine)
{
    SlaveKey slave;
    uint8_t number = 0;
    std::string error;
    ASSERT_TRUE(xcptrace::parseEcuAssignment("10.0.0.2:5555=4", slave, number, error)) << error;
    EXPECT_EQ(slave, ip4(2));
    EXPECT_EQ(number, 4);

    ASSERT_TRUE(xcptrace::parseEcuAssignment("[fd00::2]:5555=0", slave, number, error)) << error;
    EXPECT_EQ(slave.text(), "[fd00::2]:5555");
    EXPECT_EQ(number, 0);

    ASSERT_TRUE(xcptrace::parseEcuAssignment("7F1:7F2=255", slave, number, error)) << error;
    EXPECT_EQ(slave, SlaveKey::can(0x7F1, 0x7F2));
    EXPECT_EQ(number, 255);

    ASSERT_TRUE(xcptrace::parseEcuAssignment("18DA10F1:7F2x=1", slave, number, error)) << error;
    EXPECT_EQ(slave.text(), "18DA10F1:000007F2");
}

TEST(EcuNumberingTest, BadAssignmentsSayWhy)
{
    SlaveKey slave;
    uint8_t number = 0;
    std::string error;
    EXPECT_FALSE(xcptrace::parseEcuAssignment("10.0.0.2:5555", slave, number, error));
    EXPECT_EQ(error, "expected SLAVE=N");
    EXPECT_FALSE(xcptrace::parseEcuAssignment("10.0.0.2:5555=256", slave, number, error));
    EXPECT_EQ(error, "the ECU number must be 0 to 255");
    EXPECT_FALSE(xcptrace::parseEcuAssignment("10.0.0.2:5555=x", slave, number, error));
    EXPECT_EQ(error, "the ECU number must be 0 to 255");
    EXPECT_FALSE(xcptrace::parseEcuAssignment("10.0.0.2=1", slave, number, error));
    EXPECT_EQ(error, "expected ADDRESS:PORT or MASTER_ID:SLAVE_ID before '='");
    EXPECT_FALSE(xcptrace::parseEcuAssignment("10.0.0.300:5555=1", slave, number, error));
    EXPECT_EQ(error, "'10.0.0.300' is not an IPv4 address");
    EXPECT_FALSE(xcptrace::parseEcuAssignment("10.0.0.2:70000=1", slave, number, error));
    EXPECT_EQ(error, "'70000' is not a port number");
    EXPECT_FALSE(xcptrace::parseEcuAssignment("[fd00::zz]:1=1", slave, number, error));
    EXPECT_EQ(error, "'fd00::zz' is not an IPv6 address");
    EXPECT_FALSE(xcptrace::parseEcuAssignment("7F1:900=1", slave, number, error));
    EXPECT_EQ(error, "'7F1:900' is neither ADDRESS:PORT nor MASTER_ID:SLAVE_ID");
}
