// Link layer, IP and UDP/TCP headers: where the payload is found, and what is reported
// when the headers and the capture disagree.

#include <pcap/dlt.h>

#include "NetworkDecoding.h"
#include "tool_test_support.h"

using namespace tooltest;
using xcptrace::FrameStatus;
using xcptrace::TransportSegment;

namespace {

struct Decoded {
    Bytes frame;  ///< kept: the segment points into it
    FrameStatus status;
    TransportSegment segment;
    std::string why;
    Bytes payload;
};

Decoded decode(int linkType, const Bytes& frame, size_t origlen = 0)
{
    Decoded d;
    d.frame = frame;
    d.status = xcptrace::decodeFrame(linkType, d.frame.data(), d.frame.size(), origlen == 0 ? frame.size() : origlen,
                                     d.segment, d.why);
    if (d.status == FrameStatus::OK) {
        d.payload.assign(d.segment.payload, d.segment.payload + d.segment.payloadLength);
    }
    return d;
}

const Bytes PAYLOAD = hex("aa bb cc dd ee");

void expectUdp(const Decoded& d, uint16_t from, uint16_t to)
{
    ASSERT_EQ(d.status, FrameStatus::OK) << d.why;
    EXPECT_EQ(d.segment.protocol, xcptrace::IP_PROTOCOL_UDP);
    EXPECT_TRUE(d.segment.portsKnown);
    EXPECT_EQ(d.segment.sourcePort, from);
    EXPECT_EQ(d.segment.destinationPort, to);
    EXPECT_EQ(toHex(d.payload), toHex(PAYLOAD));
}

}  // namespace

TEST(NetworkDecodingTest, EthernetIpv4Udp)
{
    const Decoded d = decode(DLT_EN10MB, ethernet(0x0800, ipv4(MASTER_TO_SLAVE, 17, udp(50000, 5555, PAYLOAD))));
    expectUdp(d, 50000, 5555);
    EXPECT_EQ(d.segment.family, 4);
    EXPECT_EQ(xcptrace::addressText(4, d.segment.sourceAddress), "10.0.0.1");
    EXPECT_EQ(xcptrace::addressText(4, d.segment.destinationAddress), "10.0.0.2");
}

TEST(NetworkDecodingTest, EthernetPaddingAfterTheIpPacketIsNotPayload)
{
    Bytes frame = ethernet(0x0800, ipv4(MASTER_TO_SLAVE, 17, udp(50000, 5555, PAYLOAD)));
    frame.resize(60, 0x00);  // minimum Ethernet frame
    expectUdp(decode(DLT_EN10MB, frame), 50000, 5555);
}

TEST(NetworkDecodingTest, OneAndTwoVlanTags)
{
    Bytes ip = ipv4(MASTER_TO_SLAVE, 17, udp(50000, 5555, PAYLOAD));
    expectUdp(decode(DLT_EN10MB, ethernet(0x0800, ip, {0x8100})), 50000, 5555);
    expectUdp(decode(DLT_EN10MB, ethernet(0x0800, ip, {0x88A8, 0x8100})), 50000, 5555);
}

TEST(NetworkDecodingTest, Ipv4HeaderOptionsAreSkipped)
{
    Bytes ip = ipv4(MASTER_TO_SLAVE, 17, udp(50000, 5555, PAYLOAD), 0x4000, hex("01 01 01 00"));
    expectUdp(decode(DLT_EN10MB, ethernet(0x0800, ip)), 50000, 5555);
}

TEST(NetworkDecodingTest, Ipv6Udp)
{
    Decoded d = decode(DLT_EN10MB, ethernet(0x86DD, ipv6(1, 2, 17, udp(50000, 5555, PAYLOAD))));
    expectUdp(d, 50000, 5555);
    EXPECT_EQ(d.segment.family, 6);
    EXPECT_EQ(xcptrace::addressText(6, d.segment.sourceAddress), "fd00::1");
    EXPECT_EQ(xcptrace::addressText(6, d.segment.destinationAddress), "fd00::2");
}

