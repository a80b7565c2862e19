// Builds an XCP-on-CAN and an XCP-on-Ethernet message, writes each into a trace record,
// reads the record back, checks that the copy equals the original, and prints the message
// and the record's bytes.

#include <cstdio>
#include <iostream>
#include <memory>
#include <vector>

#include "XCP_Message.h"

namespace {

XCP_Message makeCanConnect()
{
    XCP_Message message(1700000000123456789ull, XCP_Message::TT_CAN, XCP_Message::MD_TX, 0);
    message.packet.identificationField.setType(XCP_Message::IFT_CTO_PACKET_CODE);
    message.packet.identificationField.pid = XCP_Message::XCP_CC_STD_CONNECT;
    message.packet.dataField.data = {0x00};
    message.tail.setFillBytes(6);  // padded to the 8 bytes of a classic CAN frame
    message.setCanTransportTypeSettings(0x7F1, CT_STANDARD, 0);
    return message;
}

XCP_Message makeEthernetDaq()
{
    XCP_Message message(1700000000223456789ull, XCP_Message::TT_ETHERNET, XCP_Message::MD_RX, 1);
    message.header.setLEN(8);
    message.header.setCTR(42);
    XCP_Message::Packet& packet = message.packet;
    packet.identificationField.setType(XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE);
    packet.identificationField.pid = 0;
    packet.identificationField.setDaqNo(2);
    packet.timestampField.setType(XCP_Message::TST_WORD);
    const uint8_t ticks[] = {0x34, 0x12};
    packet.timestampField.setTimestamp(ticks, sizeof ticks);
    packet.dataField.data = {0x0a, 0x00, 0xff};
    message.setEthernetTransportTypeSettings("192.168.1.10", "192.168.1.2", "255.255.255.0", 5555, false);
    return message;
}

void printHex(const std::vector<uint8_t>& bytes, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        std::printf("%02x%s", bytes[i], (i + 1) % 16 == 0 || i + 1 == count ? "\n" : " ");
    }
}

bool roundTrip(const char* title, const XCP_Message& original)
{
    // The writer emits 2 bytes more than getSize() declares.
    std::vector<uint8_t> record(original.getSize() + 2);
    uint8_t* cursor = record.data();
    original.writeToByteArray(cursor, record.size(), false);
    size_t written = static_cast<size_t>(cursor - record.data());

    std::unique_ptr<MessageBase> copy(XCP_Message::readFromByteArray(record.data(), written));
    bool equal = *copy == original;

    std::cout << title << "\n  " << original << "\n";
    std::cout << "  record: " << written << " bytes (size field " << original.getSize() << ")\n";
    std::cout.flush();
    printHex(record, written);
    std::cout << "  read back: " << (equal ? "equal" : "DIFFERENT") << "\n\n";
    return equal;
}

}  // namespace

int main()
{
    bool ok = roundTrip("XCP on CAN, CONNECT command:", makeCanConnect());
    ok = roundTrip("XCP on Ethernet, DAQ packet:", makeEthernetDaq()) && ok;
    return ok ? 0 : 1;
}
