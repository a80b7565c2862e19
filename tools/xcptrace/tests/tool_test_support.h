#ifndef XCPTRACE_TESTS_TOOL_TEST_SUPPORT_H
#define XCPTRACE_TESTS_TOOL_TEST_SUPPORT_H

// Hand-made frames for the decoders (Ethernet, VLAN, Linux cooked, IPv4, IPv6, UDP, TCP,
// XCP on Ethernet), and a harness that collects what a front end decodes.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "DecodedPacket.h"
#include "Problems.h"

namespace tooltest {

using Bytes = std::vector<uint8_t>;

inline Bytes hex(const std::string& text)
{
    Bytes bytes;
    std::string digits;
    for (char c : text) {
        if (c == ' ' || c == '\n') {
            continue;
        }
        digits += c;
        if (digits.size() == 2) {
            bytes.push_back(static_cast<uint8_t>(std::stoul(digits, nullptr, 16)));
            digits.clear();
        }
    }
    EXPECT_TRUE(digits.empty()) << "odd number of hex digits: " << text;
    return bytes;
}

inline std::string toHex(const Bytes& bytes)
{
    std::string text;
    char pair[4];
    for (size_t i = 0; i < bytes.size(); ++i) {
        std::snprintf(pair, sizeof pair, i == 0 ? "%02x" : " %02x", bytes[i]);
        text += pair;
    }
    return text;
}

inline Bytes concat(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

inline void put16(Bytes& out, uint16_t v)
{
    out.push_back(static_cast<uint8_t>(v >> 8));
    out.push_back(static_cast<uint8_t>(v));
}

inline void put32(Bytes& out, uint32_t v)
{
    put16(out, static_cast<uint16_t>(v >> 16));
    put16(out, static_cast<uint16_t>(v));
}

/// One XCP message on Ethernet: LEN and CTR little-endian, then the packet.
inline Bytes xcp(uint16_t ctr, const Bytes& packet)
{
    Bytes out{static_cast<uint8_t>(packet.size()), static_cast<uint8_t>(packet.size() >> 8),
              static_cast<uint8_t>(ctr), static_cast<uint8_t>(ctr >> 8)};
    out.insert(out.end(), packet.begin(), packet.end());
    return out;
}

inline Bytes udp(uint16_t from, uint16_t to, const Bytes& payload)
{
    Bytes out;
    put16(out, from);
    put16(out, to);
    put16(out, static_cast<uint16_t>(8 + payload.size()));
    put16(out, 0);
    out.insert(out.end(), payload.begin(), payload.end());
    return out;
}

constexpr uint8_t FIN = 0x01;
constexpr uint8_t SYN = 0x02;
constexpr uint8_t RST = 0x04;
constexpr uint8_t PSH = 0x08;
constexpr uint8_t ACK = 0x10;

inline Bytes tcp(uint16_t from, uint16_t to, uint32_t sequence, uint8_t flags, const Bytes& payload,
                 const Bytes& options = Bytes())
{
    Bytes out;
    put16(out, from);
    put16(out, to);
    put32(out, sequence);
    put32(out, 0);
    out.push_back(static_cast<uint8_t>(((20 + options.size()) / 4) << 4));
    out.push_back(flags);
    put16(out, 65535);
    put16(out, 0);
    put16(out, 0);
    out.insert(out.end(), options.begin(), options.end());
    out.insert(out.end(), payload.begin(), payload.end());
    return out;
}

struct Ipv4 {
    uint8_t source[4];
    uint8_t destination[4];
};
const Ipv4 MASTER_TO_SLAVE{{10, 0, 0, 1}, {10, 0, 0, 2}};
const Ipv4 SLAVE_TO_MASTER{{10, 0, 0, 2}, {10, 0, 0, 1}};

inline Bytes ipv4(const Ipv4& addresses, uint8_t protocol, const Bytes& payload, uint16_t fragment = 0x4000,
                  const Bytes& options = Bytes())
{
    Bytes out{static_cast<uint8_t>(0x40 | ((20 + options.size()) / 4)), 0x00};
    put16(out, static_cast<uint16_t>(20 + options.size() + payload.size()));
    put16(out, 0x1234);
    put16(out, fragment);
    out.push_back(64);
    out.push_back(protocol);
    put16(out, 0);
    out.insert(out.end(), addresses.source, addresses.source + 4);
    out.insert(out.end(), addresses.destination, addresses.destination + 4);
    out.insert(out.end(), options.begin(), options.end());
    out.insert(out.end(), payload.begin(), payload.end());
    return out;
}

/// fd00::1 (master) and fd00::2 (slave).
inline Bytes ipv6Address(uint8_t last)
{
    Bytes a(16, 0);
    a[0] = 0xfd;
    a[15] = last;
    return a;
}

/// IPv6 with optional extension headers given as (type, bytes) already chained: `next`
/// is the first next-header value.
inline Bytes ipv6(uint8_t sourceLast, uint8_t destinationLast, uint8_t next, const Bytes& payload)
{
    Bytes out{0x60, 0x00, 0x00, 0x00};
    put16(out, static_cast<uint16_t>(payload.size()));
    out.push_back(next);
    out.push_back(64);
    Bytes s = ipv6Address(sourceLast);
    Bytes d = ipv6Address(destinationLast);
    out.insert(out.end(), s.begin(), s.end());
    out.insert(out.end(), d.begin(), d.end());
    out.insert(out.end(), payload.begin(), payload.end());
    return out;
}

/// Ethernet II with the given VLAN tags (TPID, TCI pairs) before the EtherType.
inline Bytes ethernet(uint16_t etherType, const Bytes& payload, const std::vector<uint16_t>& tagTypes = {})
{
    Bytes out = hex("02 00 00 00 00 02 02 00 00 00 00 01");
    for (uint16_t tpid : tagTypes) {
        put16(out, tpid);
        put16(out, 0x0064);  // VLAN 100
    }
    put16(out, etherType);
    out.insert(out.end(), payload.begin(), payload.end());
    return out;
}

inline Bytes sll(uint16_t protocol, const Bytes& payload)
{
    Bytes out = hex("00 00 00 01 00 06 02 00 00 00 00 01 00 00");
    put16(out, protocol);
    out.insert(out.end(), payload.begin(), payload.end());
    return out;
}

inline Bytes sll2(uint16_t protocol, const Bytes& payload)
{
    Bytes out;
    put16(out, protocol);
    out.insert(out.end(), {0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x01, 0x06, 0x02, 0x00, 0x00, 0x00,
                           0x00, 0x01, 0x00, 0x00});
    out.insert(out.end(), payload.begin(), payload.end());
    return out;
}

/// The rendering of every packet of a batch, one string each.
inline std::vector<std::string> render(const xcptrace::PacketBatch& batch)
{
    std::vector<std::string> lines;
    for (size_t i = 0; i < batch.size(); ++i) {
        std::ostringstream line;
        line << batch[i].message;
        lines.push_back(line.str());
    }
    return lines;
}

/// Packet data of every message of a batch as hex, with the PID first.
inline std::vector<std::string> packets(const xcptrace::PacketBatch& batch)
{
    std::vector<std::string> result;
    for (size_t i = 0; i < batch.size(); ++i) {
        Bytes bytes{batch[i].message.packet.identificationField.pid};
        const Bytes& data = batch[i].message.packet.dataField.data;
        bytes.insert(bytes.end(), data.begin(), data.end());
        result.push_back(toHex(bytes));
    }
    return result;
}

}  // namespace tooltest

#endif  // XCPTRACE_TESTS_TOOL_TEST_SUPPORT_H