TEST(NetworkDecodingTest, Ipv6ExtensionHeadersAreSkipped)
{
    // Hop-by-hop options (8 bytes, next: destination options), destination options (16
    // bytes, next: UDP).
    Bytes extensions = concat({hex("3c 00 01 04 00 00 00 00"), hex("11 01 01 0c 00 00 00 00 00 00 00 00 00 00 00 00")});
    Bytes payload = concat({extensions, udp(50000, 5555, PAYLOAD)});
    expectUdp(decode(DLT_EN10MB, ethernet(0x86DD, ipv6(1, 2, 0, payload))), 50000, 5555);
}

TEST(NetworkDecodingTest, LinuxCookedCaptures)
{
    Bytes ip = ipv4(MASTER_TO_SLAVE, 17, udp(50000, 5555, PAYLOAD));
    expectUdp(decode(DLT_LINUX_SLL, sll(0x0800, ip)), 50000, 5555);
    expectUdp(decode(DLT_LINUX_SLL2, sll2(0x0800, ip)), 50000, 5555);
    expectUdp(decode(DLT_LINUX_SLL2, sll2(0x86DD, ipv6(1, 2, 17, udp(50000, 5555, PAYLOAD)))), 50000, 5555);
}

TEST(NetworkDecodingTest, RawIpAndLoopback)
{
    Bytes ip4 = ipv4(MASTER_TO_SLAVE, 17, udp(50000, 5555, PAYLOAD));
    Bytes ip6 = ipv6(1, 2, 17, udp(50000, 5555, PAYLOAD));
    expectUdp(decode(DLT_RAW, ip4), 50000, 5555);
    expectUdp(decode(DLT_RAW, ip6), 50000, 5555);
    expectUdp(decode(DLT_IPV4, ip4), 50000, 5555);
    expectUdp(decode(DLT_IPV6, ip6), 50000, 5555);
    expectUdp(decode(DLT_NULL, concat({hex("02 00 00 00"), ip4})), 50000, 5555);
    expectUdp(decode(DLT_LOOP, concat({hex("00 00 00 02"), ip4})), 50000, 5555);
}

TEST(NetworkDecodingTest, TcpSegmentWithOptions)
{
    Bytes segment = tcp(50000, 5555, 0x01020304, PSH | ACK, PAYLOAD, hex("01 01 08 0a 00 00 00 01 00 00 00 02"));
    Decoded d = decode(DLT_EN10MB, ethernet(0x0800, ipv4(MASTER_TO_SLAVE, 6, segment)));
    ASSERT_EQ(d.status, FrameStatus::OK) << d.why;
    EXPECT_EQ(d.segment.protocol, xcptrace::IP_PROTOCOL_TCP);
    EXPECT_EQ(d.segment.sequence, 0x01020304u);
    EXPECT_EQ(d.segment.tcpFlags, PSH | ACK);
    EXPECT_EQ(toHex(d.payload), toHex(PAYLOAD));
}

TEST(NetworkDecodingTest, OtherTrafficIsIgnored)
{
    EXPECT_EQ(decode(DLT_EN10MB, ethernet(0x0806, hex("00 01 08 00 06 04 00 01"))).status, FrameStatus::IGNORED);
    EXPECT_EQ(decode(DLT_EN10MB, ethernet(0x0800, ipv4(MASTER_TO_SLAVE, 1, hex("08 00 00 00")))).status,
              FrameStatus::IGNORED);
    EXPECT_EQ(decode(DLT_IEEE802_11, hex("00 00 00 00")).status, FrameStatus::IGNORED);
    EXPECT_FALSE(xcptrace::isSupportedIpLinkType(DLT_IEEE802_11));
    EXPECT_TRUE(xcptrace::isSupportedIpLinkType(DLT_LINUX_SLL2));
}

