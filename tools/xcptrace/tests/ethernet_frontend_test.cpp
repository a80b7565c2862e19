// XCP on Ethernet from hand-made frames: datagrams with several messages, TCP streams cut
// anywhere, and what is reported for traffic that does not add up.

#include <pcap/dlt.h>

#include "EthernetFrontEnd.h"
#include "tool_test_support.h"

using namespace tooltest;
using xcptrace::EthernetFrontEnd;
using xcptrace::PacketBatch;
using xcptrace::Problem;
using xcptrace::ProblemLog;

namespace {

constexpr uint64_t T0 = 1700000000000000000ull;

/// A front end with its batch and problem log; the batch keeps everything decoded.
class Harness {
public:
    explicit Harness(std::vector<uint16_t> ports = {5555}) : log(problems), frontEnd(ports, log, batch)
    {
        log.setInput("test.pcap", "packet");
    }

    void frame(const Bytes& bytes, int linkType = DLT_EN10MB)
    {
        ++number;
        frontEnd.frame(linkType, bytes.data(), bytes.size(), bytes.size(), T0 + number * 1000, number);
    }
    void udpToSlave(const Bytes& payload, uint16_t port = 5555)
    {
        frame(ethernet(0x0800, ipv4(MASTER_TO_SLAVE, 17, udp(50000, port, payload))));
    }
    void udpFromSlave(const Bytes& payload) { frame(ethernet(0x0800, ipv4(SLAVE_TO_MASTER, 17, udp(5555, 50000, payload)))); }
    void tcpToSlave(uint32_t sequence, uint8_t flags, const Bytes& payload)
    {
        frame(ethernet(0x0800, ipv4(MASTER_TO_SLAVE, 6, tcp(50001, 5555, sequence, flags, payload))));
    }
    void tcpFromSlave(uint32_t sequence, uint8_t flags, const Bytes& payload)
    {
        frame(ethernet(0x0800, ipv4(SLAVE_TO_MASTER, 6, tcp(5555, 50001, sequence, flags, payload))));
    }

    std::ostringstream problems;
    ProblemLog log;
    PacketBatch batch;
    EthernetFrontEnd frontEnd;
    uint64_t number = 0;
};

const Bytes CONNECT = xcp(0, hex("ff 00"));
const Bytes CONNECT_RESPONSE = xcp(0, hex("ff 05 00 ff 78 05 01 01"));
const Bytes GET_STATUS = xcp(1, hex("fd"));
const Bytes DAQ_0 = xcp(7, hex("00 11 22 33 44 55 66 77 88"));
const Bytes DAQ_1 = xcp(8, hex("01 aa bb cc"));
const Bytes DAQ_2 = xcp(9, hex("02 0a 0b 0c 0d 0e"));

}  // namespace

TEST(EthernetFrontEndTest, CommandDatagramBecomesOneMessageWithEveryField)
{
    Harness h;
    h.udpToSlave(CONNECT);
    ASSERT_EQ(h.batch.size(), 1u);
    const XCP_Message& m = h.batch[0].message;
    EXPECT_EQ(m.getTransportType(), XCP_Message::TT_ETHERNET);
    EXPECT_EQ(m.getMsgDirection(), XCP_Message::MD_TX);
    EXPECT_EQ(m.getTimeStamp(), T0 + 1000);
    EXPECT_EQ(toHex(m.header.getData()), "02 00 00 00");
    EXPECT_EQ(m.packet.identificationField.getType(), XCP_Message::IFT_CTO_PACKET_CODE);
    EXPECT_EQ(m.packet.identificationField.pid, 0xFF);
    EXPECT_EQ(toHex(m.packet.dataField.data), "00");
    EXPECT_EQ(m.packet.timestampField.getType(), XCP_Message::TST_NO);
    EXPECT_FALSE(m.tail.isActive());
    EXPECT_EQ(m.dstIp, "10.0.0.2");
    EXPECT_EQ(m.srcIp, "10.0.0.1");
    EXPECT_EQ(m.mask, "");
    EXPECT_EQ(m.port, 5555);
    EXPECT_FALSE(m.tcp);
    EXPECT_EQ(h.batch[0].slave.text(), "10.0.0.2:5555");
    EXPECT_EQ(render(h.batch)[0],
              "1700000000.000001000  XCP ETH Tx  | ECU[1], [CTO_CMD(CONNECT)]; HEADER[on, Data=02 00 00 00]; "
              "PACKET[ID Field[Type=CTO_PACKET_CODE, PID=0xff]; TS Field[Type=NO]; Data Field[Data=00]]; TAIL[off]; "
              "ETH[Dst=10.0.0.2, Src=10.0.0.1, Mask=, Port=15b3, UDP]");
    EXPECT_EQ(h.problems.str(), "");
}

