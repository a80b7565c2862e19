// XCP on CAN from hand-made frames: the given pairs, the pairs found from CONNECT and its
// answer, and the fields every message gets.

#include "CanFrontEnd.h"
#include "tool_test_support.h"

using namespace tooltest;
using xcptrace::CAN_EXTENDED_FLAG;
using xcptrace::CanFrame;
using xcptrace::CanFrontEnd;
using xcptrace::CanPair;
using xcptrace::PacketBatch;
using xcptrace::Problem;
using xcptrace::ProblemLog;

namespace {

constexpr uint64_t T0 = 1700000000000000000ull;
constexpr uint64_t MS = 1000000;

class Harness {
public:
    explicit Harness(std::vector<CanPair> pairs = {}) : log(notes), frontEnd(pairs, log, batch)
    {
        log.setInput("test.log", "line");
    }

    void frame(uint64_t timeNs, uint32_t id, const Bytes& data, bool fd = false, uint8_t channel = 0)
    {
        CanFrame f;
        f.timeNs = timeNs;
        f.id = id;
        f.fd = fd;
        f.length = static_cast<uint8_t>(data.size());
        std::copy(data.begin(), data.end(), f.data);
        f.channel = channel;
        f.number = ++number;
        frontEnd.frame(f);
    }

    std::ostringstream notes;
    ProblemLog log;
    PacketBatch batch;
    CanFrontEnd frontEnd;
    uint64_t number = 0;
};

const Bytes CONNECT = hex("ff 00 00 00 00 00 00 00");
const Bytes CONNECT_RESPONSE = hex("ff 05 00 08 08 00 01 01");
const Bytes GET_STATUS = hex("fd 00 00 00 00 00 00 00");
const Bytes OK = hex("ff 00 00 00 00 00 00 00");

std::vector<uint32_t> ids(const PacketBatch& batch)
{
    std::vector<uint32_t> result;
    for (size_t i = 0; i < batch.size(); ++i) {
        result.push_back(batch[i].message.canId);
    }
    return result;
}

}  // namespace

TEST(CanFrontEndTest, GivenPairMakesMessagesWithEveryField)
{
    Harness h({CanPair{0x7F1, 0x7F2}});
    h.frame(T0, 0x7F1, CONNECT, false, 3);
    h.frame(T0 + MS, 0x7F2, CONNECT_RESPONSE, false, 3);
    h.frame(T0 + 2 * MS, 0x123, hex("01 02"));  // not XCP
    ASSERT_EQ(h.batch.size(), 2u);
    const XCP_Message& command = h.batch[0].message;
    EXPECT_EQ(command.getTransportType(), XCP_Message::TT_CAN);
    EXPECT_EQ(command.getMsgDirection(), XCP_Message::MD_TX);
    EXPECT_EQ(command.getTimeStamp(), T0);
    EXPECT_FALSE(command.header.isActive());
    EXPECT_TRUE(command.header.getData().empty());
    EXPECT_EQ(command.packet.identificationField.getType(), XCP_Message::IFT_CTO_PACKET_CODE);
    EXPECT_EQ(command.packet.identificationField.pid, 0xFF);
    // Padding cannot be told from data: it all goes into the data field, the tail stays empty.
    EXPECT_EQ(toHex(command.packet.dataField.data), "00 00 00 00 00 00 00");
    EXPECT_FALSE(command.tail.isActive());
    EXPECT_TRUE(command.tail.data.empty());
    EXPECT_EQ(command.canId, 0x7F1u);
    EXPECT_EQ(command.canType, CT_STANDARD);
    EXPECT_EQ(command.canChannel, 3);
    EXPECT_EQ(h.batch[0].slave.text(), "7F1:7F2");
    EXPECT_EQ(h.batch[1].message.getMsgDirection(), XCP_Message::MD_RX);
    EXPECT_EQ(h.batch[1].slave.text(), "7F1:7F2");
    EXPECT_EQ(render(h.batch)[0],
              "1700000000.000000000  XCP CAN Tx  | ECU[1], [CTO_CMD(CONNECT)]; HEADER[off]; PACKET[ID "
              "Field[Type=CTO_PACKET_CODE, PID=0xff]; TS Field[Type=NO]; Data Field[Data=00 00 00 00 00 00 00]]; "
              "TAIL[off]; CAN[Id=0x7f1, Type=STD, Ch=4]");
    EXPECT_EQ(h.notes.str(), "");
}

