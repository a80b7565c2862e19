#ifndef XCPTRACE_SESSIONTRACKER_H
#define XCPTRACE_SESSIONTRACKER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <unordered_map>
#include <vector>

#include "Pipeline.h"

namespace xcptrace {

/// How to decode DAQ packets where the input lacks what the session said about them
/// (a capture that starts in the middle of a session): --daq-id-type,
/// --daq-timestamp-size, --daq-byte-order.
struct SessionAssumptions {
    bool idTypeGiven = false;
    XCP_Message::identificationFieldType_t idType = XCP_Message::IFT_ABSOLUTE_ODT_NUMBER;
    bool timestampSizeGiven = false;
    uint8_t timestampSize = 0;  ///< 0, 1, 2 or 4
    bool byteOrderGiven = false;
    bool bigEndian = false;
};

/// Dense slots for the DAQ list numbers of one session, found without hashing for the
/// usual small numbers. At most LIMIT lists are kept; a capture naming more is not
/// allowed to grow the memory without bound.
class DaqListIndex {
public:
    static constexpr size_t LIMIT = 1024;

    DaqListIndex() { low_.fill(-1); }
    /// The slot of `list`, made if new; -1 when LIMIT lists are kept already.
    int32_t slot(uint16_t list);
    /// The slot of `list`, -1 if it has none.
    int32_t find(uint16_t list) const;
    size_t size() const { return lists_.size(); }
    uint16_t listAt(size_t slot) const { return lists_[slot]; }
    void clear();

private:
    std::array<int32_t, 256> low_;
    std::unordered_map<uint16_t, int32_t> high_;
    std::vector<uint16_t> lists_;
};

/// What the commands of a session said about one DAQ list.
struct DaqListConfig {
    int16_t firstPid = -1;  ///< START_STOP_DAQ_LIST's response; -1 not seen
    int16_t odtCount = -1;  ///< ALLOC_ODT; -1 not seen
    int8_t timestamps = -1; ///< SET_DAQ_LIST_MODE: 1 time stamps on, 0 off, -1 not seen
};

/// Everything the traffic told about the XCP session of one ECU.
struct EcuSession {
    // CONNECT's positive response.
    bool connected = false;
    unsigned connects = 0;
    bool bigEndian = false;
    uint8_t maxCto = 0;
    uint16_t maxDto = 0;
    // GET_DAQ_PROCESSOR_INFO's response.
    bool idTypeKnown = false;
    XCP_Message::identificationFieldType_t idType = XCP_Message::IFT_ABSOLUTE_ODT_NUMBER;
    // GET_DAQ_RESOLUTION_INFO's response.
    bool timestampKnown = false;
    uint8_t timestampSize = 0;  ///< 0, 1, 2 or 4; 0 also when the response named another size
    bool timestampFixed = false;
    uint8_t timestampUnit = 0;  ///< timeUnit_t
    uint16_t timestampTicks = 0;
    // The DAQ lists: SET_DAQ_LIST_MODE, ALLOC_ODT, START_STOP_DAQ_LIST.
    DaqListIndex lists;
    std::vector<DaqListConfig> listConfig;
    /// PID to DAQ list slot for absolute ODT numbers, rebuilt when a FIRST_PID or ODT count
    /// changes.
    std::array<int32_t, 256> pidSlot{};
    bool pidSlotsStale = true;

    // The command waiting for its answer.
    int16_t pendingCommand = -1;
    uint8_t commandLength = 0;
    uint8_t commandBytes[8] = {};  ///< the bytes after the command code

    // CTR of the last XCP-on-Ethernet message per direction (0 from the master, 1 from the
    // slave).
    bool haveCtr[2] = {false, false};
    uint16_t lastCtr[2] = {0, 0};

    uint32_t notesGiven = 0;  ///< one bit per kind of note
};

/// Follows the XCP session of every ECU through its traffic, and decodes its DAQ packets
/// with what the session configured: the identification field (DAQ list, ODT) and the ECU
/// time stamp are moved out of the data into the message's fields. Pairs responses and
/// errors with the command they answer, and counts CTR gaps. Per packet it costs a few
/// comparisons and no allocation.
///
/// Notes on what it cannot decode or had to assume go to `notes`, once per ECU and kind.
class SessionTracker : public PacketStage {
public:
    SessionTracker(const SessionAssumptions& assumptions, std::ostream& notes);
    void process(DecodedPacket& packet) override;

    /// The session of an ECU number, nullptr if it sent nothing.
    const EcuSession* session(uint8_t ecu) const { return sessions_[ecu].get(); }
    const SessionAssumptions& assumptions() const { return assumptions_; }

    /// Bytes of an identification field type in a DAQ packet; 0 for other types.
    static size_t idFieldSize(XCP_Message::identificationFieldType_t type);

private:
    enum Note : uint32_t {
        NOTE_NO_CONFIGURATION = 1u << 0,
        NOTE_ASSUMED = 1u << 1,
        NOTE_UNKNOWN_PID = 1u << 2,
        NOTE_SHORT_FOR_ID = 1u << 3,
        NOTE_SHORT_FOR_TIMESTAMP = 1u << 4,
        NOTE_TIMESTAMP_SIZE = 1u << 5,
    };

    EcuSession& sessionOf(uint8_t ecu);
    void countCtr(EcuSession& session, DecodedPacket& packet, bool restart);
    void command(EcuSession& session, const XCP_Message& message);
    void positiveResponse(EcuSession& session, uint8_t ecu, const XCP_Message& message);
    void decodeDaq(EcuSession& session, DecodedPacket& packet);
    void takeStoredDaq(const EcuSession& session, DecodedPacket& packet);
    int32_t listSlotOfPid(EcuSession& session, uint8_t pid);
    DaqListConfig* configOf(EcuSession& session, uint16_t list);
    void forgetDaqLists(EcuSession& session);
    bool note(EcuSession& session, uint8_t ecu, Note kind);
    std::string assumedText(const EcuSession& session) const;
    uint16_t word(const EcuSession& session, const uint8_t* bytes) const;
    bool bigEndian(const EcuSession& session) const;

    SessionAssumptions assumptions_;
    std::ostream& notes_;
    std::array<std::unique_ptr<EcuSession>, 256> sessions_;
};

}  // namespace xcptrace

#endif  // XCPTRACE_SESSIONTRACKER_H
