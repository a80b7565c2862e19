#include "XCP_Message.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iostream>
#include <locale>
#include <memory>
#include <sstream>
#include <typeinfo>

namespace {

void reportLine(const char* line)
{
    std::cerr << line << std::endl;
}

/// Room left in a buffer of maxlen bytes that started at `start` once the cursor is at
/// `cursor`. Piece writers get the room that their predecessors actually left.
size_t roomLeft(const uint8_t* start, const uint8_t* cursor, size_t maxlen)
{
    size_t used = static_cast<size_t>(cursor - start);
    return used < maxlen ? maxlen - used : 0;
}

void appendBytes(uint8_t*& pdest, const byteVec_t& bytes)
{
    if (!bytes.empty()) {
        std::memcpy(pdest, bytes.data(), bytes.size());
        pdest += bytes.size();
    }
}

void appendString(uint8_t*& pdest, const std::string& text)
{
    *pdest++ = static_cast<uint8_t>(text.size());
    if (!text.empty()) {
        std::memcpy(pdest, text.data(), text.size());
        pdest += text.size();
    }
}

}  // namespace

// ============================================================================================
// Header
// ============================================================================================

XCP_Message::Header::Header() : transportType(TT_UNKNOWN), active(false) {}

void XCP_Message::Header::setTransportType(transportType_t type)
{
    transportType = type;
    switch (type) {
    case TT_ETHERNET:
        active = true;
        // A repeated call keeps LEN and CTR.
        if (data.size() != 4) {
            data.assign(4, 0);
        }
        break;
    case TT_FLEXRAY:
        data.clear();
        active = true;
        reportLine("[ERROR] XCP_Message::Header::setTransportType: flex ray isn't supported at the moment");
        break;
    default:
        active = false;
        data.clear();
        break;
    }
}

bool XCP_Message::Header::holdsLenAndCtr() const
{
    return transportType == TT_ETHERNET && data.size() == 4;
}

bool XCP_Message::Header::setLEN(uint16_t len)
{
    if (!holdsLenAndCtr()) {
        return false;
    }
    data[0] = static_cast<uint8_t>(len);
    data[1] = static_cast<uint8_t>(len >> 8);
    return true;
}

bool XCP_Message::Header::getLEN(uint16_t& len) const
{
    if (!holdsLenAndCtr()) {
        return false;
    }
    len = static_cast<uint16_t>(data[0] + 256 * data[1]);
    return true;
}

bool XCP_Message::Header::setCTR(uint16_t ctr)
{
    if (!holdsLenAndCtr()) {
        return false;
    }
    data[2] = static_cast<uint8_t>(ctr);
    data[3] = static_cast<uint8_t>(ctr >> 8);
    return true;
}

bool XCP_Message::Header::getCTR(uint16_t& ctr) const
{
    if (!holdsLenAndCtr()) {
        return false;
    }
    ctr = static_cast<uint16_t>(data[2] + 256 * data[3]);
    return true;
}

size_t XCP_Message::Header::writeToByteArray(uint8_t*& pdest, size_t maxlen) const
{
    size_t n = data.size();
    if (maxlen < n + 1) {
        reportLine("[ERROR] XCP_Message::Header::writeToByteArray: can't write Header");
        return 0;
    }
    *pdest++ = static_cast<uint8_t>(n);
    if (n > 0 && active) {
        appendBytes(pdest, data);
    }
    return n + 1;
}

size_t XCP_Message::Header::readFromByteArray(transportType_t type, const uint8_t* psrc, size_t maxlen)
{
    setTransportType(type);
    if (maxlen == 0) {
        return 0;
    }
    size_t length = psrc[0];
    if (maxlen < length + 1) {
        return 0;
    }
    switch (transportType) {
    case TT_ETHERNET:
        if (length != data.size()) {
            reportLine("[ERROR] XCP_Message::Header::readFromByteArray: ethernet; invalid headerSize");
            return 0;
        }
        data.assign(psrc + 1, psrc + 1 + length);
        return length + 1;
    case TT_CAN:
        // A CAN header is always written with length 0; nothing after the length byte is
        // consumed.
        return data.size() + 1;
    case TT_FLEXRAY:
        reportLine("[ERROR] XCP_Message::Header::readFromByteArray: flex ray isn't supported at the moment");
        return 0;
    default:
        reportLine("[ERROR] XCP_Message::Header::readFromByteArray: invalid transport type");
        return 0;
    }
}

// ============================================================================================
// Packet fields
// ============================================================================================

XCP_Message::Packet::IdentificationField::IdentificationField()
    : pid(0), firstPid(0), type(IFT_ABSOLUTE_ODT_NUMBER), daqNo(0)
{
}

size_t XCP_Message::Packet::IdentificationField::writeToByteArray(uint8_t*& pdest, size_t maxlen) const
{
    if (maxlen <= 4) {
        reportLine("[ERROR] XCP_Message::Packet::IdentificationField::writeToByteArray: can't write "
                   "Identification Field");
        return 0;
    }
    pdest[0] = static_cast<uint8_t>(type);
    pdest[1] = pid;
    pdest[2] = firstPid;
    uint16ToByteArray(pdest + 3, daqNo);
    pdest += 5;
    return 5;
}

size_t XCP_Message::Packet::IdentificationField::readFromByteArray(const uint8_t* psrc, size_t maxlen)
{
    if (maxlen <= 4) {
        return 0;
    }
    type = static_cast<identificationFieldType_t>(psrc[0]);
    pid = psrc[1];
    firstPid = psrc[2];
    daqNo = byteArrayToUint16(psrc + 3);
    return 5;
}

XCP_Message::Packet::TimestampField::TimestampField() : type(TST_NO) {}

void XCP_Message::Packet::TimestampField::setType(timestampFieldType_t newType)
{
    type = newType;
    timestamp.clear();
    switch (newType) {
    case TST_BYTE:
    case TST_WORD:
    case TST_DWORD:
        timestamp.assign(static_cast<size_t>(newType), 0);
        break;
    default:
        break;
    }
}

bool XCP_Message::Packet::TimestampField::setTimestamp(const uint8_t* bytes, size_t count)
{
    if (count != timestamp.size()) {
        reportLine("[ERROR] XCP_Message::Packet::TimestampField::setTimestamp: wrong size");
        return false;
    }
    std::copy(bytes, bytes + count, timestamp.begin());
    return true;
}

size_t XCP_Message::Packet::TimestampField::writeToByteArray(uint8_t*& pdest, size_t maxlen) const
{
    uint8_t size = getSize();
    // The 8-bit size understates a field of 254 or 255 bytes; such a field is refused
    // unless all of it fits.
    if (size > maxlen || timestamp.size() + 2 > maxlen) {
        reportLine("[ERROR] XCP_Message::Packet::TimestampField::writeToByteArray: can't write Timestamp Field");
        return 0;
    }
    pdest[0] = static_cast<uint8_t>(type);
    pdest[1] = static_cast<uint8_t>(timestamp.size());
    pdest += 2;
    appendBytes(pdest, timestamp);
    return size;
}

size_t XCP_Message::Packet::TimestampField::readFromByteArray(const uint8_t* psrc, size_t maxlen)
{
    // Bounds are checked against the field's size before the read, as existing readers do.
    size_t sizeBefore = getSize();
    if (sizeBefore > maxlen || maxlen < 1) {
        return 0;
    }
    type = static_cast<timestampFieldType_t>(psrc[0]);
    if (maxlen < 2) {
        return 0;
    }
    size_t count = psrc[1];
    if (maxlen < sizeBefore + count || maxlen < 2 + count) {
        return 0;
    }
    timestamp.assign(psrc + 2, psrc + 2 + count);
    return (count + 2) % 256;
}

size_t XCP_Message::Packet::DataField::writeToByteArray(uint8_t*& pdest, size_t maxlen) const
{
    size_t n = data.size();
    if (maxlen < n + 2) {
        reportLine("[ERROR] XCP_Message::Packet::DataField::writeToByteArray: can't write Data Field");
        return 0;
    }
    uint16ToByteArray(pdest, static_cast<uint16_t>(n));
    pdest += 2;
    appendBytes(pdest, data);
    return n + 2;
}

size_t XCP_Message::Packet::DataField::readFromByteArray(const uint8_t* psrc, size_t maxlen)
{
    // Bounds are checked against the field's size before the read, as existing readers do.
    size_t sizeBefore = getSize();
    if (maxlen < sizeBefore) {
        return 0;
    }
    size_t length = byteArrayToUint16(psrc);
    if (maxlen < sizeBefore + length) {
        return 0;
    }
    data.assign(psrc + 2, psrc + 2 + length);
    return length + 2;
}

