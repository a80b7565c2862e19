#ifndef XCPTRACE_ECUNUMBERING_H
#define XCPTRACE_ECUNUMBERING_H

#include <bitset>
#include <cstdint>
#include <ostream>
#include <string>
#include <unordered_map>

#include "DecodedPacket.h"

namespace xcptrace {

/// Gives every XCP slave its ECU number: the next free number from 0 in order of first
/// appearance, unless a number was fixed for it. Numbers fixed for other slaves are
/// skipped. Packets without a slave key (read from trace files) keep theirs.
class EcuNumbering {
public:
    explicit EcuNumbering(std::ostream& notes) : notes_(notes) {}

    /// Fixes the number of one slave; false if the slave already has a number.
    bool fix(const SlaveKey& slave, uint8_t number);
    /// The slave's number, given now if it has none.
    uint8_t numberOf(const SlaveKey& slave);
    void apply(DecodedPacket& packet)
    {
        if (packet.slave.kind != SlaveKey::NONE) {
            packet.message.setEcuId(numberOf(packet.slave));
        }
    }
    size_t slaves() const { return numbers_.size(); }

private:
    std::ostream& notes_;
    std::unordered_map<SlaveKey, uint8_t, SlaveKeyHash> numbers_;
    std::bitset<256> taken_;
    unsigned next_ = 0;
    bool exhausted_ = false;
    SlaveKey lastKey_;
    uint8_t lastNumber_ = 0;
    bool haveLast_ = false;
};

/// Reads "SLAVE=N" as --ecu takes it: SLAVE is "ADDRESS:PORT" (IPv6 in brackets,
/// "[fd00::2]:5555") or "MASTER_ID:SLAVE_ID" in hexadecimal; N is 0 to 255.
bool parseEcuAssignment(const std::string& text, SlaveKey& slave, uint8_t& number, std::string& error);

}  // namespace xcptrace

#endif  // XCPTRACE_ECUNUMBERING_H
