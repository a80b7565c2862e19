#include "EthernetFrontEnd.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace xcptrace {

namespace {

uint64_t fnv(const void* bytes, size_t count, uint64_t hash = 1469598103934665603ull)
{
    const uint8_t* p = static_cast<const uint8_t*>(bytes);
    for (size_t i = 0; i < count; ++i) {
        hash = (hash ^ p[i]) * 1099511628211ull;
    }
    return hash;
}

constexpr size_t ADDRESS_TEXTS_KEPT = 4096;

size_t addressSize(uint8_t family)
{
    return family == 4 ? 4 : 16;
}

std::string endpointText(const std::string& address, uint8_t family, uint16_t port)
{
    return (family == 6 ? "[" + address + "]" : address) + ":" + std::to_string(port);
}

}  // namespace

/// One TCP connection to a slave port; direction 0 runs towards the slave, 1 from it.
struct EthernetFrontEnd::Connection {
    uint64_t serial = 0;
    uint8_t family = 0;
    SlaveKey slave;
    std::string slaveAddress;
    std::string masterAddress;
    uint16_t slavePort = 0;
    uint16_t masterPort = 0;
    TcpStreamReassembler streams[2];
    XcpStreamFramer framers[2];
    bool finSeen[2] = {false, false};
    uint32_t finSequence[2] = {0, 0};
    bool closed[2] = {false, false};

    std::string directionText(int direction) const
    {
        std::string master = endpointText(masterAddress, family, masterPort);
        std::string slaveEnd = endpointText(slaveAddress, family, slavePort);
        return "TCP " + (direction == 0 ? master + " -> " + slaveEnd : slaveEnd + " -> " + master);
    }
};

/// Feeds the reassembled bytes of one direction into its XCP framer.
class EthernetFrontEnd::DirectionSink : public StreamSink {
public:
    DirectionSink(EthernetFrontEnd& frontEnd, Connection& connection, int direction, uint64_t timeNs, uint64_t number)
        : frontEnd_(frontEnd), connection_(connection), direction_(direction), timeNs_(timeNs), number_(number)
    {
    }

    void streamData(const uint8_t* data, size_t count) override
    {
        Connection& c = connection_;
        EthernetEndpoints endpoints{direction_ == 0 ? &c.slaveAddress : &c.masterAddress,
                                    direction_ == 0 ? &c.masterAddress : &c.slaveAddress, c.slavePort, true};
        XCP_Message::msgDirection_t messageDirection = direction_ == 0 ? XCP_Message::MD_TX : XCP_Message::MD_RX;
        c.framers[direction_].feed(data, count, [&](const uint8_t* frame) {
            if (xcpLen(frame) == 0) {
                frontEnd_.problems_.report(Problem::ZeroLen, number_,
                                           c.directionText(direction_) + ": XCP message with LEN 0 (no PID)");
                return;
            }
            frontEnd_.emit(frame, messageDirection, endpoints, c.slave, timeNs_);
        });
    }

    void streamGap(uint64_t missing) override
    {
        Connection& c = connection_;
        std::string text = c.directionText(direction_) + ": " + std::to_string(missing) +
                           " bytes of the stream are missing from the capture";
        if (c.framers[direction_].heldBytes() != 0) {
            text += "; the XCP message they interrupt is dropped";
        }
        frontEnd_.problems_.report(Problem::TcpGap, number_, text);
        c.framers[direction_].reset();
    }

private:
    EthernetFrontEnd& frontEnd_;
    Connection& connection_;
    int direction_;
    uint64_t timeNs_;
    uint64_t number_;
};

bool EthernetFrontEnd::AddressKey::operator==(const AddressKey& other) const
{
    return family == other.family && std::memcmp(bytes, other.bytes, sizeof bytes) == 0;
}

size_t EthernetFrontEnd::AddressKeyHash::operator()(const AddressKey& key) const
{
    return static_cast<size_t>(fnv(key.bytes, sizeof key.bytes, fnv(&key.family, 1)));
}

bool EthernetFrontEnd::ConnectionKey::operator==(const ConnectionKey& other) const
{
    return family == other.family && slavePort == other.slavePort && masterPort == other.masterPort &&
           std::memcmp(slave, other.slave, sizeof slave) == 0 && std::memcmp(master, other.master, sizeof master) == 0;
}

size_t EthernetFrontEnd::ConnectionKeyHash::operator()(const ConnectionKey& key) const
{
    uint64_t hash = fnv(&key.family, 1);
    hash = fnv(key.slave, sizeof key.slave, hash);
    hash = fnv(key.master, sizeof key.master, hash);
    hash = fnv(&key.slavePort, sizeof key.slavePort, hash);
    return static_cast<size_t>(fnv(&key.masterPort, sizeof key.masterPort, hash));
}