// ============================================================================================
// Packet
// ============================================================================================

size_t XCP_Message::Packet::getSize() const
{
    return identificationField.getSize() + timestampField.getSize() + dataField.getSize();
}

size_t XCP_Message::Packet::writeToByteArray(uint8_t*& pdest, size_t maxlen) const
{
    const size_t size = getSize();
    if (maxlen < size) {
        // The text names the data field although the check covers the whole packet; kept.
        reportLine("[ERROR] XCP_Message::Packet::writeToByteArray: can't write Data Field");
        return 0;
    }
    const uint8_t* start = pdest;
    identificationField.writeToByteArray(pdest, maxlen);
    timestampField.writeToByteArray(pdest, roomLeft(start, pdest, maxlen));
    dataField.writeToByteArray(pdest, roomLeft(start, pdest, maxlen));
    return size;
}

size_t XCP_Message::Packet::readFromByteArray(const uint8_t* psrc, size_t maxlen)
{
    // A packet that already holds a time stamp or data needs that much room, whatever the
    // input says: existing readers check it this way.
    if (maxlen < getSize()) {
        return 0;
    }
    if (maxlen <= 4) {
        reportLine("[ERROR] Identification Field read error");
        return 0;
    }
    identificationField.readFromByteArray(psrc, maxlen);
    size_t timestampBytes = timestampField.readFromByteArray(psrc + 5, maxlen - 5);
    if (timestampBytes == 0) {
        reportLine("[ERROR] Timestamp Field read error");
        return 0;
    }
    size_t dataBytes = dataField.readFromByteArray(psrc + 5 + timestampBytes, maxlen - 5 - timestampBytes);
    if (dataBytes == 0) {
        reportLine("[ERROR] Data Field read error");
        return 0;
    }
    return 5 + timestampBytes + dataBytes;
}

bool XCP_Message::Packet::moveTimestampData()
{
    byteVec_t& timestamp = timestampField.timestamp;
    byteVec_t& data = dataField.data;
    size_t count = timestamp.size();
    if (count == 0) {
        return true;
    }
    if (count > data.size()) {
        reportLine("[ERROR] XCP_Message::Packet::moveTimestampData: data field size is to small.");
        return false;
    }
    auto split = data.begin() + static_cast<std::ptrdiff_t>(count);
    std::copy(data.begin(), split, timestamp.begin());
    data.erase(data.begin(), split);
    return true;
}

// ============================================================================================
// Tail
// ============================================================================================

XCP_Message::Tail::Tail() : transportType(TT_UNKNOWN), active(false) {}

void XCP_Message::Tail::setTransportType(transportType_t type)
{
    transportType = type;
    if (type == TT_ETHERNET || type == TT_CAN || type == TT_FLEXRAY) {
        active = false;
        data.clear();
    }
}

bool XCP_Message::Tail::setActive(bool on)
{
    if (transportType != TT_CAN && transportType != TT_FLEXRAY) {
        return false;
    }
    active = on;
    return true;
}

void XCP_Message::Tail::setFillBytes(uint8_t count)
{
    if (transportType != TT_CAN && transportType != TT_FLEXRAY) {
        return;
    }
    data.assign(count, 0);
    active = count > 0;
}

size_t XCP_Message::Tail::writeToByteArray(uint8_t*& pdest, size_t maxlen) const
{
    size_t n = data.size();
    if (maxlen < n + 1) {
        // The text names the header although it is the tail's; kept as existing logs show it.
        reportLine("[ERROR] XCP_Message::Tail::writeToByteArray: can't write Header");
        return 0;
    }
    *pdest++ = static_cast<uint8_t>(n);
    // A tail switched off while it holds fill bytes announces them without writing them;
    // existing readers expect exactly that.
    if (n > 0 && active) {
        appendBytes(pdest, data);
    }
    return n + 1;
}

size_t XCP_Message::Tail::readFromByteArray(transportType_t type, const uint8_t* psrc, size_t maxlen)
{
    setTransportType(type);
    if (maxlen == 0) {
        return 0;
    }
    size_t length = psrc[0];
    if (maxlen < length + 1) {
        return 0;
    }
    switch (type) {
    case TT_ETHERNET:
        return data.size() + 1;
    case TT_CAN:
        if (length > 0) {
            active = true;
            data.assign(psrc + 1, psrc + 1 + length);
        }
        return data.size() + 1;
    case TT_FLEXRAY:
        reportLine("[ERROR] XCP_Message::Tail::readFromByteArray: flex ray isn't supported at the moment");
        return 0;
    default:
        reportLine("[ERROR] XCP_Message::Tail::readFromByteArray: invalid transport type");
        return 0;
    }
}

// ============================================================================================
// Message record
// ============================================================================================

XCP_Message::XCP_Message()
    : MessageBase(MSGID_XCP, 0),
      ecuId(255),
      transportType(TT_UNKNOWN),
      canId(0),
      canType(CT_STANDARD),
      canChannel(0),
      port(0),
      tcp(false),
      msgDirection(MD_UNKNOWN)
{
}

XCP_Message::XCP_Message(timeStamp_t ts, transportType_t type, msgDirection_t direction, uint8_t ecu)
    : MessageBase(MSGID_XCP, ts),
      ecuId(ecu),
      transportType(type),
      canId(0),
      canType(CT_STANDARD),
      canChannel(0),
      port(0),
      tcp(false),
      msgDirection(direction)
{
    header.setTransportType(type);
    tail.setTransportType(type);
}

XCP_Message::~XCP_Message() = default;

XCP_Message* XCP_Message::clone() const
{
    return new XCP_Message(*this);
}

bool XCP_Message::operator==(const MessageBase& other) const
{
    const XCP_Message* that = dynamic_cast<const XCP_Message*>(&other);
    if (that == nullptr) {
        return false;
    }
    const Packet::IdentificationField& id = packet.identificationField;
    const Packet::IdentificationField& otherId = that->packet.identificationField;
    // The base part (time stamp included) and the pieces' own transport type and active
    // flag take no part.
    return transportType == that->transportType && msgDirection == that->msgDirection &&
           ecuId == that->ecuId && header.getData() == that->header.getData() && id.pid == otherId.pid &&
           id.firstPid == otherId.firstPid && id.getType() == otherId.getType() &&
           id.getDaqNo() == otherId.getDaqNo() &&
           packet.timestampField.getType() == that->packet.timestampField.getType() &&
           packet.timestampField.getTimestamp() == that->packet.timestampField.getTimestamp() &&
           packet.dataField.data == that->packet.dataField.data && tail.data == that->tail.data &&
           canId == that->canId && canChannel == that->canChannel && canType == that->canType &&
           dstIp == that->dstIp && srcIp == that->srcIp && mask == that->mask && port == that->port &&
           tcp == that->tcp;
}

void XCP_Message::setCanTransportTypeSettings(uint32_t id, cantype_t type, uint8_t channel)
{
    canId = id;
    canType = type;
    canChannel = channel;
}

bool XCP_Message::getCanTransportTypeSettings(uint32_t& id, cantype_t& type, uint8_t& channel) const
{
    if (transportType != TT_CAN) {
        return false;
    }
    id = canId;
    type = canType;
    channel = canChannel;
    return true;
}

void XCP_Message::setEthernetTransportTypeSettings(const std::string& dst, const std::string& src,
                                                   const std::string& netMask, uint16_t portNumber, bool isTcp)
{
    dstIp = dst;
    srcIp = src;
    mask = netMask;
    port = portNumber;
    tcp = isTcp;
}

bool XCP_Message::getEthernetTransportTypeSettings(std::string& dst, std::string& src, std::string& netMask,
                                                   uint16_t& portNumber, bool& isTcp) const
{
    if (transportType != TT_ETHERNET) {
        return false;
    }
    dst = dstIp;
    src = srcIp;
    netMask = mask;
    portNumber = port;
    isTcp = tcp;
    return true;
}

// ============================================================================================
// Trace record
// ============================================================================================

size_t XCP_Message::settingsSize() const
{
    if (transportType == TT_CAN) {
        return 6;
    }
    if (transportType == TT_ETHERNET) {
        return 6 + dstIp.size() + srcIp.size() + mask.size();
    }
    return 0;
}

size_t XCP_Message::getSize() const
{
    // 24 is 2 short of the base header, description bytes and length bytes; existing trace
    // files declare their records this way.
    return 24 + header.getData().size() + packet.timestampField.getSize() + packet.dataField.data.size() +
           tail.data.size() + settingsSize();
}

