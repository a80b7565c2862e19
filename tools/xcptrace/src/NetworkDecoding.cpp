#include "NetworkDecoding.h"

#include <arpa/inet.h>
#include <pcap/dlt.h>

#include <cstdio>

#include "datablock.h"

namespace xcptrace {

namespace {

constexpr uint16_t ETHERTYPE_IPV4 = 0x0800;
constexpr uint16_t ETHERTYPE_IPV6 = 0x86DD;
constexpr uint16_t ETHERTYPE_VLAN = 0x8100;
constexpr uint16_t ETHERTYPE_QINQ = 0x88A8;
constexpr uint16_t ETHERTYPE_QINQ_OLD = 0x9100;

/// Reading state: what the capture holds and whether it was cut short.
struct Cursor {
    const uint8_t* frame;
    size_t caplen;
    bool cut;  ///< the capture kept fewer bytes than the frame had
};

FrameStatus shortOf(const Cursor& cursor, const char* what, size_t need, size_t have, std::string& why)
{
    char text[160];
    std::snprintf(text, sizeof text, "%s needs %zu bytes, %s %zu", what, need,
                  cursor.cut ? "the capture kept" : "the frame has", have);
    why = text;
    return cursor.cut ? FrameStatus::TRUNCATED : FrameStatus::MALFORMED;
}

FrameStatus malformed(const std::string& text, std::string& why)
{
    why = text;
    return FrameStatus::MALFORMED;
}

/// UDP or TCP header at `offset`; `end` is where the IP packet ends within the capture and
/// `ipEnd` where it ends according to the IP header.
FrameStatus decodeTransport(const Cursor& cursor, uint8_t protocol, size_t offset, size_t end, size_t ipEnd,
                            bool fragment, TransportSegment& out, std::string& why)
{
    const uint8_t* p = cursor.frame + offset;
    size_t available = end - offset;
    out.protocol = protocol;
    if (protocol == IP_PROTOCOL_UDP) {
        if (available < 8) {
            return shortOf(cursor, "UDP header", 8, available, why);
        }
        out.sourcePort = byteArrayToUint16(p);
        out.destinationPort = byteArrayToUint16(p + 2);
        out.portsKnown = true;
        if (fragment) {
            why = "the datagram is split into IP fragments";
            return FrameStatus::FRAGMENT;
        }
        size_t udpLength = byteArrayToUint16(p + 4);
        if (udpLength < 8 || udpLength > ipEnd - offset) {
            return malformed("UDP length " + std::to_string(udpLength) + " does not fit the IP packet's " +
                                 std::to_string(ipEnd - offset) + " bytes",
                             why);
        }
        if (udpLength > available) {
            return shortOf(cursor, "UDP datagram", udpLength, available, why);
        }
        out.payload = p + 8;
        out.payloadLength = udpLength - 8;
        return FrameStatus::OK;
    }
    // TCP
    if (available < 20) {
        return shortOf(cursor, "TCP header", 20, available, why);
    }
    out.sourcePort = byteArrayToUint16(p);
    out.destinationPort = byteArrayToUint16(p + 2);
    out.portsKnown = true;
    out.sequence = byteArrayToUint32(p + 4);
    out.tcpFlags = p[13];
    if (fragment) {
        why = "the segment is split into IP fragments";
        return FrameStatus::FRAGMENT;
    }
    size_t headerLength = static_cast<size_t>(p[12] >> 4) * 4;
    if (headerLength < 20 || headerLength > ipEnd - offset) {
        return malformed("TCP header length " + std::to_string(headerLength) + " does not fit the IP packet", why);
    }
    if (end < ipEnd) {
        return shortOf(cursor, "TCP segment", ipEnd - offset, available, why);
    }
    out.payload = p + headerLength;
    out.payloadLength = ipEnd - offset - headerLength;
    return FrameStatus::OK;
}

FrameStatus decodeIpv4(const Cursor& cursor, size_t offset, TransportSegment& out, std::string& why)
{
    const uint8_t* p = cursor.frame + offset;
    size_t available = cursor.caplen - offset;
    if (available < 20) {
        return shortOf(cursor, "IPv4 header", 20, available, why);
    }
    if ((p[0] >> 4) != 4) {
        return malformed("IP version " + std::to_string(p[0] >> 4) + " where 4 was announced", why);
    }
    size_t headerLength = static_cast<size_t>(p[0] & 0x0F) * 4;
    size_t totalLength = byteArrayToUint16(p + 2);
    if (headerLength < 20 || totalLength < headerLength) {
        return malformed("IPv4 header length " + std::to_string(headerLength) + " and total length " +
                             std::to_string(totalLength) + " do not add up",
                         why);
    }
    if (headerLength > available) {
        return shortOf(cursor, "IPv4 header", headerLength, available, why);
    }
    if (totalLength > available && !cursor.cut) {
        return malformed("IPv4 total length " + std::to_string(totalLength) + " exceeds the " +
                             std::to_string(available) + " bytes of the frame",
                         why);
    }
    out.family = 4;
    out.sourceAddress = p + 12;
    out.destinationAddress = p + 16;
    uint8_t protocol = p[9];
    if (protocol != IP_PROTOCOL_UDP && protocol != IP_PROTOCOL_TCP) {
        return FrameStatus::IGNORED;
    }
    uint16_t fragmentField = byteArrayToUint16(p + 6);
    if ((fragmentField & 0x1FFF) != 0) {
        return FrameStatus::IGNORED;  // a later fragment: its ports are in the first one
    }
    bool fragment = (fragmentField & 0x2000) != 0;
    size_t ipEnd = offset + totalLength;
    size_t end = ipEnd < cursor.caplen ? ipEnd : cursor.caplen;
    return decodeTransport(cursor, protocol, offset + headerLength, end, ipEnd, fragment, out, why);
}

FrameStatus decodeIpv6(const Cursor& cursor, size_t offset, TransportSegment& out, std::string& why)
{
    const uint8_t* p = cursor.frame + offset;
    size_t available = cursor.caplen - offset;
    if (available < 40) {
        return shortOf(cursor, "IPv6 header", 40, available, why);
    }
    if ((p[0] >> 4) != 6) {
        return malformed("IP version " + std::to_string(p[0] >> 4) + " where 6 was announced", why);
    }
    size_t payloadLength = byteArrayToUint16(p + 4);
    if (40 + payloadLength > available && !cursor.cut) {
        return malformed("IPv6 payload length " + std::to_string(payloadLength) + " exceeds the " +
                             std::to_string(available - 40) + " bytes of the frame",
                         why);
    }
    out.family = 6;
    out.sourceAddress = p + 8;
    out.destinationAddress = p + 24;
    size_t ipEnd = offset + 40 + payloadLength;
    size_t end = ipEnd < cursor.caplen ? ipEnd : cursor.caplen;
    uint8_t next = p[6];
    size_t position = offset + 40;
    bool fragment = false;
    // Extension headers: hop-by-hop, routing, destination options, fragment, authentication.
    for (int hops = 0; hops < 16; ++hops) {
        if (next == IP_PROTOCOL_UDP || next == IP_PROTOCOL_TCP) {
            return decodeTransport(cursor, next, position, end, ipEnd, fragment, out, why);
        }
        if (next != 0 && next != 43 && next != 60 && next != 44 && next != 51) {
            return FrameStatus::IGNORED;
        }
        if (position + 8 > end) {
            return position + 8 > ipEnd ? malformed("IPv6 extension header beyond the packet", why)
                                        : shortOf(cursor, "IPv6 extension header", 8, end - position, why);
        }
        const uint8_t* h = cursor.frame + position;
        size_t length;
        if (next == 44) {
            if ((byteArrayToUint16(h + 2) & 0xFFF8) != 0) {
                return FrameStatus::IGNORED;  // a later fragment
            }
            fragment = (h[3] & 1) != 0;
            length = 8;
        } else if (next == 51) {
            length = (static_cast<size_t>(h[1]) + 2) * 4;
        } else {
            length = (static_cast<size_t>(h[1]) + 1) * 8;
        }
        next = h[0];
        position += length;
        if (position > ipEnd) {
            return malformed("IPv6 extension header beyond the packet", why);
        }
    }
    return malformed("too many IPv6 extension headers", why);
}

FrameStatus decodeNetwork(const Cursor& cursor, uint16_t etherType, size_t offset, TransportSegment& out,
                          std::string& why)
{
    switch (etherType) {
    case ETHERTYPE_IPV4:
        return decodeIpv4(cursor, offset, out, why);
    case ETHERTYPE_IPV6:
        return decodeIpv6(cursor, offset, out, why);
    default:
        return FrameStatus::IGNORED;
    }
}

/// Skips VLAN tags starting with the EtherType at `typeOffset`.
FrameStatus decodeEtherTypeChain(const Cursor& cursor, size_t typeOffset, TransportSegment& out, std::string& why)
{
    uint16_t etherType = byteArrayToUint16(cursor.frame + typeOffset);
    size_t offset = typeOffset + 2;
    while (etherType == ETHERTYPE_VLAN || etherType == ETHERTYPE_QINQ || etherType == ETHERTYPE_QINQ_OLD) {
        if (offset + 4 > cursor.caplen) {
            return shortOf(cursor, "VLAN tag", 4, cursor.caplen - offset, why);
        }
        etherType = byteArrayToUint16(cursor.frame + offset + 2);
        offset += 4;
    }
    return decodeNetwork(cursor, etherType, offset, out, why);
}

FrameStatus decodeRawIp(const Cursor& cursor, TransportSegment& out, std::string& why)
{
    if (cursor.caplen < 1) {
        return shortOf(cursor, "IP header", 20, 0, why);
    }
    switch (cursor.frame[0] >> 4) {
    case 4:
        return decodeIpv4(cursor, 0, out, why);
    case 6:
        return decodeIpv6(cursor, 0, out, why);
    default:
        return FrameStatus::IGNORED;
    }
}

}  // namespace

bool isSupportedIpLinkType(int linkType)
{
    switch (linkType) {
    case DLT_EN10MB:
    case DLT_LINUX_SLL:
    case DLT_LINUX_SLL2:
    case DLT_RAW:
    case DLT_IPV4:
    case DLT_IPV6:
    case DLT_NULL:
    case DLT_LOOP:
        return true;
    default:
        return false;
    }
}

FrameStatus decodeFrame(int linkType, const uint8_t* frame, size_t caplen, size_t origlen, TransportSegment& out,
                        std::string& why)
{
    out = TransportSegment();
    Cursor cursor{frame, caplen, caplen < origlen};
    switch (linkType) {
    case DLT_EN10MB:
        if (caplen < 14) {
            return shortOf(cursor, "Ethernet header", 14, caplen, why);
        }
        return decodeEtherTypeChain(cursor, 12, out, why);
    case DLT_LINUX_SLL:
        if (caplen < 16) {
            return shortOf(cursor, "Linux cooked header", 16, caplen, why);
        }
        return decodeEtherTypeChain(cursor, 14, out, why);
    case DLT_LINUX_SLL2:
        if (caplen < 20) {
            return shortOf(cursor, "Linux cooked v2 header", 20, caplen, why);
        }
        return decodeNetwork(cursor, byteArrayToUint16(frame), 20, out, why);
    case DLT_RAW:
    case DLT_IPV4:
    case DLT_IPV6:
        return decodeRawIp(cursor, out, why);
    case DLT_NULL:
    case DLT_LOOP: {
        if (caplen < 4) {
            return shortOf(cursor, "loopback header", 4, caplen, why);
        }
        // The address family in the byte order of the capturing host (DLT_NULL) or
        // big-endian (DLT_LOOP); the IP version nibble settles it either way.
        Cursor inner{frame + 4, caplen - 4, cursor.cut};
        TransportSegment segment;
        FrameStatus status = decodeRawIp(inner, segment, why);
        out = segment;
        return status;
    }
    default:
        return FrameStatus::IGNORED;
    }
}

std::string addressText(uint8_t family, const uint8_t* address)
{
    char text[INET6_ADDRSTRLEN] = {};
    if (family == 4) {
        std::snprintf(text, sizeof text, "%u.%u.%u.%u", address[0], address[1], address[2], address[3]);
    } else {
        inet_ntop(AF_INET6, address, text, sizeof text);
    }
    return text;
}

}  // namespace xcptrace
