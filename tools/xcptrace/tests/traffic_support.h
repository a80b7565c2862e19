#ifndef XCPTRACE_TESTS_TRAFFIC_SUPPORT_H
#define XCPTRACE_TESTS_TRAFFIC_SUPPORT_H

// Hand-made XCP traffic of one or more ECUs, fed through the session tracker (and a sink)
// as the pipeline would.

#include <deque>
#include <sstream>
#include <string>

#include "Pipeline.h"
#include "SessionTracker.h"
#include "XcpOnEthernet.h"
#include "tool_test_support.h"

namespace tooltest {

inline const std::string MASTER_ADDRESS = "10.0.0.1";
inline const std::string SLAVE_ADDRESS = "10.0.0.2";

/// Feeds packets of one or more ECUs through a tracker, as the pipeline would.
class Traffic {
public:
    explicit Traffic(const xcptrace::SessionAssumptions& assumptions = xcptrace::SessionAssumptions())
        : tracker(assumptions, notes)
    {
    }

    /// Where the packets go after the tracker, if anywhere.
    xcptrace::PacketSink* sink = nullptr;
    /// Capture time of the next packet; each packet moves it on by `step`.
    uint64_t timeNs = 1700000000000000000ull;
    uint64_t step = 1000;

    /// An XCP-on-Ethernet message from the master (tx) or the slave (rx); CTR counts on by
    /// itself per ECU and direction unless given.
    xcptrace::DecodedPacket& tx(const std::string& bytes, uint8_t ecu = 0)
    {
        return ethernet(XCP_Message::MD_TX, bytes, ecu, -1);
    }
    xcptrace::DecodedPacket& rx(const std::string& bytes, uint8_t ecu = 0)
    {
        return ethernet(XCP_Message::MD_RX, bytes, ecu, -1);
    }
    xcptrace::DecodedPacket& txWithCtr(const std::string& bytes, uint16_t ctr)
    {
        return ethernet(XCP_Message::MD_TX, bytes, 0, ctr);
    }
    xcptrace::DecodedPacket& rxWithCtr(const std::string& bytes, uint16_t ctr)
    {
        return ethernet(XCP_Message::MD_RX, bytes, 0, ctr);
    }

    /// An XCP-on-CAN frame (no header, no CTR).
    xcptrace::DecodedPacket& can(XCP_Message::msgDirection_t direction, const std::string& bytes, uint8_t ecu = 0)
    {
        Bytes packet = hex(bytes);
        packets.emplace_back();
        xcptrace::DecodedPacket& decoded = packets.back();
        XCP_Message& message = decoded.message;
        message.setTimeStamp(timeNs);
        message.setTransportType(XCP_Message::TT_CAN);
        message.setMsgDirection(direction);
        message.setEcuId(ecu);
        message.header.setTransportType(XCP_Message::TT_CAN);
        message.packet.identificationField.setType(XCP_Message::IFT_CTO_PACKET_CODE);
        message.packet.identificationField.pid = packet[0];
        message.packet.timestampField.setType(XCP_Message::TST_NO);
        message.packet.dataField.data.assign(packet.begin() + 1, packet.end());
        message.tail.setTransportType(XCP_Message::TT_CAN);
        message.setCanTransportTypeSettings(direction == XCP_Message::MD_TX ? 0x7F1 : 0x7F2, CT_STANDARD, 0);
        pass(decoded);
        return decoded;
    }

    /// The packet part of the message's line: identification, time stamp and data fields.
    static std::string fields(const xcptrace::DecodedPacket& packet)
    {
        std::ostringstream text;
        text << packet.message.packet;
        return text.str();
    }

    std::ostringstream notes;
    xcptrace::SessionTracker tracker;
    std::deque<xcptrace::DecodedPacket> packets;

private:
    xcptrace::DecodedPacket& ethernet(XCP_Message::msgDirection_t direction, const std::string& bytes, uint8_t ecu,
                                      int ctr)
    {
        uint16_t& counter = counters_[ecu][direction == XCP_Message::MD_TX ? 0 : 1];
        if (ctr >= 0) {
            counter = static_cast<uint16_t>(ctr);
        }
        Bytes frame = tooltest::xcp(counter++, hex(bytes));
        packets.emplace_back();
        xcptrace::DecodedPacket& decoded = packets.back();
        bool toSlave = direction == XCP_Message::MD_TX;
        xcptrace::EthernetEndpoints endpoints{toSlave ? &SLAVE_ADDRESS : &MASTER_ADDRESS,
                                              toSlave ? &MASTER_ADDRESS : &SLAVE_ADDRESS, 5555, false};
        xcptrace::fillEthernetMessage(decoded.message, timeNs, direction, frame.data(), endpoints);
        decoded.message.setEcuId(ecu);
        pass(decoded);
        return decoded;
    }

    void pass(xcptrace::DecodedPacket& decoded)
    {
        decoded.session = xcptrace::SessionInfo();
        tracker.process(decoded);
        if (sink != nullptr) {
            sink->write(decoded);
        }
        timeNs += step;
    }

    uint16_t counters_[256][2] = {};
};

}  // namespace tooltest

#endif  // XCPTRACE_TESTS_TRAFFIC_SUPPORT_H