size_t XCP_Message::writeToByteArray(uint8_t*& pdest, size_t maxlen, bool sync) const
{
    const size_t declared = getSize();
    if (declared > maxlen) {
        reportLine("[ERROR] XCP_Message::writeToByteArray: can't write XCP_Message");
        return 0;
    }
    const uint8_t* start = pdest;
    MessageBase::writeToByteArray(pdest, maxlen, sync);
    *pdest++ = static_cast<uint8_t>(transportType);
    *pdest++ = static_cast<uint8_t>(msgDirection);
    *pdest++ = ecuId;
    // A piece that refuses writes its own line and contributes no bytes; the record goes on.
    header.writeToByteArray(pdest, roomLeft(start, pdest, maxlen));
    packet.writeToByteArray(pdest, roomLeft(start, pdest, maxlen));
    tail.writeToByteArray(pdest, roomLeft(start, pdest, maxlen));
    // The settings block is not checked against maxlen: with a buffer of exactly getSize()
    // bytes it ends 2 bytes past it (see the class comment). Only a time stamp of 254 or 255
    // bytes, which the 8-bit size understates, can push it past the getSize() + 2 bytes the
    // caller provides; then the block is left out rather than written outside the buffer.
    size_t used = static_cast<size_t>(pdest - start);
    if (used + settingsSize() > std::max(maxlen, declared + 2)) {
        reportLine("[ERROR] XCP_Message::writeToByteArray: can't write XCP_Message");
        return getSize();
    }
    if (transportType == TT_CAN) {
        uint32ToByteArray(pdest, canId);
        pdest[4] = static_cast<uint8_t>(canType);
        pdest[5] = canChannel;
        pdest += 6;
    } else if (transportType == TT_ETHERNET) {
        appendString(pdest, dstIp);
        appendString(pdest, srcIp);
        appendString(pdest, mask);
        uint16ToByteArray(pdest, port);
        pdest[2] = tcp ? 1 : 0;
        pdest += 3;
    }
    return getSize();
}

XCP_Message::XCP_Message(const uint8_t* psrc, size_t maxlen)
    : MessageBase(MSGID_XCP, 0),
      ecuId(0),
      transportType(TT_UNKNOWN),
      canId(0),
      canType(CT_STANDARD),
      canChannel(0),
      port(0),
      tcp(false),
      msgDirection(MD_UNKNOWN)
{
    if (maxlen < MO_BASE_DERIVED) {
        reportLine("[ERROR] XCP message v1 read error");
        return;
    }
    // Neither the size nor the message identifier is checked: the caller dispatched on it.
    hdrReserved = byteArrayToUint16(psrc + MO_HDRRESERVED);
    timeStamp = byteArrayToUint64(psrc + MO_TIMESTAMP);
    if (maxlen - MO_BASE_DERIVED <= 2) {
        reportLine("[ERROR] XCP message description read error");
        return;
    }
    transportType = static_cast<transportType_t>(psrc[MO_TRANSPORTTYPE]);
    msgDirection = static_cast<msgDirection_t>(psrc[MO_DIRECTION]);
    ecuId = psrc[MO_ECUID];
    const uint8_t* cursor = psrc + MO_HEADER;
    size_t remaining = maxlen - MO_HEADER;

    size_t consumed = header.readFromByteArray(transportType, cursor, remaining);
    if (consumed == 0) {
        reportLine("[ERROR] XCP Header read error");
        return;
    }
    cursor += consumed;
    remaining -= consumed;

    consumed = packet.readFromByteArray(cursor, remaining);
    if (consumed == 0) {
        reportLine("[ERROR] XCP Packet read error");
        return;
    }
    cursor += consumed;
    remaining -= consumed;

    consumed = tail.readFromByteArray(transportType, cursor, remaining);
    if (consumed == 0) {
        reportLine("[ERROR] XCP Tail read error");
        return;
    }
    cursor += consumed;
    remaining -= consumed;

    if (transportType == TT_CAN) {
        if (remaining > 5) {
            canId = byteArrayToUint32(cursor);
            canType = static_cast<cantype_t>(cursor[4]);
            canChannel = cursor[5];
        } else {
            reportLine("[ERROR] XCP message CAN settings read error");
        }
    } else if (transportType == TT_ETHERNET) {
        struct StringField {
            std::string& value;
            const char* sizeError;
            const char* error;
        };
        const StringField strings[] = {
            {dstIp, "[ERROR] XCP message ETH settings read error (dstIp size)",
             "[ERROR] XCP message ETH settings read error (dstIp)"},
            {srcIp, "[ERROR] XCP message ETH settings read error (srcIp size)",
             "[ERROR] XCP message ETH settings read error (srcIp)"},
            {mask, "[ERROR] XCP message ETH settings read error (mask size)",
             "[ERROR] XCP message ETH settings read error (mask)"},
        };
        for (const StringField& field : strings) {
            if (remaining == 0) {
                reportLine(field.sizeError);
                return;
            }
            size_t length = *cursor++;
            --remaining;
            if (remaining < length) {
                reportLine(field.error);
                return;
            }
            field.value.assign(reinterpret_cast<const char*>(cursor), length);
            cursor += length;
            remaining -= length;
        }
        if (remaining > 2) {
            port = byteArrayToUint16(cursor);
            tcp = cursor[2] != 0;
        } else {
            // "CAN" in this Ethernet line is what existing logs show; kept.
            reportLine("[ERROR] XCP message CAN settings read error (port or protocol)");
        }
    }
}

MessageBase* XCP_Message::readFromByteArray(const uint8_t* psrc, size_t maxlen)
{
    return new XCP_Message(psrc, maxlen);
}

// ============================================================================================
// Source channel
// ============================================================================================

std::string XCP_Message::getSourceChannel() const
{
    std::ostringstream text;
    text << "CCP_XCP #" << static_cast<int>(ecuId);
    return text.str();
}

uint64_t XCP_Message::getSourceChannelID() const
{
    return MessageBase::getSourceChannelID(BUSID_CCPXCP, ecuId, mbnr);
}

void XCP_Message::cascadeChannel(uint16_t xcpOffset, uint16_t transportChannelOffset)
{
    ecuId = static_cast<uint8_t>(ecuId + xcpOffset);
    if (transportType == TT_CAN) {
        canChannel = static_cast<uint8_t>(canChannel + transportChannelOffset);
    }
}

// ============================================================================================
// Classification
// ============================================================================================

bool XCP_Message::pidInStimRange(uint32_t pid)
{
    return pid <= static_cast<uint32_t>(M2S_PID_STIM_LAST);
}

bool XCP_Message::pidInCmdRange(uint32_t pid)
{
    return pid >= static_cast<uint32_t>(M2S_PID_CMD_FIRST) && pid <= static_cast<uint32_t>(M2S_PID_CMD_LAST);
}

bool XCP_Message::pidInDaqRange(uint32_t pid)
{
    return pid <= static_cast<uint32_t>(S2M_PID_DAQ_LAST);
}

XCP_Message::packetType_t XCP_Message::classifyPacket() const
{
    uint32_t pid = packet.identificationField.pid;
    if (msgDirection == MD_TX) {
        if (pidInCmdRange(pid)) {
            return PT_CTO_CMD;
        }
        if (pidInStimRange(pid)) {
            // The lines name setPacketType, as existing logs show them.
            reportLine("[WARNING] XCP_Message::setPacketType: STIMULATION is not supported at the moment");
            return PT_DTO_STIM;
        }
    } else if (msgDirection == MD_RX) {
        switch (pid) {
        case S2M_PID_RES:
            return PT_CTO_RES;
        case S2M_PID_ERR:
            return PT_CTO_ERR;
        case S2M_PID_EV:
            return PT_CTO_EV;
        case S2M_PID_SERV:
            return PT_CTO_SERV;
        default:
            if (pidInDaqRange(pid)) {
                return PT_DTO_DAQ;
            }
        }
    } else {
        std::cerr << "[ERROR] XCP_Message::setPacketType: Unknown direction=" << msgDirection << std::endl;
    }
    return PT_UNKNOWN;
}

int32_t XCP_Message::firstDataByte() const
{
    const byteVec_t& data = packet.dataField.data;
    return data.empty() ? -1 : data[0];
}

XCP_Message::packetType_t XCP_Message::getPacketType() const
{
    return classifyPacket();
}

XCP_Message::cmdCode_t XCP_Message::getCmdCode() const
{
    if (classifyPacket() == PT_CTO_CMD) {
        return static_cast<cmdCode_t>(packet.identificationField.pid);
    }
    return XCP_CC_UNDEFINED;
}

XCP_Message::masterToSlavePid_t XCP_Message::getMasterToSlavePid() const
{
    // Each comparison evaluates the rule afresh; existing logs show its lines that often.
    if (classifyPacket() == PT_CTO_CMD || classifyPacket() == PT_DTO_STIM) {
        return static_cast<masterToSlavePid_t>(packet.identificationField.pid);
    }
    return M2S_INVALID;
}

