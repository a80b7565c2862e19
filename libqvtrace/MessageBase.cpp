#include "MessageBase.h"

#include <cinttypes>
#include <cstdio>
#include <sstream>

MessageBase::invalidMsgHandling_t MessageBase::invalidHandling = MessageBase::IMH_RETURN_NULL;
// Defined here as well so that code binding it to a reference links.
const uint8_t MessageBase::version;

MessageBase::MessageBase(msgid_t id, uint64_t ts) : msgId(id), hdrReserved(0), timeStamp(ts), mbnr(0) {}

MessageBase::~MessageBase() = default;

size_t MessageBase::writeToByteArray(uint8_t*& pdest, size_t maxlen, bool /*sync*/) const
{
    if (maxlen < MO_BASE_DERIVED) {
        return 0;
    }
    uint16ToByteArray(pdest + MO_MSGSIZE, static_cast<uint16_t>(getSize()));
    uint16ToByteArray(pdest + MO_MSGID, msgId);
    uint16ToByteArray(pdest + MO_HDRRESERVED, hdrReserved);
    uint64ToByteArray(pdest + MO_TIMESTAMP, timeStamp);
    pdest += MO_BASE_DERIVED;
    return MO_BASE_DERIVED;
}

std::string MessageBase::toString() const
{
    std::ostringstream text;
    print(text);
    return text.str();
}

void MessageBase::cascadeChannel(uint16_t offset)
{
    mbnr += offset;
}

std::ostream& operator<<(std::ostream& _os, const MessageBase& _in)
{
    // Formatted into a buffer and written unformatted, so that the caller's width, fill,
    // base and flags play no part and stay as they are.
    char text[32];
    int length = std::snprintf(text, sizeof text, "%" PRIu64 ".%09" PRIu64, _in.timeStamp / 1000000000u,
                               _in.timeStamp % 1000000000u);
    return _os.write(text, length);
}

std::ostream& operator<<(std::ostream& _os, cantype_t _in)
{
    switch (_in) {
    case CT_STANDARD:
        return _os << "STD";
    case CT_EXTENDED:
        return _os << "EXT";
    case CT_FD_STANDARD:
        return _os << "FD_STD";
    case CT_FD_EXTENDED:
        return _os << "FD_EXT";
    }
    return _os << "invalid CAN type";
}
