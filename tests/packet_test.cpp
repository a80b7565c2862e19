// Packet assembly: the three fields written and read as one unit, moving time-stamp bytes
// out of the data field, and the frame block of header, packet and tail.

#include "test_support.h"

using testsupport::CerrCapture;
using testsupport::ExactBytes;
using testsupport::hexBytes;
using testsupport::toHex;
using testsupport::WriteResult;
using testsupport::writeInto;
using testsupport::writePiece;
using testsupport::wrote;

namespace {

using Packet = XCP_Message::Packet;
using Header = XCP_Message::Header;
using Tail = XCP_Message::Tail;

const std::string kCantWriteLine = "[ERROR] XCP_Message::Packet::writeToByteArray: can't write Data Field\n";
const std::string kTsReadLine = "[ERROR] Timestamp Field read error\n";
const std::string kDataReadLine = "[ERROR] Data Field read error\n";
const std::string kTsCantWriteLine =
    "[ERROR] XCP_Message::Packet::TimestampField::writeToByteArray: can't write Timestamp Field\n";
const std::string kMoveLine = "[ERROR] XCP_Message::Packet::moveTimestampData: data field size is to small.\n";

Packet packet(XCP_Message::identificationFieldType_t idType, uint8_t pid, uint8_t firstPid, uint16_t daqNo,
              XCP_Message::timestampFieldType_t tsType, const std::string& tsHex, const std::string& dataHex)
{
    Packet result;
    result.identificationField.setType(idType);
    result.identificationField.pid = pid;
    result.identificationField.firstPid = firstPid;
    result.identificationField.setDaqNo(daqNo);
    result.timestampField.setType(tsType);
    byteVec_t ts = hexBytes(tsHex);
    EXPECT_TRUE(result.timestampField.setTimestamp(ts.data(), ts.size()));
    result.dataField.data = hexBytes(dataHex);
    return result;
}

/// The packet with distinct values in every field, and its 15 serialised bytes.
Packet patternPacket()
{
    return packet(XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD, 0x11, 0x22, 0x3344, XCP_Message::TST_DWORD,
                  "55 66 77 88", "99 AA");
}
const char* const kPatternBytes = "02 11 22 33 44  04 04 55 66 77 88  00 02 99 AA";

/// Raw bytes 1, 2, 3, ... (wrapping).
byteVec_t counting(size_t count)
{
    byteVec_t bytes(count);
    for (size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<uint8_t>(i + 1);
    }
    return bytes;
}

/// Time-stamp field bytes announcing `count` raw bytes (type TST_BYTE), followed by them.
byteVec_t longTimestampBytes(size_t count)
{
    byteVec_t bytes = {0x01, static_cast<uint8_t>(count)};
    byteVec_t raw = counting(count);
    bytes.insert(bytes.end(), raw.begin(), raw.end());
    return bytes;
}

/// A packet whose time stamp holds `count` bytes, which only a read produces beyond 4.
Packet packetWithLongTimestamp(size_t count, const std::string& dataHex)
{
    Packet result;
    byteVec_t ts = longTimestampBytes(count);
    result.timestampField.readFromByteArray(ts.data(), ts.size());
    EXPECT_EQ(result.timestampField.getTimestamp().size(), count);
    result.dataField.data = hexBytes(dataHex);
    return result;
}

byteVec_t concat(std::initializer_list<byteVec_t> parts)
{
    byteVec_t all;
    for (const byteVec_t& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

size_t readPacket(Packet& target, const ExactBytes& input)
{
    return target.readFromByteArray(input.data(), input.size());
}

void expectIdentification(const Packet& p, int type, uint8_t pid, uint8_t firstPid, uint16_t daqNo)
{
    EXPECT_EQ(static_cast<int>(p.identificationField.getType()), type);
    EXPECT_EQ(p.identificationField.pid, pid);
    EXPECT_EQ(p.identificationField.firstPid, firstPid);
    EXPECT_EQ(p.identificationField.getDaqNo(), daqNo);
}

// ---- frame block ----

struct FrameBlock {
    Header header;
    Packet packet;
    Tail tail;
};

FrameBlock frameBlockFor(XCP_Message::transportType_t type, const Packet& p)
{
    FrameBlock block;
    block.header.setTransportType(type);
    block.packet = p;
    block.tail.setTransportType(type);
    return block;
}

/// Header, packet and tail back to back, each given the room its predecessors left, as the
/// record writer does; the result is the sum of the three returns.
WriteResult writeFrameBlock(const FrameBlock& block, size_t maxlen)
{
    return writeInto(maxlen, [&block](uint8_t*& cursor, size_t room) {
        const uint8_t* start = cursor;
        auto left = [&] { return room - static_cast<size_t>(cursor - start); };
        size_t total = block.header.writeToByteArray(cursor, room);
        total += block.packet.writeToByteArray(cursor, left());
        total += block.tail.writeToByteArray(cursor, left());
        return total;
    });
}

/// Reads header, packet and tail in the record reader's order; 0 as soon as one refuses.
size_t readFrameBlock(FrameBlock& block, XCP_Message::transportType_t type, const ExactBytes& input)
{
    size_t used = block.header.readFromByteArray(type, input.data(), input.size());
    if (used == 0) {
        return 0;
    }
    size_t piece = block.packet.readFromByteArray(input.data() + used, input.size() - used);
    if (piece == 0) {
        return 0;
    }
    used += piece;
    piece = block.tail.readFromByteArray(type, input.data() + used, input.size() - used);
    return piece == 0 ? 0 : used + piece;
}

}  // namespace

// ---- write -----------------------------------------------------------------------------------

TEST(Packet, DefaultWritesNineZeroBytes)
{
    CerrCapture cerr;
    Packet p;
    EXPECT_EQ(p.getSize(), 9u);
    EXPECT_TRUE(wrote(writePiece(p, 9), 9, "00 00 00 00 00  00 00  00 00"));
    EXPECT_EQ(cerr.text(), "");
}

TEST(Packet, WriteIsRefusedAsAWholeWhenShort)
{
    CerrCapture cerr;
    EXPECT_TRUE(wrote(writePiece(Packet(), 8), 0, ""));
    EXPECT_EQ(cerr.text(), kCantWriteLine);
    EXPECT_TRUE(wrote(writePiece(patternPacket(), 14), 0, ""));
    EXPECT_EQ(cerr.text(), kCantWriteLine + kCantWriteLine);
}

TEST(Packet, WritesDescriptorTimeStampAndData)
{
    Packet p = packet(XCP_Message::IFT_ABSOLUTE_ODT_NUMBER, 0, 0, 0, XCP_Message::TST_WORD, "AA BB", "01 02 03");
    EXPECT_EQ(p.getSize(), 14u);
    EXPECT_TRUE(wrote(writePiece(p, 14), 14, "00 00 00 00 00  02 02 AA BB  00 03 01 02 03"));
}

TEST(Packet, WritesEveryFieldAtItsOffset)
{
    Packet p = patternPacket();
    EXPECT_EQ(p.getSize(), 15u);
    EXPECT_TRUE(wrote(writePiece(p, 15), 15, kPatternBytes));
    EXPECT_TRUE(wrote(writePiece(p, 40), 15, kPatternBytes));
}

TEST(Packet, SizeUsesTheEightBitTimeStampSize)
{
    EXPECT_EQ(packetWithLongTimestamp(253, "11").getSize(), 5u + 255 + 3);
    EXPECT_EQ(packetWithLongTimestamp(254, "11").getSize(), 5u + 0 + 3);
    EXPECT_EQ(packetWithLongTimestamp(255, "11").getSize(), 5u + 1 + 3);
}

TEST(Packet, TimeStampOf254BytesIsLeftOutWhenItDoesNotFit)
{
    CerrCapture cerr;
    Packet p = packetWithLongTimestamp(254, "11");
    EXPECT_TRUE(wrote(writePiece(p, 8), 8, "00 00 00 00 00  00 01 11"));
    EXPECT_EQ(cerr.text(), kTsCantWriteLine);
}

TEST(Packet, TimeStampOf254BytesIsWrittenWhenItFits)
{
    CerrCapture cerr;
    Packet p = packetWithLongTimestamp(254, "11");
    byteVec_t expected = concat({hexBytes("00 00 00 00 00"), longTimestampBytes(254), hexBytes("00 01 11")});
    // The result is the packet's size, which understates what was written.
    EXPECT_TRUE(wrote(writePiece(p, 264), 8, toHex(expected)));
    EXPECT_EQ(cerr.text(), "");
}

TEST(Packet, TimeStampOf254BytesCanCrowdOutTheData)
{
    CerrCapture cerr;
    Packet p = packetWithLongTimestamp(254, "11");
    byteVec_t expected = concat({hexBytes("00 00 00 00 00"), longTimestampBytes(254)});
    // 263 passes the packet's own check (8) and holds the time stamp, but not the data after it.
    EXPECT_TRUE(wrote(writePiece(p, 263), 8, toHex(expected)));
    EXPECT_EQ(cerr.text(), "[ERROR] XCP_Message::Packet::DataField::writeToByteArray: can't write Data Field\n");
}

TEST(Packet, TimeStampOf255BytesIsLeftOutWhenItDoesNotFit)
{
    CerrCapture cerr;
    Packet p = packetWithLongTimestamp(255, "11");
    EXPECT_TRUE(wrote(writePiece(p, 9), 9, "00 00 00 00 00  00 01 11"));
    EXPECT_EQ(cerr.text(), kTsCantWriteLine);
}

// ---- read ------------------------------------------------------------------------------------

TEST(Packet, ReadsWrittenBytesIntoDefaultPacket)
{
    CerrCapture cerr;
    Packet p;
    EXPECT_EQ(readPacket(p, ExactBytes(hexBytes("00 00 00 00 00  02 02 AA BB  00 03 01 02 03"))), 14u);
    expectIdentification(p, 0, 0, 0, 0);
    EXPECT_EQ(p.timestampField.getType(), XCP_Message::TST_WORD);
    EXPECT_EQ(toHex(p.timestampField.getTimestamp()), "aa bb");
    EXPECT_EQ(toHex(p.dataField.data), "01 02 03");
    EXPECT_EQ(cerr.text(), "");
}

TEST(Packet, ReadsEveryFieldFromItsOffset)
{
    Packet p;
    byteVec_t input = hexBytes(kPatternBytes);
    input.push_back(0xEE);  // whatever follows is left alone
    EXPECT_EQ(readPacket(p, ExactBytes(input)), 15u);
    expectIdentification(p, 2, 0x11, 0x22, 0x3344);
    EXPECT_EQ(p.timestampField.getType(), XCP_Message::TST_DWORD);
    EXPECT_EQ(toHex(p.timestampField.getTimestamp()), "55 66 77 88");
    EXPECT_EQ(toHex(p.dataField.data), "99 aa");
}

TEST(Packet, ReadNeedsTheRoomThePacketTakesBeforehand)
{
    CerrCapture cerr;
    byteVec_t input = hexBytes("05 11 22 33 44  00 00  00 00");
    Packet p;
    EXPECT_EQ(readPacket(p, ExactBytes(input, 8)), 0u);
    expectIdentification(p, 0, 0, 0, 0);

    // Valid 9 bytes, refused because the packet already holds 3 data bytes (needs 12).
    Packet holding = packet(XCP_Message::IFT_ABSOLUTE_ODT_NUMBER, 0x55, 0, 0, XCP_Message::TST_NO, "", "66 77 88");
    EXPECT_EQ(readPacket(holding, ExactBytes(input)), 0u);
    expectIdentification(holding, 0, 0x55, 0, 0);
    EXPECT_EQ(toHex(holding.dataField.data), "66 77 88");
    EXPECT_EQ(cerr.text(), "");
}

TEST(Packet, FailedDataReadLeavesIdentificationAndTimeStampReplaced)
{
    CerrCapture cerr;
    Packet p = packet(XCP_Message::IFT_CTO_PACKET_CODE, 0x77, 0x66, 0x5544, XCP_Message::TST_WORD, "CC DD",
                      "01 02 03");
    byteVec_t input = hexBytes("00 11 22 33 44  02 02 AA BB  00 03 01 02 03");
    EXPECT_EQ(readPacket(p, ExactBytes(input)), 0u);  // the data read asks for 5 + 3 of 5
    EXPECT_EQ(cerr.text(), kDataReadLine);
    expectIdentification(p, 0, 0x11, 0x22, 0x3344);
    EXPECT_EQ(toHex(p.timestampField.getTimestamp()), "aa bb");
    EXPECT_EQ(toHex(p.dataField.data), "01 02 03");
}

TEST(Packet, DataLongerThanTheInputIsAReadError)
{
    CerrCapture cerr;
    Packet p;
    EXPECT_EQ(readPacket(p, ExactBytes(hexBytes("00 11 22 33 44  00 00  00 05 66 77 88"))), 0u);
    EXPECT_EQ(cerr.text(), kDataReadLine);
    expectIdentification(p, 0, 0x11, 0x22, 0x3344);
    EXPECT_TRUE(p.dataField.data.empty());
}

TEST(Packet, TimeStampShorterThanAnnouncedIsAReadError)
{
    CerrCapture cerr;
    Packet p;
    EXPECT_EQ(readPacket(p, ExactBytes(hexBytes("00 11 22 33 44  04 04 55 66 77"))), 0u);
    EXPECT_EQ(cerr.text(), kTsReadLine);
    expectIdentification(p, 0, 0x11, 0x22, 0x3344);
    EXPECT_EQ(p.timestampField.getType(), XCP_Message::TST_DWORD);  // taken before the check
    EXPECT_TRUE(p.timestampField.getTimestamp().empty());
}

TEST(Packet, TimeStampOf254BytesIsAReadErrorEvenWhenPresent)
{
    CerrCapture cerr;
    Packet p;
    byteVec_t input = concat({hexBytes("00 11 22 33 44"), longTimestampBytes(254), hexBytes("00 00")});
    EXPECT_EQ(readPacket(p, ExactBytes(input)), 0u);
    EXPECT_EQ(cerr.text(), kTsReadLine);
    EXPECT_EQ(p.timestampField.getTimestamp(), counting(254));  // the field read took them
}

TEST(Packet, TimeStampOf255BytesMisplacesTheDataRead)
{
    CerrCapture cerr;
    Packet p;
    // The time-stamp read reports 1 byte, so the data length is taken from bytes 6 and 7
    // (FF 01), far more than is left.
    byteVec_t input = concat({hexBytes("00 11 22 33 44"), longTimestampBytes(255), hexBytes("00 00")});
    EXPECT_EQ(readPacket(p, ExactBytes(input)), 0u);
    EXPECT_EQ(cerr.text(), kDataReadLine);
    EXPECT_EQ(p.timestampField.getTimestamp().size(), 255u);
}

TEST(Packet, ReadIntoPacketHoldingLongTimeStampStaysInBounds)
{
    CerrCapture cerr;
    Packet p = packetWithLongTimestamp(254, "");
    // Only 3 of the 5 time-stamp bytes (type, count, 3 bytes) are there.
    EXPECT_EQ(readPacket(p, ExactBytes(hexBytes("00 11 22 33 44  02 03 AA"))), 0u);
    EXPECT_EQ(p.timestampField.getType(), XCP_Message::TST_WORD);
    EXPECT_EQ(p.timestampField.getTimestamp().size(), 254u);

    Packet q = packetWithLongTimestamp(255, "");
    EXPECT_EQ(readPacket(q, ExactBytes(hexBytes("00 11 22 33 44  02 03 AA BB"))), 0u);
    EXPECT_EQ(q.timestampField.getTimestamp().size(), 255u);
    EXPECT_EQ(cerr.text(), kTsReadLine + kTsReadLine);

    Packet r = packetWithLongTimestamp(254, "");
    EXPECT_EQ(readPacket(r, ExactBytes(hexBytes("00 11 22 33 44  02 02 AA BB  00 01 5A"))), 12u);
    EXPECT_EQ(toHex(r.timestampField.getTimestamp()), "aa bb");
    EXPECT_EQ(toHex(r.dataField.data), "5a");
}

// ---- moving time-stamp bytes out of the data field -------------------------------------------

TEST(Packet, MoveTimestampDataTakesTheLeadingDataBytes)
{
    CerrCapture cerr;
    Packet p = packet(XCP_Message::IFT_ABSOLUTE_ODT_NUMBER, 0, 0, 0, XCP_Message::TST_DWORD, "00 00 00 00",
                      "11 22 33 44 55");
    EXPECT_TRUE(p.moveTimestampData());
    EXPECT_EQ(toHex(p.timestampField.getTimestamp()), "11 22 33 44");
    EXPECT_EQ(toHex(p.dataField.data), "55");
    EXPECT_EQ(p.timestampField.getType(), XCP_Message::TST_DWORD);
    EXPECT_EQ(cerr.text(), "");
}

TEST(Packet, MoveTimestampDataMayEmptyTheDataField)
{
    Packet p = packet(XCP_Message::IFT_ABSOLUTE_ODT_NUMBER, 0, 0, 0, XCP_Message::TST_WORD, "00 00", "11 22");
    EXPECT_TRUE(p.moveTimestampData());
    EXPECT_EQ(toHex(p.timestampField.getTimestamp()), "11 22");
    EXPECT_TRUE(p.dataField.data.empty());
}

TEST(Packet, MoveTimestampDataRefusesTooFewDataBytes)
{
    CerrCapture cerr;
    Packet p = packet(XCP_Message::IFT_ABSOLUTE_ODT_NUMBER, 0, 0, 0, XCP_Message::TST_DWORD, "AA BB CC DD",
                      "11 22 33");
    EXPECT_FALSE(p.moveTimestampData());
    EXPECT_EQ(cerr.text(), kMoveLine);
    EXPECT_EQ(toHex(p.timestampField.getTimestamp()), "aa bb cc dd");
    EXPECT_EQ(toHex(p.dataField.data), "11 22 33");
}

TEST(Packet, MoveTimestampDataWithoutTimeStampChangesNothing)
{
    CerrCapture cerr;
    Packet p = packet(XCP_Message::IFT_ABSOLUTE_ODT_NUMBER, 0, 0, 0, XCP_Message::TST_NO, "", "11 22 33");
    EXPECT_TRUE(p.moveTimestampData());
    EXPECT_TRUE(p.timestampField.getTimestamp().empty());
    EXPECT_EQ(toHex(p.dataField.data), "11 22 33");
    Packet empty;
    EXPECT_TRUE(empty.moveTimestampData());
    EXPECT_EQ(cerr.text(), "");
}

TEST(Packet, CopyCopiesAllFields)
{
    Packet original = patternPacket();
    Packet copy(original);
    EXPECT_TRUE(wrote(writePiece(copy, 15), 15, kPatternBytes));
}

// ---- frame block -------------------------------------------------------------------------------

TEST(FrameBlock, EthernetResponse)
{
    CerrCapture cerr;
    FrameBlock block = frameBlockFor(
        XCP_Message::TT_ETHERNET,
        packet(XCP_Message::IFT_CTO_PACKET_CODE, 0xFF, 0, 0, XCP_Message::TST_NO, "", "00 10"));
    block.header.setLEN(3);
    block.header.setCTR(1);
    EXPECT_TRUE(wrote(writeFrameBlock(block, 17), 17, "04 03 00 01 00  05 FF 00 00 00  00 00  00 02 00 10  00"));
    EXPECT_EQ(cerr.text(), "");
}

TEST(FrameBlock, EthernetResponseReadsBack)
{
    FrameBlock block;
    byteVec_t input = hexBytes("04 03 00 01 00  05 FF 00 00 00  00 00  00 02 00 10  00");
    EXPECT_EQ(readFrameBlock(block, XCP_Message::TT_ETHERNET, ExactBytes(input)), 17u);
    uint16_t len = 0;
    uint16_t ctr = 0;
    EXPECT_TRUE(block.header.getLEN(len));
    EXPECT_TRUE(block.header.getCTR(ctr));
    EXPECT_EQ(len, 3);
    EXPECT_EQ(ctr, 1);
    expectIdentification(block.packet, XCP_Message::IFT_CTO_PACKET_CODE, 0xFF, 0, 0);
    EXPECT_EQ(block.packet.timestampField.getType(), XCP_Message::TST_NO);
    EXPECT_EQ(toHex(block.packet.dataField.data), "00 10");
    EXPECT_FALSE(block.tail.isActive());
    EXPECT_TRUE(block.tail.data.empty());
}

TEST(FrameBlock, EthernetWithTimeStampAtItsOffsets)
{
    FrameBlock block = frameBlockFor(XCP_Message::TT_ETHERNET, patternPacket());
    block.header.setLEN(0xBBCC);
    block.header.setCTR(0xDDEE);
    const char* expected = "04 CC BB EE DD  02 11 22 33 44  04 04 55 66 77 88  00 02 99 AA  00";  // 15 + 4 + 2
    EXPECT_TRUE(wrote(writeFrameBlock(block, 21), 21, expected));

    FrameBlock copy;
    EXPECT_EQ(readFrameBlock(copy, XCP_Message::TT_ETHERNET, ExactBytes(hexBytes(expected))), 21u);
    EXPECT_EQ(toHex(copy.header.getData()), "cc bb ee dd");
    EXPECT_TRUE(wrote(writePiece(copy.packet, 15), 15, kPatternBytes));
}

TEST(FrameBlock, CanWithFillBytes)
{
    FrameBlock block = frameBlockFor(
        XCP_Message::TT_CAN, packet(XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE, 0x11, 0x22, 0x3344,
                                    XCP_Message::TST_BYTE, "55", "66 77"));
    block.tail.data = hexBytes("AA BB CC");
    EXPECT_TRUE(block.tail.setActive(true));
    const char* expected = "00  01 11 22 33 44  01 01 55  00 02 66 77  03 AA BB CC";  // 11 + 1 + 2 + 3
    EXPECT_TRUE(wrote(writeFrameBlock(block, 17), 17, expected));

    FrameBlock copy;
    EXPECT_EQ(readFrameBlock(copy, XCP_Message::TT_CAN, ExactBytes(hexBytes(expected))), 17u);
    EXPECT_FALSE(copy.header.isActive());
    expectIdentification(copy.packet, 1, 0x11, 0x22, 0x3344);
    EXPECT_EQ(toHex(copy.packet.timestampField.getTimestamp()), "55");
    EXPECT_EQ(toHex(copy.packet.dataField.data), "66 77");
    EXPECT_TRUE(copy.tail.isActive());
    EXPECT_EQ(toHex(copy.tail.data), "aa bb cc");
}

TEST(FrameBlock, CanWithoutFillBytes)
{
    FrameBlock block = frameBlockFor(
        XCP_Message::TT_CAN, packet(XCP_Message::IFT_CTO_PACKET_CODE, 0xFE, 0, 0, XCP_Message::TST_NO, "", "20"));
    const char* expected = "00  05 FE 00 00 00  00 00  00 01 20  00";  // 11 + 0 + 1
    EXPECT_TRUE(wrote(writeFrameBlock(block, 12), 12, expected));

    FrameBlock copy;
    EXPECT_EQ(readFrameBlock(copy, XCP_Message::TT_CAN, ExactBytes(hexBytes(expected))), 12u);
    expectIdentification(copy.packet, XCP_Message::IFT_CTO_PACKET_CODE, 0xFE, 0, 0);
    EXPECT_EQ(toHex(copy.packet.dataField.data), "20");
    EXPECT_FALSE(copy.tail.isActive());
}

TEST(FrameBlock, FlexRayIsWrittenButRefusedOnRead)
{
    CerrCapture cerr;
    FrameBlock block = frameBlockFor(XCP_Message::TT_FLEXRAY, patternPacket());
    const std::string expected = std::string("00 ") + kPatternBytes + " 00";
    EXPECT_TRUE(wrote(writeFrameBlock(block, 17), 17, expected));
    EXPECT_EQ(cerr.text(),
              "[ERROR] XCP_Message::Header::setTransportType: flex ray isn't supported at the moment\n");
    cerr.clear();

    FrameBlock copy;
    EXPECT_EQ(readFrameBlock(copy, XCP_Message::TT_FLEXRAY, ExactBytes(hexBytes(expected))), 0u);
    EXPECT_EQ(cerr.text(),
              "[ERROR] XCP_Message::Header::setTransportType: flex ray isn't supported at the moment\n"
              "[ERROR] XCP_Message::Header::readFromByteArray: flex ray isn't supported at the moment\n");
}
