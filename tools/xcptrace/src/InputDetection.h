#ifndef XCPTRACE_INPUTDETECTION_H
#define XCPTRACE_INPUTDETECTION_H

#include <cstddef>
#include <cstdint>

namespace xcptrace {

enum class InputFormat { EMPTY, PCAP, PCAPNG, CANDUMP, TRACE, UNKNOWN };

/// How many leading bytes detectInputFormat wants to see.
constexpr size_t DETECTION_BYTES = 4096;

/// Recognises an input from its first bytes (up to DETECTION_BYTES of them), never from
/// its name: pcap (any of the four magic numbers), pcapng (section header block with its
/// byte-order magic), xcptrace trace file (its magic), candump log (text whose first line
/// that is not blank starts with "(" and a digit).
InputFormat detectInputFormat(const uint8_t* head, size_t size);

const char* inputFormatName(InputFormat format);

}  // namespace xcptrace

#endif  // XCPTRACE_INPUTDETECTION_H
