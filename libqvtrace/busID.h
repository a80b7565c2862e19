#ifndef QVTRACE_BUSID_H
#define QVTRACE_BUSID_H

#include <cstdint>

/// Bus families; part of every 64-bit source channel ID.
enum busid_t : uint32_t {
    BUSID_UNKNOWN = 0,
    BUSID_CAN = 1,
    BUSID_SERIAL = 2,
    BUSID_MOST25 = 3,
    BUSID_FLEXRAY = 4,
    BUSID_LIN = 5,
    BUSID_ETHERNET = 6,
    BUSID_CAMERA = 7,
    BUSID_MOST150 = 8,
    BUSID_MOST50 = 9,
    BUSID_ANALOG = 10,
    BUSID_CCPXCP = 11,
    BUSID_GPIO = 12,
    BUSID_GPS = 13,
    BUSID_ECL = 14,
    BUSID_COMPLEXFILTER = 15,
    BUSID_TTY = 16,
    BUSID_TSA = 17,
    BUSID_NUM = 18,  ///< number of bus families, not a bus
};

#endif  // QVTRACE_BUSID_H
