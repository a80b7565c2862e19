#ifndef XCPTRACE_CANFRAMES_H
#define XCPTRACE_CANFRAMES_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "DecodedPacket.h"

namespace xcptrace {

/// One CAN or CAN FD frame as a capture or a candump log holds it.
struct CanFrame {
    uint64_t timeNs = 0;
    uint32_t id = 0;  ///< with CAN_EXTENDED_FLAG for a 29-bit identifier
    bool fd = false;
    bool remote = false;
    bool error = false;
    uint8_t length = 0;
    uint8_t channel = 0;
    uint64_t number = 0;  ///< packet or line number in the input, for reports
    uint8_t data[64] = {};
};

/// A CAN frame of pcap link type 227 (LINKTYPE_CAN_SOCKETCAN): identifier with its flags
/// (big-endian), payload length, FD flags, two reserved bytes, payload. Returns false with
/// `why` for a frame that cannot be read.
bool parseSocketCan(const uint8_t* data, size_t caplen, CanFrame& frame, std::string& why);

/// One line of a candump log (`candump -l`):
///   (1700000000.123456) can0 7F1#FF00        classic frame, 3 hex digits: standard id
///   (1700000000.123456) can0 18DAF110#11     8 hex digits: extended id (or error frame)
///   (1700000000.123456) can0 7F1#R           remote frame
///   (1700000000.123456) can0 123##1DEADBEEF  CAN FD: flags digit, then data
/// The interface name is returned through `interfaceName` (a view into `line`). Returns
/// false with `why` for a line that is not of this form.
bool parseCandumpLine(const char* line, size_t length, CanFrame& frame, const char*& interfaceName,
                      size_t& interfaceNameLength, std::string& why);

/// The number at the end of an interface name ("can0" is 0, "vcan12" is 12), or -1 when
/// it ends in no number or one above 255.
int interfaceNumber(const char* name, size_t length);

/// Master and slave identifiers of one XCP-on-CAN link (flagged identifiers).
struct CanPair {
    uint32_t master = 0;
    uint32_t slave = 0;
};

/// A CAN identifier in hexadecimal: 8 digits or a trailing 'x' make it extended
/// ("18DAF110", "7F0x"), up to 3 digits standard ("7F0", value up to 7FF).
bool parseCanId(const std::string& text, uint32_t& flaggedId);

/// "MASTER_ID:SLAVE_ID", each as parseCanId reads it.
bool parseCanPair(const std::string& text, CanPair& pair);

}  // namespace xcptrace

#endif  // XCPTRACE_CANFRAMES_H
