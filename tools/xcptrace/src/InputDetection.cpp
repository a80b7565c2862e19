#include "InputDetection.h"

#include <cstring>

#include "TraceFile.h"

namespace xcptrace {

InputFormat detectInputFormat(const uint8_t* head, size_t size)
{
    if (size == 0) {
        return InputFormat::EMPTY;
    }
    if (size >= 4) {
        static const uint8_t pcapMagics[4][4] = {
            {0xA1, 0xB2, 0xC3, 0xD4}, {0xD4, 0xC3, 0xB2, 0xA1},  // microseconds
            {0xA1, 0xB2, 0x3C, 0x4D}, {0x4D, 0x3C, 0xB2, 0xA1},  // nanoseconds
        };
        for (const auto& magic : pcapMagics) {
            if (std::memcmp(head, magic, 4) == 0) {
                return InputFormat::PCAP;
            }
        }
    }
    if (size >= 12 && std::memcmp(head, "\x0A\x0D\x0D\x0A", 4) == 0 &&
        (std::memcmp(head + 8, "\x1A\x2B\x3C\x4D", 4) == 0 || std::memcmp(head + 8, "\x4D\x3C\x2B\x1A", 4) == 0)) {
        return InputFormat::PCAPNG;
    }
    if (hasTraceMagic(head, size)) {
        return InputFormat::TRACE;
    }
    if (std::memchr(head, 0, size) != nullptr) {
        return InputFormat::UNKNOWN;
    }
    size_t i = 0;
    while (i < size && (head[i] == ' ' || head[i] == '\t' || head[i] == '\r' || head[i] == '\n')) {
        ++i;
    }
    if (i + 1 < size && head[i] == '(' && head[i + 1] >= '0' && head[i + 1] <= '9') {
        return InputFormat::CANDUMP;
    }
    return InputFormat::UNKNOWN;
}

const char* inputFormatName(InputFormat format)
{
    switch (format) {
    case InputFormat::EMPTY:
        return "empty";
    case InputFormat::PCAP:
        return "pcap";
    case InputFormat::PCAPNG:
        return "pcapng";
    case InputFormat::CANDUMP:
        return "candump log";
    case InputFormat::TRACE:
        return "trace file";
    case InputFormat::UNKNOWN:
        break;
    }
    return "unknown";
}

}  // namespace xcptrace
