#include "CanFrames.h"

#include <cstring>

namespace xcptrace {

namespace {

constexpr uint32_t SOCKETCAN_EXTENDED = 0x80000000u;
constexpr uint32_t SOCKETCAN_REMOTE = 0x40000000u;
constexpr uint32_t SOCKETCAN_ERROR = 0x20000000u;
constexpr uint8_t SOCKETCAN_FD_FRAME = 0x04;
constexpr uint8_t SOCKETCAN_XL_FRAME = 0x80;
constexpr size_t SOCKETCAN_HEADER = 8;
constexpr size_t CANFD_MTU = 72;

int hexValue(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r';
}

/// Hex byte pairs from `p` up to `end` (dots between bytes allowed); stops at '_' or a
/// blank. Returns false for an odd digit or too many bytes.
bool readHexData(const char*& p, const char* end, CanFrame& frame, size_t maximum, std::string& why)
{
    size_t count = 0;
    while (p < end && !isBlank(*p) && *p != '_') {
        if (*p == '.') {
            ++p;
            continue;
        }
        int high = hexValue(*p);
        int low = p + 1 < end ? hexValue(p[1]) : -1;
        if (high < 0 || low < 0) {
            why = "data is not hexadecimal byte pairs";
            return false;
        }
        if (count == maximum) {
            why = "more than " + std::to_string(maximum) + " data bytes";
            return false;
        }
        frame.data[count++] = static_cast<uint8_t>(high * 16 + low);
        p += 2;
    }
    frame.length = static_cast<uint8_t>(count);
    return true;
}

}  // namespace

bool parseSocketCan(const uint8_t* data, size_t caplen, CanFrame& frame, std::string& why)
{
    if (caplen < SOCKETCAN_HEADER) {
        why = "SocketCAN header needs 8 bytes, the capture kept " + std::to_string(caplen);
        return false;
    }
    uint32_t raw = (static_cast<uint32_t>(data[0]) << 24) | (static_cast<uint32_t>(data[1]) << 16) |
                   (static_cast<uint32_t>(data[2]) << 8) | data[3];
    uint8_t length = data[4];
    uint8_t flags = data[5];
    if ((flags & SOCKETCAN_XL_FRAME) != 0) {
        why = "CAN XL frames are not supported";
        return false;
    }
    frame.error = (raw & SOCKETCAN_ERROR) != 0;
    frame.remote = (raw & SOCKETCAN_REMOTE) != 0;
    bool extended = (raw & SOCKETCAN_EXTENDED) != 0;
    frame.id = extended ? ((raw & CAN_EXTENDED_MASK) | CAN_EXTENDED_FLAG) : (raw & CAN_STANDARD_MASK);
    frame.fd = (flags & SOCKETCAN_FD_FRAME) != 0 || length > 8 || caplen == CANFD_MTU;
    if (length > 64) {
        why = "payload length " + std::to_string(length) + " is beyond CAN FD's 64";
        return false;
    }
    if (frame.remote) {
        frame.length = 0;  // a remote frame's length is the requested one; it carries no data
        return true;
    }
    if (length > caplen - SOCKETCAN_HEADER) {
        why = "payload length " + std::to_string(length) + " but " + std::to_string(caplen - SOCKETCAN_HEADER) +
              " bytes captured";
        return false;
    }
    frame.length = length;
    std::memcpy(frame.data, data + SOCKETCAN_HEADER, length);
    return true;
}

bool parseCandumpLine(const char* line, size_t length, CanFrame& frame, const char*& interfaceName,
                      size_t& interfaceNameLength, std::string& why)
{
    const char* p = line;
    const char* end = line + length;
    while (p < end && isBlank(*p)) {
        ++p;
    }
    // (seconds.fraction)
    if (p == end || *p != '(') {
        why = "no time stamp in parentheses";
        return false;
    }
    ++p;
    uint64_t seconds = 0;
    int digits = 0;
    while (p < end && *p >= '0' && *p <= '9') {
        if (++digits > 11) {
            why = "time stamp out of range";
            return false;
        }
        seconds = seconds * 10 + static_cast<uint64_t>(*p++ - '0');
    }
    if (digits == 0 || p == end || *p != '.') {
        why = "time stamp is not seconds.fraction";
        return false;
    }
    ++p;
    uint64_t fraction = 0;
    int fractionDigits = 0;
    while (p < end && *p >= '0' && *p <= '9') {
        if (++fractionDigits > 9) {
            why = "time stamp has more than 9 decimals";
            return false;
        }
        fraction = fraction * 10 + static_cast<uint64_t>(*p++ - '0');
    }
    if (fractionDigits == 0 || p == end || *p != ')') {
        why = "time stamp is not seconds.fraction";
        return false;
    }
    ++p;
    for (int i = fractionDigits; i < 9; ++i) {
        fraction *= 10;
    }
    frame.timeNs = seconds * 1000000000ull + fraction;

    // interface
    const char* nameStart = p;
    while (p < end && isBlank(*p)) {
        ++p;
    }
    if (p == nameStart) {
        why = "no blank after the time stamp";
        return false;
    }
    nameStart = p;
    while (p < end && !isBlank(*p)) {
        ++p;
    }
    if (p == nameStart) {
        why = "no interface name";
        return false;
    }
    interfaceName = nameStart;
    interfaceNameLength = static_cast<size_t>(p - nameStart);
    while (p < end && isBlank(*p)) {
        ++p;
    }

    // identifier#data
    const char* idStart = p;
    uint32_t value = 0;
    while (p < end && hexValue(*p) >= 0) {
        value = (value << 4) | static_cast<uint32_t>(hexValue(*p));
        ++p;
        if (p - idStart > 8) {
            break;
        }
    }
    size_t idDigits = static_cast<size_t>(p - idStart);
    if (p == end || *p != '#' || (idDigits != 3 && idDigits != 8)) {
        why = "no CAN identifier of 3 or 8 hex digits followed by '#'";
        return false;
    }
    ++p;
    frame.error = false;
    frame.remote = false;
    frame.fd = false;
    frame.length = 0;
    if (idDigits == 3) {
        if (value > CAN_STANDARD_MASK) {
            why = "standard identifier above 7FF";
            return false;
        }
        frame.id = value;
    } else {
        frame.error = (value & SOCKETCAN_ERROR) != 0;
        frame.id = (value & CAN_EXTENDED_MASK) | CAN_EXTENDED_FLAG;
    }
    if (p < end && *p == '#') {
        ++p;
        if (p == end || hexValue(*p) < 0) {
            why = "CAN FD frame without its flags digit";
            return false;
        }
        ++p;
        frame.fd = true;
        if (!readHexData(p, end, frame, 64, why)) {
            return false;
        }
    } else if (p < end && (*p == 'R' || *p == 'r')) {
        ++p;
        if (p < end && hexValue(*p) >= 0) {
            ++p;  // requested length
        }
        frame.remote = true;
    } else {
        if (!readHexData(p, end, frame, 8, why)) {
            return false;
        }
        if (p < end && *p == '_') {
            // Length code of a classic frame with more than 8 (len8_dlc): one hex digit.
            if (p + 1 == end || hexValue(p[1]) < 0) {
                why = "'_' without its length code";
                return false;
            }
            p += 2;
        }
    }
    // Optional direction flag (R or T) written by some candump versions, then nothing.
    while (p < end && isBlank(*p)) {
        ++p;
    }
    if (p < end && (*p == 'R' || *p == 'T')) {
        const char* flag = p++;
        if (p < end && !isBlank(*p)) {
            p = flag;
        }
    }
    while (p < end && isBlank(*p)) {
        ++p;
    }
    if (p != end) {
        why = "unexpected text after the frame";
        return false;
    }
    return true;
}

int interfaceNumber(const char* name, size_t length)
{
    size_t start = length;
    while (start > 0 && name[start - 1] >= '0' && name[start - 1] <= '9') {
        --start;
    }
    if (start == length || length - start > 3) {
        return -1;
    }
    int number = 0;
    for (size_t i = start; i < length; ++i) {
        number = number * 10 + (name[i] - '0');
    }
    return number <= 255 ? number : -1;
}

bool parseCanId(const std::string& text, uint32_t& flaggedId)
{
    std::string digits = text;
    bool extended = false;
    if (!digits.empty() && (digits.back() == 'x' || digits.back() == 'X')) {
        extended = true;
        digits.pop_back();
    }
    if (digits.size() >= 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
        digits.erase(0, 2);
    }
    if (digits.empty() || digits.size() > 8) {
        return false;
    }
    uint32_t value = 0;
    for (char c : digits) {
        int v = hexValue(c);
        if (v < 0) {
            return false;
        }
        value = (value << 4) | static_cast<uint32_t>(v);
    }
    if (digits.size() == 8) {
        extended = true;
    }
    if (extended) {
        if (value > CAN_EXTENDED_MASK) {
            return false;
        }
        flaggedId = value | CAN_EXTENDED_FLAG;
    } else {
        if (value > CAN_STANDARD_MASK) {
            return false;
        }
        flaggedId = value;
    }
    return true;
}

bool parseCanPair(const std::string& text, CanPair& pair)
{
    size_t colon = text.find(':');
    if (colon == std::string::npos || text.find(':', colon + 1) != std::string::npos) {
        return false;
    }
    CanPair result;
    if (!parseCanId(text.substr(0, colon), result.master) || !parseCanId(text.substr(colon + 1), result.slave) ||
        result.master == result.slave) {
        return false;
    }
    pair = result;
    return true;
}

}  // namespace xcptrace