XCP_Message::slaveToMasterPid_t XCP_Message::getSlaveToMasterPid() const
{
    // Each comparison evaluates the rule afresh; existing logs show its lines that often.
    if (classifyPacket() == PT_CTO_RES || classifyPacket() == PT_CTO_ERR || classifyPacket() == PT_CTO_EV ||
        classifyPacket() == PT_CTO_SERV || classifyPacket() == PT_DTO_DAQ) {
        return static_cast<slaveToMasterPid_t>(packet.identificationField.pid);
    }
    return S2M_INVALID;
}

XCP_Message::errorPacketCode_t XCP_Message::getErrorPacketCode() const
{
    if (classifyPacket() == PT_CTO_ERR) {
        return static_cast<errorPacketCode_t>(firstDataByte());
    }
    return ERR_NOT_SET;
}

XCP_Message::eventPacketCode_t XCP_Message::getEventPacketCode() const
{
    if (classifyPacket() == PT_CTO_EV) {
        return static_cast<eventPacketCode_t>(firstDataByte());
    }
    return EV_INVALID;
}

XCP_Message::serviceRequestPacketCode_t XCP_Message::getServiceRequestPacketCode() const
{
    if (classifyPacket() == PT_CTO_SERV) {
        return static_cast<serviceRequestPacketCode_t>(firstDataByte());
    }
    return SERV_INVALID;
}

int XCP_Message::getMinResDataSize(cmdCode_t cmd)
{
    // Indexed by command code minus 0xC7; -1 where no minimum is fixed.
    static const int8_t minimumSizes[57] = {
        -1, -1, -1, -1, -1, -1, -1, -1,  // 0xC7..
        -1, -1, -1, -1, 0, 0, 0, 0,  // 0xCF..
        6, 5, 7, 7, 7, 7, 0, 1,  // 0xD7..
        7, 0, 0, 0, 0, -1, -1, -1,  // 0xDF..
        -1, -1, -1, -1, -1, -1, -1, -1,  // 0xE7..
        -1, -1, -1, 5, 7, -1, -1, 0,  // 0xEF..
        1, 1, 0, 8, 7, -1, 5, 0,  // 0xF7..
        7,  // 0xFF..
    };
    uint32_t index = static_cast<uint32_t>(cmd) - 199u;
    if (index > 56) {
        return -1;
    }
    return minimumSizes[index];
}

// ============================================================================================
// Display texts
// ============================================================================================

const char* XcpDisplayTable::textOf(int32_t value) const
{
    for (const XcpDisplayText& entry : *this) {
        if (value >= entry.first && value <= entry.last) {
            return entry.text;
        }
    }
    return fallback;
}

