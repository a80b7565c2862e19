// The trace record of an XCP message: its declared size, the writer's bytes, the reader's
// diagnostics and partial results, and write/read round trips.

#include "test_support.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using testsupport::CerrCapture;
using testsupport::hexBytes;
using testsupport::repeatedLine;
using testsupport::toHex;
using testsupport::writeInto;
using testsupport::WriteResult;

namespace {

const timeStamp_t kTimeStamp = 0x1011121314151617ull;

const char* const kCantWriteMessage = "[ERROR] XCP_Message::writeToByteArray: can't write XCP_Message";
const char* const kPacketRefuses = "[ERROR] XCP_Message::Packet::writeToByteArray: can't write Data Field";
const char* const kTailRefuses = "[ERROR] XCP_Message::Tail::writeToByteArray: can't write Header";
const char* const kFlexRayHeaderSetup =
    "[ERROR] XCP_Message::Header::setTransportType: flex ray isn't supported at the moment";

// ---- fixtures: one pattern per field ----------------------------------------------------------------

void fillPacket(XCP_Message& message)
{
    XCP_Message::Packet::IdentificationField& id = message.packet.identificationField;
    id.setType(XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD);
    id.pid = 0x55;
    id.firstPid = 0x66;
    id.setDaqNo(0x7778);
    message.packet.timestampField.setType(XCP_Message::TST_WORD);
    const uint8_t ticks[] = {0x88, 0x99};
    EXPECT_TRUE(message.packet.timestampField.setTimestamp(ticks, sizeof ticks));
    message.packet.dataField.data = {0xAA, 0xBB, 0xCC};
}

XCP_Message canMessage()
{
    XCP_Message message(kTimeStamp, XCP_Message::TT_CAN, XCP_Message::MD_RX, 0x33);
    fillPacket(message);
    message.tail.data = {0xD1, 0xD2};
    EXPECT_TRUE(message.tail.setActive(true));
    message.setCanTransportTypeSettings(0x1E2E3E4E, CT_FD_EXTENDED, 0x5F);
    return message;
}

const std::string kCanRecord =
    "00 27 00 19 00 00 10 11 12 13 14 15 16 17"  // size 39, MSGID_XCP, reserved word, time stamp
    " 02 01 33"                                   // TT_CAN, MD_RX, ECU 0x33
    " 00"                                         // header: no bytes
    " 02 55 66 77 78"                             // identification: type 2, PID, first PID, DAQ 0x7778
    " 02 02 88 99"                                // time stamp: TST_WORD, 2 bytes
    " 00 03 aa bb cc"                             // data: 3 bytes
    " 02 d1 d2"                                   // tail: 2 fill bytes
    " 1e 2e 3e 4e 03 5f";                         // CAN id, CT_FD_EXTENDED, channel 0x5F

XCP_Message ethernetMessage()
{
    XCP_Message message(kTimeStamp, XCP_Message::TT_ETHERNET, XCP_Message::MD_TX, 0x33);
    EXPECT_TRUE(message.header.setLEN(0x4241));
    EXPECT_TRUE(message.header.setCTR(0x4443));
    fillPacket(message);
    message.setEthernetTransportTypeSettings("1.2.3.4", "10.20.30.40", "255.0.0.0", 0x6A6B, true);
    return message;
}

const std::string kEthernetThroughTail =
    "00 44 00 19 00 00 10 11 12 13 14 15 16 17"  // size 68, MSGID_XCP, reserved word, time stamp
    " 01 02 33"                                   // TT_ETHERNET, MD_TX, ECU 0x33
    " 04 41 42 43 44"                             // header: LEN 0x4241, CTR 0x4443, little-endian
    " 02 55 66 77 78"                             // identification
    " 02 02 88 99"                                // time stamp
    " 00 03 aa bb cc"                             // data
    " 00";                                        // tail: none on Ethernet
const std::string kDstIp = " 07 31 2e 32 2e 33 2e 34";              // "1.2.3.4"
const std::string kSrcIp = " 0b 31 30 2e 32 30 2e 33 30 2e 34 30";  // "10.20.30.40"
const std::string kMask = " 09 32 35 35 2e 30 2e 30 2e 30";         // "255.0.0.0"
const std::string kPortTcp = " 6a 6b 01";                           // port 0x6A6B, TCP
const std::string kEthernetRecord = kEthernetThroughTail + kDstIp + kSrcIp + kMask + kPortTcp;

XCP_Message unknownMessage()
{
    return XCP_Message(kTimeStamp, XCP_Message::TT_UNKNOWN, XCP_Message::MD_RX, 0x33);
}

const std::string kUnknownRecord =
    "00 1a 00 19 00 00 10 11 12 13 14 15 16 17"  // size 26
    " 00 01 33"                                   // TT_UNKNOWN, MD_RX, ECU 0x33
    " 00"                                         // header
    " 00 00 00 00 00"                             // identification
    " 00 00"                                      // time stamp: TST_NO, no bytes
    " 00 00"                                      // data: none
    " 00";                                        // tail

/// A time-stamp field that holds `count` bytes of 0x77, as a read leaves it.
XCP_Message::Packet::TimestampField timestampOfLength(size_t count)
{
    byteVec_t field = {0x02, static_cast<uint8_t>(count)};
    field.insert(field.end(), count, 0x77);
    XCP_Message::Packet::TimestampField timestamp;
    timestamp.readFromByteArray(field.data(), field.size());
    EXPECT_EQ(timestamp.getTimestamp().size(), count);
    return timestamp;
}

// ---- helpers ---------------------------------------------------------------------------------------

struct ReadOutcome {
    std::unique_ptr<XCP_Message> message;
    std::string diagnostics;
};

ReadOutcome readHex(const std::string& hex)
{
    const byteVec_t bytes = hexBytes(hex);
    CerrCapture cerr;
    ReadOutcome outcome;
    outcome.message = testsupport::readRecord(bytes);
    outcome.diagnostics = cerr.text();
    return outcome;
}

/// The first `count` bytes of a hex fixture.
std::string firstBytes(const std::string& hex, size_t count)
{
    const byteVec_t bytes = hexBytes(hex);
    EXPECT_LE(count, bytes.size());
    return toHex(bytes.data(), count);
}

WriteResult writeMessage(const XCP_Message& message, size_t maxlen, size_t allowedOverrun = 0,
                         bool sync = false)
{
    return writeInto(
        maxlen, [&](uint8_t*& cursor, size_t room) { return message.writeToByteArray(cursor, room, sync); },
        allowedOverrun);
}

void expectCanSettingsUnset(const XCP_Message& message)
{
    EXPECT_EQ(message.canId, 0u);
    EXPECT_EQ(message.canType, CT_STANDARD);
    EXPECT_EQ(message.canChannel, 0);
}

void expectEthernetSettingsUnset(const XCP_Message& message)
{
    EXPECT_EQ(message.dstIp, "");
    EXPECT_EQ(message.srcIp, "");
    EXPECT_EQ(message.mask, "");
    EXPECT_EQ(message.port, 0);
    EXPECT_FALSE(message.tcp);
}

/// Nothing beyond the base header has been read: the zero values of a fresh record message.
void expectDescriptionUnset(const XCP_Message& message)
{
    EXPECT_EQ(message.getTransportType(), XCP_Message::TT_UNKNOWN);
    EXPECT_EQ(message.getMsgDirection(), XCP_Message::MD_UNKNOWN);
    EXPECT_EQ(message.getEcuId(), 0);
    EXPECT_TRUE(message.header.getData().empty());
    EXPECT_FALSE(message.header.isActive());
    EXPECT_TRUE(message.packet.dataField.data.empty());
    EXPECT_TRUE(message.packet.timestampField.getTimestamp().empty());
    EXPECT_TRUE(message.tail.data.empty());
    expectCanSettingsUnset(message);
    expectEthernetSettingsUnset(message);
}

void expectFilledPacket(const XCP_Message& message)
{
    const XCP_Message::Packet::IdentificationField& id = message.packet.identificationField;
    EXPECT_EQ(id.getType(), XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD);
    EXPECT_EQ(id.pid, 0x55);
    EXPECT_EQ(id.firstPid, 0x66);
    EXPECT_EQ(id.getDaqNo(), 0x7778);
    EXPECT_EQ(message.packet.timestampField.getType(), XCP_Message::TST_WORD);
    EXPECT_EQ(toHex(message.packet.timestampField.getTimestamp()), "88 99");
    EXPECT_EQ(toHex(message.packet.dataField.data), "aa bb cc");
}

}  // namespace

