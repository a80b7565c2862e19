#ifndef XCPTRACE_DECODEDPACKET_H
#define XCPTRACE_DECODEDPACKET_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "XCP_Message.h"

namespace xcptrace {

/// CAN identifiers travel with SocketCAN's extended-frame flag in bit 31, so that the
/// standard identifier 0x7F0 and the extended identifier 0x000007F0 stay apart.
constexpr uint32_t CAN_EXTENDED_FLAG = 0x80000000u;
constexpr uint32_t CAN_STANDARD_MASK = 0x7FFu;
constexpr uint32_t CAN_EXTENDED_MASK = 0x1FFFFFFFu;

/// "7F0" for a standard identifier, "18DAF110" for an extended one (flag in bit 31).
std::string canIdText(uint32_t flaggedId);

/// Who an XCP packet belongs to: the slave's IP address and port, or the CAN identifier
/// pair of master and slave. Packets read from trace files carry no key: they keep the ECU
/// number stored with them.
struct SlaveKey {
    enum Kind : uint8_t { NONE = 0, IP = 1, CAN = 2 };

    Kind kind = NONE;
    uint8_t family = 0;         ///< 4 or 6 for IP
    uint8_t address[16] = {};   ///< IPv4 in the first 4 bytes
    uint16_t port = 0;
    uint32_t masterId = 0;      ///< flagged CAN identifiers
    uint32_t slaveId = 0;

    static SlaveKey ip(uint8_t family, const uint8_t* address, uint16_t port);
    static SlaveKey can(uint32_t masterId, uint32_t slaveId);

    /// "192.168.0.2:5555", "[fd00::2]:5555" or "7F0:7F1": the form --ecu accepts.
    std::string text() const;

    bool operator==(const SlaveKey& other) const
    {
        return kind == other.kind && family == other.family && port == other.port &&
               masterId == other.masterId && slaveId == other.slaveId &&
               std::memcmp(address, other.address, sizeof address) == 0;
    }
    bool operator!=(const SlaveKey& other) const { return !(*this == other); }
};

struct SlaveKeyHash {
    size_t operator()(const SlaveKey& key) const;
};

/// What following the XCP session told about one packet; set by the session tracker,
/// read by the outputs. Reset for every packet before the stages run.
struct SessionInfo {
    /// How a DAQ packet was decoded.
    enum class Daq : uint8_t {
        NONE,              ///< not a DAQ packet
        DECODED,           ///< identification field (and time stamp) taken from the bytes
        STORED,            ///< already decoded where it came from (a trace file)
        NO_CONFIGURATION,  ///< identification field type unknown: left as captured
        UNKNOWN_PID,       ///< absolute ODT number of no DAQ list with a known FIRST_PID
        SHORT_FOR_ID,      ///< fewer bytes than the identification field: left as captured
        SHORT_FOR_TIMESTAMP,  ///< identification decoded, too few bytes for the time stamp
    };
    static constexpr size_t DAQ_OUTCOMES = 7;

    int16_t answeredCommand = -1;  ///< response or error: the command code it answers
    int16_t odt = -1;              ///< DAQ: ODT number within its list
    int32_t daqList = -1;          ///< DAQ: DAQ list number
    uint16_t lostBefore = 0;       ///< CTR: packets of this ECU and direction missing before this one
    uint8_t timestampSize = 0;     ///< DAQ: bytes of the ECU time stamp, 0 for none
    Daq daq = Daq::NONE;
    uint64_t ecuTimestamp = 0;     ///< DAQ: the time stamp as a number (slave's byte order)
};

/// One XCP packet found in an input, on its way to the output.
struct DecodedPacket {
    XCP_Message message;
    SlaveKey slave;
    SessionInfo session;
};

/// The packets one input step produced. Slots are reused from step to step so that the
/// vectors and strings inside the messages keep their storage.
class PacketBatch {
public:
    /// A slot to fill; every field of its message must be set by the caller.
    DecodedPacket& append()
    {
        if (count_ == slots_.size()) {
            slots_.emplace_back();
        }
        return slots_[count_++];
    }
    void clear() { count_ = 0; }
    size_t size() const { return count_; }
    bool empty() const { return count_ == 0; }
    DecodedPacket& operator[](size_t index) { return slots_[index]; }
    const DecodedPacket& operator[](size_t index) const { return slots_[index]; }

private:
    std::vector<DecodedPacket> slots_;
    size_t count_ = 0;
};

}  // namespace xcptrace

#endif  // XCPTRACE_DECODEDPACKET_H
