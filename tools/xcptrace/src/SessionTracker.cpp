#include "SessionTracker.h"

#include <algorithm>
#include <cstdio>

namespace xcptrace {

namespace {

constexpr uint8_t MODE_TIMESTAMP = 0x10;
constexpr uint8_t COMM_MODE_BIG_ENDIAN = 0x01;
constexpr uint8_t TIMESTAMP_MODE_FIXED = 0x08;

uint64_t numberOf(const uint8_t* bytes, size_t count, bool bigEndian)
{
    uint64_t value = 0;
    for (size_t i = 0; i < count; ++i) {
        size_t index = bigEndian ? i : count - 1 - i;
        value = (value << 8) | bytes[index];
    }
    return value;
}

XCP_Message::timestampFieldType_t timestampType(uint8_t size)
{
    switch (size) {
    case 1:
        return XCP_Message::TST_BYTE;
    case 2:
        return XCP_Message::TST_WORD;
    case 4:
        return XCP_Message::TST_DWORD;
    default:
        return XCP_Message::TST_NO;
    }
}

const char* idTypeName(XCP_Message::identificationFieldType_t type)
{
    return xcpDisplayTable<XCP_Message::identificationFieldType_t>().textOf(type);
}

}  // namespace

// ---- DaqListIndex ------------------------------------------------------------------------------

int32_t DaqListIndex::find(uint16_t list) const
{
    if (list < low_.size()) {
        return low_[list];
    }
    auto found = high_.find(list);
    return found == high_.end() ? -1 : found->second;
}

int32_t DaqListIndex::slot(uint16_t list)
{
    int32_t known = find(list);
    if (known >= 0) {
        return known;
    }
    if (lists_.size() >= LIMIT) {
        return -1;
    }
    int32_t made = static_cast<int32_t>(lists_.size());
    lists_.push_back(list);
    if (list < low_.size()) {
        low_[list] = made;
    } else {
        high_.emplace(list, made);
    }
    return made;
}

void DaqListIndex::clear()
{
    low_.fill(-1);
    high_.clear();
    lists_.clear();
}

// ---- SessionTracker ------------------------------------------------------------------------------

SessionTracker::SessionTracker(const SessionAssumptions& assumptions, std::ostream& notes)
    : assumptions_(assumptions), notes_(notes)
{
}

size_t SessionTracker::idFieldSize(XCP_Message::identificationFieldType_t type)
{
    switch (type) {
    case XCP_Message::IFT_ABSOLUTE_ODT_NUMBER:
        return 1;
    case XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE:
        return 2;
    case XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD:
        return 3;
    case XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED:
        return 4;
    default:
        return 0;
    }
}

EcuSession& SessionTracker::sessionOf(uint8_t ecu)
{
    std::unique_ptr<EcuSession>& session = sessions_[ecu];
    if (!session) {
        session.reset(new EcuSession());
    }
    return *session;
}

bool SessionTracker::bigEndian(const EcuSession& session) const
{
    return session.connected ? session.bigEndian : assumptions_.bigEndian;
}

uint16_t SessionTracker::word(const EcuSession& session, const uint8_t* bytes) const
{
    return static_cast<uint16_t>(numberOf(bytes, 2, bigEndian(session)));
}

void SessionTracker::process(DecodedPacket& packet)
{
    XCP_Message& message = packet.message;
    uint8_t ecu = message.getEcuId();
    EcuSession& session = sessionOf(ecu);
    uint8_t pid = message.packet.identificationField.pid;
    switch (message.getMsgDirection()) {
    case XCP_Message::MD_TX:
        // Counters may start again at a CONNECT: that is no loss.
        countCtr(session, packet, pid == XCP_Message::XCP_CC_STD_CONNECT);
        if (pid >= XCP_Message::M2S_PID_CMD_FIRST) {
            command(session, message);
        }
        return;
    case XCP_Message::MD_RX:
        break;
    default:
        return;
    }
    bool answer = pid == XCP_Message::S2M_PID_RES || pid == XCP_Message::S2M_PID_ERR;
    countCtr(session, packet, answer && session.pendingCommand == XCP_Message::XCP_CC_STD_CONNECT);
    if (answer) {
        packet.session.answeredCommand = session.pendingCommand;
        if (pid == XCP_Message::S2M_PID_RES && session.pendingCommand >= 0) {
            positiveResponse(session, ecu, message);
        }
        session.pendingCommand = -1;
    } else if (pid != XCP_Message::S2M_PID_EV && pid != XCP_Message::S2M_PID_SERV) {
        decodeDaq(session, packet);
    }
}

void SessionTracker::countCtr(EcuSession& session, DecodedPacket& packet, bool restart)
{
    uint16_t ctr = 0;
    if (!packet.message.header.getCTR(ctr)) {
        return;  // XCP on CAN has no counter
    }
    int side = packet.message.getMsgDirection() == XCP_Message::MD_TX ? 0 : 1;
    if (session.haveCtr[side] && !restart) {
        packet.session.lostBefore = static_cast<uint16_t>(ctr - session.lastCtr[side] - 1);
    }
    session.haveCtr[side] = true;
    session.lastCtr[side] = ctr;
}

void SessionTracker::command(EcuSession& session, const XCP_Message& message)
{
    const byteVec_t& data = message.packet.dataField.data;
    session.pendingCommand = message.packet.identificationField.pid;
    size_t count = std::min(data.size(), sizeof session.commandBytes);
    std::copy(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(count), session.commandBytes);
    session.commandLength = static_cast<uint8_t>(count);
}

DaqListConfig* SessionTracker::configOf(EcuSession& session, uint16_t list)
{
    int32_t slot = session.lists.slot(list);
    if (slot < 0) {
        return nullptr;
    }
    if (static_cast<size_t>(slot) >= session.listConfig.size()) {
        session.listConfig.resize(static_cast<size_t>(slot) + 1);
    }
    return &session.listConfig[static_cast<size_t>(slot)];
}

void SessionTracker::forgetDaqLists(EcuSession& session)
{
    session.lists.clear();
    session.listConfig.clear();
    session.pidSlotsStale = true;
}

void SessionTracker::positiveResponse(EcuSession& session, uint8_t ecu, const XCP_Message& message)
{
    const byteVec_t& data = message.packet.dataField.data;  // the bytes after 0xFF
    const uint8_t* command = session.commandBytes;
    switch (session.pendingCommand) {
    case XCP_Message::XCP_CC_STD_CONNECT:
        // RESOURCE, COMM_MODE_BASIC, MAX_CTO, MAX_DTO (word); the protocol and transport
        // layer versions may follow.
        if (data.size() >= 5) {
            session.connected = true;
            ++session.connects;
            session.bigEndian = (data[1] & COMM_MODE_BIG_ENDIAN) != 0;
            session.maxCto = data[2];
            session.maxDto = word(session, &data[3]);
            // A new connection configures its DAQ lists again; what the slave is
            // (identification field, time stamps) it keeps until asked again.
            forgetDaqLists(session);
        }
        break;
    case XCP_Message::XCP_CC_DAQ_GET_DAQ_PROCESSOR_INFO:
        // DAQ_PROPERTIES, MAX_DAQ (word), MAX_EVENT_CHANNEL (word), MIN_DAQ, DAQ_KEY_BYTE.
        if (data.size() >= 7) {
            session.idTypeKnown = true;
            session.idType = static_cast<XCP_Message::identificationFieldType_t>(data[6] >> 6);
        }
        break;
    case XCP_Message::XCP_CC_DAQ_GET_DAQ_RESOLUTION_INFO:
        // Granularity and maximum entry size for DAQ and STIM, TIMESTAMP_MODE,
        // TIMESTAMP_TICKS (word).
        if (data.size() >= 7) {
            uint8_t mode = data[4];
            uint8_t size = mode & 0x07;
            session.timestampKnown = true;
            session.timestampFixed = (mode & TIMESTAMP_MODE_FIXED) != 0;
            session.timestampUnit = static_cast<uint8_t>(mode >> 4);
            session.timestampTicks = word(session, &data[5]);
            if (size == 0 || size == 1 || size == 2 || size == 4) {
                session.timestampSize = size;
            } else {
                session.timestampSize = 0;
                if (note(session, ecu, NOTE_TIMESTAMP_SIZE)) {
                    notes_ << "GET_DAQ_RESOLUTION_INFO's response gives a time-stamp size of " << unsigned(size)
                           << " bytes, which XCP does not have: DAQ time stamps are not decoded\n";
                    notes_.flush();
                }
            }
        }
        break;
    case XCP_Message::XCP_CC_DAQ_SET_DAQ_LIST_MODE:
        // MODE, DAQ list (word), event channel (word), prescaler, priority.
        if (session.commandLength >= 3) {
            if (DaqListConfig* config = configOf(session, word(session, command + 1))) {
                config->timestamps = (command[0] & MODE_TIMESTAMP) != 0 ? 1 : 0;
            }
        }
        break;
    case XCP_Message::XCP_CC_DAQ_START_STOP_DAQ_LIST:
        // Mode, DAQ list (word); the response holds FIRST_PID.
        if (session.commandLength >= 3 && !data.empty()) {
            if (DaqListConfig* config = configOf(session, word(session, command + 1))) {
                config->firstPid = data[0];
                session.pidSlotsStale = true;
            }
        }
        break;
    case XCP_Message::XCP_CC_DAQ_ALLOC_ODT:
        // Reserved, DAQ list (word), ODT count.
        if (session.commandLength >= 4) {
            if (DaqListConfig* config = configOf(session, word(session, command + 1))) {
                config->odtCount = command[3];
                session.pidSlotsStale = true;
            }
        }
        break;
    case XCP_Message::XCP_CC_DAQ_FREE_DAQ:
        forgetDaqLists(session);
        break;
    default:
        break;
    }
}

int32_t SessionTracker::listSlotOfPid(EcuSession& session, uint8_t pid)
{
    if (session.pidSlotsStale) {
        // Each list holds the PIDs from its FIRST_PID on: as many as it has ODTs, or up to
        // the next list's FIRST_PID when its ODT count was not seen.
        session.pidSlot.fill(-1);
        std::vector<std::pair<int, int32_t>> starts;
        for (size_t slot = 0; slot < session.listConfig.size(); ++slot) {
            if (session.listConfig[slot].firstPid >= 0) {
                starts.emplace_back(session.listConfig[slot].firstPid, static_cast<int32_t>(slot));
            }
        }
        std::sort(starts.begin(), starts.end());
        for (size_t i = 0; i < starts.size(); ++i) {
            int begin = starts[i].first;
            int count = session.listConfig[static_cast<size_t>(starts[i].second)].odtCount;
            int end = count >= 0 ? begin + count : (i + 1 < starts.size() ? starts[i + 1].first : 256);
            for (int p = begin; p < end && p < 256; ++p) {
                session.pidSlot[static_cast<size_t>(p)] = starts[i].second;
            }
        }
        session.pidSlotsStale = false;
    }
    return session.pidSlot[pid];
}

void SessionTracker::decodeDaq(EcuSession& session, DecodedPacket& packet)
{
    XCP_Message& message = packet.message;
    XCP_Message::Packet::IdentificationField& id = message.packet.identificationField;
    SessionInfo& info = packet.session;
    uint8_t ecu = message.getEcuId();
    if (id.getType() != XCP_Message::IFT_CTO_PACKET_CODE) {
        takeStoredDaq(session, packet);
        return;
    }
    XCP_Message::identificationFieldType_t type;
    if (session.idTypeKnown) {
        type = session.idType;
    } else if (assumptions_.idTypeGiven) {
        type = assumptions_.idType;
    } else {
        info.daq = SessionInfo::Daq::NO_CONFIGURATION;
        if (note(session, ecu, NOTE_NO_CONFIGURATION)) {
            notes_ << "DAQ packets before the session's DAQ configuration (no response to "
                      "GET_DAQ_PROCESSOR_INFO seen) are shown as captured; --daq-id-type and "
                      "--daq-timestamp-size say how to decode them\n";
            notes_.flush();
        }
        return;
    }
    byteVec_t& data = message.packet.dataField.data;
    size_t idSize = idFieldSize(type);
    if (data.size() + 1 < idSize) {
        info.daq = SessionInfo::Daq::SHORT_FOR_ID;
        if (note(session, ecu, NOTE_SHORT_FOR_ID)) {
            notes_ << "a DAQ packet of " << data.size() + 1 << (data.empty() ? " byte" : " bytes")
                   << " is too short for its identification field (" << idTypeName(type) << ", " << idSize
                   << " bytes); such packets are shown as captured\n";
            notes_.flush();
        }
        return;
    }

    uint8_t pid = id.pid;
    uint16_t list = 0;
    int odt = pid;
    const DaqListConfig* config = nullptr;
    uint8_t firstPid = 0;
    if (type == XCP_Message::IFT_ABSOLUTE_ODT_NUMBER) {
        int32_t slot = listSlotOfPid(session, pid);
        if (slot < 0) {
            info.daq = SessionInfo::Daq::UNKNOWN_PID;
            if (note(session, ecu, NOTE_UNKNOWN_PID)) {
                char text[8];
                std::snprintf(text, sizeof text, "0x%02x", pid);
                notes_ << "the DAQ packet with PID " << text
                       << " belongs to no DAQ list whose FIRST_PID is known (from START_STOP_DAQ_LIST); such "
                          "packets are shown as captured\n";
                notes_.flush();
            }
            return;
        }
        config = &session.listConfig[static_cast<size_t>(slot)];
        list = session.lists.listAt(static_cast<size_t>(slot));
        firstPid = static_cast<uint8_t>(config->firstPid);
        odt = pid - firstPid;
    } else {
        switch (type) {
        case XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE:
            list = data[0];
            break;
        case XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD:
            list = word(session, &data[0]);
            break;
        default:  // aligned: a fill byte before the word
            list = word(session, &data[1]);
            break;
        }
        int32_t slot = session.lists.find(list);
        if (slot >= 0 && static_cast<size_t>(slot) < session.listConfig.size()) {
            config = &session.listConfig[static_cast<size_t>(slot)];
        }
    }

    // The time stamp follows the identification field in the first ODT of a list that
    // carries time stamps: every list when they are FIXED, else as SET_DAQ_LIST_MODE set
    // it; for a list whose mode was not seen, as --daq-timestamp-size says.
    uint8_t timestampSize = 0;
    bool assumed = !session.idTypeKnown || !session.connected;
    if (odt == 0) {
        bool modeUnknown = config == nullptr || config->timestamps < 0;
        bool settled = session.timestampKnown && (session.timestampFixed || session.timestampSize == 0);
        bool carries = (session.timestampKnown && session.timestampFixed) || (config != nullptr && config->timestamps == 1) ||
                       (modeUnknown && assumptions_.timestampSizeGiven);
        uint8_t size = session.timestampKnown ? session.timestampSize
                                              : (assumptions_.timestampSizeGiven ? assumptions_.timestampSize : 0);
        if (carries) {
            timestampSize = size;
        }
        assumed = assumed || !session.timestampKnown || (modeUnknown && !settled);
    }
    if (assumed && note(session, ecu, NOTE_ASSUMED)) {
        notes_ << "DAQ packets before the session's configuration: assuming " << assumedText(session) << "\n";
        notes_.flush();
    }

    size_t idBytesAfterPid = idSize - 1;
    info.daq = SessionInfo::Daq::DECODED;
    if (timestampSize > data.size() - idBytesAfterPid) {
        info.daq = SessionInfo::Daq::SHORT_FOR_TIMESTAMP;
        if (note(session, ecu, NOTE_SHORT_FOR_TIMESTAMP)) {
            notes_ << "a DAQ packet of DAQ list " << list << " has " << data.size() - idBytesAfterPid
                   << " bytes after its identification field, too few for its " << unsigned(timestampSize)
                   << "-byte time stamp; such packets are shown without one\n";
            notes_.flush();
        }
        timestampSize = 0;
    }
    id.setType(type);
    id.firstPid = firstPid;
    id.setDaqNo(list);
    data.erase(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(idBytesAfterPid));
    if (timestampSize != 0) {
        message.packet.timestampField.setType(timestampType(timestampSize));
        message.packet.moveTimestampData();
        info.ecuTimestamp = numberOf(message.packet.timestampField.getTimestamp().data(), timestampSize,
                                     bigEndian(session));
    }
    info.daqList = list;
    info.odt = static_cast<int16_t>(odt);
    info.timestampSize = timestampSize;
}

void SessionTracker::takeStoredDaq(const EcuSession& session, DecodedPacket& packet)
{
    const XCP_Message::Packet& xcp = packet.message.packet;
    const XCP_Message::Packet::IdentificationField& id = xcp.identificationField;
    SessionInfo& info = packet.session;
    info.daq = SessionInfo::Daq::STORED;
    if (idFieldSize(id.getType()) == 0) {
        return;  // a type no DAQ packet has
    }
    info.daqList = id.getDaqNo();
    if (id.getType() != XCP_Message::IFT_ABSOLUTE_ODT_NUMBER) {
        info.odt = id.pid;
    } else if (id.pid >= id.firstPid) {
        info.odt = static_cast<int16_t>(id.pid - id.firstPid);
    }
    const byteVec_t& timestamp = xcp.timestampField.getTimestamp();
    if (xcp.timestampField.getType() != XCP_Message::TST_NO && !timestamp.empty() && timestamp.size() <= 8) {
        info.timestampSize = static_cast<uint8_t>(timestamp.size());
        info.ecuTimestamp = numberOf(timestamp.data(), timestamp.size(), bigEndian(session));
    }
}

bool SessionTracker::note(EcuSession& session, uint8_t ecu, Note kind)
{
    if ((session.notesGiven & kind) != 0) {
        return false;
    }
    session.notesGiven |= kind;
    notes_ << "xcptrace: ECU[" << unsigned(ecu) + 1 << "]: ";
    return true;
}

std::string SessionTracker::assumedText(const EcuSession& session) const
{
    std::string text;
    auto add = [&text](const std::string& part) { text += (text.empty() ? "" : ", ") + part; };
    if (!session.idTypeKnown) {
        add(std::string("identification field ") + idTypeName(assumptions_.idType) + " (--daq-id-type)");
    }
    if (!session.timestampKnown) {
        if (!assumptions_.timestampSizeGiven) {
            add("no time stamps (no --daq-timestamp-size)");
        } else if (assumptions_.timestampSize == 0) {
            add("no time stamps (--daq-timestamp-size)");
        } else {
            add("time stamps of " + std::to_string(assumptions_.timestampSize) +
                (assumptions_.timestampSize == 1 ? " byte" : " bytes") +
                " in the first ODT of every DAQ list (--daq-timestamp-size)");
        }
    } else if (!session.timestampFixed && session.timestampSize != 0) {
        add(assumptions_.timestampSizeGiven
                ? "time stamps in the first ODT of DAQ lists whose SET_DAQ_LIST_MODE was not seen (--daq-timestamp-size)"
                : "no time stamps in DAQ lists whose SET_DAQ_LIST_MODE was not seen (no --daq-timestamp-size)");
    }
    if (!session.connected) {
        add(std::string("byte order ") + (assumptions_.bigEndian ? "Motorola" : "Intel") +
            (assumptions_.byteOrderGiven ? " (--daq-byte-order)" : " (no CONNECT seen; see --daq-byte-order)"));
    }
    return text;
}

}  // namespace xcptrace