// ==== declared size ===================================================================================

TEST(TraceRecordSize, UnknownTransportWithEmptyPieces)
{
    EXPECT_EQ(unknownMessage().getSize(), 26u);
    EXPECT_EQ(XCP_Message().getSize(), 26u);
}

TEST(TraceRecordSize, EmptyCanAndEthernetMessages)
{
    EXPECT_EQ(XCP_Message(0, XCP_Message::TT_CAN, XCP_Message::MD_RX, 0).getSize(), 32u);       // + settings 6
    EXPECT_EQ(XCP_Message(0, XCP_Message::TT_ETHERNET, XCP_Message::MD_RX, 0).getSize(), 36u);  // + header 4
}

TEST(TraceRecordSize, EveryTermOfTheFormula)
{
    // 24 + header 0 + time stamp (2 + 2) + data 3 + tail 2 + CAN settings 6
    EXPECT_EQ(canMessage().getSize(), 39u);
    // 24 + header 4 + time stamp 4 + data 3 + tail 0 + 6 + strings 7 + 11 + 9
    EXPECT_EQ(ethernetMessage().getSize(), 68u);
}

TEST(TraceRecordSize, TailBytesCountEvenWhenSwitchedOff)
{
    XCP_Message message = canMessage();
    ASSERT_TRUE(message.tail.setActive(false));
    EXPECT_EQ(message.getSize(), 39u);
    XCP_Message ethernet = ethernetMessage();
    ethernet.tail.data = {0x01, 0x02, 0x03};  // never active on Ethernet
    EXPECT_EQ(ethernet.getSize(), 71u);
}

TEST(TraceRecordSize, SettingsFollowTheTransportTypeAlone)
{
    CerrCapture cerr;
    XCP_Message message = ethernetMessage();  // holds both CAN and Ethernet settings
    message.setCanTransportTypeSettings(1, CT_EXTENDED, 1);
    EXPECT_EQ(message.getSize(), 68u);
    message.setTransportType(XCP_Message::TT_CAN);
    EXPECT_EQ(message.getSize(), 24u + 4 + 4 + 3 + 6);
    message.setTransportType(XCP_Message::TT_UNKNOWN);
    EXPECT_EQ(message.getSize(), 24u + 4 + 4 + 3);
    message.setTransportType(XCP_Message::TT_FLEXRAY);
    EXPECT_EQ(message.getSize(), 24u + 4 + 4 + 3);
    message.setTransportType(static_cast<XCP_Message::transportType_t>(9));
    EXPECT_EQ(message.getSize(), 24u + 4 + 4 + 3);
    EXPECT_EQ(cerr.text(), "");
}

TEST(TraceRecordSize, TimeStampTermWrapsAt256)
{
    XCP_Message message(0, XCP_Message::TT_UNKNOWN, XCP_Message::MD_RX, 0);
    message.packet.timestampField = timestampOfLength(253);
    EXPECT_EQ(message.getSize(), 24u + 255);
    message.packet.timestampField = timestampOfLength(254);
    EXPECT_EQ(message.getSize(), 24u + 0);
    message.packet.timestampField = timestampOfLength(255);
    EXPECT_EQ(message.getSize(), 24u + 1);
}

TEST(TraceRecordSize, DataAndStringsCountInFull)
{
    XCP_Message message(0, XCP_Message::TT_ETHERNET, XCP_Message::MD_RX, 0);
    message.packet.dataField.data.assign(70000, 0xAA);
    message.setEthernetTransportTypeSettings(std::string(300, 'd'), std::string(256, 's'), "", 0, false);
    EXPECT_EQ(message.getSize(), 24u + 4 + 2 + 70000 + 6 + 300 + 256);
}

// ==== writer ==========================================================================================

TEST(TraceRecordWriter, UnknownTransportWithEmptyPieces)
{
    const XCP_Message message = unknownMessage();
    CerrCapture cerr;
    WriteResult result = writeMessage(message, message.getSize() + 2);
    EXPECT_EQ(result.returned, 26u);
    EXPECT_EQ(toHex(result.bytes), toHex(hexBytes(kUnknownRecord)));
    EXPECT_EQ(result.bytes.size(), 28u);
    EXPECT_TRUE(result.guardIntact);
    EXPECT_EQ(cerr.text(), "");
}

TEST(TraceRecordReader, UnknownTransportRecordStopsAtTheHeader)
{
    ReadOutcome read = readHex(kUnknownRecord);
    EXPECT_EQ(read.diagnostics,
              "[ERROR] XCP_Message::Header::readFromByteArray: invalid transport type\n"
              "[ERROR] XCP Header read error\n");
    EXPECT_EQ(read.message->getTimeStamp(), kTimeStamp);
    EXPECT_EQ(read.message->getTransportType(), XCP_Message::TT_UNKNOWN);
    EXPECT_EQ(read.message->getMsgDirection(), XCP_Message::MD_RX);
    EXPECT_EQ(read.message->getEcuId(), 0x33);
    expectCanSettingsUnset(*read.message);
    expectEthernetSettingsUnset(*read.message);
}

TEST(TraceRecordWriter, CanRecord)
{
    const XCP_Message message = canMessage();
    CerrCapture cerr;
    WriteResult result = writeMessage(message, message.getSize() + 2);
    EXPECT_EQ(result.returned, 39u);
    EXPECT_EQ(toHex(result.bytes), toHex(hexBytes(kCanRecord)));
    EXPECT_EQ(result.bytes.size(), 41u);
    EXPECT_TRUE(result.guardIntact);
    EXPECT_EQ(cerr.text(), "");
}

TEST(TraceRecordReader, CanRecord)
{
    ReadOutcome read = readHex(kCanRecord);
    EXPECT_EQ(read.diagnostics, "");
    const XCP_Message& message = *read.message;
    EXPECT_EQ(message.getTimeStamp(), kTimeStamp);
    EXPECT_EQ(message.getTransportType(), XCP_Message::TT_CAN);
    EXPECT_EQ(message.getMsgDirection(), XCP_Message::MD_RX);
    EXPECT_EQ(message.getEcuId(), 0x33);
    EXPECT_TRUE(message.header.getData().empty());
    expectFilledPacket(message);
    EXPECT_TRUE(message.tail.isActive());
    EXPECT_EQ(toHex(message.tail.data), "d1 d2");
    EXPECT_EQ(message.canId, 0x1E2E3E4Eu);
    EXPECT_EQ(message.canType, CT_FD_EXTENDED);
    EXPECT_EQ(message.canChannel, 0x5F);
    expectEthernetSettingsUnset(message);
    EXPECT_TRUE(message == canMessage());
}