TEST(EthernetFrontEndTest, EveryMessageKeepsItsAddressesWhenTheAddressTextsAreForgotten)
{
    // More masters than the front end keeps address texts for: the texts are forgotten on
    // the way, and each message must still get its own addresses, never freed ones.
    Harness h;
    const int masters = 5000;
    for (int i = 0; i < masters; ++i) {
        Ipv4 addresses{{10, 1, static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i)}, {10, 0, 0, 2}};
        h.frame(ethernet(0x0800, ipv4(addresses, 17, udp(50000, 5555, GET_STATUS))));
    }
    ASSERT_EQ(h.batch.size(), static_cast<size_t>(masters));
    for (int i = 0; i < masters; ++i) {
        const XCP_Message& m = h.batch[static_cast<size_t>(i)].message;
        EXPECT_EQ(m.dstIp, "10.0.0.2") << "datagram " << i;
        EXPECT_EQ(m.srcIp, "10.1." + std::to_string(i >> 8) + "." + std::to_string(i & 0xFF)) << "datagram " << i;
    }
    EXPECT_EQ(h.problems.str(), "");
}

TEST(EthernetFrontEndTest, ResponseFromTheSlavePortIsReceived)
{
    Harness h;
    h.udpFromSlave(CONNECT_RESPONSE);
    ASSERT_EQ(h.batch.size(), 1u);
    const XCP_Message& m = h.batch[0].message;
    EXPECT_EQ(m.getMsgDirection(), XCP_Message::MD_RX);
    EXPECT_EQ(m.dstIp, "10.0.0.1");
    EXPECT_EQ(m.srcIp, "10.0.0.2");
    EXPECT_EQ(m.port, 5555);
    EXPECT_EQ(h.batch[0].slave.text(), "10.0.0.2:5555");
    EXPECT_EQ(m.getPacketType(), XCP_Message::PT_CTO_RES);
}

TEST(EthernetFrontEndTest, SeveralMessagesInOneDatagramKeepTheirOrderLenAndCtr)
{
    Harness h;
    h.udpFromSlave(concat({DAQ_0, DAQ_1, DAQ_2}));
    EXPECT_EQ(packets(h.batch),
              (std::vector<std::string>{"00 11 22 33 44 55 66 77 88", "01 aa bb cc", "02 0a 0b 0c 0d 0e"}));
    ASSERT_EQ(h.batch.size(), 3u);
    EXPECT_EQ(toHex(h.batch[0].message.header.getData()), "09 00 07 00");
    EXPECT_EQ(toHex(h.batch[1].message.header.getData()), "04 00 08 00");
    EXPECT_EQ(toHex(h.batch[2].message.header.getData()), "06 00 09 00");
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(h.batch[i].message.getTimeStamp(), T0 + 1000);
    }
}

TEST(EthernetFrontEndTest, FillBytesCountedByLenStayInTheData)
{
    Harness h;
    h.udpFromSlave(xcp(3, hex("ff 00 00 00")));  // a 1-byte response padded to 4
    ASSERT_EQ(h.batch.size(), 1u);
    EXPECT_EQ(toHex(h.batch[0].message.packet.dataField.data), "00 00 00");
}

