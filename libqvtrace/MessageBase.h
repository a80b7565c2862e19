#ifndef QVTRACE_MESSAGEBASE_H
#define QVTRACE_MESSAGEBASE_H

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

#include "busID.h"
#include "constants_canmessage.h"
#include "datablock.h"
#include "messageID.h"
#include "utility.h"

/// Message time stamp: nanoseconds since the epoch.
typedef uint64_t timeStamp_t;

/// Common part of every trace message: the message identifier, the time stamp and the
/// version-1 base header of the trace record.
///
/// Trace record base header (version 1, all big-endian):
///   offset 0  message size (2)   offset 2  message identifier (2)
///   offset 4  reserved word (2)  offset 6  time stamp (8)       offset 14 derived body
class MessageBase {
public:
    /// What the library's record readers return for a record they cannot read.
    enum invalidMsgHandling_t : int32_t {
        IMH_RETURN_NULL = 0,
        IMH_RETURN_INVALID_MESSAGE = 1,
    };

    /// Trace-record layout version written by writeToByteArray.
    static const uint8_t version = 1;
    /// Selects what the record readers return for an unreadable record.
    static invalidMsgHandling_t invalidHandling;

    // Version-1 base header offsets.
    static constexpr size_t MO_MSGSIZE = 0;
    static constexpr size_t MO_MSGID = 2;
    static constexpr size_t MO_HDRRESERVED = 4;
    static constexpr size_t MO_TIMESTAMP = 6;
    static constexpr size_t MO_BASE_DERIVED = 14;
    // Version-2 base header offsets; declared for readers of version-2 records.
    static constexpr size_t MO2_MSGID = 0;
    static constexpr size_t MO2_MSGSIZE = 1;
    static constexpr size_t MO2_TIMESTAMP = 3;
    static constexpr size_t MO2_BASE_DERIVED = 7;

    virtual ~MessageBase();

    virtual MessageBase* clone() const = 0;
    /// Writes the 14-byte version-1 base header at pdest and advances pdest past it.
    /// The size field holds the low 16 bits of getSize(). `sync` is accepted for writers
    /// that stream records; the version-1 header has no field for it. Returns 14, or 0
    /// (nothing written) when maxlen is less than 14.
    virtual size_t writeToByteArray(uint8_t*& pdest, size_t maxlen, bool sync) const;
    virtual size_t getSize() const = 0;
    virtual bool operator==(const MessageBase& other) const = 0;
    virtual std::ostream& print(std::ostream& _os) const = 0;
    /// What print() writes, as a string.
    virtual std::string toString() const;
    virtual std::string getSourceChannel() const = 0;
    virtual uint64_t getSourceChannelID() const = 0;
    /// Renumbers the logger number of this message so that traces of several cascaded
    /// loggers keep their channels apart.
    virtual void cascadeChannel(uint16_t offset);

    /// 64-bit channel number: mbnr in bits 63..32, bus * 256 + channel in the low bits.
    static uint64_t getSourceChannelID(busid_t bus, uint8_t channel, uint32_t mbnr)
    {
        return (static_cast<uint64_t>(mbnr) << 32) |
               (static_cast<uint64_t>(bus) * 256u + static_cast<uint64_t>(channel));
    }

    msgid_t getMsgId() const { return msgId; }
    timeStamp_t getTimeStamp() const { return timeStamp; }
    void setTimeStamp(timeStamp_t ts) { timeStamp = ts; }
    /// Number of the logger that recorded the message (the `mbnr` of the channel ID).
    uint32_t getMbnr() const { return mbnr; }
    void setMbnr(uint32_t number) { mbnr = number; }

protected:
    MessageBase(msgid_t id, uint64_t ts);
    MessageBase(const MessageBase&) = default;
    MessageBase(MessageBase&&) = default;
    MessageBase& operator=(const MessageBase&) = default;
    MessageBase& operator=(MessageBase&&) = default;

    msgid_t msgId;
    /// Reserved word of the base header, kept as read.
    uint16_t hdrReserved;
    timeStamp_t timeStamp;
    uint32_t mbnr;

    friend std::ostream& operator<<(std::ostream& _os, const MessageBase& _in);
};

/// Writes the common part of a message: its time stamp as seconds with nine decimals
/// (for example "1700000000.123456789"), nothing else. The caller's stream format is
/// neither used nor changed.
std::ostream& operator<<(std::ostream& _os, const MessageBase& _in);

#endif  // QVTRACE_MESSAGEBASE_H