TEST(TraceRecordWriter, EthernetRecord)
{
    const XCP_Message message = ethernetMessage();
    CerrCapture cerr;
    WriteResult result = writeMessage(message, message.getSize() + 2);
    EXPECT_EQ(result.returned, 68u);
    EXPECT_EQ(toHex(result.bytes), toHex(hexBytes(kEthernetRecord)));
    EXPECT_EQ(result.bytes.size(), 70u);
    EXPECT_TRUE(result.guardIntact);
    EXPECT_EQ(cerr.text(), "");
}

TEST(TraceRecordReader, EthernetRecord)
{
    ReadOutcome read = readHex(kEthernetRecord);
    EXPECT_EQ(read.diagnostics, "");
    const XCP_Message& message = *read.message;
    EXPECT_EQ(message.getTimeStamp(), kTimeStamp);
    EXPECT_EQ(message.getTransportType(), XCP_Message::TT_ETHERNET);
    EXPECT_EQ(message.getMsgDirection(), XCP_Message::MD_TX);
    EXPECT_EQ(message.getEcuId(), 0x33);
    EXPECT_EQ(toHex(message.header.getData()), "41 42 43 44");
    expectFilledPacket(message);
    EXPECT_FALSE(message.tail.isActive());
    EXPECT_TRUE(message.tail.data.empty());
    EXPECT_EQ(message.dstIp, "1.2.3.4");
    EXPECT_EQ(message.srcIp, "10.20.30.40");
    EXPECT_EQ(message.mask, "255.0.0.0");
    EXPECT_EQ(message.port, 0x6A6B);
    EXPECT_TRUE(message.tcp);
    expectCanSettingsUnset(message);
    EXPECT_TRUE(message == ethernetMessage());
}

TEST(TraceRecordWriter, SyncIsPassedThroughWithoutChangingTheBytes)
{
    const XCP_Message message = canMessage();
    WriteResult withSync = writeMessage(message, message.getSize() + 2, 0, true);
    EXPECT_EQ(withSync.returned, 39u);
    EXPECT_EQ(toHex(withSync.bytes), toHex(hexBytes(kCanRecord)));
}

TEST(TraceRecordWriter, FlexRayFrameBlockIsWritten)
{
    CerrCapture cerr;
    XCP_Message message(kTimeStamp, XCP_Message::TT_FLEXRAY, XCP_Message::MD_RX, 0x33);
    message.packet.dataField.data = {0xAA};
    cerr.clear();
    WriteResult result = writeMessage(message, message.getSize() + 2);
    EXPECT_EQ(result.returned, 27u);
    EXPECT_EQ(toHex(result.bytes), toHex(hexBytes("00 1b 00 19 00 00 10 11 12 13 14 15 16 17"
                                                  " 03 01 33  00  00 00 00 00 00  00 00  00 01 aa  00")));
    EXPECT_TRUE(result.guardIntact);
    EXPECT_EQ(cerr.text(), "");
}

TEST(TraceRecordReader, FlexRayRecordIsRefusedAtTheHeader)
{
    ReadOutcome read = readHex("00 1b 00 19 00 00 10 11 12 13 14 15 16 17"
                               " 03 01 33  00  00 00 00 00 00  00 00  00 01 aa  00");
    EXPECT_EQ(read.diagnostics,
              repeatedLine(kFlexRayHeaderSetup) +
                  "[ERROR] XCP_Message::Header::readFromByteArray: flex ray isn't supported at the moment\n"
                  "[ERROR] XCP Header read error\n");
    EXPECT_EQ(read.message->getTransportType(), XCP_Message::TT_FLEXRAY);
    EXPECT_EQ(read.message->getTimeStamp(), kTimeStamp);
    EXPECT_EQ(read.message->getEcuId(), 0x33);
    EXPECT_TRUE(read.message->packet.dataField.data.empty());
}

TEST(TraceRecordWriter, DescriptionBytesAreTheLowEightBits)
{
    XCP_Message message = unknownMessage();
    message.setTransportType(static_cast<XCP_Message::transportType_t>(0x101));
    message.setMsgDirection(static_cast<XCP_Message::msgDirection_t>(0x202));
    WriteResult result = writeMessage(message, message.getSize() + 2);
    EXPECT_EQ(result.returned, 26u);  // not a known transport: no settings
    EXPECT_EQ(toHex(result.bytes), toHex(hexBytes("00 1a 00 19 00 00 10 11 12 13 14 15 16 17"
                                                  " 01 02 33  00  00 00 00 00 00  00 00  00 00  00")));
}

TEST(TraceRecordReader, TruncatedTypeByteReadsAsEthernetAndNeedsItsHeader)
{
    ReadOutcome read = readHex("00 1a 00 19 00 00 10 11 12 13 14 15 16 17"
                               " 01 02 33  00  00 00 00 00 00  00 00  00 00  00");
    EXPECT_EQ(read.diagnostics,
              "[ERROR] XCP_Message::Header::readFromByteArray: ethernet; invalid headerSize\n"
              "[ERROR] XCP Header read error\n");
    EXPECT_EQ(read.message->getTransportType(), XCP_Message::TT_ETHERNET);
    EXPECT_EQ(read.message->getMsgDirection(), XCP_Message::MD_TX);
    // The header is as the Ethernet set-up left it.
    EXPECT_EQ(toHex(read.message->header.getData()), "00 00 00 00");
}

TEST(TraceRecordWriter, SwitchedOffFillBytesAreAnnouncedButNotWritten)
{
    XCP_Message message = canMessage();
    ASSERT_TRUE(message.tail.setActive(false));
    CerrCapture cerr;
    WriteResult result = writeMessage(message, message.getSize() + 2);
    // The declared size is returned, not the bytes written.
    EXPECT_EQ(result.returned, 39u);
    EXPECT_EQ(toHex(result.bytes), toHex(hexBytes("00 27 00 19 00 00 10 11 12 13 14 15 16 17  02 01 33  00"
                                                  "  02 55 66 77 78  02 02 88 99  00 03 aa bb cc"
                                                  "  02  1e 2e 3e 4e 03 5f")));
    EXPECT_EQ(cerr.text(), "");
}

TEST(TraceRecordReader, AnnouncedFillBytesSwallowTheCanSettings)
{
    ReadOutcome read = readHex("00 27 00 19 00 00 10 11 12 13 14 15 16 17  02 01 33  00"
                               "  02 55 66 77 78  02 02 88 99  00 03 aa bb cc"
                               "  02  1e 2e 3e 4e 03 5f");
    EXPECT_EQ(read.diagnostics, "[ERROR] XCP message CAN settings read error\n");
    EXPECT_EQ(toHex(read.message->tail.data), "1e 2e");
    expectCanSettingsUnset(*read.message);
}

// ---- refusal ---------------------------------------------------------------------------------------

TEST(TraceRecordWriter, RefusesARoomOneByteShortOfTheDeclaredSize)
{
    CerrCapture cerr;
    for (const XCP_Message& message : {unknownMessage(), canMessage(), ethernetMessage()}) {
        cerr.clear();
        const size_t maxlen = message.getSize() - 1;
        byteVec_t buffer(maxlen + 16, 0xEE);
        uint8_t* cursor = buffer.data();
        EXPECT_EQ(message.writeToByteArray(cursor, maxlen, false), 0u);
        EXPECT_EQ(cursor, buffer.data());
        EXPECT_EQ(toHex(buffer), toHex(byteVec_t(buffer.size(), 0xEE)));
        EXPECT_EQ(cerr.text(), repeatedLine(kCantWriteMessage));
    }
}

