#include "EcuNumbering.h"

#include <arpa/inet.h>

#include "CanFrames.h"

namespace xcptrace {

bool EcuNumbering::fix(const SlaveKey& slave, uint8_t number)
{
    if (numbers_.count(slave) != 0) {
        return false;
    }
    numbers_.emplace(slave, number);
    taken_.set(number);
    return true;
}

uint8_t EcuNumbering::numberOf(const SlaveKey& slave)
{
    if (haveLast_ && slave == lastKey_) {
        return lastNumber_;
    }
    auto found = numbers_.find(slave);
    uint8_t number;
    if (found != numbers_.end()) {
        number = found->second;
    } else {
        while (next_ < 256 && taken_.test(next_)) {
            ++next_;
        }
        if (next_ < 256) {
            number = static_cast<uint8_t>(next_);
            taken_.set(next_);
        } else {
            // Only 256 numbers exist; further slaves share them.
            if (!exhausted_) {
                notes_ << "xcptrace: more than 256 XCP slaves: ECU numbers are given again from 0\n";
                exhausted_ = true;
            }
            number = static_cast<uint8_t>(numbers_.size() % 256);
        }
        numbers_.emplace(slave, number);
    }
    lastKey_ = slave;
    lastNumber_ = number;
    haveLast_ = true;
    return number;
}

bool parseEcuAssignment(const std::string& text, SlaveKey& slave, uint8_t& number, std::string& error)
{
    size_t equals = text.rfind('=');
    if (equals == std::string::npos) {
        error = "expected SLAVE=N";
        return false;
    }
    std::string who = text.substr(0, equals);
    std::string digits = text.substr(equals + 1);
    if (digits.empty() || digits.size() > 3 || digits.find_first_not_of("0123456789") != std::string::npos ||
        std::stoul(digits) > 255) {
        error = "the ECU number must be 0 to 255";
        return false;
    }
    number = static_cast<uint8_t>(std::stoul(digits));

    size_t colon = who.rfind(':');
    if (colon == std::string::npos || colon + 1 == who.size()) {
        error = "expected ADDRESS:PORT or MASTER_ID:SLAVE_ID before '='";
        return false;
    }
    std::string host = who.substr(0, colon);
    std::string portText = who.substr(colon + 1);
    bool bracketed = host.size() >= 2 && host.front() == '[' && host.back() == ']';
    if (bracketed || host.find('.') != std::string::npos) {
        if (bracketed) {
            host = host.substr(1, host.size() - 2);
        }
        uint8_t address[16] = {};
        uint8_t family = bracketed ? 6 : 4;
        if (inet_pton(family == 4 ? AF_INET : AF_INET6, host.c_str(), address) != 1) {
            error = "'" + host + "' is not an IPv" + std::to_string(family) + " address";
            return false;
        }
        if (portText.size() > 5 || portText.find_first_not_of("0123456789") != std::string::npos ||
            std::stoul(portText) > 65535) {
            error = "'" + portText + "' is not a port number";
            return false;
        }
        slave = SlaveKey::ip(family, address, static_cast<uint16_t>(std::stoul(portText)));
        return true;
    }
    CanPair pair;
    if (!parseCanPair(who, pair)) {
        error = "'" + who + "' is neither ADDRESS:PORT nor MASTER_ID:SLAVE_ID";
        return false;
    }
    slave = SlaveKey::can(pair.master, pair.slave);
    return true;
}

}  // namespace xcptrace
