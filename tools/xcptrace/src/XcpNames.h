#ifndef XCPTRACE_XCPNAMES_H
#define XCPTRACE_XCPNAMES_H

#include <cstdint>
#include <cstdio>
#include <string>

#include "XCP_Message.h"

namespace xcptrace {

/// The packet type by the library's rule (direction and PID), without asking the message:
/// its query writes a warning line for every stimulation packet, which a summary of
/// thousands of them must not repeat.
inline XCP_Message::packetType_t packetTypeOf(const XCP_Message& message)
{
    uint8_t pid = message.packet.identificationField.pid;
    switch (message.getMsgDirection()) {
    case XCP_Message::MD_TX:
        return pid >= XCP_Message::M2S_PID_CMD_FIRST ? XCP_Message::PT_CTO_CMD : XCP_Message::PT_DTO_STIM;
    case XCP_Message::MD_RX:
        switch (pid) {
        case XCP_Message::S2M_PID_RES:
            return XCP_Message::PT_CTO_RES;
        case XCP_Message::S2M_PID_ERR:
            return XCP_Message::PT_CTO_ERR;
        case XCP_Message::S2M_PID_EV:
            return XCP_Message::PT_CTO_EV;
        case XCP_Message::S2M_PID_SERV:
            return XCP_Message::PT_CTO_SERV;
        default:
            return XCP_Message::PT_DTO_DAQ;
        }
    default:
        return XCP_Message::PT_UNKNOWN;
    }
}

/// The library's display name of a value of one of its enumerations; a value the
/// enumeration lacks is written as "0x" and two hex digits.
template <typename Enum>
std::string displayName(int32_t value)
{
    const XcpDisplayTable& table = xcpDisplayTable<Enum>();
    const char* text = table.textOf(value);
    if (text != table.fallback) {
        return text;
    }
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%02x", static_cast<unsigned>(value) & 0xFFu);
    return hex;
}

/// "1700000000.001244000": seconds and nanoseconds, as the message lines show time.
inline std::string timeText(uint64_t ns)
{
    char text[32];
    std::snprintf(text, sizeof text, "%llu.%09llu", static_cast<unsigned long long>(ns / 1000000000ull),
                  static_cast<unsigned long long>(ns % 1000000000ull));
    return text;
}

/// Nanoseconds of a time-stamp unit (timeUnit_t), 0 for a value XCP does not define.
inline double timeUnitNs(uint8_t unit)
{
    static const double NS[] = {1, 10, 100, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e-3, 1e-2, 1e-1};
    return unit < sizeof NS / sizeof NS[0] ? NS[unit] : 0;
}

}  // namespace xcptrace

#endif  // XCPTRACE_XCPNAMES_H