EthernetFrontEnd::EthernetFrontEnd(const std::vector<uint16_t>& slavePorts, ProblemLog& problems, PacketBatch& out)
    : problems_(problems), out_(out)
{
    for (uint16_t port : slavePorts) {
        slavePorts_.set(port);
    }
}

EthernetFrontEnd::~EthernetFrontEnd() = default;

const std::string& EthernetFrontEnd::addressTextOf(uint8_t family, const uint8_t* address)
{
    AddressKey key{};
    key.family = family;
    std::memcpy(key.bytes, address, addressSize(family));
    auto found = addressTexts_.find(key);
    if (found != addressTexts_.end()) {
        return found->second;
    }
    return addressTexts_.emplace(key, addressText(family, address)).first->second;
}

std::string EthernetFrontEnd::describe(const TransportSegment& segment) const
{
    std::string source = addressText(segment.family, segment.sourceAddress);
    std::string destination = addressText(segment.family, segment.destinationAddress);
    return std::string(segment.protocol == IP_PROTOCOL_TCP ? "TCP " : "UDP ") +
           endpointText(source, segment.family, segment.sourcePort) + " -> " +
           endpointText(destination, segment.family, segment.destinationPort);
}

void EthernetFrontEnd::frame(int linkType, const uint8_t* data, size_t caplen, size_t origlen, uint64_t timeNs,
                             uint64_t number)
{
    TransportSegment segment;
    std::string why;
    FrameStatus status = decodeFrame(linkType, data, caplen, origlen, segment, why);
    if (status == FrameStatus::IGNORED) {
        return;
    }
    bool xcp = segment.portsKnown &&
               (slavePorts_.test(segment.destinationPort) || slavePorts_.test(segment.sourcePort));
    if (status != FrameStatus::OK) {
        if (segment.portsKnown && !xcp) {
            return;  // not XCP traffic: none of our business
        }
        Problem kind = status == FrameStatus::TRUNCATED  ? Problem::TruncatedFrame
                       : status == FrameStatus::FRAGMENT ? Problem::IpFragment
                                                         : Problem::MalformedHeader;
        problems_.report(kind, number, segment.portsKnown ? describe(segment) + ": " + why : why);
        return;
    }
    if (!xcp) {
        return;
    }
    bool toSlave = slavePorts_.test(segment.destinationPort);
    if (segment.protocol == IP_PROTOCOL_UDP) {
        datagram(segment, toSlave, timeNs, number);
    } else {
        tcpSegment(segment, toSlave, timeNs, number);
    }
}

void EthernetFrontEnd::emit(const uint8_t* frame, XCP_Message::msgDirection_t direction,
                            const EthernetEndpoints& endpoints, const SlaveKey& slave, uint64_t timeNs)
{
    DecodedPacket& packet = out_.append();
    fillEthernetMessage(packet.message, timeNs, direction, frame, endpoints);
    packet.slave = slave;
    ++messages_;
}

void EthernetFrontEnd::datagram(const TransportSegment& segment, bool toSlave, uint64_t timeNs, uint64_t number)
{
    // The texts are references into the table: it is emptied (to keep memory flat on
    // captures with many hosts) before they are looked up, never between the two lookups.
    if (addressTexts_.size() >= ADDRESS_TEXTS_KEPT) {
        addressTexts_.clear();
    }
    const std::string& destination = addressTextOf(segment.family, segment.destinationAddress);
    const std::string& source = addressTextOf(segment.family, segment.sourceAddress);
    uint16_t slavePort = toSlave ? segment.destinationPort : segment.sourcePort;
    EthernetEndpoints endpoints{&destination, &source, slavePort, false};
    SlaveKey slave = SlaveKey::ip(segment.family, toSlave ? segment.destinationAddress : segment.sourceAddress,
                                  slavePort);
    XCP_Message::msgDirection_t direction = toSlave ? XCP_Message::MD_TX : XCP_Message::MD_RX;

    const uint8_t* cursor = segment.payload;
    size_t left = segment.payloadLength;
    while (left >= XCP_ETH_HEADER_SIZE) {
        size_t len = xcpLen(cursor);
        size_t total = XCP_ETH_HEADER_SIZE + len;
        if (total > left) {
            char text[160];
            std::snprintf(text, sizeof text,
                          ": XCP LEN %zu at byte %zu of the datagram needs %zu bytes, %zu are left", len,
                          static_cast<size_t>(cursor - segment.payload), total, left);
            problems_.report(Problem::LenOverrun, number, describe(segment) + text);
            return;
        }
        if (len == 0) {
            problems_.report(Problem::ZeroLen, number, describe(segment) + ": XCP message with LEN 0 (no PID)");
        } else {
            emit(cursor, direction, endpoints, slave, timeNs);
        }
        cursor += total;
        left -= total;
    }
    if (left != 0) {
        problems_.report(Problem::TrailingBytes, number,
                         describe(segment) + ": " + std::to_string(left) +
                             " stray bytes after the last XCP message of the datagram");
    }
}