TEST(TraceRecordWriter, RefusesAnEmptyRoom)
{
    const XCP_Message message = canMessage();
    CerrCapture cerr;
    uint8_t* cursor = nullptr;
    EXPECT_EQ(message.writeToByteArray(cursor, 0, false), 0u);
    EXPECT_EQ(cursor, nullptr);
    EXPECT_EQ(cerr.text(), repeatedLine(kCantWriteMessage));
}

// ---- room of exactly the declared size ------------------------------------------------------------

TEST(TraceRecordWriter, DeclaredRoomWithoutSettingsAndEmptyTailLeavesOutThePacket)
{
    const XCP_Message message = unknownMessage();
    CerrCapture cerr;
    WriteResult result = writeMessage(message, message.getSize());
    EXPECT_EQ(result.returned, 26u);
    EXPECT_EQ(cerr.text(), repeatedLine(kPacketRefuses));
    // Base header, description, header length byte, then the tail's length byte.
    EXPECT_EQ(toHex(result.bytes), toHex(hexBytes("00 1a 00 19 00 00 10 11 12 13 14 15 16 17  00 01 33  00  00")));
    EXPECT_TRUE(result.guardIntact);
}

TEST(TraceRecordReader, RecordWithoutPacketIsRefusedAtTheHeaderForUnknownTransport)
{
    ReadOutcome read = readHex("00 1a 00 19 00 00 10 11 12 13 14 15 16 17  00 01 33  00  00");
    EXPECT_EQ(read.diagnostics,
              "[ERROR] XCP_Message::Header::readFromByteArray: invalid transport type\n"
              "[ERROR] XCP Header read error\n");
    EXPECT_EQ(read.message->getEcuId(), 0x33);
}

TEST(TraceRecordWriter, DeclaredRoomWithoutSettingsAndFillBytesLeavesOutTheTail)
{
    CerrCapture cerr;
    XCP_Message message(kTimeStamp, XCP_Message::TT_FLEXRAY, XCP_Message::MD_RX, 0x33);
    message.tail.data = {0xD1, 0xD2};
    ASSERT_TRUE(message.tail.setActive(true));
    ASSERT_EQ(message.getSize(), 28u);
    cerr.clear();
    WriteResult result = writeMessage(message, message.getSize());
    EXPECT_EQ(result.returned, 28u);
    EXPECT_EQ(cerr.text(), repeatedLine(kTailRefuses));
    EXPECT_EQ(toHex(result.bytes), toHex(hexBytes("00 1c 00 19 00 00 10 11 12 13 14 15 16 17  03 01 33  00"
                                                  "  00 00 00 00 00  00 00  00 00")));
    EXPECT_TRUE(result.guardIntact);
}

TEST(TraceRecordWriter, DeclaredRoomWithUnknownTransportAndTailBytesLeavesOutTheTail)
{
    XCP_Message message = unknownMessage();
    message.tail.data = {0xD1};  // an unknown-transport tail stays switched off
    CerrCapture cerr;
    WriteResult result = writeMessage(message, message.getSize());
    EXPECT_EQ(result.returned, 27u);
    EXPECT_EQ(cerr.text(), repeatedLine(kTailRefuses));
    EXPECT_EQ(toHex(result.bytes), toHex(hexBytes("00 1b 00 19 00 00 10 11 12 13 14 15 16 17  00 01 33  00"
                                                  "  00 00 00 00 00  00 00  00 00")));
    EXPECT_TRUE(result.guardIntact);
}

TEST(TraceRecordReader, RecordWithoutTailIsRefusedAtTheHeaderForFlexRay)
{
    ReadOutcome read = readHex("00 1c 00 19 00 00 10 11 12 13 14 15 16 17  03 01 33  00"
                               "  00 00 00 00 00  00 00  00 00");
    EXPECT_EQ(read.diagnostics,
              repeatedLine(kFlexRayHeaderSetup) +
                  "[ERROR] XCP_Message::Header::readFromByteArray: flex ray isn't supported at the moment\n"
                  "[ERROR] XCP Header read error\n");
}

TEST(TraceRecordWriter, DeclaredRoomForCanEndsTheSettingsTwoBytesPastIt)
{
    const XCP_Message message = canMessage();
    CerrCapture cerr;
    WriteResult result = writeMessage(message, message.getSize(), 2);
    EXPECT_EQ(result.returned, 39u);
    EXPECT_EQ(toHex(result.bytes), toHex(hexBytes(kCanRecord)));
    EXPECT_EQ(result.bytes.size(), message.getSize() + 2);
    // The two bytes past the room are the CAN type and channel.
    EXPECT_EQ(toHex(result.bytes.data() + message.getSize(), 2), "03 5f");
    EXPECT_TRUE(result.guardIntact);
    EXPECT_EQ(cerr.text(), "");
}

TEST(TraceRecordWriter, DeclaredRoomForEthernetEndsTheSettingsTwoBytesPastIt)
{
    const XCP_Message message = ethernetMessage();
    CerrCapture cerr;
    WriteResult result = writeMessage(message, message.getSize(), 2);
    EXPECT_EQ(result.returned, 68u);
    EXPECT_EQ(toHex(result.bytes), toHex(hexBytes(kEthernetRecord)));
    // The two bytes past the room are the port's low byte and the TCP flag.
    EXPECT_EQ(toHex(result.bytes.data() + message.getSize(), 2), "6b 01");
    EXPECT_TRUE(result.guardIntact);
    EXPECT_EQ(cerr.text(), "");
}

TEST(TraceRecordWriter, OneByteMoreRoomLeavesOneByteOverrun)
{
    const XCP_Message message = canMessage();
    WriteResult result = writeMessage(message, message.getSize() + 1, 1);
    EXPECT_EQ(toHex(result.bytes), toHex(hexBytes(kCanRecord)));
    EXPECT_TRUE(result.guardIntact);
}

TEST(TraceRecordReader, RecordsWrittenIntoTheDeclaredRoomReadBack)
{
    for (const XCP_Message& message : {canMessage(), ethernetMessage()}) {
        WriteResult result = writeMessage(message, message.getSize(), 2);
        CerrCapture cerr;
        std::unique_ptr<XCP_Message> read = testsupport::readRecord(result.bytes);
        EXPECT_TRUE(*read == message);
        EXPECT_EQ(cerr.text(), "");
    }
}

// ---- oversized time stamp: the declared size understates the record ------------------------------

TEST(TraceRecordWriter, OversizedTimeStampNeverWritesPastTheRoom)
{
    XCP_Message message(kTimeStamp, XCP_Message::TT_CAN, XCP_Message::MD_RX, 0x33);
    message.packet.timestampField = timestampOfLength(254);
    message.setCanTransportTypeSettings(0x1E2E3E4E, CT_FD_EXTENDED, 0x5F);
    ASSERT_EQ(message.getSize(), 30u);
    // Room for the frame block (17 + 1 + 5 + 256 + 2 + 1 = 282 bytes) but not for the settings.
    for (size_t maxlen : {282u, 283u, 286u, 287u}) {
        CerrCapture cerr;
        WriteResult result = writeMessage(message, maxlen);
        EXPECT_TRUE(result.guardIntact) << "maxlen " << maxlen;
        EXPECT_EQ(result.bytes.size(), 282u);
        EXPECT_EQ(result.returned, 30u);
        EXPECT_EQ(cerr.text(), repeatedLine(kCantWriteMessage));
    }
    // With room for everything the settings follow.
    CerrCapture cerr;
    WriteResult result = writeMessage(message, 288);
    EXPECT_TRUE(result.guardIntact);
    EXPECT_EQ(result.bytes.size(), 288u);
    EXPECT_EQ(toHex(result.bytes.data() + 282, 6), "1e 2e 3e 4e 03 5f");
    EXPECT_EQ(cerr.text(), "");
}

