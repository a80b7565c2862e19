#ifndef QVTRACE_CONSTANTS_CANMESSAGE_H
#define QVTRACE_CONSTANTS_CANMESSAGE_H

#include <cstdint>
#include <ostream>

/// CAN frame types as stored in trace records.
enum cantype_t : uint32_t {
    CT_STANDARD = 0,
    CT_EXTENDED = 1,
    CT_FD_STANDARD = 2,
    CT_FD_EXTENDED = 3,
};

/// Writes "STD", "EXT", "FD_STD", "FD_EXT", or "invalid CAN type" for any other value.
std::ostream& operator<<(std::ostream& _os, cantype_t _in);

#endif  // QVTRACE_CONSTANTS_CANMESSAGE_H
