// Following pcapng blocks for interface names and each packet's interface.

#include "PcapngInterfaces.h"
#include "tool_test_support.h"

using namespace tooltest;
using xcptrace::PcapngInterfaces;

namespace {

void le32(Bytes& out, uint32_t v)
{
    for (int i = 0; i < 4; ++i) {
        out.push_back(static_cast<uint8_t>(v >> (8 * i)));
    }
}

void le16(Bytes& out, uint16_t v)
{
    out.push_back(static_cast<uint8_t>(v));
    out.push_back(static_cast<uint8_t>(v >> 8));
}

Bytes block(uint32_t type, const Bytes& body)
{
    Bytes out;
    le32(out, type);
    le32(out, static_cast<uint32_t>(12 + body.size()));
    out.insert(out.end(), body.begin(), body.end());
    le32(out, static_cast<uint32_t>(12 + body.size()));
    return out;
}

Bytes sectionHeader()
{
    Bytes body;
    le32(body, 0x1A2B3C4D);
    le16(body, 1);
    le16(body, 0);
    le32(body, 0xFFFFFFFF);
    le32(body, 0xFFFFFFFF);
    return block(0x0A0D0D0A, body);
}

Bytes interfaceBlock(const std::string& name)
{
    Bytes body;
    le16(body, 227);  // SocketCAN
    le16(body, 0);
    le32(body, 0);  // snaplen
    if (!name.empty()) {
        le16(body, 2);  // if_name
        le16(body, static_cast<uint16_t>(name.size()));
        body.insert(body.end(), name.begin(), name.end());
        while (body.size() % 4 != 0) {
            body.push_back(0);
        }
        le16(body, 9);  // if_tsresol, to be skipped
        le16(body, 1);
        body.insert(body.end(), {9, 0, 0, 0});
        le32(body, 0);  // opt_endofopt
    }
    return block(1, body);
}

Bytes enhancedPacket(uint32_t interface)
{
    Bytes body;
    le32(body, interface);
    le32(body, 0);
    le32(body, 0);
    le32(body, 4);
    le32(body, 4);
    le32(body, 0xDDCCBBAA);
    return block(6, body);
}

std::vector<uint32_t> drain(PcapngInterfaces& tracker)
{
    std::vector<uint32_t> result;
    uint32_t index = 0;
    while (tracker.nextPacketInterface(index)) {
        result.push_back(index);
    }
    return result;
}

Bytes sampleFile()
{
    return concat({sectionHeader(), interfaceBlock("can1"), interfaceBlock(""), interfaceBlock("vcan"),
                   enhancedPacket(0), enhancedPacket(2), block(5, Bytes(8, 0)) /* statistics: ignored */,
                   enhancedPacket(1), block(3, hex("04 00 00 00 aa bb cc dd")) /* simple packet */});
}

}  // namespace

TEST(PcapngInterfacesTest, NamesAndPacketInterfacesInFileOrder)
{
    PcapngInterfaces tracker;
    Bytes file = sampleFile();
    tracker.feed(file.data(), file.size());
    EXPECT_FALSE(tracker.lost());
    EXPECT_EQ(tracker.names(), (std::vector<std::string>{"can1", "", "vcan"}));
    EXPECT_EQ(drain(tracker), (std::vector<uint32_t>{0, 2, 1, 0}));
    EXPECT_EQ(tracker.channelOf(0), 1);  // the number in "can1"
    EXPECT_EQ(tracker.channelOf(1), 1);  // no name: the index
    EXPECT_EQ(tracker.channelOf(2), 2);  // a name without a number: the index
}

TEST(PcapngInterfacesTest, BytesArrivingOneAtATime)
{
    PcapngInterfaces tracker;
    Bytes file = sampleFile();
    for (uint8_t byte : file) {
        tracker.feed(&byte, 1);
    }
    EXPECT_EQ(tracker.names(), (std::vector<std::string>{"can1", "", "vcan"}));
    EXPECT_EQ(drain(tracker), (std::vector<uint32_t>{0, 2, 1, 0}));
}

TEST(PcapngInterfacesTest, BigEndianSection)
{
    Bytes file = hex(
        "0a 0d 0d 0a 00 00 00 1c 1a 2b 3c 4d 00 01 00 00 ff ff ff ff ff ff ff ff 00 00 00 1c"
        "00 00 00 01 00 00 00 20 00 e3 00 00 00 00 00 00 00 02 00 04 63 61 6e 37 00 00 00 00 00 00 00 20"
        "00 00 00 06 00 00 00 24 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 04 00 00 00 04 aa bb cc dd 00 00 00 24");
    PcapngInterfaces tracker;
    tracker.feed(file.data(), file.size());
    EXPECT_FALSE(tracker.lost());
    EXPECT_EQ(tracker.names(), (std::vector<std::string>{"can7"}));
    EXPECT_EQ(drain(tracker), (std::vector<uint32_t>{0}));
    EXPECT_EQ(tracker.channelOf(0), 7);
}

TEST(PcapngInterfacesTest, ImpossibleBlockLengthLosesTrack)
{
    Bytes file = concat({sectionHeader(), hex("06 00 00 00 0d 00 00 00 00 00 00 00")});
    PcapngInterfaces tracker;
    tracker.feed(file.data(), file.size());
    EXPECT_TRUE(tracker.lost());
}
