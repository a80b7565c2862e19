#ifndef XCPGEN_SESSION_H
#define XCPGEN_SESSION_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace xcpgen {

/// How DAQ packets identify their DAQ list and ODT (DAQ_KEY_BYTE bits 7-6).
enum class IdentificationType : uint8_t {
    ABSOLUTE_ODT = 0,         ///< one byte: FIRST_PID of the list + ODT number
    RELATIVE_DAQ_BYTE = 1,    ///< ODT number, DAQ list number as a byte
    RELATIVE_DAQ_WORD = 2,    ///< ODT number, DAQ list number as a word
    RELATIVE_DAQ_ALIGNED = 3, ///< ODT number, a fill byte, DAQ list number as a word
};

/// What a slave announces about its DAQ packets, and its byte order.
struct DaqVariant {
    IdentificationType idType = IdentificationType::ABSOLUTE_ODT;
    unsigned timestampSize = 4;  ///< 0, 1, 2 or 4 bytes; unit 1 us, 1 tick
    bool bigEndian = false;
};

/// Everything that shapes the scripted session.
struct SessionConfig {
    uint64_t startNs = 1700000000000000000ull;  ///< 2023-11-14 22:13:20 UTC
    uint64_t seed = 1;
    double seconds = 3.0;       ///< length of the DAQ phase, unless daqPackets is given
    uint64_t daqPackets = 0;    ///< DAQ packets to send (0: as many as `seconds` gives)
    unsigned rateHz = 50;       ///< rate of the fast event (DAQ list 0); list 1 runs at a fifth
    IdentificationType idType = IdentificationType::ABSOLUTE_ODT;
    unsigned timestampSize = 4; ///< 0, 1, 2 or 4 bytes; unit 1 us, 1 tick
    bool bigEndian = false;     ///< the slave's byte order (COMM_MODE_BASIC bit 0)
    unsigned maxCto = 255;
    unsigned maxDto = 1400;
    /// The capture starts with the DAQ phase: everything sent before it is not captured
    /// (its counters run on all the same).
    bool startAtDaq = false;
    /// After DISCONNECT the master connects again to a slave that now announces
    /// `reconnectWith`, configures the DAQ lists anew (FIRST_PIDs in the other order) and
    /// runs a second DAQ phase without losses.
    bool reconnect = false;
    DaqVariant reconnectWith;
};

/// One XCP packet of the session (without any transport framing).
struct Packet {
    std::vector<uint8_t> bytes;
    bool lost = false;  ///< sent by the slave but lost on the way: counted, not captured
};

/// Packets the master or the slave hands to the transport at one moment (a slave sends
/// the ODTs of one DAQ cycle together).
struct Send {
    uint64_t timeNs = 0;
    bool fromMaster = false;
    bool captured = true;  ///< false: sent before the capture started
    unsigned ecu = 0;      ///< which slave (0 for the first), set by the caller
    std::vector<Packet> packets;
};

/// Plays the scripted session: CONNECT, GET_STATUS, GET_ID, GET_DAQ_PROCESSOR_INFO,
/// GET_DAQ_RESOLUTION_INFO, FREE_DAQ, ALLOC_DAQ, ALLOC_ODT, ALLOC_ODT_ENTRY, SET_DAQ_PTR,
/// WRITE_DAQ, SET_DAQ_LIST_MODE, START_STOP_DAQ_LIST, START_STOP_SYNCH, the DAQ phase (two
/// DAQ lists with time stamps, one packet lost half way), SHORT_UPLOAD answered by
/// ERR_OUT_OF_RANGE, the event EV_DAQ_OVERLOAD, the service request SERV_TEXT, DISCONNECT;
/// and, with `reconnect`, a second connection (configuration, DAQ phase, DISCONNECT).
/// Every send goes to `out` in time order. Deterministic for a given configuration.
void playSession(const SessionConfig& config, const std::function<void(const Send&)>& out);

}  // namespace xcpgen

#endif  // XCPGEN_SESSION_H
