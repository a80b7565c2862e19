#ifndef XCPTRACE_PCAPNGINTERFACES_H
#define XCPTRACE_PCAPNGINTERFACES_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace xcptrace {

/// Follows the blocks of a pcapng file as its bytes stream past, to learn what libpcap
/// does not tell: the name of each interface and the interface each packet came from.
/// Fed with the same bytes libpcap reads, it queues one interface index per packet block,
/// in file order, which is the order in which libpcap returns the packets.
class PcapngInterfaces {
public:
    void feed(const uint8_t* data, size_t count);

    /// The interface of the next packet; false when none is queued.
    bool nextPacketInterface(uint32_t& index);
    /// Interface names of the current section, by index ("" when an interface has none).
    const std::vector<std::string>& names() const { return names_; }
    /// The channel number of an interface: the number its name ends in ("can1" is 1),
    /// otherwise its index (both up to 255).
    uint8_t channelOf(uint32_t index) const;
    /// The block structure did not add up; indices are no longer known.
    bool lost() const { return lost_; }

private:
    void startBlock();
    void endBlock();
    uint32_t read32(const uint8_t* p) const;
    uint16_t read16(const uint8_t* p) const;

    static constexpr size_t BLOCK_START = 12;  // type, length, first body word
    static constexpr size_t NAME_BLOCK_LIMIT = 65536;

    uint8_t start_[BLOCK_START] = {};
    size_t startCount_ = 0;
    bool bigEndian_ = false;
    uint32_t blockType_ = 0;
    uint64_t remaining_ = 0;      ///< bytes of the current block after its first 12
    bool collecting_ = false;     ///< keeping an interface block's body for its options
    std::vector<uint8_t> body_;
    std::deque<uint32_t> packets_;
    std::vector<std::string> names_;
    bool lost_ = false;
};

}  // namespace xcptrace

#endif  // XCPTRACE_PCAPNGINTERFACES_H
