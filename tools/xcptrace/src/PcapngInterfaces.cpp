#include "PcapngInterfaces.h"

#include <cstring>

#include "CanFrames.h"

namespace xcptrace {

namespace {

constexpr uint32_t BLOCK_SECTION_HEADER = 0x0A0D0D0A;
constexpr uint32_t BLOCK_INTERFACE = 0x00000001;
constexpr uint32_t BLOCK_PACKET_OBSOLETE = 0x00000002;
constexpr uint32_t BLOCK_SIMPLE_PACKET = 0x00000003;
constexpr uint32_t BLOCK_ENHANCED_PACKET = 0x00000006;
constexpr uint16_t OPTION_END = 0;
constexpr uint16_t OPTION_IF_NAME = 2;

}  // namespace

uint32_t PcapngInterfaces::read32(const uint8_t* p) const
{
    if (bigEndian_) {
        return (static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
               (static_cast<uint32_t>(p[2]) << 8) | p[3];
    }
    return (static_cast<uint32_t>(p[3]) << 24) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[1]) << 8) | p[0];
}

uint16_t PcapngInterfaces::read16(const uint8_t* p) const
{
    return bigEndian_ ? static_cast<uint16_t>((p[0] << 8) | p[1]) : static_cast<uint16_t>((p[1] << 8) | p[0]);
}

void PcapngInterfaces::feed(const uint8_t* data, size_t count)
{
    while (count > 0 && !lost_) {
        if (startCount_ < BLOCK_START) {
            size_t take = BLOCK_START - startCount_;
            take = take < count ? take : count;
            std::memcpy(start_ + startCount_, data, take);
            startCount_ += take;
            data += take;
            count -= take;
            if (startCount_ == BLOCK_START) {
                startBlock();
            }
            continue;
        }
        size_t take = remaining_ < count ? static_cast<size_t>(remaining_) : count;
        if (collecting_) {
            body_.insert(body_.end(), data, data + take);
        }
        data += take;
        count -= take;
        remaining_ -= take;
        if (remaining_ == 0) {
            endBlock();
        }
    }
}

void PcapngInterfaces::startBlock()
{
    if (std::memcmp(start_, "\x0A\x0D\x0D\x0A", 4) == 0) {
        // A section header's byte-order magic tells how the rest of the section is written.
        if (std::memcmp(start_ + 8, "\x1A\x2B\x3C\x4D", 4) == 0) {
            bigEndian_ = true;
        } else if (std::memcmp(start_ + 8, "\x4D\x3C\x2B\x1A", 4) == 0) {
            bigEndian_ = false;
        } else {
            lost_ = true;
            return;
        }
        names_.clear();  // interface numbers start again in every section
    }
    blockType_ = read32(start_);
    uint32_t length = read32(start_ + 4);
    if (length < BLOCK_START || length % 4 != 0) {
        lost_ = true;
        return;
    }
    remaining_ = length - BLOCK_START;
    collecting_ = false;
    body_.clear();
    switch (blockType_) {
    case BLOCK_INTERFACE:
        collecting_ = remaining_ <= NAME_BLOCK_LIMIT;
        if (!collecting_) {
            names_.emplace_back();
        }
        break;
    case BLOCK_ENHANCED_PACKET:
        packets_.push_back(read32(start_ + 8));
        break;
    case BLOCK_PACKET_OBSOLETE:
        packets_.push_back(read16(start_ + 8));
        break;
    case BLOCK_SIMPLE_PACKET:
        packets_.push_back(0);
        break;
    default:
        break;
    }
    if (remaining_ == 0) {
        endBlock();
    }
}

void PcapngInterfaces::endBlock()
{
    if (collecting_) {
        // Body after the first word: snaplen (4), options, then the trailing length (4).
        std::string name;
        size_t position = 4;
        size_t end = body_.size() >= 4 ? body_.size() - 4 : 0;
        while (position + 4 <= end) {
            uint16_t code = read16(body_.data() + position);
            uint16_t length = read16(body_.data() + position + 2);
            position += 4;
            if (code == OPTION_END || position + length > end) {
                break;
            }
            if (code == OPTION_IF_NAME) {
                name.assign(reinterpret_cast<const char*>(body_.data() + position), length);
                size_t nul = name.find('\0');
                if (nul != std::string::npos) {
                    name.resize(nul);
                }
            }
            position += (length + 3u) & ~3u;
        }
        names_.push_back(name);
        collecting_ = false;
        body_.clear();
    }
    startCount_ = 0;
}

bool PcapngInterfaces::nextPacketInterface(uint32_t& index)
{
    if (packets_.empty()) {
        return false;
    }
    index = packets_.front();
    packets_.pop_front();
    return true;
}

uint8_t PcapngInterfaces::channelOf(uint32_t index) const
{
    if (index < names_.size()) {
        int number = interfaceNumber(names_[index].data(), names_[index].size());
        if (number >= 0) {
            return static_cast<uint8_t>(number);
        }
    }
    return static_cast<uint8_t>(index <= 255 ? index : 255);
}

}  // namespace xcptrace
