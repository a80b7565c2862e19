// Defects found while building the fuzz targets, each kept with the input that shows it.

#include "test_support.h"

using testsupport::CerrCapture;
using testsupport::readRecord;

namespace {

/// A record whose time-stamp length byte is 255. The time-stamp read then reports 257 mod 256
/// = 1 byte consumed, so the data field's length is taken from the length byte and the first
/// time-stamp byte (0xff00 | 0x00) and 65,280 data bytes follow from there. Everything after
/// the data is the tail and the settings block given.
byteVec_t recordWithWrappedTimestamp(XCP_Message::transportType_t type, const byteVec_t& frameHeader,
                                     const byteVec_t& tailAndSettings)
{
    byteVec_t record(14, 0);
    record[1] = 0x19;  // message identifier, not checked by the reader
    record.push_back(static_cast<uint8_t>(type));
    record.push_back(XCP_Message::MD_RX);
    record.push_back(0x03);  // ECU
    record.insert(record.end(), frameHeader.begin(), frameHeader.end());
    const byteVec_t identification = {0x05, 0xff, 0x00, 0x00, 0x00};
    record.insert(record.end(), identification.begin(), identification.end());
    record.push_back(0x00);  // time-stamp type
    record.push_back(0xff);  // time-stamp length
    const size_t dataStart = record.size() + 1;
    record.resize(dataStart + 0xff00, 0x41);
    record[dataStart - 1] = 0x00;  // first time-stamp byte: low byte of the data length
    record.insert(record.end(), tailAndSettings.begin(), tailAndSettings.end());
    return record;
}

byteVec_t lengthPrefixed(size_t length, uint8_t fill)
{
    byteVec_t bytes(1, static_cast<uint8_t>(length));
    bytes.insert(bytes.end(), length, fill);
    return bytes;
}

struct GuardedWrite {
    size_t written = 0;
    bool guardIntact = true;
};

/// Writes the message into a buffer of getSize() + 2 bytes followed by a guard area larger
/// than any overrun seen, and reports whether the guard stayed untouched.
GuardedWrite writeWithLargeGuard(const XCP_Message& message)
{
    const size_t maxlen = message.getSize() + 2;
    const size_t guard = 1024;
    byteVec_t buffer(maxlen + guard, 0xEE);
    uint8_t* cursor = buffer.data();
    message.writeToByteArray(cursor, maxlen, false);
    GuardedWrite result;
    result.written = static_cast<size_t>(cursor - buffer.data());
    for (size_t i = maxlen; i < buffer.size(); ++i) {
        if (buffer[i] != 0xEE) {
            result.guardIntact = false;
        }
    }
    return result;
}

}  // namespace

// An Ethernet record with a 255-byte time stamp reads without complaint, but getSize() of the
// message is 256 too small. The writer used to let the packet fill the room meant for the
// settings block and then wrote that block 256 bytes past the end of the buffer; now the
// block is left out with the writer's own line.
TEST(Regression, WrappedTimestampEthernetWriteStaysInsideItsBuffer)
{
    byteVec_t settings = {0x00};  // tail length
    for (uint8_t fill : {0x31, 0x32, 0x33}) {
        byteVec_t text = lengthPrefixed(100, fill);
        settings.insert(settings.end(), text.begin(), text.end());
    }
    settings.insert(settings.end(), {0x15, 0xb3, 0x00});
    byteVec_t record =
        recordWithWrappedTimestamp(XCP_Message::TT_ETHERNET, {0x04, 0x01, 0x00, 0x02, 0x00}, settings);

    CerrCapture cerr;
    std::unique_ptr<XCP_Message> message = readRecord(record);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(cerr.text(), "");
    EXPECT_EQ(message->packet.timestampField.getTimestamp().size(), 255u);
    EXPECT_EQ(message->packet.dataField.data.size(), 0xff00u);
    EXPECT_EQ(message->mask, std::string(100, '3'));
    EXPECT_EQ(message->port, 0x15b3);

    GuardedWrite write = writeWithLargeGuard(*message);
    EXPECT_TRUE(write.guardIntact);
    // Base header and description 17, header 5, identification 5, time stamp 257, data, tail 1.
    EXPECT_EQ(write.written, 17u + 5 + 5 + 257 + 2 + 0xff00 + 1);
    EXPECT_EQ(cerr.text(), "[ERROR] XCP_Message::writeToByteArray: can't write XCP_Message\n");
}

// The same on CAN: 250 fill bytes used to leave the 6-byte settings block 5 bytes past the end.
TEST(Regression, WrappedTimestampCanWriteStaysInsideItsBuffer)
{
    byteVec_t settings = lengthPrefixed(250, 0xAA);
    settings.insert(settings.end(), {0x00, 0x00, 0x07, 0xf1, 0x00, 0x01});
    byteVec_t record = recordWithWrappedTimestamp(XCP_Message::TT_CAN, {0x00}, settings);

    CerrCapture cerr;
    std::unique_ptr<XCP_Message> message = readRecord(record);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(cerr.text(), "");
    EXPECT_EQ(message->tail.data.size(), 250u);
    EXPECT_EQ(message->canId, 0x7f1u);

    GuardedWrite write = writeWithLargeGuard(*message);
    EXPECT_TRUE(write.guardIntact);
    // Base header and description 17, header 1, identification 5, time stamp 257, data; the
    // 251-byte tail no longer fits and refuses, the settings block is left out.
    EXPECT_EQ(write.written, 17u + 1 + 5 + 257 + 2 + 0xff00);
    EXPECT_EQ(cerr.text(),
              "[ERROR] XCP_Message::Tail::writeToByteArray: can't write Header\n"
              "[ERROR] XCP_Message::writeToByteArray: can't write XCP_Message\n");
}