TEST(EthernetFrontEndTest, OtherPortsAreNotXcpUnlessGiven)
{
    Harness h;
    h.udpToSlave(CONNECT, 6000);
    EXPECT_EQ(h.batch.size(), 0u);

    Harness withPorts({5555, 6000});
    withPorts.udpToSlave(CONNECT, 6000);
    ASSERT_EQ(withPorts.batch.size(), 1u);
    EXPECT_EQ(withPorts.batch[0].message.port, 6000);
    EXPECT_EQ(withPorts.batch[0].slave.text(), "10.0.0.2:6000");
}

TEST(EthernetFrontEndTest, VlanSllSll2RawIpAndIpv6CarryTheSameMessage)
{
    Bytes ip = ipv4(MASTER_TO_SLAVE, 17, udp(50000, 5555, GET_STATUS));
    Harness h;
    h.frame(ethernet(0x0800, ip, {0x8100}));
    h.frame(ethernet(0x0800, ip, {0x88A8, 0x8100}));
    h.frame(sll(0x0800, ip), DLT_LINUX_SLL);
    h.frame(sll2(0x0800, ip), DLT_LINUX_SLL2);
    h.frame(ip, DLT_RAW);
    EXPECT_EQ(packets(h.batch), std::vector<std::string>(5, "fd"));
    for (size_t i = 0; i < h.batch.size(); ++i) {
        EXPECT_EQ(h.batch[i].message.getMsgDirection(), XCP_Message::MD_TX);
        EXPECT_EQ(h.batch[i].message.dstIp, "10.0.0.2");
    }

    Harness v6;
    v6.frame(ethernet(0x86DD, ipv6(2, 1, 17, udp(5555, 50000, CONNECT_RESPONSE))));
    ASSERT_EQ(v6.batch.size(), 1u);
    EXPECT_EQ(v6.batch[0].message.getMsgDirection(), XCP_Message::MD_RX);
    EXPECT_EQ(v6.batch[0].message.srcIp, "fd00::2");
    EXPECT_EQ(v6.batch[0].message.dstIp, "fd00::1");
    EXPECT_EQ(v6.batch[0].slave.text(), "[fd00::2]:5555");
    EXPECT_EQ(v6.problems.str(), "");
}

TEST(EthernetFrontEndTest, LenOverrunningTheDatagramIsReportedAfterTheGoodMessages)
{
    Harness h;
    Bytes overrun = hex("20 00 0a 00 01 02 03");  // LEN 32, 3 bytes left
    h.udpFromSlave(concat({DAQ_0, overrun}));
    EXPECT_EQ(packets(h.batch), (std::vector<std::string>{"00 11 22 33 44 55 66 77 88"}));
    EXPECT_EQ(h.log.count(Problem::LenOverrun), 1u);
    EXPECT_EQ(h.problems.str(),
              "xcptrace: test.pcap: packet 1: UDP 10.0.0.2:5555 -> 10.0.0.1:50000: XCP LEN 32 at byte 13 of the "
              "datagram needs 36 bytes, 7 are left\n");
}

TEST(EthernetFrontEndTest, LenZeroAndStrayBytesAreReported)
{
    Harness h;
    h.udpFromSlave(concat({hex("00 00 05 00"), DAQ_1, hex("01 02")}));
    EXPECT_EQ(packets(h.batch), (std::vector<std::string>{"01 aa bb cc"}));
    EXPECT_EQ(h.problems.str(),
              "xcptrace: test.pcap: packet 1: UDP 10.0.0.2:5555 -> 10.0.0.1:50000: XCP message with LEN 0 (no PID)\n"
              "xcptrace: test.pcap: packet 1: UDP 10.0.0.2:5555 -> 10.0.0.1:50000: 2 stray bytes after the last XCP "
              "message of the datagram\n");
}