TEST(TraceRecordWriter, TimeStampOf255BytesNeverWritesPastTheRoom)
{
    XCP_Message message(kTimeStamp, XCP_Message::TT_ETHERNET, XCP_Message::MD_RX, 0x33);
    message.packet.timestampField = timestampOfLength(255);
    message.setEthernetTransportTypeSettings("1.2.3.4", "", "", 0x6A6B, true);
    ASSERT_EQ(message.getSize(), 24u + 4 + 1 + 6 + 7);
    // Frame block: 17 + 5 + 5 + 257 + 2 + 1 = 287 bytes; the settings need 13 more.
    CerrCapture cerr;
    WriteResult cut = writeMessage(message, 298);
    EXPECT_TRUE(cut.guardIntact);
    EXPECT_EQ(cut.bytes.size(), 287u);
    EXPECT_EQ(cerr.text(), repeatedLine(kCantWriteMessage));
    cerr.clear();
    WriteResult whole = writeMessage(message, 300);
    EXPECT_TRUE(whole.guardIntact);
    EXPECT_EQ(toHex(whole.bytes.data() + 287, 13), "07 31 2e 32 2e 33 2e 34 00 00 6a 6b 01");
    EXPECT_EQ(cerr.text(), "");
}

TEST(TraceRecordWriter, OversizedTimeStampInTheUsualRoomIsLeftOut)
{
    XCP_Message message(kTimeStamp, XCP_Message::TT_CAN, XCP_Message::MD_RX, 0x33);
    message.packet.timestampField = timestampOfLength(254);
    message.setCanTransportTypeSettings(0x1E2E3E4E, CT_FD_EXTENDED, 0x5F);
    CerrCapture cerr;
    WriteResult result = writeMessage(message, message.getSize() + 2);
    EXPECT_TRUE(result.guardIntact);
    EXPECT_EQ(result.returned, 30u);
    EXPECT_EQ(cerr.text(), "[ERROR] XCP_Message::Packet::TimestampField::writeToByteArray: can't write Timestamp Field\n");
    EXPECT_EQ(toHex(result.bytes), toHex(hexBytes("00 1e 00 19 00 00 10 11 12 13 14 15 16 17  02 01 33  00"
                                                  "  00 00 00 00 00  00 00  00  1e 2e 3e 4e 03 5f")));
}

TEST(TraceRecordReader, OversizedTimeStampFromADamagedRecordIsWrittenSafely)
{
    // A record whose time-stamp length byte says 254: the read fails but keeps the bytes.
    std::string hex = "00 1e 00 19 00 00 10 11 12 13 14 15 16 17  02 01 33  00  00 00 00 00 00  02 fe";
    for (int i = 0; i < 254; ++i) {
        hex += " 77";
    }
    hex += " 00 00  00  1e 2e 3e 4e 03 5f";
    ReadOutcome read = readHex(hex);
    EXPECT_EQ(read.diagnostics, "[ERROR] Timestamp Field read error\n[ERROR] XCP Packet read error\n");
    ASSERT_EQ(read.message->packet.timestampField.getTimestamp().size(), 254u);
    // Written back into a room that holds the frame block but not the settings.
    CerrCapture cerr;
    WriteResult result = writeMessage(*read.message, 282);
    EXPECT_TRUE(result.guardIntact);
    EXPECT_EQ(cerr.text(), repeatedLine(kCantWriteMessage));
}

// ==== reader ==========================================================================================

TEST(TraceRecordReader, AlwaysReturnsANewMessage)
{
    CerrCapture cerr;
    std::unique_ptr<MessageBase> fromNothing(XCP_Message::readFromByteArray(nullptr, 0));
    ASSERT_NE(fromNothing, nullptr);
    EXPECT_NE(dynamic_cast<XCP_Message*>(fromNothing.get()), nullptr);
    EXPECT_EQ(cerr.text(), "[ERROR] XCP message v1 read error\n");
    const byteVec_t record = hexBytes(kCanRecord);
    std::unique_ptr<MessageBase> first(XCP_Message::readFromByteArray(record.data(), record.size()));
    std::unique_ptr<MessageBase> second(XCP_Message::readFromByteArray(record.data(), record.size()));
    EXPECT_NE(first.get(), second.get());
}

TEST(TraceRecordReader, ThirteenBytesAreTooShortForTheBaseHeader)
{
    for (size_t length : {0u, 1u, 13u}) {
        ReadOutcome read = readHex(firstBytes(kCanRecord, length));
        EXPECT_EQ(read.diagnostics, "[ERROR] XCP message v1 read error\n") << length;
        EXPECT_EQ(read.message->getTimeStamp(), 0u);
        EXPECT_EQ(read.message->getMsgId(), MSGID_XCP);
        expectDescriptionUnset(*read.message);
    }
}

TEST(TraceRecordReader, SixteenBytesAreTooShortForTheDescription)
{
    for (size_t length : {14u, 15u, 16u}) {
        ReadOutcome read = readHex(firstBytes(kCanRecord, length));
        EXPECT_EQ(read.diagnostics, "[ERROR] XCP message description read error\n") << length;
        EXPECT_EQ(read.message->getTimeStamp(), kTimeStamp);
        expectDescriptionUnset(*read.message);
    }
}

TEST(TraceRecordReader, ReservedWordIsReadBeforeTheDescriptionError)
{
    ReadOutcome read = readHex("00 27 00 19 33 34 10 11 12 13 14 15 16 17  02 01");
    EXPECT_EQ(read.diagnostics, "[ERROR] XCP message description read error\n");
    WriteResult rewritten = writeMessage(*read.message, read.message->getSize() + 2);
    EXPECT_EQ(toHex(rewritten.bytes.data(), 14), "00 1a 00 19 33 34 10 11 12 13 14 15 16 17");
}

TEST(TraceRecordReader, SizeAndIdentifierAreNotExamined)
{
    std::string hex = kCanRecord;
    hex.replace(0, 11, "ff ff 00 01");
    ReadOutcome read = readHex(hex);
    EXPECT_EQ(read.diagnostics, "");
    EXPECT_TRUE(*read.message == canMessage());
    EXPECT_EQ(read.message->getMsgId(), MSGID_XCP);
    // Written again with the true size and identifier.
    EXPECT_EQ(toHex(testsupport::writeRecord(*read.message)), toHex(hexBytes(kCanRecord)));
}

TEST(TraceRecordReader, TrailingBytesAreIgnored)
{
    ReadOutcome read = readHex(kCanRecord + " 99 99 99");
    EXPECT_EQ(read.diagnostics, "");
    EXPECT_TRUE(*read.message == canMessage());
}

// ---- header ----------------------------------------------------------------------------------------

TEST(TraceRecordReader, CanRecordEndingAfterTheDescription)
{
    ReadOutcome read = readHex(firstBytes(kCanRecord, 17));
    EXPECT_EQ(read.diagnostics, "[ERROR] XCP Header read error\n");
    EXPECT_EQ(read.message->getTimeStamp(), kTimeStamp);
    EXPECT_EQ(read.message->getTransportType(), XCP_Message::TT_CAN);
    EXPECT_EQ(read.message->getMsgDirection(), XCP_Message::MD_RX);
    EXPECT_EQ(read.message->getEcuId(), 0x33);
    expectCanSettingsUnset(*read.message);
}

