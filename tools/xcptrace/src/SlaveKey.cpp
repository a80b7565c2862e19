#include <arpa/inet.h>

#include <cstdio>

#include "DecodedPacket.h"

namespace xcptrace {

std::string canIdText(uint32_t flaggedId)
{
    char text[16];
    if ((flaggedId & CAN_EXTENDED_FLAG) != 0) {
        std::snprintf(text, sizeof text, "%08X", static_cast<unsigned>(flaggedId & CAN_EXTENDED_MASK));
    } else {
        std::snprintf(text, sizeof text, "%03X", static_cast<unsigned>(flaggedId & CAN_STANDARD_MASK));
    }
    return text;
}

SlaveKey SlaveKey::ip(uint8_t family, const uint8_t* address, uint16_t port)
{
    SlaveKey key;
    key.kind = IP;
    key.family = family;
    std::memcpy(key.address, address, family == 4 ? 4 : 16);
    key.port = port;
    return key;
}

SlaveKey SlaveKey::can(uint32_t masterId, uint32_t slaveId)
{
    SlaveKey key;
    key.kind = CAN;
    key.masterId = masterId;
    key.slaveId = slaveId;
    return key;
}

std::string SlaveKey::text() const
{
    switch (kind) {
    case IP: {
        char address_text[INET6_ADDRSTRLEN] = {};
        inet_ntop(family == 4 ? AF_INET : AF_INET6, address, address_text, sizeof address_text);
        std::string result = family == 4 ? std::string(address_text) : "[" + std::string(address_text) + "]";
        return result + ":" + std::to_string(port);
    }
    case CAN:
        return canIdText(masterId) + ":" + canIdText(slaveId);
    case NONE:
        break;
    }
    return std::string();
}

size_t SlaveKeyHash::operator()(const SlaveKey& key) const
{
    // FNV-1a over the fields that tell keys apart.
    uint64_t hash = 1469598103934665603ull;
    auto mix = [&hash](const void* bytes, size_t count) {
        const uint8_t* p = static_cast<const uint8_t*>(bytes);
        for (size_t i = 0; i < count; ++i) {
            hash = (hash ^ p[i]) * 1099511628211ull;
        }
    };
    mix(&key.kind, 1);
    mix(&key.family, 1);
    mix(key.address, sizeof key.address);
    mix(&key.port, sizeof key.port);
    mix(&key.masterId, sizeof key.masterId);
    mix(&key.slaveId, sizeof key.slaveId);
    return static_cast<size_t>(hash);
}

}  // namespace xcptrace