TEST(NetworkDecodingTest, FramesCutByTheSnapshotLengthAreTruncated)
{
    Bytes frame = ethernet(0x0800, ipv4(MASTER_TO_SLAVE, 17, udp(50000, 5555, PAYLOAD)));
    Bytes cut(frame.begin(), frame.end() - 2);
    Decoded d = decode(DLT_EN10MB, cut, frame.size());
    EXPECT_EQ(d.status, FrameStatus::TRUNCATED);
    EXPECT_TRUE(d.segment.portsKnown);
    EXPECT_EQ(d.segment.destinationPort, 5555);
    EXPECT_EQ(d.why, "UDP datagram needs 13 bytes, the capture kept 11");

    Bytes headerOnly(frame.begin(), frame.begin() + 20);
    Decoded early = decode(DLT_EN10MB, headerOnly, frame.size());
    EXPECT_EQ(early.status, FrameStatus::TRUNCATED);
    EXPECT_FALSE(early.segment.portsKnown);
    EXPECT_EQ(early.why, "IPv4 header needs 20 bytes, the capture kept 6");
}

TEST(NetworkDecodingTest, HeadersThatContradictTheFrameAreMalformed)
{
    Bytes ip = ipv4(MASTER_TO_SLAVE, 17, udp(50000, 5555, PAYLOAD));
    Bytes longer = ip;
    longer[3] = static_cast<uint8_t>(longer[3] + 10);  // total length beyond the frame
    Decoded d = decode(DLT_RAW, longer);
    EXPECT_EQ(d.status, FrameStatus::MALFORMED);
    EXPECT_EQ(d.why, "IPv4 total length 43 exceeds the 33 bytes of the frame");

    Bytes badUdp = ip;
    badUdp[20 + 5] = 200;  // UDP length beyond the IP packet
    Decoded u = decode(DLT_RAW, badUdp);
    EXPECT_EQ(u.status, FrameStatus::MALFORMED);
    EXPECT_EQ(u.why, "UDP length 200 does not fit the IP packet's 13 bytes");

    Bytes badVersion = ip;
    badVersion[0] = 0x55;
    Decoded v = decode(DLT_EN10MB, ethernet(0x0800, badVersion));
    EXPECT_EQ(v.status, FrameStatus::MALFORMED);
    EXPECT_EQ(v.why, "IP version 5 where 4 was announced");

    Decoded shortFrame = decode(DLT_EN10MB, hex("02 00 00 00 00 02 02 00"));
    EXPECT_EQ(shortFrame.status, FrameStatus::MALFORMED);
    EXPECT_EQ(shortFrame.why, "Ethernet header needs 14 bytes, the frame has 8");
}

TEST(NetworkDecodingTest, FirstFragmentIsReportedLaterFragmentsIgnored)
{
    Bytes first = ipv4(MASTER_TO_SLAVE, 17, udp(50000, 5555, PAYLOAD), 0x2000);  // more fragments
    Decoded d = decode(DLT_RAW, first);
    EXPECT_EQ(d.status, FrameStatus::FRAGMENT);
    EXPECT_TRUE(d.segment.portsKnown);
    EXPECT_EQ(d.segment.destinationPort, 5555);

    Bytes later = ipv4(MASTER_TO_SLAVE, 17, PAYLOAD, 0x0010);  // offset 128 bytes
    EXPECT_EQ(decode(DLT_RAW, later).status, FrameStatus::IGNORED);

    // IPv6 fragment header: offset 0, more fragments.
    Bytes fragmentHeader = hex("11 00 00 01 00 00 00 2a");
    Decoded v6 = decode(DLT_RAW, ipv6(1, 2, 44, concat({fragmentHeader, udp(50000, 5555, PAYLOAD)})));
    EXPECT_EQ(v6.status, FrameStatus::FRAGMENT);
}