TEST(TraceRecordReader, EthernetHeaderOfWrongLength)
{
    std::string hex = kEthernetRecord;
    hex.replace(hex.find(" 04 41 42 43 44"), 15, " 03 41 42 43");
    ReadOutcome read = readHex(hex);
    EXPECT_EQ(read.diagnostics,
              "[ERROR] XCP_Message::Header::readFromByteArray: ethernet; invalid headerSize\n"
              "[ERROR] XCP Header read error\n");
    EXPECT_EQ(read.message->getTransportType(), XCP_Message::TT_ETHERNET);
    EXPECT_EQ(read.message->getMsgDirection(), XCP_Message::MD_TX);
    EXPECT_EQ(read.message->getEcuId(), 0x33);
    EXPECT_EQ(toHex(read.message->header.getData()), "00 00 00 00");
    expectEthernetSettingsUnset(*read.message);
}

TEST(TraceRecordReader, EthernetHeaderCutShort)
{
    ReadOutcome read = readHex(firstBytes(kEthernetRecord, 20));  // length byte 04, two of four bytes
    EXPECT_EQ(read.diagnostics, "[ERROR] XCP Header read error\n");
    EXPECT_EQ(toHex(read.message->header.getData()), "00 00 00 00");
}

TEST(TraceRecordReader, OutOfRangeTransportType)
{
    std::string hex = kCanRecord;
    hex.replace(hex.find(" 02 01 33"), 9, " 09 01 33");
    ReadOutcome read = readHex(hex);
    EXPECT_EQ(read.diagnostics,
              "[ERROR] XCP_Message::Header::readFromByteArray: invalid transport type\n"
              "[ERROR] XCP Header read error\n");
    EXPECT_EQ(read.message->getTransportType(), static_cast<XCP_Message::transportType_t>(9));
    expectCanSettingsUnset(*read.message);
    expectEthernetSettingsUnset(*read.message);
}

// ---- packet ----------------------------------------------------------------------------------------

TEST(TraceRecordReader, PacketShorterThanAnEmptyPacket)
{
    // Header byte and 8 of the 9 bytes an empty packet needs.
    ReadOutcome read = readHex(firstBytes(kCanRecord, 26));
    EXPECT_EQ(read.diagnostics, "[ERROR] XCP Packet read error\n");
    EXPECT_EQ(read.message->getTransportType(), XCP_Message::TT_CAN);
    EXPECT_EQ(read.message->packet.identificationField.pid, 0);
    expectCanSettingsUnset(*read.message);
}

TEST(TraceRecordReader, TimeStampLengthOf254FailsTheTimeStamp)
{
    std::string hex = kCanRecord;
    hex.replace(hex.find(" 02 02 88 99"), 12, " 02 fe 88 99");
    ReadOutcome read = readHex(hex);
    EXPECT_EQ(read.diagnostics, "[ERROR] Timestamp Field read error\n[ERROR] XCP Packet read error\n");
    // The identification field and the time-stamp type were read before the failure.
    EXPECT_EQ(read.message->packet.identificationField.pid, 0x55);
    EXPECT_EQ(read.message->packet.identificationField.getDaqNo(), 0x7778);
    EXPECT_EQ(read.message->packet.timestampField.getType(), XCP_Message::TST_WORD);
    EXPECT_TRUE(read.message->packet.dataField.data.empty());
    EXPECT_TRUE(read.message->tail.data.empty());
    expectCanSettingsUnset(*read.message);
}

TEST(TraceRecordReader, DataLengthBeyondTheRecord)
{
    std::string hex = kCanRecord;
    hex.replace(hex.find(" 00 03 aa bb cc"), 15, " 00 30 aa bb cc");
    ReadOutcome read = readHex(hex);
    EXPECT_EQ(read.diagnostics, "[ERROR] Data Field read error\n[ERROR] XCP Packet read error\n");
    EXPECT_EQ(read.message->packet.identificationField.firstPid, 0x66);
    EXPECT_EQ(toHex(read.message->packet.timestampField.getTimestamp()), "88 99");
    EXPECT_TRUE(read.message->packet.dataField.data.empty());
    expectCanSettingsUnset(*read.message);
}

// ---- tail ------------------------------------------------------------------------------------------

TEST(TraceRecordReader, CanRecordEndingAfterThePacket)
{
    ReadOutcome read = readHex(firstBytes(kCanRecord, 32));
    EXPECT_EQ(read.diagnostics, "[ERROR] XCP Tail read error\n");
    expectFilledPacket(*read.message);
    EXPECT_TRUE(read.message->tail.data.empty());
    expectCanSettingsUnset(*read.message);
}

TEST(TraceRecordReader, FillBytesBeyondTheRecord)
{
    ReadOutcome read = readHex(firstBytes(kCanRecord, 32) + " 09 d1 d2");
    EXPECT_EQ(read.diagnostics, "[ERROR] XCP Tail read error\n");
    expectFilledPacket(*read.message);
    EXPECT_TRUE(read.message->tail.data.empty());
}

// ---- CAN settings ------------------------------------------------------------------------------------

TEST(TraceRecordReader, CanSettingsOfExactlySixBytes)
{
    ReadOutcome read = readHex(kCanRecord);
    EXPECT_EQ(hexBytes(kCanRecord).size(), 41u);
    EXPECT_EQ(read.diagnostics, "");
    EXPECT_EQ(read.message->canId, 0x1E2E3E4Eu);
    EXPECT_EQ(read.message->canType, CT_FD_EXTENDED);
    EXPECT_EQ(read.message->canChannel, 0x5F);
}

TEST(TraceRecordReader, CanSettingsOfFiveBytesAreNotRead)
{
    for (size_t length : {35u, 36u, 40u}) {
        ReadOutcome read = readHex(firstBytes(kCanRecord, length));
        EXPECT_EQ(read.diagnostics, "[ERROR] XCP message CAN settings read error\n") << length;
        expectFilledPacket(*read.message);
        EXPECT_EQ(toHex(read.message->tail.data), "d1 d2");
        EXPECT_TRUE(read.message->tail.isActive());
        expectCanSettingsUnset(*read.message);
        expectEthernetSettingsUnset(*read.message);
    }
}

TEST(TraceRecordReader, CanTypeIsTakenAsItStands)
{
    std::string hex = kCanRecord;
    hex.replace(hex.size() - 5, 5, "07 5f");
    ReadOutcome read = readHex(hex);
    EXPECT_EQ(read.diagnostics, "");
    EXPECT_EQ(read.message->canType, static_cast<cantype_t>(7));
}

// ---- Ethernet settings --------------------------------------------------------------------------------

TEST(TraceRecordReader, EthernetRecordEndingAfterTheTail)
{
    ReadOutcome read = readHex(kEthernetThroughTail);
    EXPECT_EQ(read.diagnostics, "[ERROR] XCP message ETH settings read error (dstIp size)\n");
    expectFilledPacket(*read.message);
    EXPECT_EQ(toHex(read.message->header.getData()), "41 42 43 44");
    expectEthernetSettingsUnset(*read.message);
    expectCanSettingsUnset(*read.message);
}

