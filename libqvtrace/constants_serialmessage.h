#ifndef QVTRACE_CONSTANTS_SERIALMESSAGE_H
#define QVTRACE_CONSTANTS_SERIALMESSAGE_H

#include <cstddef>

/// Size of an ECU identifier in serial-message records.
const size_t ECUID_SIZE = 4;

#endif  // QVTRACE_CONSTANTS_SERIALMESSAGE_H