namespace {

template <size_t N>
constexpr XcpDisplayTable makeTable(const XcpDisplayText (&entries)[N], const char* fallback)
{
    return XcpDisplayTable{entries, N, fallback};
}

#define XCP_ONE(value, text) {XCP_Message::value, XCP_Message::value, text}

const XcpDisplayText transportTypeTexts[] = {
    XCP_ONE(TT_UNKNOWN, "UNKNOWN"),
    XCP_ONE(TT_ETHERNET, "ETH"),
    XCP_ONE(TT_CAN, "CAN"),
    XCP_ONE(TT_FLEXRAY, "FR"),
};

const XcpDisplayText msgDirectionTexts[] = {
    XCP_ONE(MD_UNKNOWN, "UNKNOWN"),
    XCP_ONE(MD_RX, "Rx"),
    XCP_ONE(MD_TX, "Tx"),
};

const XcpDisplayText identificationFieldTypeTexts[] = {
    XCP_ONE(IFT_ABSOLUTE_ODT_NUMBER, "ABSOLUTE_ODT_NUMBER"),
    XCP_ONE(IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE, "RELATIVE_ODT_ABSOLUTE_DAQ_BYTE"),
    XCP_ONE(IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD, "RELATIVE_ODT_ABSOLUTE_DAQ_WORD"),
    XCP_ONE(IFT_RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED, "RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED"),
    XCP_ONE(IFT_CTO_PACKET_CODE, "CTO_PACKET_CODE"),
};

const XcpDisplayText timestampFieldTypeTexts[] = {
    XCP_ONE(TST_NO, "NO"),
    XCP_ONE(TST_BYTE, "BYTE"),
    XCP_ONE(TST_WORD, "WORD"),
    XCP_ONE(TST_DWORD, "DWORD"),
};

// Ordered by code. 0xCC and 0xE9 are shown as existing viewers show them.
const XcpDisplayText cmdCodeTexts[] = {
    XCP_ONE(XCP_CC_DAQ_WRITE_DAQ_MULTIPLE, "WRITE_DAQ_MULTIPLE"),
    XCP_ONE(XCP_CC_PGM_PROGRAM_VERIFY, "PROGRAM_VERIFY"),
    XCP_ONE(XCP_CC_PGM_PROGRAM_MAX, "PROGRAM_MAX"),
    XCP_ONE(XCP_CC_PGM_PROGRAM_NEXT, "PROGRAM_NEXT"),
    XCP_ONE(XCP_CC_PGM_PROGRAM_FORMAT, "PROGRAM_FORMAT"),
    XCP_ONE(XCP_CC_PGM_PROGRAM_PREPARE, "PROGRAMM_PREPARE"),
    XCP_ONE(XCP_CC_PGM_GET_SECTOR_INFO, "GET_SECTOR_INFO"),
    XCP_ONE(XCP_CC_PGM_GET_PGM_PROCESSOR_INFO, "GET_PGM_PROCESSOR_INFO"),
    XCP_ONE(XCP_CC_PGM_PROGRAM_RESET, "PROGRAM_RESET"),
    XCP_ONE(XCP_CC_PGM_PROGRAM, "PROGRAM"),
    XCP_ONE(XCP_CC_PGM_PROGRAM_CLEAR, "PROGRAM_CLEAR"),
    XCP_ONE(XCP_CC_PGM_PROGRAM_START, "PROGRAM_START"),
    XCP_ONE(XCP_CC_DAQ_ALLOC_ODT_ENTRY, "ALLOC_ODT_ENTRY"),
    XCP_ONE(XCP_CC_DAQ_ALLOC_ODT, "ALLOC_ODT"),
    XCP_ONE(XCP_CC_DAQ_ALLOC_DAQ, "ALLOC_DAQ"),
    XCP_ONE(XCP_CC_DAQ_FREE_DAQ, "FREE_DAQ"),
    XCP_ONE(XCP_CC_DAQ_GET_DAQ_EVENT_INFO, "GET_DAQ_EVENT_INFO"),
    XCP_ONE(XCP_CC_DAQ_GET_DAQ_LIST_INFO, "GET_DAQ_LIST_INFO"),
    XCP_ONE(XCP_CC_DAQ_GET_DAQ_RESOLUTION_INFO, "GET_DAQ_RESOLUTION_INFO"),
    XCP_ONE(XCP_CC_DAQ_GET_DAQ_PROCESSOR_INFO, "GET_DAQ_PROCESSOR_INFO"),
    XCP_ONE(XCP_CC_DAQ_READ_DAQ, "READ_DAQ"),
    XCP_ONE(XCP_CC_DAQ_GET_DAQ_CLOCK, "GET_DAQ_CLOCK"),
    XCP_ONE(XCP_CC_DAQ_START_STOP_SYNCH, "START_STOP_SYNCH"),
    XCP_ONE(XCP_CC_DAQ_START_STOP_DAQ_LIST, "START_STOP_DAQ_LIST"),
    XCP_ONE(XCP_CC_DAQ_GET_DAQ_LIST_MODE, "GET_DAQ_LIST_MODE"),
    XCP_ONE(XCP_CC_DAQ_SET_DAQ_LIST_MODE, "SET_DAQ_LIST_MODE"),
    XCP_ONE(XCP_CC_DAQ_WRITE_DAQ, "WRITE_DAQ"),
    XCP_ONE(XCP_CC_DAQ_SET_DAQ_PTR, "SET_DAQ_PTR"),
    XCP_ONE(XCP_CC_DAQ_CLEAR_DAQ_LIST, "CLEAR_DAQ_LIST"),
    XCP_ONE(XCP_CC_PAG_COPY_CAL_PAGE, "COPY_CAL_PAGE"),
    XCP_ONE(XCP_CC_PAG_GET_SEGMENT_MODE, "GET_SEGMENT_MODE"),
    XCP_ONE(XCP_CC_PAG_SET_SEGMENT_MODE, "SET_SEGMENT_MODE"),
    XCP_ONE(XCP_CC_PAG_GET_PAGE_INFO, "GET_PAGE_INFO"),
    XCP_ONE(XCP_CC_PAG_GET_SEGMENT_INFO, "GET_SEGMENT_INFO"),
    XCP_ONE(XCP_CC_PAG_GET_PAG_PROCESSOR_INFO, "GET_PAG_PROCESSOR"),
    XCP_ONE(XCP_CC_PAG_GET_CAL_PAGE, "GET_CAL_PAGE"),
    XCP_ONE(XCP_CC_PAG_SET_CAL_PAGE, "SET_CAL_PAGE"),
    XCP_ONE(XCP_CC_CAL_MODIFY_BITS, "MODIFY_BITS"),
    XCP_ONE(XCP_CC_CAL_SHORT_DOWNLOAD, "SHORT_DOWNLOAD"),
    XCP_ONE(XCP_CC_CAL_DOWNLOAD_MAX, "DOWNLOAD_MAX"),
    XCP_ONE(XCP_CC_CAL_DOWNLOAD_NEXT, "DOWNLOAD_NEXT"),
    XCP_ONE(XCP_CC_CAL_DOWNLOAD, "DOWNLOAD"),
    XCP_ONE(XCP_CC_STD_USER_CMD, "USER_CMD"),
    XCP_ONE(XCP_CC_STD_TRANSPORT_LAYER_CMD, "TRANSPORT_LAYER_CMD"),
    XCP_ONE(XCP_CC_STD_BUILD_CHECKSUM, "BUILD_CHECKSUM"),
    XCP_ONE(XCP_CC_STD_SHORT_UPLOAD, "SHORT_UPLOAD"),
    XCP_ONE(XCP_CC_STD_UPLOAD, "UPLOAD"),
    XCP_ONE(XCP_CC_STD_SET_MTA, "SET_MTA"),
    XCP_ONE(XCP_CC_STD_UNLOCK, "UNLOCK"),
    XCP_ONE(XCP_CC_STD_GET_SEED, "GET_SEED"),
    XCP_ONE(XCP_CC_STD_SET_REQUEST, "SET_REQUEST"),
    XCP_ONE(XCP_CC_STD_GET_ID, "GET_ID"),
    XCP_ONE(XCP_CC_STD_GET_COMM_MODE_INFO, "GET_COMM_MODE_INFO"),
    XCP_ONE(XCP_CC_STD_SYNCH, "SYNCH"),
    XCP_ONE(XCP_CC_STD_GET_STATUS, "GET_STATUS"),
    XCP_ONE(XCP_CC_STD_DISCONNECT, "DISCONNECT"),
    XCP_ONE(XCP_CC_STD_CONNECT, "CONNECT"),};

// The severity classes are written with a hyphen; ERR_NOT_SET with an underscore.
const XcpDisplayText errorPacketCodeTexts[] = {
    XCP_ONE(ERR_NOT_SET, "ERR_NOT_SET"),
    XCP_ONE(ERR_CMD_SYNCH, "ERR-S0_CMD_SYNCH"),
    XCP_ONE(ERR_CMD_BUSY, "ERR-S2_CMD_BUSY"),
    XCP_ONE(ERR_DAQ_ACTIVE, "ERR-S2_DAQ_ACTIVE"),
    XCP_ONE(ERR_PGM_ACTIVE, "ERR-S2_PGM_ACTIVE"),
    XCP_ONE(ERR_CMD_UNKNOWN, "ERR-S2_CMD_UNKNOWN"),
    XCP_ONE(ERR_CMD_SYNTAX, "ERR-S2_CMD_SYNTAX"),
    XCP_ONE(ERR_OUT_OF_RANGE, "ERR-S2_OUT_OF_RANGE"),
    XCP_ONE(ERR_WRITE_PROTECTED, "ERR-S2_WRITE_PROTECTED"),
    XCP_ONE(ERR_ACCESS_DENIED, "ERR-S2_ACCESS_DENIED"),
    XCP_ONE(ERR_ACCESS_LOCKED, "ERR-S2_ACCESS_LOCKED"),
    XCP_ONE(ERR_PAGE_NOT_VALID, "ERR-S2_PAGE_NOT_VALID"),
    XCP_ONE(ERR_MODE_NOT_VALID, "ERR-S2_MODE_NOT_VALID"),
    XCP_ONE(ERR_SEGMENT_NOT_VALID, "ERR-S2_SEGMENT_NOT_VALID"),
    XCP_ONE(ERR_SEQUENCE, "ERR-S2_SEQUENCE"),
    XCP_ONE(ERR_DAQ_CONFIG, "ERR-S2_DAQ_CONFIG"),
    XCP_ONE(ERR_MEMORY_OVERFLOW, "ERR-S2_MEMORY_OVERFLOW"),
    XCP_ONE(ERR_GENERIC, "ERR-S2_GENERIC"),
    XCP_ONE(ERR_VERIFY, "ERR-S3_VERIFY"),
    XCP_ONE(ERR_RESOURCE_TMPORARY_NOT_ACCESSIBLE, "ERR-S2_RESOURCE_TMP_NOT_ACCESSIBLE"),
};

const XcpDisplayText eventPacketCodeTexts[] = {
    XCP_ONE(EV_RESUME_MODE, "EV-S0_RESUME_MODE"),
    XCP_ONE(EV_CLEAR_DAQ, "EV-S0_CLEAR_DAQ"),
    XCP_ONE(EV_STORE_DAQ, "EV-S0_STORE_DAQ"),
    XCP_ONE(EV_STORE_CAL, "EV-S0_STORE_CAL"),
    XCP_ONE(EV_CMD_PENDING, "EV-S1_CMD_PENDING"),
    XCP_ONE(EV_DAQ_OVERLOAD, "EV-S1_DAQ_OVERLOAD"),
    XCP_ONE(EV_SESSION_TERMINATED, "EV-S3_SESSION_TERMINATED"),
    XCP_ONE(EV_TIME_SYNC, "EV-S0_TIME_SYNC"),
    XCP_ONE(EV_STIM_TIMEOUT, "EV-S0-S3_STIM_TIMEOUT"),
    XCP_ONE(EV_SLEEP, "EV-S1_SLEEP"),
    XCP_ONE(EV_WAKE_UP, "EV-S1_WAKE_UP"),
    XCP_ONE(EV_USER, "EV-S0_USER"),
    XCP_ONE(EV_TRANSPORT, "EV-Sx_TRANSPORT"),
};

const XcpDisplayText serviceRequestPacketCodeTexts[] = {
    XCP_ONE(SERV_RESET, "SERV_RESET"),
    XCP_ONE(SERV_TEXT, "SERV_TEXT"),
};

// PID texts name ranges as well as single values, so that every PID byte has a text.
const XcpDisplayText slaveToMasterPidTexts[] = {
    XCP_ONE(S2M_INVALID, "INVALID"),
    XCP_ONE(S2M_PID_RES, "RES"),
    XCP_ONE(S2M_PID_ERR, "ERR"),
    XCP_ONE(S2M_PID_EV, "EV"),
    XCP_ONE(S2M_PID_SERV, "SERV"),
    {XCP_Message::S2M_PID_DAQ_FIRST, XCP_Message::S2M_PID_DAQ_LAST, "DAQ_xxx"},
};

const XcpDisplayText masterToSlavePidTexts[] = {
    XCP_ONE(M2S_INVALID, "INVALID"),
    {XCP_Message::M2S_PID_STIM_FIRST, XCP_Message::M2S_PID_STIM_LAST, "STIM_xxx"},
    {XCP_Message::M2S_PID_CMD_FIRST, XCP_Message::M2S_PID_CMD_LAST, "CMD_xxx"},
};

const XcpDisplayText packetTypeTexts[] = {
    XCP_ONE(PT_UNKNOWN, "UNKNOWN"),
    XCP_ONE(PT_CTO_CMD, "CTO_CMD"),
    XCP_ONE(PT_CTO_RES, "CTO_RES"),
    XCP_ONE(PT_CTO_ERR, "CTO_ERR"),
    XCP_ONE(PT_CTO_EV, "CTO_EV"),
    XCP_ONE(PT_CTO_SERV, "CTO_SERV"),
    XCP_ONE(PT_DTO_DAQ, "DTO_DAQ"),
    XCP_ONE(PT_DTO_STIM, "DTO_STIM"),
};

const XcpDisplayText timeUnitTexts[] = {
    XCP_ONE(TU_1NS, "1 NS"),     XCP_ONE(TU_10NS, "10 NS"),   XCP_ONE(TU_100NS, "100 NS"),
    XCP_ONE(TU_1US, "1 US"),     XCP_ONE(TU_10US, "10 US"),   XCP_ONE(TU_100US, "100 US"),
    XCP_ONE(TU_1MS, "1 MS"),     XCP_ONE(TU_10MS, "10 MS"),   XCP_ONE(TU_100MS, "100 MS"),
    XCP_ONE(TU_1S, "1 S"),       XCP_ONE(TU_1PS, "1 PS"),     XCP_ONE(TU_10PS, "10 PS"),
    XCP_ONE(TU_100PS, "100 PS"),
};

const XcpDisplayText eventChannelConsistencyTexts[] = {
    XCP_ONE(ECC_ODT, "ODT"),
    XCP_ONE(ECC_DAQ, "DAQ"),
    XCP_ONE(ECC_EVENT, "EVENT"),
};

const XcpDisplayText directionTypeTexts[] = {
    XCP_ONE(DT_DAQ, "DAQ"),
    XCP_ONE(DT_STIM, "STIM"),
    XCP_ONE(DT_BOTH, "BOTH"),
};

const XcpDisplayText addressGranularityTexts[] = {
    XCP_ONE(AG_BYTE, "BYTE"),
    XCP_ONE(AG_WORD, "WORD"),
    XCP_ONE(AG_DWORD, "DWORD"),
};

const XcpDisplayText daqConfigTypeTexts[] = {
    XCP_ONE(DCT_STATIC, "STATIC"),
    XCP_ONE(DCT_DYNAMIC, "DYNAMIC"),
};

const XcpDisplayText overloadIndicationTypeTexts[] = {
    XCP_ONE(OIT_NO, "NO"),
    XCP_ONE(OIT_PID, "PID"),
    XCP_ONE(OIT_EVENT, "EVENT"),
};

const XcpDisplayText optimisationTypeTexts[] = {
    XCP_ONE(OT_DEFAULT, "DEFAULT"),
    XCP_ONE(OT_ODT_TYPE_16, "ODT_TYPE_16"),
    XCP_ONE(OT_ODT_TYPE_32, "ODT_TYPE_32"),
    XCP_ONE(OT_ODT_TYPE_64, "ODT_TYPE_64"),
    XCP_ONE(OT_ODT_TYPE_ALIGNMENT, "ODT_TYPE_ALIGNMENT"),
    XCP_ONE(OT_MAX_ENTRY_SIZE, "MAX_ENTRY_SIZE"),
};

const XcpDisplayText addressExtensionTypeTexts[] = {
    XCP_ONE(AET_FREE, "FREE"),
    XCP_ONE(AET_ODT, "ODT"),
    XCP_ONE(AET_DAQ, "DAQ"),
};

const XcpDisplayText odtEntrySizeGranularityTexts[] = {
    XCP_ONE(OESG_BYTE, "BYTE"),
    XCP_ONE(OESG_WORD, "WORD"),
    XCP_ONE(OESG_DWORD, "DWORD"),
    XCP_ONE(OESG_DLONG, "DLONG"),
};

#undef XCP_ONE

}  // namespace