TEST(CanFrontEndTest, ExtendedAndFdFrameTypes)
{
    uint32_t master = 0x18DA10F1 | CAN_EXTENDED_FLAG;
    uint32_t slave = 0x18DAF110 | CAN_EXTENDED_FLAG;
    Harness h({CanPair{master, slave}, CanPair{0x100, 0x101}});
    h.frame(T0, master, CONNECT);
    h.frame(T0 + 1, slave, hex("ff 05 00 40 40 00 01 01 00 00 00 00"), true);
    h.frame(T0 + 2, 0x100, GET_STATUS, true);
    h.frame(T0 + 3, 0x101, OK);
    ASSERT_EQ(h.batch.size(), 4u);
    EXPECT_EQ(h.batch[0].message.canId, 0x18DA10F1u);
    EXPECT_EQ(h.batch[0].message.canType, CT_EXTENDED);
    EXPECT_EQ(h.batch[1].message.canType, CT_FD_EXTENDED);
    EXPECT_EQ(h.batch[1].message.packet.dataField.data.size(), 11u);
    EXPECT_EQ(h.batch[2].message.canType, CT_FD_STANDARD);
    EXPECT_EQ(h.batch[3].message.canType, CT_STANDARD);
    EXPECT_EQ(h.batch[0].slave.text(), "18DA10F1:18DAF110");
    EXPECT_EQ(h.batch[2].slave.text(), "100:101");
    // A standard and an extended identifier with the same number are different identifiers.
    h.frame(T0 + 4, 0x18DA10F1, CONNECT);
    EXPECT_EQ(h.batch.size(), 4u);
}

TEST(CanFrontEndTest, FrameWithoutDataOnAnXcpIdentifierIsReported)
{
    Harness h({CanPair{0x7F1, 0x7F2}});
    h.frame(T0, 0x7F2, {});
    EXPECT_EQ(h.batch.size(), 0u);
    EXPECT_EQ(h.log.count(Problem::EmptyCanFrame), 1u);
    EXPECT_EQ(h.notes.str(), "xcptrace: test.log: line 1: CAN frame 7F2 without data: no XCP packet in it\n");
}

TEST(CanFrontEndTest, RemoteAndErrorFramesAreNeverXcp)
{
    Harness h({CanPair{0x7F1, 0x7F2}});
    CanFrame remote;
    remote.id = 0x7F1;
    remote.remote = true;
    h.frontEnd.frame(remote);
    CanFrame error;
    error.id = 0x7F2;
    error.error = true;
    error.length = 8;
    h.frontEnd.frame(error);
    EXPECT_EQ(h.batch.size(), 0u);
    EXPECT_EQ(h.log.total(), 0u);
}

TEST(CanFrontEndTest, PairFoundFromConnectAndItsAnswer)
{
    Harness h;
    h.frame(T0, 0x100, hex("ff ff ff ff 00 00 00 00"));       // other traffic before
    h.frame(T0 + MS, 0x7F1, CONNECT);
    h.frame(T0 + 2 * MS, 0x200, hex("11 22"));                // other traffic in between
    h.frame(T0 + 3 * MS, 0x7F2, CONNECT_RESPONSE);
    h.frame(T0 + 4 * MS, 0x7F1, GET_STATUS);
    h.frame(T0 + 5 * MS, 0x7F2, OK);
    h.frontEnd.finish();
    EXPECT_EQ(ids(h.batch), (std::vector<uint32_t>{0x7F1, 0x7F2, 0x7F1, 0x7F2}));
    EXPECT_EQ(h.batch[0].message.getMsgDirection(), XCP_Message::MD_TX);
    EXPECT_EQ(h.batch[1].message.getMsgDirection(), XCP_Message::MD_RX);
    ASSERT_EQ(h.frontEnd.pairs().size(), 1u);
    EXPECT_EQ(h.notes.str(),
              "xcptrace: test.log: found XCP on CAN: master 7F1, slave 7F2 (CONNECT in line 2, response in line 4)\n");
}