TEST(EthernetFrontEndTest, TruncatedMalformedAndFragmentedXcpFramesAreReported)
{
    Harness h;
    Bytes frame = ethernet(0x0800, ipv4(MASTER_TO_SLAVE, 17, udp(50000, 5555, CONNECT)));
    ++h.number;
    h.frontEnd.frame(DLT_EN10MB, frame.data(), frame.size() - 3, frame.size(), T0, h.number);
    h.frame(ethernet(0x0800, ipv4(MASTER_TO_SLAVE, 17, udp(50000, 5555, CONNECT), 0x2000)));
    h.frame(hex("02 00 00 00 00 02"));
    // Not XCP: neither counted nor reported.
    Bytes other = ethernet(0x0800, ipv4(MASTER_TO_SLAVE, 17, udp(50000, 53, CONNECT)));
    ++h.number;
    h.frontEnd.frame(DLT_EN10MB, other.data(), other.size() - 3, other.size(), T0, h.number);
    EXPECT_EQ(h.batch.size(), 0u);
    EXPECT_EQ(h.problems.str(),
              "xcptrace: test.pcap: packet 1: UDP 10.0.0.1:50000 -> 10.0.0.2:5555: UDP datagram needs 14 bytes, the "
              "capture kept 11\n"
              "xcptrace: test.pcap: packet 2: UDP 10.0.0.1:50000 -> 10.0.0.2:5555: the datagram is split into IP "
              "fragments\n"
              "xcptrace: test.pcap: packet 3: Ethernet header needs 14 bytes, the frame has 6\n");
    EXPECT_EQ(h.log.count(Problem::TruncatedFrame), 1u);
    EXPECT_EQ(h.log.count(Problem::IpFragment), 1u);
    EXPECT_EQ(h.log.count(Problem::MalformedHeader), 1u);
}

// ---- TCP --------------------------------------------------------------------------------

namespace {

const uint32_t MASTER_ISN = 0x10000000;
const uint32_t SLAVE_ISN = 0x20000000;

/// The three messages of the slave's stream, back to back.
Bytes slaveStream()
{
    return concat({CONNECT_RESPONSE, DAQ_0, DAQ_1});
}

const std::vector<std::string> SLAVE_PACKETS{"ff 05 00 ff 78 05 01 01", "00 11 22 33 44 55 66 77 88", "01 aa bb cc"};

Bytes slice(const Bytes& bytes, size_t from, size_t to)
{
    return Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.begin() + static_cast<std::ptrdiff_t>(to));
}

void handshake(Harness& h)
{
    h.tcpToSlave(MASTER_ISN, SYN, {});
    h.tcpFromSlave(SLAVE_ISN, SYN | ACK, {});
    h.tcpToSlave(MASTER_ISN + 1, ACK, {});
}

}  // namespace

TEST(EthernetFrontEndTest, TcpStreamSplitAtEveryBytePosition)
{
    Bytes stream = slaveStream();
    for (size_t cut = 1; cut < stream.size(); ++cut) {
        Harness h;
        handshake(h);
        h.tcpFromSlave(SLAVE_ISN + 1, PSH | ACK, slice(stream, 0, cut));
        h.tcpFromSlave(SLAVE_ISN + 1 + static_cast<uint32_t>(cut), PSH | ACK, slice(stream, cut, stream.size()));
        EXPECT_EQ(packets(h.batch), SLAVE_PACKETS) << "cut at " << cut;
        EXPECT_EQ(h.problems.str(), "") << "cut at " << cut;
        for (size_t i = 0; i < h.batch.size(); ++i) {
            EXPECT_TRUE(h.batch[i].message.tcp);
            EXPECT_EQ(h.batch[i].message.getMsgDirection(), XCP_Message::MD_RX);
        }
    }
}

