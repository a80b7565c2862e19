#ifndef XCPTRACE_XCPONETHERNET_H
#define XCPTRACE_XCPONETHERNET_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "XCP_Message.h"

namespace xcptrace {

/// Every XCP message on Ethernet starts with LEN and CTR, 16 bits each, little-endian;
/// LEN counts the packet bytes after these 4.
constexpr size_t XCP_ETH_HEADER_SIZE = 4;

inline uint16_t xcpLen(const uint8_t* message)
{
    return static_cast<uint16_t>(message[0] | (message[1] << 8));
}

inline uint16_t xcpCtr(const uint8_t* message)
{
    return static_cast<uint16_t>(message[2] | (message[3] << 8));
}

/// Addresses and port of one XCP-on-Ethernet link as the messages carry them.
struct EthernetEndpoints {
    const std::string* destination;
    const std::string* source;
    uint16_t slavePort;
    bool tcp;
};

/// Sets every field of `message` (a reused slot) for one XCP message on Ethernet: `frame`
/// points at LEN and holds 4 + LEN bytes, LEN >= 1. The header keeps LEN and CTR as
/// captured; the packet is a CTO packet code with the PID and the rest of the packet as
/// data (fill bytes included).
void fillEthernetMessage(XCP_Message& message, uint64_t timeNs, XCP_Message::msgDirection_t direction,
                         const uint8_t* frame, const EthernetEndpoints& endpoints);

/// Cuts a TCP byte stream into XCP messages, whatever the segment boundaries. Keeps the
/// bytes of an incomplete message until the rest arrives.
class XcpStreamFramer {
public:
    /// Feeds stream bytes that continue the ones fed before; calls emit(frame) for each
    /// complete message (frame points at LEN; the message's LEN bytes follow the header).
    template <typename Emit>
    void feed(const uint8_t* data, size_t count, Emit&& emit)
    {
        if (!partial_.empty()) {
            if (partial_.size() < XCP_ETH_HEADER_SIZE) {
                size_t take = XCP_ETH_HEADER_SIZE - partial_.size();
                take = take < count ? take : count;
                partial_.insert(partial_.end(), data, data + take);
                data += take;
                count -= take;
                if (partial_.size() < XCP_ETH_HEADER_SIZE) {
                    return;
                }
            }
            size_t total = XCP_ETH_HEADER_SIZE + xcpLen(partial_.data());
            size_t take = total - partial_.size();
            take = take < count ? take : count;
            partial_.insert(partial_.end(), data, data + take);
            data += take;
            count -= take;
            if (partial_.size() < total) {
                return;
            }
            emit(static_cast<const uint8_t*>(partial_.data()));
            partial_.clear();
        }
        while (count >= XCP_ETH_HEADER_SIZE) {
            size_t total = XCP_ETH_HEADER_SIZE + xcpLen(data);
            if (count < total) {
                break;
            }
            emit(data);
            data += total;
            count -= total;
        }
        if (count > 0) {
            partial_.assign(data, data + count);
        }
    }

    /// Bytes of an incomplete message held back.
    size_t heldBytes() const { return partial_.size(); }
    /// LEN of the incomplete message, when its header is complete.
    bool heldLen(uint16_t& len) const
    {
        if (partial_.size() < XCP_ETH_HEADER_SIZE) {
            return false;
        }
        len = xcpLen(partial_.data());
        return true;
    }
    /// Forgets an incomplete message (after a gap in the stream).
    void reset() { partial_.clear(); }

private:
    std::vector<uint8_t> partial_;
};

}  // namespace xcptrace

#endif  // XCPTRACE_XCPONETHERNET_H
