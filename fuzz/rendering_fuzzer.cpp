// Renderings of a message whatever its fields hold, and every display text lookup.
//
// Input: a 24-byte control block, then a record. The record is read into a message (which
// gives the pieces arbitrary bytes); the control block then overrides fields with values no
// record can carry:
//   byte 0 flags: 0x01 message transport = int32 at 1, 0x02 direction = int32 at 5,
//     0x04 identification type = int32 at 9, 0x08 time-stamp type = int32 at 13 (through
//     setType), 0x10 CAN type = uint32 at 17, 0x20 header reshaped for transport selector 21,
//     0x40 tail reshaped for transport selector 22 and switched by its top bit,
//     0x80 the three address strings stretched to 256 + byte 23 characters and the channels
//     cascaded by byte 23.
// The five 32-bit values also go through the display text of every enumeration.

#include "fuzz_support.h"

using fuzzsupport::check;
using fuzzsupport::ExactBuffer;

namespace {

const size_t CONTROL_BYTES = 24;

int32_t int32At(const uint8_t* bytes)
{
    return static_cast<int32_t>(byteArrayToUint32(bytes));
}

template <typename Enum>
void showEnumeration(std::ostream& os, int32_t value)
{
    os << static_cast<Enum>(value) << xcpDisplayTable<Enum>().textOf(value);
}

void showEveryEnumeration(std::ostream& os, int32_t value)
{
    typedef XCP_Message M;
    showEnumeration<M::transportType_t>(os, value);
    showEnumeration<M::msgDirection_t>(os, value);
    showEnumeration<M::identificationFieldType_t>(os, value);
    showEnumeration<M::timestampFieldType_t>(os, value);
    showEnumeration<M::cmdCode_t>(os, value);
    showEnumeration<M::errorPacketCode_t>(os, value);
    showEnumeration<M::eventPacketCode_t>(os, value);
    showEnumeration<M::serviceRequestPacketCode_t>(os, value);
    showEnumeration<M::slaveToMasterPid_t>(os, value);
    showEnumeration<M::masterToSlavePid_t>(os, value);
    showEnumeration<M::packetType_t>(os, value);
    showEnumeration<M::timeUnit_t>(os, value);
    showEnumeration<M::eventChannelConsistency_t>(os, value);
    showEnumeration<M::directionType_t>(os, value);
    showEnumeration<M::addressGranularity_t>(os, value);
    showEnumeration<M::daqConfigType_t>(os, value);
    showEnumeration<M::overloadIndicationType_t>(os, value);
    showEnumeration<M::optimisationType_t>(os, value);
    showEnumeration<M::addressExtensionType_t>(os, value);
    showEnumeration<M::odtEntrySizeGranularity_t>(os, value);
    os << static_cast<cantype_t>(value) << XCP_Message::getMinResDataSize(static_cast<M::cmdCode_t>(value));
}

void stretch(std::string& text, size_t length)
{
    std::string pattern = text.empty() ? std::string(1, '\0') : text;
    while (text.size() < length) {
        text += pattern;
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzzsupport::silenceDiagnostics();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < CONTROL_BYTES) {
        return 0;
    }
    const uint8_t* control = data;
    const uint8_t flags = control[0];
    const ExactBuffer record(data + CONTROL_BYTES, size - CONTROL_BYTES);
    std::unique_ptr<MessageBase> base(XCP_Message::readFromByteArray(record.bytes.get(), record.size));
    XCP_Message* message = dynamic_cast<XCP_Message*>(base.get());
    check(message != nullptr, "the reader returned no XCP message");

    if (flags & 0x01) {
        message->setTransportType(static_cast<XCP_Message::transportType_t>(int32At(control + 1)));
    }
    if (flags & 0x02) {
        message->setMsgDirection(static_cast<XCP_Message::msgDirection_t>(int32At(control + 5)));
    }
    if (flags & 0x04) {
        message->packet.identificationField.setType(
            static_cast<XCP_Message::identificationFieldType_t>(int32At(control + 9)));
    }
    if (flags & 0x08) {
        message->packet.timestampField.setType(static_cast<XCP_Message::timestampFieldType_t>(int32At(control + 13)));
    }
    if (flags & 0x10) {
        message->canType = static_cast<cantype_t>(byteArrayToUint32(control + 17));
    }
    if (flags & 0x20) {
        message->header.setTransportType(fuzzsupport::transportFromSelector(control[21]));
    }
    if (flags & 0x40) {
        message->tail.setTransportType(fuzzsupport::transportFromSelector(control[22]));
        message->tail.setActive((control[22] & 0x80) != 0);
    }
    if (flags & 0x80) {
        const size_t length = 256 + control[23];
        stretch(message->dstIp, length);
        stretch(message->srcIp, length);
        stretch(message->mask, length);
        message->cascadeChannel(control[23], control[23]);
    }

    std::ostringstream line;
    line << *message;
    check(line.str() == message->toString(), "toString differs from operator<<");
    std::ostringstream text;
    text << message->header << message->packet << message->packet.identificationField
         << message->packet.timestampField << message->packet.dataField << message->tail
         << static_cast<const MessageBase&>(*message) << message->getSourceChannel()
         << message->getSourceChannelID() << message->getPacketType() << message->getCmdCode()
         << message->getErrorPacketCode() << message->getEventPacketCode() << message->getServiceRequestPacketCode()
         << message->getMasterToSlavePid() << message->getSlaveToMasterPid();
    for (size_t offset = 1; offset + 4 <= 21; offset += 4) {
        showEveryEnumeration(text, int32At(control + offset));
    }

    // The accessors answer only for the transport they belong to.
    uint16_t len = 0;
    uint16_t ctr = 0;
    check(message->header.getLEN(len) == message->header.getCTR(ctr), "LEN and CTR disagree on being there");
    uint32_t canId = 0;
    cantype_t canType = CT_STANDARD;
    uint8_t canChannel = 0;
    check(message->getCanTransportTypeSettings(canId, canType, canChannel) ==
              (message->getTransportType() == XCP_Message::TT_CAN),
          "CAN settings answered for another transport");
    std::string dst;
    std::string src;
    std::string mask;
    uint16_t port = 0;
    bool tcp = false;
    check(message->getEthernetTransportTypeSettings(dst, src, mask, port, tcp) ==
              (message->getTransportType() == XCP_Message::TT_ETHERNET),
          "Ethernet settings answered for another transport");

    std::unique_ptr<MessageBase> copy(message->clone());
    check(*copy == *message, "a clone differs from its original");
    check(copy->toString() == line.str(), "a clone renders differently");

    // Whatever the fields hold, a buffer of getSize() + 2 bytes takes the whole record.
    ExactBuffer buffer(message->getSize() + 2);
    uint8_t* cursor = buffer.bytes.get();
    check(message->writeToByteArray(cursor, buffer.size, false) == message->getSize(),
          "the writer did not return getSize()");
    check(static_cast<size_t>(cursor - buffer.bytes.get()) <= buffer.size, "the writer moved its cursor past the buffer");
    return 0;
}