TEST(EthernetFrontEndTest, TcpStreamSplitIntoThreeAtEveryPairOfPositions)
{
    Bytes stream = slaveStream();
    for (size_t first = 1; first + 1 < stream.size(); ++first) {
        for (size_t second = first + 1; second < stream.size(); ++second) {
            Harness h;
            handshake(h);
            h.tcpFromSlave(SLAVE_ISN + 1, ACK, slice(stream, 0, first));
            h.tcpFromSlave(SLAVE_ISN + 1 + static_cast<uint32_t>(first), ACK, slice(stream, first, second));
            h.tcpFromSlave(SLAVE_ISN + 1 + static_cast<uint32_t>(second), ACK, slice(stream, second, stream.size()));
            ASSERT_EQ(packets(h.batch), SLAVE_PACKETS) << "cuts at " << first << ", " << second;
        }
    }
}

TEST(EthernetFrontEndTest, TcpMessageTimeIsThatOfTheSegmentCompletingIt)
{
    Harness h;
    handshake(h);
    Bytes stream = slaveStream();
    h.tcpFromSlave(SLAVE_ISN + 1, ACK, slice(stream, 0, 5));   // packet 4: part of the response
    h.tcpFromSlave(SLAVE_ISN + 6, ACK, slice(stream, 5, 14));  // packet 5: rest of it, part of DAQ_0
    h.tcpFromSlave(SLAVE_ISN + 15, ACK, slice(stream, 14, stream.size()));  // packet 6
    ASSERT_EQ(h.batch.size(), 3u);
    EXPECT_EQ(h.batch[0].message.getTimeStamp(), T0 + 5 * 1000);
    EXPECT_EQ(h.batch[1].message.getTimeStamp(), T0 + 6 * 1000);
    EXPECT_EQ(h.batch[2].message.getTimeStamp(), T0 + 6 * 1000);
}

TEST(EthernetFrontEndTest, TcpRetransmittedAndOutOfOrderSegments)
{
    Harness h;
    handshake(h);
    Bytes stream = slaveStream();
    h.tcpFromSlave(SLAVE_ISN + 1, ACK, slice(stream, 0, 14));
    h.tcpFromSlave(SLAVE_ISN + 21, ACK, slice(stream, 20, stream.size()));  // ahead of a hole
    h.tcpFromSlave(SLAVE_ISN + 1, ACK, slice(stream, 0, 14));               // retransmission
    EXPECT_EQ(packets(h.batch), std::vector<std::string>{SLAVE_PACKETS[0]});
    h.tcpFromSlave(SLAVE_ISN + 6, ACK, slice(stream, 5, 21));  // fills the hole, overlaps both sides
    EXPECT_EQ(packets(h.batch), SLAVE_PACKETS);
    EXPECT_EQ(h.problems.str(), "");
}

TEST(EthernetFrontEndTest, BothDirectionsOfOneConnection)
{
    Harness h;
    handshake(h);
    h.tcpToSlave(MASTER_ISN + 1, PSH | ACK, concat({CONNECT, GET_STATUS}));
    h.tcpFromSlave(SLAVE_ISN + 1, PSH | ACK, CONNECT_RESPONSE);
    ASSERT_EQ(h.batch.size(), 3u);
    EXPECT_EQ(h.batch[0].message.getMsgDirection(), XCP_Message::MD_TX);
    EXPECT_EQ(h.batch[1].message.getMsgDirection(), XCP_Message::MD_TX);
    EXPECT_EQ(h.batch[2].message.getMsgDirection(), XCP_Message::MD_RX);
    EXPECT_EQ(h.batch[0].message.dstIp, "10.0.0.2");
    EXPECT_EQ(h.batch[2].message.dstIp, "10.0.0.1");
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(h.batch[i].slave.text(), "10.0.0.2:5555");
        EXPECT_EQ(h.batch[i].message.port, 5555);
    }
}

