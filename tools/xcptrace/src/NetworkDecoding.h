#ifndef XCPTRACE_NETWORKDECODING_H
#define XCPTRACE_NETWORKDECODING_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace xcptrace {

constexpr uint8_t IP_PROTOCOL_TCP = 6;
constexpr uint8_t IP_PROTOCOL_UDP = 17;

constexpr uint8_t TCP_FLAG_FIN = 0x01;
constexpr uint8_t TCP_FLAG_SYN = 0x02;
constexpr uint8_t TCP_FLAG_RST = 0x04;

/// A UDP datagram or TCP segment found in a captured frame. Pointers point into the frame.
struct TransportSegment {
    uint8_t family = 0;  ///< 4 or 6
    const uint8_t* sourceAddress = nullptr;
    const uint8_t* destinationAddress = nullptr;
    uint8_t protocol = 0;  ///< IP_PROTOCOL_TCP or IP_PROTOCOL_UDP
    bool portsKnown = false;
    uint16_t sourcePort = 0;
    uint16_t destinationPort = 0;
    uint32_t sequence = 0;  ///< TCP only
    uint8_t tcpFlags = 0;   ///< TCP only
    const uint8_t* payload = nullptr;
    size_t payloadLength = 0;
};

enum class FrameStatus {
    OK,         ///< a whole UDP datagram or TCP segment
    IGNORED,    ///< not IP, not UDP/TCP, or an IP fragment after the first: nothing to decode
    TRUNCATED,  ///< the capture kept too few bytes (snapshot length)
    MALFORMED,  ///< headers that contradict each other or the frame
    FRAGMENT,   ///< the first fragment of a fragmented datagram (ports known, payload not whole)
};

/// Decodes the link layer (libpcap DLT_ link types: Ethernet with any number of VLAN tags,
/// Linux cooked SLL and SLL2, raw IP, IPv4, IPv6, BSD loopback), IPv4 or IPv6 (with extension
/// headers), and the UDP or TCP header. `caplen` bytes are in `frame`; `origlen` is the
/// frame's length on the wire. On TRUNCATED, MALFORMED and FRAGMENT, `why` says what and
/// `out` holds as much as could be read (portsKnown tells whether the ports were reached).
FrameStatus decodeFrame(int linkType, const uint8_t* frame, size_t caplen, size_t origlen, TransportSegment& out,
                        std::string& why);

/// Whether decodeFrame knows the link type.
bool isSupportedIpLinkType(int linkType);

/// "192.168.0.1" or the compressed IPv6 form "fd00::1".
std::string addressText(uint8_t family, const uint8_t* address);

}  // namespace xcptrace

#endif  // XCPTRACE_NETWORKDECODING_H