#define XCP_DISPLAY_ENUMERATION(Enum, texts, fallback)                           \
    template <>                                                                  \
    const XcpDisplayTable& xcpDisplayTable<XCP_Message::Enum>()                  \
    {                                                                            \
        static const XcpDisplayTable table = makeTable(texts, fallback);         \
        return table;                                                            \
    }                                                                            \
    std::ostream& operator<<(std::ostream& _os, XCP_Message::Enum _in)           \
    {                                                                            \
        return _os << xcpDisplayTable<XCP_Message::Enum>().textOf(_in);          \
    }

XCP_DISPLAY_ENUMERATION(transportType_t, transportTypeTexts, "invalid transport type")
XCP_DISPLAY_ENUMERATION(msgDirection_t, msgDirectionTexts, "invalid msg direction")
XCP_DISPLAY_ENUMERATION(identificationFieldType_t, identificationFieldTypeTexts, "invalid type")
XCP_DISPLAY_ENUMERATION(timestampFieldType_t, timestampFieldTypeTexts, "invalid type")
XCP_DISPLAY_ENUMERATION(cmdCode_t, cmdCodeTexts, "invalid command code")
XCP_DISPLAY_ENUMERATION(errorPacketCode_t, errorPacketCodeTexts, "invalid error code")
XCP_DISPLAY_ENUMERATION(eventPacketCode_t, eventPacketCodeTexts, "invalid event code")
XCP_DISPLAY_ENUMERATION(serviceRequestPacketCode_t, serviceRequestPacketCodeTexts, "invalid service request code")
XCP_DISPLAY_ENUMERATION(slaveToMasterPid_t, slaveToMasterPidTexts, "invalid S2M PID")
XCP_DISPLAY_ENUMERATION(masterToSlavePid_t, masterToSlavePidTexts, "invalid M2S PID")
XCP_DISPLAY_ENUMERATION(packetType_t, packetTypeTexts, "invalid packet type")
XCP_DISPLAY_ENUMERATION(timeUnit_t, timeUnitTexts, "invalid time unit")
XCP_DISPLAY_ENUMERATION(eventChannelConsistency_t, eventChannelConsistencyTexts, "invalid consistency")
XCP_DISPLAY_ENUMERATION(directionType_t, directionTypeTexts, "invalid type")
XCP_DISPLAY_ENUMERATION(addressGranularity_t, addressGranularityTexts, "invalid type")
XCP_DISPLAY_ENUMERATION(daqConfigType_t, daqConfigTypeTexts, "invalid type")
XCP_DISPLAY_ENUMERATION(overloadIndicationType_t, overloadIndicationTypeTexts, "invalid type")
XCP_DISPLAY_ENUMERATION(optimisationType_t, optimisationTypeTexts, "invalid type")
XCP_DISPLAY_ENUMERATION(addressExtensionType_t, addressExtensionTypeTexts, "invalid type")
XCP_DISPLAY_ENUMERATION(odtEntrySizeGranularity_t, odtEntrySizeGranularityTexts, "invalid type")

#undef XCP_DISPLAY_ENUMERATION

// ============================================================================================
// Rendering
// ============================================================================================

namespace {

/// Writes `_info`, then the bytes as two lower-case hex digits each, blank-separated, or
/// "Empty". Replaces the stream's format flags, so it is only given a scratch stream.
void dumpData(std::ostringstream& _os, const byteVec_t& _vec, const std::string& _info)
{
    _os << _info;
    _os.flags(std::ios_base::fixed);
    _os.fill('0');
    if (_vec.empty()) {
        _os << "Empty";
        return;
    }
    for (size_t i = 0; i < _vec.size(); ++i) {
        if (i > 0) {
            _os << " ";
        }
        _os.width(2);
        _os << std::hex << static_cast<int>(_vec[i]);
    }
}

/// Dumps into a scratch stream and writes the text into the caller's stream as one string,
/// leaving the caller's format untouched.
void writeDump(std::ostream& _os, const byteVec_t& _vec, const std::string& _info)
{
    std::ostringstream scratch;
    dumpData(scratch, _vec, _info);
    _os << scratch.str();
}

void writeOnOffPiece(std::ostream& _os, const char* label, bool active, const byteVec_t& data)
{
    _os << label;
    if (active) {
        _os << "on, ";
        writeDump(_os, data, "Data=");
    } else {
        _os << "off";
    }
    _os << "]";
}

}  // namespace

std::ostream& operator<<(std::ostream& _os, const XCP_Message::Packet::IdentificationField& _in)
{
    // Fill and base are left as set here on purpose: the summary line's port depends on it.
    _os << "ID Field[" << "Type=" << _in.getType() << ", ";
    _os << "PID=0x";
    _os.fill('0');
    _os.width(2);
    _os << std::hex << static_cast<int>(_in.pid);
    switch (_in.getType()) {
    case XCP_Message::IFT_ABSOLUTE_ODT_NUMBER:
        _os << ", FIRST_PID=0x";
        _os.fill('0');
        _os.width(2);
        _os << std::hex << static_cast<int>(_in.firstPid);
        _os << ", DAQ=" << std::dec << static_cast<unsigned>(_in.getDaqNo());
        break;
    case XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE:
    case XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD:
    case XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED:
        _os << ", DAQ=" << std::dec << static_cast<unsigned>(_in.getDaqNo());
        break;
    default:
        break;
    }
    return _os << "]";
}

std::ostream& operator<<(std::ostream& _os, const XCP_Message::Packet::TimestampField& _in)
{
    _os << "TS Field[" << "Type=" << _in.getType();
    if (_in.getType() != XCP_Message::TST_NO) {
        writeDump(_os, _in.getTimestamp(), ", Timestamp=");
    }
    return _os << "]";
}

