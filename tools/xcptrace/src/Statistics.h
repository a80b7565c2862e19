#ifndef XCPTRACE_STATISTICS_H
#define XCPTRACE_STATISTICS_H

#include <array>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "Pipeline.h"
#include "Problems.h"
#include "SessionTracker.h"

namespace xcptrace {

/// ECU time stamps of one DAQ list, added up across wraps of the slave's counter.
struct TimestampSpan {
    bool have = false;
    uint64_t last = 0;           ///< the last time stamp (counter value)
    uint64_t lastNs = 0;         ///< its capture time
    uint8_t lastSize = 0;
    unsigned connects = 0;       ///< CONNECTs of the session when it was taken
    double ns = 0;               ///< span while the unit was known
    uint64_t ticks = 0;          ///< span while it was not (assumed time-stamp size)
};

/// Counters of one DAQ list.
struct DaqListStats {
    uint64_t packets = 0;
    uint64_t cycles = 0;         ///< packets of its first ODT
    // The rate counts only the time the list ran: each connection's first to last cycle.
    uint64_t runs = 0;
    uint64_t runStartNs = 0;
    uint64_t lastCycleNs = 0;
    uint64_t earlierRunsNs = 0;
    unsigned runConnects = 0;
    TimestampSpan span;

    /// Cycles a second while the list ran; negative when it ran too briefly to tell.
    double rateHz() const
    {
        uint64_t ns = earlierRunsNs + (lastCycleNs - runStartNs);
        if (cycles <= runs || ns == 0) {
            return -1;
        }
        return static_cast<double>(cycles - runs) * 1e9 / static_cast<double>(ns);
    }
};

/// Counters of one ECU, kept while the packets pass: fixed-size arrays and a few small
/// vectors, nothing per packet.
struct EcuStats {
    // Who it is: taken from its first packets in each direction.
    bool identified = false;
    XCP_Message::transportType_t transport = XCP_Message::TT_UNKNOWN;
    bool tcp = false;
    std::string slaveAddress;
    std::string masterAddress;
    uint16_t port = 0;
    bool haveMasterId = false;
    bool haveSlaveId = false;
    uint32_t masterId = 0;  ///< flagged CAN identifiers
    uint32_t slaveId = 0;
    uint8_t canChannel = 0;

    uint64_t packets = 0;
    uint64_t firstNs = 0;
    uint64_t lastNs = 0;
    std::array<uint64_t, 8> types{};  ///< by packetType_t

    std::array<uint64_t, 256> commands{};
    std::array<uint64_t, 256> positive{};
    std::array<uint64_t, 256> errors{};
    std::vector<uint8_t> commandOrder;  ///< codes in order of first appearance
    uint64_t responsesWithoutCommand = 0;

    struct ErrorRow {
        int16_t code;     ///< -1: an error packet without a code
        int16_t command;  ///< -1: no command waiting
        uint64_t count;
    };
    std::vector<ErrorRow> errorRows;

    std::array<uint64_t, 257> events{};  ///< by code; 256: without a code
    std::vector<uint16_t> eventOrder;
    std::array<uint64_t, 257> services{};
    std::vector<uint16_t> serviceOrder;

    DaqListIndex daqIndex;
    std::vector<DaqListStats> daqLists;
    uint64_t daqListsBeyondLimit = 0;  ///< packets of DAQ lists beyond what is kept
    std::array<uint64_t, SessionInfo::DAQ_OUTCOMES> daqOutcomes{};

    std::array<uint64_t, 2> ctrGaps{};  ///< 0 from the master, 1 from the slave
    std::array<uint64_t, 2> ctrLost{};
};

/// `stats`: counts per ECU what the packets and the session tracker say, and writes the
/// tables (or JSON) at the end. Renders no packet.
class StatsSink : public PacketSink {
public:
    StatsSink(const SessionTracker& tracker, const ProblemLog& problems) : tracker_(tracker), problems_(problems) {}
    void write(const DecodedPacket& packet) override;
    bool close(std::string&) override { return true; }

    /// Plain text tables, one block per ECU, then what was skipped.
    void writeText(std::ostream& out) const;
    /// The same as one JSON document.
    void writeJson(std::ostream& out) const;

    const EcuStats* ecu(uint8_t number) const { return ecus_[number].get(); }

private:
    void identify(EcuStats& stats, const XCP_Message& message);
    void countDaq(EcuStats& stats, const DecodedPacket& packet);

    const SessionTracker& tracker_;
    const ProblemLog& problems_;
    std::array<std::unique_ptr<EcuStats>, 256> ecus_;
};

}  // namespace xcptrace

#endif  // XCPTRACE_STATISTICS_H