TEST(TraceRecordReader, DstIpLongerThanTheRecord)
{
    ReadOutcome read = readHex(kEthernetThroughTail + " 07 31 2e 32 2e 33 2e");
    EXPECT_EQ(read.diagnostics, "[ERROR] XCP message ETH settings read error (dstIp)\n");
    expectEthernetSettingsUnset(*read.message);
}

TEST(TraceRecordReader, EthernetRecordEndingAfterDstIp)
{
    ReadOutcome read = readHex(kEthernetThroughTail + kDstIp);
    EXPECT_EQ(read.diagnostics, "[ERROR] XCP message ETH settings read error (srcIp size)\n");
    EXPECT_EQ(read.message->dstIp, "1.2.3.4");
    EXPECT_EQ(read.message->srcIp, "");
    EXPECT_EQ(read.message->mask, "");
    EXPECT_EQ(read.message->port, 0);
    EXPECT_FALSE(read.message->tcp);
}

TEST(TraceRecordReader, SrcIpLongerThanTheRecord)
{
    ReadOutcome read = readHex(kEthernetThroughTail + kDstIp + " 0b 31 30");
    EXPECT_EQ(read.diagnostics, "[ERROR] XCP message ETH settings read error (srcIp)\n");
    EXPECT_EQ(read.message->dstIp, "1.2.3.4");
    EXPECT_EQ(read.message->srcIp, "");
    EXPECT_EQ(read.message->mask, "");
}

TEST(TraceRecordReader, EthernetRecordEndingAfterSrcIp)
{
    ReadOutcome read = readHex(kEthernetThroughTail + kDstIp + kSrcIp);
    EXPECT_EQ(read.diagnostics, "[ERROR] XCP message ETH settings read error (mask size)\n");
    EXPECT_EQ(read.message->dstIp, "1.2.3.4");
    EXPECT_EQ(read.message->srcIp, "10.20.30.40");
    EXPECT_EQ(read.message->mask, "");
    EXPECT_EQ(read.message->port, 0);
}

TEST(TraceRecordReader, MaskLongerThanTheRecord)
{
    ReadOutcome read = readHex(kEthernetThroughTail + kDstIp + kSrcIp + " 09 32 35 35 2e 30 2e 30 2e");
    EXPECT_EQ(read.diagnostics, "[ERROR] XCP message ETH settings read error (mask)\n");
    EXPECT_EQ(read.message->dstIp, "1.2.3.4");
    EXPECT_EQ(read.message->srcIp, "10.20.30.40");
    EXPECT_EQ(read.message->mask, "");
    EXPECT_EQ(read.message->port, 0);
}

TEST(TraceRecordReader, EthernetRecordEndingAfterTheMask)
{
    for (const std::string& rest : {std::string(), std::string(" 6a"), std::string(" 6a 6b")}) {
        ReadOutcome read = readHex(kEthernetThroughTail + kDstIp + kSrcIp + kMask + rest);
        EXPECT_EQ(read.diagnostics, "[ERROR] XCP message CAN settings read error (port or protocol)\n")
            << "after the mask:" << rest;
        EXPECT_EQ(read.message->dstIp, "1.2.3.4");
        EXPECT_EQ(read.message->srcIp, "10.20.30.40");
        EXPECT_EQ(read.message->mask, "255.0.0.0");
        EXPECT_EQ(read.message->port, 0);
        EXPECT_FALSE(read.message->tcp);
        expectCanSettingsUnset(*read.message);
    }
}

TEST(TraceRecordReader, EmptyStringsAreRead)
{
    ReadOutcome read = readHex(kEthernetThroughTail + " 00 00 00 6a 6b 00");
    EXPECT_EQ(read.diagnostics, "");
    EXPECT_EQ(read.message->dstIp, "");
    EXPECT_EQ(read.message->srcIp, "");
    EXPECT_EQ(read.message->mask, "");
    EXPECT_EQ(read.message->port, 0x6A6B);
    EXPECT_FALSE(read.message->tcp);
}

TEST(TraceRecordReader, AnyNonZeroTcpByteIsTcpAndIsWrittenAsOne)
{
    std::string hex = kEthernetRecord;
    hex.replace(hex.size() - 2, 2, "07");
    ReadOutcome read = readHex(hex);
    EXPECT_EQ(read.diagnostics, "");
    EXPECT_TRUE(read.message->tcp);
    EXPECT_TRUE(*read.message == ethernetMessage());
    EXPECT_EQ(toHex(testsupport::writeRecord(*read.message)), toHex(hexBytes(kEthernetRecord)));
}

TEST(TraceRecordWriter, UdpIsWrittenAsZero)
{
    XCP_Message message = ethernetMessage();
    message.tcp = false;
    std::string expected = kEthernetRecord;
    expected.replace(expected.size() - 2, 2, "00");
    EXPECT_EQ(toHex(testsupport::writeRecord(message)), toHex(hexBytes(expected)));
    ReadOutcome read = readHex(expected);
    EXPECT_FALSE(read.message->tcp);
    EXPECT_TRUE(*read.message == message);
}

// ---- strings longer than a length byte ---------------------------------------------------------------

TEST(TraceRecordWriter, ThreeHundredCharacterAddressKeepsEveryCharacter)
{
    XCP_Message message(kTimeStamp, XCP_Message::TT_ETHERNET, XCP_Message::MD_RX, 0x33);
    message.setEthernetTransportTypeSettings(std::string(300, 'x'), "S", "M", 0x6A6B, false);
    ASSERT_EQ(message.getSize(), 24u + 4 + 2 + 6 + 300 + 1 + 1);
    CerrCapture cerr;
    WriteResult result = writeMessage(message, message.getSize() + 2);
    EXPECT_TRUE(result.guardIntact);
    EXPECT_EQ(result.returned, message.getSize());
    ASSERT_EQ(result.bytes.size(), message.getSize() + 2);
    std::string expected = "01 52 00 19 00 00 10 11 12 13 14 15 16 17  01 01 33  04 00 00 00 00"
                           "  00 00 00 00 00  00 00  00 00  00  2c";  // 300 modulo 256
    for (int i = 0; i < 300; ++i) {
        expected += " 78";
    }
    expected += "  01 53  01 4d  6a 6b 00";
    EXPECT_EQ(toHex(result.bytes), toHex(hexBytes(expected)));
    EXPECT_EQ(cerr.text(), "");
}

TEST(TraceRecordReader, ThreeHundredCharacterAddressDoesNotReadBack)
{
    XCP_Message message(kTimeStamp, XCP_Message::TT_ETHERNET, XCP_Message::MD_RX, 0x33);
    message.setEthernetTransportTypeSettings(std::string(300, 'x'), "S", "M", 0x6A6B, false);
    const byteVec_t record = testsupport::writeRecord(message);
    CerrCapture cerr;
    std::unique_ptr<XCP_Message> read = testsupport::readRecord(record);
    // 44 characters are the address; the next 'x' (120) is taken as the source's length,
    // and so on through the rest of the characters.
    EXPECT_EQ(read->dstIp, std::string(44, 'x'));
    EXPECT_EQ(read->srcIp, std::string(120, 'x'));
    EXPECT_EQ(read->mask, std::string(120, 'x'));
    EXPECT_EQ(read->port, 0x7878);
    EXPECT_TRUE(read->tcp);
    EXPECT_FALSE(*read == message);
    EXPECT_EQ(cerr.text(), "");
}

// ==== round trips =====================================================================================