std::ostream& operator<<(std::ostream& _os, const XCP_Message::Packet::DataField& _in)
{
    _os << "Data Field[";
    writeDump(_os, _in.data, "Data=");
    return _os << "]";
}

std::ostream& operator<<(std::ostream& _os, const XCP_Message::Packet& _in)
{
    return _os << "PACKET[" << _in.identificationField << "; " << _in.timestampField << "; " << _in.dataField
               << "]";
}

std::ostream& operator<<(std::ostream& _os, const XCP_Message::Header& _in)
{
    writeOnOffPiece(_os, "HEADER[", _in.isActive(), _in.getData());
    return _os;
}

std::ostream& operator<<(std::ostream& _os, const XCP_Message::Tail& _in)
{
    writeOnOffPiece(_os, "TAIL[", _in.isActive(), _in.data);
    return _os;
}

namespace {

/// The summary line built from separate stream insertions into the caller's stream: the
/// reference for every stream state, and the path for streams whose state the line depends on.
std::ostream& writeLineByInsertions(std::ostream& _os, const XCP_Message& _in)
{
    _os << static_cast<const MessageBase&>(_in);
    _os << "  XCP " << _in.transportType << " " << _in.msgDirection << " ";
    // Pads so that the bar stands in one column for the three real transports.
    switch (_in.transportType) {
    case XCP_Message::TT_ETHERNET:
    case XCP_Message::TT_CAN:
        _os << " ";
        break;
    case XCP_Message::TT_FLEXRAY:
        _os << "  ";
        break;
    default:
        break;
    }
    _os << "| ECU[" << std::dec << (_in.ecuId + 1) << "], ";
    // The packet type is asked for twice; its diagnostic lines appear twice per line.
    _os << "[" << _in.getPacketType() << "(";
    if (_in.getPacketType() == XCP_Message::PT_CTO_CMD) {
        _os << static_cast<XCP_Message::cmdCode_t>(_in.packet.identificationField.pid);
    }
    _os << ")]; ";
    _os << _in.header << "; ";
    _os << _in.packet;
    _os << "; " << _in.tail;
    if (_in.transportType == XCP_Message::TT_CAN) {
        _os << "; CAN[Id=0x" << std::hex << _in.canId << std::dec << ", Type=" << std::dec << _in.canType
            << ", Ch=" << (_in.canChannel + 1) << "]";
    } else if (_in.transportType == XCP_Message::TT_ETHERNET) {
        // The port is written in whatever base the identification field left behind:
        // hexadecimal after a CTO, decimal after a DAQ packet. Existing viewers show it so.
        _os << "; ETH[Dst=" << _in.dstIp << ", Src=" << _in.srcIp << ", Mask=" << _in.mask
            << ", Port=" << _in.port << (_in.tcp ? ", TCP]" : ", UDP]");
    }
    return _os;
}

// ---- the line formatted at once -------------------------------------------------------------
// Printing is the hot path of trace viewers. For the usual stream (no width pending, none of the
// flags that change how the line's numbers look, classic locales) the line is formatted into a
// local buffer and written with one call; the stream is then left with the fill and base the
// separate insertions would have left.

/// A display text with its length.
struct Text {
    const char* characters;
    size_t size;
};

Text textOf(const char* characters)
{
    return {characters, std::strlen(characters)};
}

/// The display texts of the values First..Last of an enumeration, looked up by index; other
/// values are looked up in the enumeration's table as its stream operator does.
template <typename Enum, int32_t First, int32_t Last>
class IndexedTexts {
public:
    IndexedTexts()
    {
        for (int32_t value = First; value <= Last; ++value) {
            texts_[static_cast<size_t>(value - First)] = textOf(xcpDisplayTable<Enum>().textOf(value));
        }
    }

    Text operator[](int32_t value) const
    {
        if (value >= First && value <= Last) {
            return texts_[static_cast<size_t>(value - First)];
        }
        return textOf(xcpDisplayTable<Enum>().textOf(value));
    }

private:
    std::array<Text, static_cast<size_t>(Last - First + 1)> texts_{};
};

/// How the library's cantype_t rendering writes the four CAN frame types.
class CanTypeTexts {
public:
    static constexpr int32_t count = 4;

    CanTypeTexts()
    {
        for (int32_t value = 0; value < count; ++value) {
            std::ostringstream text;
            text << static_cast<cantype_t>(value);
            texts_[static_cast<size_t>(value)] = text.str();
        }
    }

    static bool covers(cantype_t type) { return static_cast<uint32_t>(type) < static_cast<uint32_t>(count); }
    const std::string& operator[](cantype_t type) const { return texts_[static_cast<size_t>(type)]; }

private:
    std::array<std::string, count> texts_;
};

struct LineTexts {
    IndexedTexts<XCP_Message::transportType_t, XCP_Message::TT_UNKNOWN, XCP_Message::TT_FLEXRAY> transport;
    IndexedTexts<XCP_Message::msgDirection_t, XCP_Message::MD_UNKNOWN, XCP_Message::MD_TX> direction;
    IndexedTexts<XCP_Message::packetType_t, XCP_Message::PT_UNKNOWN, XCP_Message::PT_DTO_STIM> packetType;
    IndexedTexts<XCP_Message::cmdCode_t, XCP_Message::M2S_PID_CMD_FIRST, XCP_Message::M2S_PID_CMD_LAST> command;
    IndexedTexts<XCP_Message::identificationFieldType_t, XCP_Message::IFT_ABSOLUTE_ODT_NUMBER,
                 XCP_Message::IFT_CTO_PACKET_CODE>
        identificationType;
    IndexedTexts<XCP_Message::timestampFieldType_t, XCP_Message::TST_NO, XCP_Message::TST_DWORD> timestampType;
    CanTypeTexts canType;
};

const LineTexts& lineTexts()
{
    static const LineTexts texts;
    return texts;
}

/// Two lower-case hex digits and a blank for every byte value, four bytes per entry so that
/// an entry is copied with one store.
struct HexPairs {
    char entries[256][4];

    constexpr HexPairs() : entries()
    {
        const char digits[] = "0123456789abcdef";
        for (int value = 0; value < 256; ++value) {
            entries[value][0] = digits[value >> 4];
            entries[value][1] = digits[value & 0xF];
            entries[value][2] = ' ';
            entries[value][3] = ' ';
        }
    }
};

constexpr HexPairs hexPairs;

/// "00" to "99", for writing decimal numbers two digits at a time.
struct DecimalPairs {
    char digits[200];

    constexpr DecimalPairs() : digits()
    {
        for (int value = 0; value < 100; ++value) {
            digits[2 * value] = static_cast<char>('0' + value / 10);
            digits[2 * value + 1] = static_cast<char>('0' + value % 10);
        }
    }
};

constexpr DecimalPairs decimalPairs;

/// Writes into a buffer that the caller has sized for the whole line.
class LineWriter {
public:
    explicit LineWriter(char* buffer) : start_(buffer), out_(buffer) {}

    template <size_t N>
    void literal(const char (&text)[N])
    {
        std::memcpy(out_, text, N - 1);
        out_ += N - 1;
    }
    void character(char c) { *out_++ = c; }
    void text(Text value) { bytes(value.characters, value.size); }
    void text(const std::string& value) { bytes(value.data(), value.size()); }

    void decimal(uint64_t value)
    {
        char digits[20];
        char* first = digits + sizeof digits;
        while (value >= 100) {
            first -= 2;
            std::memcpy(first, decimalPairs.digits + 2 * (value % 100), 2);
            value /= 100;
        }
        if (value >= 10) {
            first -= 2;
            std::memcpy(first, decimalPairs.digits + 2 * value, 2);
        } else {
            *--first = static_cast<char>('0' + value);
        }
        bytes(first, static_cast<size_t>(digits + sizeof digits - first));
    }

    /// Exactly nine digits, with leading zeros.
    void nineDigits(uint32_t value)
    {
        char* last = out_ + 9;
        for (int pair = 0; pair < 4; ++pair) {
            last -= 2;
            std::memcpy(last, decimalPairs.digits + 2 * (value % 100), 2);
            value /= 100;
        }
        *--last = static_cast<char>('0' + value);
        out_ += 9;
    }

    /// Lower-case hex digits without leading zeros ("0" for zero).
    void hex(uint32_t value)
    {
        char digits[8];
        char* first = digits + sizeof digits;
        do {
            *--first = hexPairs.entries[value & 0xF][1];
            value >>= 4;
        } while (value != 0);
        bytes(first, static_cast<size_t>(digits + sizeof digits - first));
    }

    void hexPair(uint8_t value)
    {
        std::memcpy(out_, hexPairs.entries[value], 2);
        out_ += 2;
    }

