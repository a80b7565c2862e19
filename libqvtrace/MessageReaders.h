#ifndef QVTRACE_MESSAGEREADERS_H
#define QVTRACE_MESSAGEREADERS_H

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

#include "MessageBase.h"
#include "messageID.h"
#include "utility.h"

/// Rebuilds a message from one trace record; the result is a new object owned by the caller.
typedef MessageBase* (*messageReader_t)(const uint8_t* psrc, size_t maxlen);

/// Makes `reader` the reader of records whose message identifier is `id`, replacing any
/// reader registered for it before. Returns false, and changes nothing, for a null reader.
bool registerMessageReader(msgid_t id, messageReader_t reader);

/// Removes the reader of `id`; returns whether there was one.
bool unregisterMessageReader(msgid_t id);

/// The reader registered for `id`, or nullptr.
messageReader_t findMessageReader(msgid_t id);

/// Reads one trace record by handing it to the reader registered for its message identifier
/// (bytes 2-3 of the base header, big-endian). The result is owned by the caller.
///
/// A record shorter than 4 bytes has no identifier; such a record and one whose identifier
/// has no reader are answered as MessageBase::invalidHandling selects:
///   IMH_RETURN_NULL              nullptr;
///   IMH_RETURN_INVALID_MESSAGE   a new InvalidMessage holding the record's bytes unchanged.
/// A registered reader is always called, whatever the record's length; reporting a damaged
/// record is that reader's business.
MessageBase* readMessage(const uint8_t* psrc, size_t maxlen);

/// A record that readMessage could not hand to a reader, kept byte for byte so that a
/// program copying traces loses nothing. Its own identifier is MSGID_INVALID; the one found
/// in the record is getRecordMsgId(). The time stamp is the record's when it holds a whole
/// base header, 0 otherwise.
class InvalidMessage : public MessageBase {
public:
    InvalidMessage(const uint8_t* psrc, size_t maxlen);

    /// The identifier in bytes 2-3 of the record, or MSGID_INVALID for a record too short
    /// to hold one.
    msgid_t getRecordMsgId() const { return recordMsgId; }
    const byteVec_t& getRecord() const { return record; }

    InvalidMessage* clone() const override;
    /// The number of bytes of the record.
    size_t getSize() const override;
    /// Writes the record's bytes unchanged; 0 (nothing written) when they do not fit.
    size_t writeToByteArray(uint8_t*& pdest, size_t maxlen, bool sync) const override;
    /// Equal to another InvalidMessage holding the same bytes.
    bool operator==(const MessageBase& other) const override;
    /// The base rendering, then "  INVALID[MsgId=0x0123, Size=n]".
    std::ostream& print(std::ostream& _os) const override;
    /// "INVALID"; such a record belongs to no channel.
    std::string getSourceChannel() const override;
    uint64_t getSourceChannelID() const override;

private:
    msgid_t recordMsgId;
    byteVec_t record;
};

#endif  // QVTRACE_MESSAGEREADERS_H