namespace {

struct RoundTripCase {
    std::string name;
    std::function<XCP_Message()> build;
};

std::ostream& operator<<(std::ostream& _os, const RoundTripCase& _in)
{
    return _os << _in.name;
}

XCP_Message withTimestampType(XCP_Message message, XCP_Message::timestampFieldType_t type)
{
    message.packet.timestampField.setType(type);
    byteVec_t ticks;
    for (int i = 0; i < static_cast<int>(type); ++i) {
        ticks.push_back(static_cast<uint8_t>(0x91 + i));
    }
    EXPECT_TRUE(message.packet.timestampField.setTimestamp(ticks.data(), ticks.size()));
    return message;
}

byteVec_t pattern(size_t count, uint8_t first)
{
    byteVec_t bytes(count);
    for (size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<uint8_t>(first + i);
    }
    return bytes;
}

std::vector<RoundTripCase> roundTripCases()
{
    std::vector<RoundTripCase> cases;
    const std::pair<const char*, XCP_Message::timestampFieldType_t> timestampTypes[] = {
        {"NoTimestamp", XCP_Message::TST_NO},
        {"ByteTimestamp", XCP_Message::TST_BYTE},
        {"WordTimestamp", XCP_Message::TST_WORD},
        {"DwordTimestamp", XCP_Message::TST_DWORD},
    };
    for (const auto& type : timestampTypes) {
        const XCP_Message::timestampFieldType_t value = type.second;
        cases.push_back({std::string("Can") + type.first, [value] { return withTimestampType(canMessage(), value); }});
        cases.push_back(
            {std::string("Ethernet") + type.first, [value] { return withTimestampType(ethernetMessage(), value); }});
    }
    for (size_t count : {0u, 1u, 255u, 256u, 1000u}) {
        cases.push_back({"CanData" + std::to_string(count), [count] {
                             XCP_Message message = canMessage();
                             message.packet.dataField.data = pattern(count, 0x20);
                             return message;
                         }});
        cases.push_back({"EthernetData" + std::to_string(count), [count] {
                             XCP_Message message = ethernetMessage();
                             message.packet.dataField.data = pattern(count, 0x40);
                             return message;
                         }});
    }
    for (size_t count : {0u, 1u, 7u, 255u}) {
        cases.push_back({"CanFillBytes" + std::to_string(count), [count] {
                             XCP_Message message = canMessage();
                             message.tail.data = pattern(count, 0xC0);
                             EXPECT_TRUE(message.tail.setActive(count > 0));
                             return message;
                         }});
    }
    cases.push_back({"CanZeroFillBytes", [] {
                         XCP_Message message = canMessage();
                         message.tail.setFillBytes(6);
                         return message;
                     }});
    for (size_t length : {0u, 1u, 254u, 255u}) {
        cases.push_back({"EthernetDstIp" + std::to_string(length), [length] {
                             XCP_Message message = ethernetMessage();
                             message.dstIp = std::string(length, 'd');
                             return message;
                         }});
        cases.push_back({"EthernetSrcIp" + std::to_string(length), [length] {
                             XCP_Message message = ethernetMessage();
                             message.srcIp = std::string(length, 's');
                             return message;
                         }});
        cases.push_back({"EthernetMask" + std::to_string(length), [length] {
                             XCP_Message message = ethernetMessage();
                             message.mask = std::string(length, 'm');
                             return message;
                         }});
    }
    cases.push_back({"EthernetAllStrings255", [] {
                         XCP_Message message = ethernetMessage();
                         message.setEthernetTransportTypeSettings(std::string(255, 'd'), std::string(255, 's'),
                                                                  std::string(255, 'm'), 0xFFFF, false);
                         return message;
                     }});
    cases.push_back({"EthernetUdp", [] {
                         XCP_Message message = ethernetMessage();
                         message.tcp = false;
                         return message;
                     }});
    cases.push_back({"EthernetLenAndCtr", [] {
                         XCP_Message message = ethernetMessage();
                         message.header.setLEN(0xFFFF);
                         message.header.setCTR(0x0001);
                         return message;
                     }});
    for (int direction : {0, 1, 2}) {
        cases.push_back({"CanDirection" + std::to_string(direction), [direction] {
                             XCP_Message message = canMessage();
                             message.setMsgDirection(static_cast<XCP_Message::msgDirection_t>(direction));
                             return message;
                         }});
    }
    for (int ecu : {0, 255}) {
        cases.push_back({"CanEcu" + std::to_string(ecu), [ecu] {
                             XCP_Message message = canMessage();
                             message.setEcuId(static_cast<uint8_t>(ecu));
                             return message;
                         }});
    }
    for (int type : {0, 1, 2, 3, 5, 9}) {
        cases.push_back({"EthernetIdentificationType" + std::to_string(type), [type] {
                             XCP_Message message = ethernetMessage();
                             message.packet.identificationField.setType(
                                 static_cast<XCP_Message::identificationFieldType_t>(type));
                             return message;
                         }});
    }
    for (int canType : {0, 1, 2, 3}) {
        cases.push_back({"CanType" + std::to_string(canType), [canType] {
                             XCP_Message message = canMessage();
                             message.canType = static_cast<cantype_t>(canType);
                             message.canId = 0xFFFFFFFF;
                             message.canChannel = 0xFF;
                             return message;
                         }});
    }
    cases.push_back({"TimeStampZero", [] {
                         XCP_Message message = canMessage();
                         message.setTimeStamp(0);
                         return message;
                     }});
    cases.push_back({"TimeStampMax", [] {
                         XCP_Message message = ethernetMessage();
                         message.setTimeStamp(0xFFFFFFFFFFFFFFFFull);
                         return message;
                     }});
    cases.push_back({"CanEmptyPieces", [] { return XCP_Message(0, XCP_Message::TT_CAN, XCP_Message::MD_RX, 0); }});
    cases.push_back(
        {"EthernetEmptyPieces", [] { return XCP_Message(0, XCP_Message::TT_ETHERNET, XCP_Message::MD_RX, 0); }});
    return cases;
}

}  // namespace

class TraceRecordRoundTrip : public ::testing::TestWithParam<RoundTripCase> {
};

TEST_P(TraceRecordRoundTrip, WritesReadsBackEqualAndWritesTheSameBytesAgain)
{
    const XCP_Message message = GetParam().build();
    testsupport::expectRoundTrip(message);
    // The size field carries the declared size, the record is 2 bytes longer.
    const byteVec_t record = testsupport::writeRecord(message);
    ASSERT_GE(record.size(), 2u);
    EXPECT_EQ(byteArrayToUint16(record.data()), message.getSize());
    EXPECT_EQ(record.size(), message.getSize() + 2);
}

INSTANTIATE_TEST_SUITE_P(Messages, TraceRecordRoundTrip, ::testing::ValuesIn(roundTripCases()),
                         [](const ::testing::TestParamInfo<RoundTripCase>& info) { return info.param.name; });

TEST(TraceRecordRoundTripSpecific, CanTimeStampTypesSitAtTheirOffsets)
{
    // TST_DWORD: type 04, count 04 and the bytes right after the identification descriptor.
    const byteVec_t record = testsupport::writeRecord(withTimestampType(canMessage(), XCP_Message::TST_DWORD));
    EXPECT_EQ(toHex(record.data() + 23, 6), "04 04 91 92 93 94");
    const byteVec_t single = testsupport::writeRecord(withTimestampType(canMessage(), XCP_Message::TST_BYTE));
    EXPECT_EQ(toHex(single.data() + 23, 3), "01 01 91");
    const byteVec_t none = testsupport::writeRecord(withTimestampType(canMessage(), XCP_Message::TST_NO));
    EXPECT_EQ(toHex(none.data() + 23, 4), "00 00 00 03");
}
