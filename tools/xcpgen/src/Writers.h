#ifndef XCPGEN_WRITERS_H
#define XCPGEN_WRITERS_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "Session.h"

namespace xcpgen {

enum class Format { UDP, TCP, CAN_PCAP, CANDUMP };

/// Options of the transports.
struct TransportConfig {
    Format format = Format::UDP;
    bool canPadding = true;      ///< pad CAN frames to 8 bytes
    uint32_t canMaster = 0x7F1;  ///< standard identifiers of the first slave; the next
    uint32_t canSlave = 0x7F2;   ///< slaves use the following pairs (7F3/7F4, ...)
    uint64_t seed = 1;           ///< where TCP segments are cut
    unsigned ecus = 1;           ///< slaves (sends carry their number): 192.168.0.2, .3, ...
};

/// Frames the sends of a session for one transport and writes them to a file. Sends come
/// in time order; records that a send spreads over time are written in time order too.
class TransportWriter {
public:
    virtual ~TransportWriter() = default;
    virtual void begin(uint64_t timeNs) = 0;
    virtual void send(const Send& send) = 0;
    virtual void end(uint64_t timeNs) = 0;
    /// False with `error` when the file could not be written.
    virtual bool close(std::string& error) = 0;
};

/// Opens the file and returns the writer for the format; nullptr with `error` on failure.
std::unique_ptr<TransportWriter> openWriter(const TransportConfig& config, const std::string& path,
                                            std::string& error);

}  // namespace xcpgen

#endif  // XCPGEN_WRITERS_H
