#ifndef XCPTRACE_ETHERNETFRONTEND_H
#define XCPTRACE_ETHERNETFRONTEND_H

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "DecodedPacket.h"
#include "NetworkDecoding.h"
#include "Problems.h"
#include "TcpReassembly.h"
#include "XcpOnEthernet.h"

namespace xcptrace {

/// Finds XCP on Ethernet in captured frames: UDP datagrams and TCP streams to or from a
/// slave port, cut into XCP messages. Messages go into the batch; what cannot be decoded
/// goes to the problem log.
class EthernetFrontEnd {
public:
    EthernetFrontEnd(const std::vector<uint16_t>& slavePorts, ProblemLog& problems, PacketBatch& out);
    ~EthernetFrontEnd();
    EthernetFrontEnd(const EthernetFrontEnd&) = delete;
    EthernetFrontEnd& operator=(const EthernetFrontEnd&) = delete;

    /// One captured frame of the given libpcap link type; `number` counts frames from 1.
    void frame(int linkType, const uint8_t* data, size_t caplen, size_t origlen, uint64_t timeNs, uint64_t number);
    /// End of the input: every TCP stream still open is closed; its messages carry `timeNs`.
    void finish(uint64_t timeNs);

    uint64_t messages() const { return messages_; }
    size_t openConnections() const { return connections_.size(); }

private:
    struct AddressKey {
        uint8_t family;
        uint8_t bytes[16];
        bool operator==(const AddressKey& other) const;
    };
    struct AddressKeyHash {
        size_t operator()(const AddressKey& key) const;
    };
    struct ConnectionKey {
        uint8_t family;
        uint8_t slave[16];
        uint8_t master[16];
        uint16_t slavePort;
        uint16_t masterPort;
        bool operator==(const ConnectionKey& other) const;
    };
    struct ConnectionKeyHash {
        size_t operator()(const ConnectionKey& key) const;
    };
    struct Connection;
    class DirectionSink;

    const std::string& addressTextOf(uint8_t family, const uint8_t* address);
    void datagram(const TransportSegment& segment, bool toSlave, uint64_t timeNs, uint64_t number);
    void tcpSegment(const TransportSegment& segment, bool toSlave, uint64_t timeNs, uint64_t number);
    void emit(const uint8_t* frame, XCP_Message::msgDirection_t direction, const EthernetEndpoints& endpoints,
              const SlaveKey& slave, uint64_t timeNs);
    void closeDirection(Connection& connection, int direction, uint64_t timeNs, uint64_t number);
    void closeConnection(Connection& connection, uint64_t timeNs, uint64_t number);
    std::string describe(const TransportSegment& segment) const;

    std::bitset<65536> slavePorts_;
    ProblemLog& problems_;
    PacketBatch& out_;
    std::unordered_map<AddressKey, std::string, AddressKeyHash> addressTexts_;
    std::unordered_map<ConnectionKey, std::unique_ptr<Connection>, ConnectionKeyHash> connections_;
    uint64_t connectionSerial_ = 0;
    uint64_t messages_ = 0;
};

}  // namespace xcptrace

#endif  // XCPTRACE_ETHERNETFRONTEND_H