TEST(CanFrontEndTest, AnswerLaterThanOneSecondFindsNoPair)
{
    Harness h;
    h.frame(T0, 0x7F1, CONNECT);
    h.frame(T0 + 1000 * MS + 1, 0x7F2, CONNECT_RESPONSE);
    h.frontEnd.finish();
    EXPECT_EQ(h.batch.size(), 0u);
    EXPECT_TRUE(h.frontEnd.pairs().empty());
    EXPECT_EQ(h.notes.str(), "");

    Harness justInTime;
    justInTime.frame(T0, 0x7F1, CONNECT);
    justInTime.frame(T0 + 1000 * MS, 0x7F2, CONNECT_RESPONSE);
    justInTime.frontEnd.finish();
    EXPECT_EQ(justInTime.batch.size(), 2u);
}

TEST(CanFrontEndTest, FramesHeldWhileWaitingKeepTheirOrderWithKnownPairs)
{
    Harness h;
    // A first link found...
    h.frame(T0, 0x7F1, CONNECT);
    h.frame(T0 + MS, 0x7F2, CONNECT_RESPONSE);
    // ...then a second master connects while the first link goes on.
    h.frame(T0 + 10 * MS, 0x6F1, CONNECT);
    h.frame(T0 + 11 * MS, 0x7F1, GET_STATUS);
    h.frame(T0 + 12 * MS, 0x7F2, OK);
    EXPECT_EQ(h.batch.size(), 2u);  // held back behind the open CONNECT
    h.frame(T0 + 13 * MS, 0x6F2, CONNECT_RESPONSE);
    h.frame(T0 + 14 * MS, 0x6F1, GET_STATUS);
    h.frontEnd.finish();
    EXPECT_EQ(ids(h.batch), (std::vector<uint32_t>{0x7F1, 0x7F2, 0x6F1, 0x7F1, 0x7F2, 0x6F2, 0x6F1}));
    EXPECT_EQ(h.batch[2].slave.text(), "6F1:6F2");
    EXPECT_EQ(h.frontEnd.pairs().size(), 2u);
}

TEST(CanFrontEndTest, UnansweredConnectReleasesTheFramesAfterOneSecond)
{
    Harness h;
    h.frame(T0, 0x7F1, CONNECT);
    h.frame(T0 + MS, 0x7F2, CONNECT_RESPONSE);
    h.frame(T0 + 10 * MS, 0x6F1, CONNECT);  // never answered
    h.frame(T0 + 20 * MS, 0x7F1, GET_STATUS);
    EXPECT_EQ(h.batch.size(), 2u);
    h.frame(T0 + 1011 * MS, 0x7F2, OK);  // the window of the CONNECT on 6F1 has closed
    EXPECT_EQ(ids(h.batch), (std::vector<uint32_t>{0x7F1, 0x7F2, 0x7F1, 0x7F2}));
}

TEST(CanFrontEndTest, ShapesThatAreNotConnectOrItsAnswerFindNothing)
{
    Harness h;
    h.frame(T0, 0x7F1, hex("ff 02"));                        // mode 2 is no CONNECT
    h.frame(T0 + MS, 0x7F2, CONNECT_RESPONSE);
    h.frame(T0 + 2 * MS, 0x6F1, CONNECT);
    h.frame(T0 + 3 * MS, 0x6F2, hex("ff 05 00 08 08 00 02 01"));  // protocol layer version 2
    h.frame(T0 + 4 * MS, 0x6F3, hex("ff 05 00 08"));              // too short for an answer
    h.frontEnd.finish();
    EXPECT_TRUE(h.frontEnd.pairs().empty());
    EXPECT_EQ(h.batch.size(), 0u);
}