void EthernetFrontEnd::tcpSegment(const TransportSegment& segment, bool toSlave, uint64_t timeNs, uint64_t number)
{
    size_t size = addressSize(segment.family);
    const uint8_t* slaveAddress = toSlave ? segment.destinationAddress : segment.sourceAddress;
    const uint8_t* masterAddress = toSlave ? segment.sourceAddress : segment.destinationAddress;
    ConnectionKey key{};
    key.family = segment.family;
    std::memcpy(key.slave, slaveAddress, size);
    std::memcpy(key.master, masterAddress, size);
    key.slavePort = toSlave ? segment.destinationPort : segment.sourcePort;
    key.masterPort = toSlave ? segment.sourcePort : segment.destinationPort;
    int direction = toSlave ? 0 : 1;
    bool syn = (segment.tcpFlags & TCP_FLAG_SYN) != 0;
    bool fin = (segment.tcpFlags & TCP_FLAG_FIN) != 0;

    auto found = connections_.find(key);
    if ((segment.tcpFlags & TCP_FLAG_RST) != 0) {
        if (found != connections_.end()) {
            closeConnection(*found->second, timeNs, number);
            connections_.erase(found);
        }
        return;
    }
    if (found == connections_.end()) {
        if (segment.payloadLength == 0 && !syn) {
            return;  // an acknowledgement of a connection we know nothing of
        }
        auto connection = std::make_unique<Connection>();
        connection->serial = ++connectionSerial_;
        connection->family = segment.family;
        connection->slave = SlaveKey::ip(segment.family, slaveAddress, key.slavePort);
        connection->slaveAddress = addressText(segment.family, slaveAddress);
        connection->masterAddress = addressText(segment.family, masterAddress);
        connection->slavePort = key.slavePort;
        connection->masterPort = key.masterPort;
        found = connections_.emplace(key, std::move(connection)).first;
    }
    Connection& connection = *found->second;
    if (syn && connection.closed[direction]) {
        // The addresses and ports are used again for a new connection.
        connection.closed[direction] = false;
        connection.finSeen[direction] = false;
    }
    if (connection.closed[direction]) {
        return;
    }
    DirectionSink sink(*this, connection, direction, timeNs, number);
    connection.streams[direction].segment(segment.sequence, syn, segment.payload, segment.payloadLength, sink);
    if (fin) {
        connection.finSeen[direction] = true;
        connection.finSequence[direction] =
            segment.sequence + static_cast<uint32_t>(segment.payloadLength) + (syn ? 1u : 0u);
    }
    if (connection.finSeen[direction] &&
        connection.streams[direction].nextSequence() == connection.finSequence[direction]) {
        closeDirection(connection, direction, timeNs, number);
        if (connection.closed[0] && connection.closed[1]) {
            connections_.erase(found);
        }
    }
}

void EthernetFrontEnd::closeDirection(Connection& connection, int direction, uint64_t timeNs, uint64_t number)
{
    if (connection.closed[direction]) {
        return;
    }
    DirectionSink sink(*this, connection, direction, timeNs, number);
    connection.streams[direction].flush(sink);
    XcpStreamFramer& framer = connection.framers[direction];
    if (framer.heldBytes() != 0) {
        uint16_t len = 0;
        std::string text = connection.directionText(direction) + ": the stream ends inside an XCP message (";
        if (framer.heldLen(len)) {
            text += std::to_string(framer.heldBytes()) + " of its " + std::to_string(XCP_ETH_HEADER_SIZE + len) +
                    " bytes)";
        } else {
            text += std::to_string(framer.heldBytes()) + " bytes of its header)";
        }
        problems_.report(Problem::TcpIncomplete, number, text);
        framer.reset();
    }
    connection.streams[direction] = TcpStreamReassembler();
    connection.closed[direction] = true;
}

void EthernetFrontEnd::closeConnection(Connection& connection, uint64_t timeNs, uint64_t number)
{
    closeDirection(connection, 0, timeNs, number);
    closeDirection(connection, 1, timeNs, number);
}

void EthernetFrontEnd::finish(uint64_t timeNs)
{
    std::vector<Connection*> open;
    open.reserve(connections_.size());
    for (auto& entry : connections_) {
        open.push_back(entry.second.get());
    }
    std::sort(open.begin(), open.end(), [](const Connection* a, const Connection* b) { return a->serial < b->serial; });
    for (Connection* connection : open) {
        closeConnection(*connection, timeNs, 0);
    }
    connections_.clear();
}

}  // namespace xcptrace
