#include "MessageReaders.h"

#include <cstdio>
#include <cstring>
#include <unordered_map>

#include "XCP_Message.h"

namespace {

/// The table lives in a function so that readers may register from static initialisers of
/// other translation units.
std::unordered_map<uint16_t, messageReader_t>& readerTable()
{
    static std::unordered_map<uint16_t, messageReader_t> table;
    return table;
}

}  // namespace

bool registerMessageReader(msgid_t id, messageReader_t reader)
{
    if (reader == nullptr) {
        return false;
    }
    readerTable()[id] = reader;
    return true;
}

bool unregisterMessageReader(msgid_t id)
{
    return readerTable().erase(id) != 0;
}

messageReader_t findMessageReader(msgid_t id)
{
    const auto& table = readerTable();
    auto entry = table.find(id);
    return entry == table.end() ? nullptr : entry->second;
}

MessageBase* readMessage(const uint8_t* psrc, size_t maxlen)
{
    if (psrc != nullptr && maxlen >= MessageBase::MO_MSGID + 2) {
        messageReader_t reader = findMessageReader(static_cast<msgid_t>(byteArrayToUint16(psrc + MessageBase::MO_MSGID)));
        if (reader != nullptr) {
            return reader(psrc, maxlen);
        }
    }
    if (MessageBase::invalidHandling == MessageBase::IMH_RETURN_INVALID_MESSAGE) {
        return new InvalidMessage(psrc, psrc == nullptr ? 0 : maxlen);
    }
    return nullptr;
}

bool XCP_Message::registerMessage()
{
    return registerMessageReader(MSGID_XCP, &XCP_Message::readFromByteArray);
}

// ---- InvalidMessage --------------------------------------------------------------------------

InvalidMessage::InvalidMessage(const uint8_t* psrc, size_t maxlen)
    : MessageBase(MSGID_INVALID, 0), recordMsgId(MSGID_INVALID)
{
    if (psrc == nullptr || maxlen == 0) {
        return;
    }
    record.assign(psrc, psrc + maxlen);
    if (maxlen >= MO_MSGID + 2) {
        recordMsgId = static_cast<msgid_t>(byteArrayToUint16(psrc + MO_MSGID));
    }
    if (maxlen >= MO_BASE_DERIVED) {
        hdrReserved = byteArrayToUint16(psrc + MO_HDRRESERVED);
        timeStamp = byteArrayToUint64(psrc + MO_TIMESTAMP);
    }
}

InvalidMessage* InvalidMessage::clone() const
{
    return new InvalidMessage(*this);
}

size_t InvalidMessage::getSize() const
{
    return record.size();
}

size_t InvalidMessage::writeToByteArray(uint8_t*& pdest, size_t maxlen, bool /*sync*/) const
{
    if (record.empty() || record.size() > maxlen) {
        return 0;
    }
    std::memcpy(pdest, record.data(), record.size());
    pdest += record.size();
    return record.size();
}

bool InvalidMessage::operator==(const MessageBase& other) const
{
    const InvalidMessage* that = dynamic_cast<const InvalidMessage*>(&other);
    return that != nullptr && that->record == record;
}

std::ostream& InvalidMessage::print(std::ostream& _os) const
{
    char text[48];
    std::snprintf(text, sizeof text, "  INVALID[MsgId=0x%04x, Size=%zu]", static_cast<unsigned>(recordMsgId),
                  record.size());
    return _os << static_cast<const MessageBase&>(*this) << text;
}

std::string InvalidMessage::getSourceChannel() const
{
    return "INVALID";
}

uint64_t InvalidMessage::getSourceChannelID() const
{
    return MessageBase::getSourceChannelID(BUSID_UNKNOWN, 0, mbnr);
}