    /// The bytes as blank-separated pairs of lower-case hex digits, or "Empty"; what the
    /// dump of a scratch stream gives.
    void dump(const byteVec_t& values)
    {
        if (values.empty()) {
            literal("Empty");
            return;
        }
        const uint8_t* value = values.data();
        const uint8_t* end = value + values.size();
        char* out = out_;
        for (; value != end; ++value) {
            std::memcpy(out, hexPairs.entries[*value], 4);
            out += 3;
        }
        out_ = out - 1;  // without the blank after the last pair
    }

    /// Room that dump() needs, including the byte it may store past the text.
    static size_t dumpRoom(const byteVec_t& values) { return 3 * values.size() + 6; }

    const char* data() const { return start_; }
    size_t size() const { return static_cast<size_t>(out_ - start_); }

private:
    void bytes(const char* characters, size_t count)
    {
        std::memcpy(out_, characters, count);
        out_ += count;
    }

    char* start_;
    char* out_;
};

bool isDaqIdentification(XCP_Message::identificationFieldType_t type)
{
    switch (type) {
    case XCP_Message::IFT_ABSOLUTE_ODT_NUMBER:
    case XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE:
    case XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD:
    case XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED:
        return true;
    default:
        return false;
    }
}

/// True when formatting the line at once gives exactly what the separate insertions give:
/// - no width pending (it would pad the first insertion after the time stamp);
/// - none of the flags that change how the line's integers look (sign, base prefix, upper
///   case, adjustment of the zero-padded PIDs), nor unit buffering, nor a tied stream, nor
///   exceptions, nor an error state, which make the number and moment of the stream's
///   flushes and failures depend on the single insertions;
/// - the packet-type query writes no diagnostic line: on a shared terminal that line shows
///   in the middle of the printed text, after the separate insertions before it;
/// - a CAN frame type that the library names;
/// - classic locales, for the caller's stream (digits of the numbers) and the global one
///   (the scratch streams of the hex dumps).
bool lineCanBeWrittenAtOnce(const std::ostream& _os, const XCP_Message& _in)
{
    const std::ios_base::fmtflags lineDependsOn = std::ios_base::showpos | std::ios_base::showbase |
                                                  std::ios_base::uppercase | std::ios_base::left |
                                                  std::ios_base::internal | std::ios_base::unitbuf;
    if (!_os.good() || _os.width() != 0 || (_os.flags() & lineDependsOn) != 0 ||
        _os.exceptions() != std::ios_base::goodbit || _os.tie() != nullptr) {
        return false;
    }
    const bool quietClassification =
        _in.msgDirection == XCP_Message::MD_RX ||
        (_in.msgDirection == XCP_Message::MD_TX && _in.packet.identificationField.pid >= XCP_Message::M2S_PID_CMD_FIRST);
    if (!quietClassification) {
        return false;
    }
    if (_in.transportType == XCP_Message::TT_CAN && !CanTypeTexts::covers(_in.canType)) {
        return false;
    }
    const std::locale& classic = std::locale::classic();
    return _os.getloc() == classic && std::locale() == classic;
}

/// The line of writeLineByInsertions, formatted into one buffer and written with one call.
std::ostream& writeLineAtOnce(std::ostream& _os, const XCP_Message& _in)
{
    const LineTexts& texts = lineTexts();
    const XCP_Message::Packet::IdentificationField& id = _in.packet.identificationField;
    const XCP_Message::Packet::TimestampField& timestamp = _in.packet.timestampField;
    const XCP_Message::Header& header = _in.header;
    const XCP_Message::Tail& tail = _in.tail;

    // The packet type is asked for twice, as by the separate insertions.
    const Text packetType = texts.packetType[_in.getPacketType()];
    const bool command = _in.getPacketType() == XCP_Message::PT_CTO_CMD;
    const Text commandName = command ? texts.command[id.pid] : Text{"", 0};
    const Text transport = texts.transport[_in.transportType];
    const Text direction = texts.direction[_in.msgDirection];
    const Text identificationType = texts.identificationType[id.getType()];
    const Text timestampType = texts.timestampType[timestamp.getType()];
    const bool can = _in.transportType == XCP_Message::TT_CAN;
    const bool ethernet = _in.transportType == XCP_Message::TT_ETHERNET;
    const bool daq = isDaqIdentification(id.getType());

    // Literals and numbers take less than 320 characters; the rest is counted.
    size_t room = 320 + packetType.size + commandName.size + transport.size + direction.size +
                  identificationType.size + timestampType.size + LineWriter::dumpRoom(header.getData()) +
                  LineWriter::dumpRoom(timestamp.getTimestamp()) + LineWriter::dumpRoom(_in.packet.dataField.data) +
                  LineWriter::dumpRoom(tail.data);
    if (can) {
        room += texts.canType[_in.canType].size();
    } else if (ethernet) {
        room += _in.dstIp.size() + _in.srcIp.size() + _in.mask.size();
    }
    char local[2048];
    std::unique_ptr<char[]> large;
    char* buffer = local;
    if (room > sizeof local) {
        large.reset(new char[room]);
        buffer = large.get();
    }
    LineWriter line(buffer);

    // The base rendering: seconds, a point and nine decimals.
    const timeStamp_t time = _in.getTimeStamp();
    line.decimal(time / 1000000000u);
    line.character('.');
    line.nineDigits(static_cast<uint32_t>(time % 1000000000u));

    line.literal("  XCP ");
    line.text(transport);
    line.character(' ');
    line.text(direction);
    line.character(' ');
    if (can || ethernet) {
        line.character(' ');
    } else if (_in.transportType == XCP_Message::TT_FLEXRAY) {
        line.literal("  ");
    }
    line.literal("| ECU[");
    line.decimal(static_cast<unsigned>(_in.ecuId) + 1);
    line.literal("], [");
    line.text(packetType);
    line.character('(');
    line.text(commandName);
    line.literal(")]; ");

    if (header.isActive()) {
        line.literal("HEADER[on, Data=");
        line.dump(header.getData());
        line.character(']');
    } else {
        line.literal("HEADER[off]");
    }

    line.literal("; PACKET[ID Field[Type=");
    line.text(identificationType);
    line.literal(", PID=0x");
    line.hexPair(id.pid);
    if (id.getType() == XCP_Message::IFT_ABSOLUTE_ODT_NUMBER) {
        line.literal(", FIRST_PID=0x");
        line.hexPair(id.firstPid);
    }
    if (daq) {
        line.literal(", DAQ=");
        line.decimal(id.getDaqNo());
    }
    line.literal("]; TS Field[Type=");
    line.text(timestampType);
    if (timestamp.getType() != XCP_Message::TST_NO) {
        line.literal(", Timestamp=");
        line.dump(timestamp.getTimestamp());
    }
    line.literal("]; Data Field[Data=");
    line.dump(_in.packet.dataField.data);
    line.literal("]]; ");

    if (tail.isActive()) {
        line.literal("TAIL[on, Data=");
        line.dump(tail.data);
        line.character(']');
    } else {
        line.literal("TAIL[off]");
    }

    if (can) {
        line.literal("; CAN[Id=0x");
        line.hex(_in.canId);
        line.literal(", Type=");
        line.text(texts.canType[_in.canType]);
        line.literal(", Ch=");
        line.decimal(static_cast<unsigned>(_in.canChannel) + 1);
        line.character(']');
    } else if (ethernet) {
        line.literal("; ETH[Dst=");
        line.text(_in.dstIp);
        line.literal(", Src=");
        line.text(_in.srcIp);
        line.literal(", Mask=");
        line.text(_in.mask);
        line.literal(", Port=");
        // In the base the identification field leaves behind, as in the separate insertions.
        if (daq) {
            line.decimal(_in.port);
        } else {
            line.hex(_in.port);
        }
        if (_in.tcp) {
            line.literal(", TCP]");
        } else {
            line.literal(", UDP]");
        }
    }

    _os.write(line.data(), static_cast<std::streamsize>(line.size()));
    // The state the separate insertions leave: fill '0' from the identification field, the
    // base it set, or decimal after the CAN settings.
    _os.fill('0');
    _os.setf(can || daq ? std::ios_base::dec : std::ios_base::hex, std::ios_base::basefield);
    return _os;
}

}  // namespace

std::ostream& operator<<(std::ostream& _os, const XCP_Message& _in)
{
    if (lineCanBeWrittenAtOnce(_os, _in)) {
        return writeLineAtOnce(_os, _in);
    }
    return writeLineByInsertions(_os, _in);
}

std::ostream& XCP_Message::print(std::ostream& _os) const
{
    return _os << *this;
}
