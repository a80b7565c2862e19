#ifndef QVUTIL_UTILITY_H
#define QVUTIL_UTILITY_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

/// Growable vector of unsigned bytes; every frame piece keeps its raw bytes in one.
typedef std::vector<uint8_t> byteVec_t;

/// Bytes per row of a hex dump.
const size_t HEXDUMP_DEFAULT_ROWSIZE = 16;

/// Converts a 64-bit value from network (big-endian) byte order to host order.
/// Written without platform headers so that it behaves the same on every target.
inline uint64_t ntohll(uint64_t n)
{
    uint8_t bytes[sizeof n];
    std::memcpy(bytes, &n, sizeof n);
    uint64_t host = 0;
    for (uint8_t byte : bytes) {
        host = (host << 8) | byte;
    }
    return host;
}

#endif  // QVUTIL_UTILITY_H
