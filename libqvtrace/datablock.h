#ifndef QVTRACE_DATABLOCK_H
#define QVTRACE_DATABLOCK_H

#include <cstdint>

// Big-endian (network order) stores and loads used by every trace-record serialiser.
// They work on unaligned bytes and check nothing: callers check the room first.

inline void uint16ToByteArray(uint8_t* destination, uint16_t value)
{
    destination[0] = static_cast<uint8_t>(value >> 8);
    destination[1] = static_cast<uint8_t>(value);
}

inline void uint32ToByteArray(uint8_t* destination, uint32_t value)
{
    destination[0] = static_cast<uint8_t>(value >> 24);
    destination[1] = static_cast<uint8_t>(value >> 16);
    destination[2] = static_cast<uint8_t>(value >> 8);
    destination[3] = static_cast<uint8_t>(value);
}

inline void uint64ToByteArray(uint8_t* destination, uint64_t value)
{
    uint32ToByteArray(destination, static_cast<uint32_t>(value >> 32));
    uint32ToByteArray(destination + 4, static_cast<uint32_t>(value));
}

inline uint16_t byteArrayToUint16(const uint8_t* source)
{
    return static_cast<uint16_t>((source[0] << 8) | source[1]);
}

inline uint32_t byteArrayToUint32(const uint8_t* source)
{
    return (static_cast<uint32_t>(source[0]) << 24) | (static_cast<uint32_t>(source[1]) << 16) |
           (static_cast<uint32_t>(source[2]) << 8) | static_cast<uint32_t>(source[3]);
}

inline uint64_t byteArrayToUint64(const uint8_t* source)
{
    return (static_cast<uint64_t>(byteArrayToUint32(source)) << 32) | byteArrayToUint32(source + 4);
}

#endif  // QVTRACE_DATABLOCK_H
