// Record reader on arbitrary bytes, then the writer and the renderings of what it produced.
//
// Input: a 2-byte big-endian length selector, then the record bytes. The reader is given
// min(selector, record bytes) of them (0xffff: all), copied into a block of exactly that
// size. Whatever the reader returns is rendered and written into exactly getSize() + 2
// bytes. When the read reported nothing and the message is within the record's limits
// (strings under 256 characters, time stamp under 254 bytes), the record written must read
// back equal and write again to the same bytes. The same bytes then go through the record
// dispatcher readMessage with either handling of unknown records: an XCP record must give the
// message read above, any other record nothing or an InvalidMessage that keeps its bytes.

#include "MessageReaders.h"
#include "fuzz_support.h"

using fuzzsupport::check;
using fuzzsupport::DiagnosticCapture;
using fuzzsupport::ExactBuffer;

namespace {

std::unique_ptr<XCP_Message> readMessage(const ExactBuffer& record)
{
    MessageBase* base = XCP_Message::readFromByteArray(record.bytes.get(), record.size);
    check(base != nullptr, "the reader returned null");
    std::unique_ptr<MessageBase> owner(base);
    XCP_Message* message = dynamic_cast<XCP_Message*>(base);
    check(message != nullptr, "the reader returned another message type");
    owner.release();
    return std::unique_ptr<XCP_Message>(message);
}

bool withinRecordLimits(const XCP_Message& message)
{
    return message.dstIp.size() < 256 && message.srcIp.size() < 256 && message.mask.size() < 256 &&
           message.packet.timestampField.getTimestamp().size() < 254;
}

void render(const XCP_Message& message)
{
    std::ostringstream line;
    line << message;
    check(line.str() == message.toString(), "toString differs from operator<<");
    std::ostringstream pieces;
    pieces << message.header << message.packet << message.tail;
    (void)message.getSourceChannel();
    (void)message.getSourceChannelID();
    (void)message.getCmdCode();
    (void)message.getErrorPacketCode();
    (void)message.getEventPacketCode();
    (void)message.getServiceRequestPacketCode();
    (void)message.getMasterToSlavePid();
    (void)message.getSlaveToMasterPid();
}

/// Writes into exactly getSize() + 2 bytes; returns the block cut to what was written.
ExactBuffer writeRecord(const XCP_Message& message)
{
    const size_t size = message.getSize();
    ExactBuffer buffer(size + 2);
    uint8_t* cursor = buffer.bytes.get();
    size_t returned = message.writeToByteArray(cursor, buffer.size, false);
    check(returned == size, "the writer did not return getSize()");
    size_t written = static_cast<size_t>(cursor - buffer.bytes.get());
    check(written <= buffer.size, "the writer moved its cursor past the buffer");
    return ExactBuffer(buffer.bytes.get(), written);
}

void checkDispatcher(const ExactBuffer& input, const XCP_Message& direct)
{
    const bool xcpRecord = input.size >= 4 && byteArrayToUint16(input.bytes.get() + 2) == MSGID_XCP;
    for (MessageBase::invalidMsgHandling_t handling :
         {MessageBase::IMH_RETURN_NULL, MessageBase::IMH_RETURN_INVALID_MESSAGE}) {
        MessageBase::invalidHandling = handling;
        std::unique_ptr<MessageBase> message(::readMessage(input.bytes.get(), input.size));
        if (xcpRecord) {
            const XCP_Message* xcp = dynamic_cast<const XCP_Message*>(message.get());
            check(xcp != nullptr && *xcp == direct && xcp->getTimeStamp() == direct.getTimeStamp(),
                  "the dispatcher read an XCP record differently");
            continue;
        }
        if (handling == MessageBase::IMH_RETURN_NULL) {
            check(message == nullptr, "the dispatcher made something of a record it has no reader for");
            continue;
        }
        const InvalidMessage* invalid = dynamic_cast<const InvalidMessage*>(message.get());
        check(invalid != nullptr, "the dispatcher returned no InvalidMessage");
        const byteVec_t& kept = invalid->getRecord();
        check(kept.size() == input.size && std::equal(kept.begin(), kept.end(), input.bytes.get()),
              "an InvalidMessage did not keep the record's bytes");
        ExactBuffer out(invalid->getSize());
        uint8_t* cursor = out.bytes.get();
        size_t written = invalid->writeToByteArray(cursor, out.size, false);
        check(written == kept.size() && static_cast<size_t>(cursor - out.bytes.get()) == written &&
                  std::equal(kept.begin(), kept.end(), out.bytes.get()),
              "an InvalidMessage did not write its bytes back unchanged");
        check(!invalid->toString().empty(), "an InvalidMessage rendered nothing");
    }
    MessageBase::invalidHandling = MessageBase::IMH_RETURN_NULL;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzzsupport::silenceDiagnostics();
    XCP_Message::registerMessage();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2) {
        return 0;
    }
    const size_t available = size - 2;
    const size_t selector = static_cast<size_t>(data[0]) << 8 | data[1];
    const size_t maxlen = selector == 0xffff ? available : std::min(selector, available);
    const ExactBuffer input(data + 2, maxlen);

    std::unique_ptr<XCP_Message> first;
    std::string firstDiagnostics;
    {
        DiagnosticCapture capture;
        first = readMessage(input);
        firstDiagnostics = capture.text();
    }
    render(*first);
    checkDispatcher(input, *first);
    const ExactBuffer record = writeRecord(*first);

    if (!firstDiagnostics.empty() || !withinRecordLimits(*first)) {
        return 0;
    }
    check(record.size == first->getSize() + 2, "a complete message wrote other than getSize() + 2 bytes");
    std::unique_ptr<XCP_Message> second;
    {
        DiagnosticCapture capture;
        second = readMessage(record);
        check(capture.text().empty(), "the written record did not read back silently");
    }
    check(*second == *first, "the record read back differs from the message written");
    check(second->getTimeStamp() == first->getTimeStamp(), "the time stamp changed on the way");
    const ExactBuffer again = writeRecord(*second);
    check(again.size == record.size && std::memcmp(again.bytes.get(), record.bytes.get(), record.size) == 0,
          "the message read back writes other bytes");
    render(*second);
    return 0;
}