TEST(EthernetFrontEndTest, TcpGapIsReportedAndTheStreamGoesOnAfterIt)
{
    Harness h;
    handshake(h);
    Bytes stream = slaveStream();
    size_t daqStart = CONNECT_RESPONSE.size();
    size_t daq1Start = daqStart + DAQ_0.size();
    // The first half of DAQ_0 never arrives; the next segment starts at DAQ_1.
    h.tcpFromSlave(SLAVE_ISN + 1, ACK, slice(stream, 0, daqStart + 3));
    h.tcpFromSlave(SLAVE_ISN + 1 + static_cast<uint32_t>(daq1Start), ACK | FIN, slice(stream, daq1Start, stream.size()));
    h.frontEnd.finish(T0 + 99000);
    EXPECT_EQ(packets(h.batch), (std::vector<std::string>{SLAVE_PACKETS[0], SLAVE_PACKETS[2]}));
    EXPECT_EQ(h.problems.str(),
              "xcptrace: test.pcap: TCP 10.0.0.2:5555 -> 10.0.0.1:50001: 10 bytes of the stream are missing from the "
              "capture; the XCP message they interrupt is dropped\n");
    EXPECT_EQ(h.log.count(Problem::TcpGap), 1u);
}

TEST(EthernetFrontEndTest, StreamEndingInsideAMessageIsReported)
{
    Harness h;
    handshake(h);
    Bytes stream = slaveStream();
    h.tcpFromSlave(SLAVE_ISN + 1, ACK, slice(stream, 0, 17));
    h.tcpFromSlave(SLAVE_ISN + 18, ACK | FIN, {});
    EXPECT_EQ(packets(h.batch), std::vector<std::string>{SLAVE_PACKETS[0]});
    EXPECT_EQ(h.problems.str(),
              "xcptrace: test.pcap: packet 5: TCP 10.0.0.2:5555 -> 10.0.0.1:50001: the stream ends inside an XCP "
              "message (5 of its 13 bytes)\n");
    EXPECT_EQ(h.log.count(Problem::TcpIncomplete), 1u);
}

TEST(EthernetFrontEndTest, ResetClosesTheConnection)
{
    Harness h;
    handshake(h);
    h.tcpToSlave(MASTER_ISN + 1, ACK, slice(CONNECT, 0, 3));
    h.tcpToSlave(MASTER_ISN + 4, RST, {});
    EXPECT_EQ(h.frontEnd.openConnections(), 0u);
    EXPECT_EQ(h.problems.str(),
              "xcptrace: test.pcap: packet 5: TCP 10.0.0.1:50001 -> 10.0.0.2:5555: the stream ends inside an XCP "
              "message (3 bytes of its header)\n");
}

TEST(EthernetFrontEndTest, ConnectionClosedByBothFinsIsForgotten)
{
    Harness h;
    handshake(h);
    h.tcpToSlave(MASTER_ISN + 1, PSH | ACK | FIN, CONNECT);
    h.tcpFromSlave(SLAVE_ISN + 1, PSH | ACK | FIN, CONNECT_RESPONSE);
    EXPECT_EQ(h.batch.size(), 2u);
    EXPECT_EQ(h.frontEnd.openConnections(), 0u);
    EXPECT_EQ(h.problems.str(), "");
}

TEST(EthernetFrontEndTest, FinArrivingBeforeTheLastDataWaitsForIt)
{
    Harness h;
    handshake(h);
    Bytes stream = slaveStream();
    h.tcpFromSlave(SLAVE_ISN + 1, ACK, slice(stream, 0, 10));
    h.tcpFromSlave(SLAVE_ISN + 1 + static_cast<uint32_t>(stream.size()), ACK | FIN, {});
    h.tcpFromSlave(SLAVE_ISN + 11, ACK, slice(stream, 10, stream.size()));
    EXPECT_EQ(packets(h.batch), SLAVE_PACKETS);
    EXPECT_EQ(h.problems.str(), "");
}

TEST(EthernetFrontEndTest, CaptureStartingInsideAConnection)
{
    Harness h;
    h.tcpFromSlave(SLAVE_ISN + 500, ACK, concat({DAQ_0, DAQ_1}));
    EXPECT_EQ(packets(h.batch), (std::vector<std::string>{SLAVE_PACKETS[1], SLAVE_PACKETS[2]}));
    h.tcpToSlave(MASTER_ISN + 77, ACK, {});  // acknowledgements alone open nothing
    EXPECT_EQ(h.frontEnd.openConnections(), 1u);
}
