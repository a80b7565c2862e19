// Text rendering of the frame pieces: header, identification, time-stamp and data fields,
// packet and tail, with their hex dumps, and the state each rendering leaves in the caller's
// stream (the identification field deliberately leaves fill '0' and its integer base behind;
// the others leave the stream as they found it).

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <iomanip>
#include <ios>
#include <sstream>
#include <string>

#include "XCP_Message.h"
#include "test_support.h"

namespace {

using M = XCP_Message;
using IdentificationField = XCP_Message::Packet::IdentificationField;
using TimestampField = XCP_Message::Packet::TimestampField;
using DataField = XCP_Message::Packet::DataField;
using testsupport::hexBytes;

// Pieces with contents that the public setters do not produce (an inactive header holding
// bytes, a time stamp whose bytes disagree with its type), as records from other writers can.
struct HeaderWith : XCP_Message::Header {
    HeaderWith(bool on, const byteVec_t& bytes)
    {
        active = on;
        data = bytes;
    }
};

struct TailWith : XCP_Message::Tail {
    TailWith(bool on, const byteVec_t& bytes)
    {
        active = on;
        data = bytes;
    }
};

struct TimestampWith : TimestampField {
    TimestampWith(M::timestampFieldType_t fieldType, const byteVec_t& bytes)
    {
        type = fieldType;
        timestamp = bytes;
    }
};

IdentificationField idField(M::identificationFieldType_t type, uint8_t pid, uint8_t firstPid = 0, uint16_t daqNo = 0)
{
    IdentificationField field;
    field.setType(type);
    field.pid = pid;
    field.firstPid = firstPid;
    field.setDaqNo(daqNo);
    return field;
}

TimestampField timestampField(M::timestampFieldType_t type, const byteVec_t& bytes)
{
    TimestampField field;
    field.setType(type);
    EXPECT_TRUE(field.setTimestamp(bytes.data(), bytes.size()));
    return field;
}

DataField dataField(const byteVec_t& bytes)
{
    DataField field;
    field.data = bytes;
    return field;
}

XCP_Message::Packet packetOf(const IdentificationField& id, const TimestampField& ts, const DataField& data)
{
    XCP_Message::Packet packet;
    packet.identificationField = id;
    packet.timestampField = ts;
    packet.dataField = data;
    return packet;
}

template <typename Piece>
std::string render(const Piece& piece)
{
    std::ostringstream text;
    text << piece;
    return text.str();
}

/// The format state of a stream, compared as a whole.
struct StreamState {
    std::ios_base::fmtflags flags;
    char fill;
    std::streamsize width;
    std::streamsize precision;
};

StreamState stateOf(const std::ostream& stream)
{
    return {stream.flags(), stream.fill(), stream.width(), stream.precision()};
}

#define EXPECT_SAME_STATE(actual, expected)                  \
    do {                                                     \
        StreamState a_ = (actual);                           \
        StreamState e_ = (expected);                         \
        EXPECT_EQ(a_.flags, e_.flags);                       \
        EXPECT_EQ(a_.fill, e_.fill);                         \
        EXPECT_EQ(a_.width, e_.width);                       \
        EXPECT_EQ(a_.precision, e_.precision);               \
    } while (0)

/// A caller's stream far from the defaults: upper-case hex with prefix, left-adjusted, '*'
/// as fill, precision 3.
void setUnusualFormat(std::ostream& stream)
{
    stream << std::hex << std::uppercase << std::showbase << std::left << std::setfill('*') << std::setprecision(3);
}

std::string hexPairs(const byteVec_t& bytes)
{
    std::string text;
    char pair[4];
    for (size_t i = 0; i < bytes.size(); ++i) {
        std::snprintf(pair, sizeof pair, i == 0 ? "%02x" : " %02x", bytes[i]);
        text += pair;
    }
    return text;
}

// ---- the examples ----------------------------------------------------------------------------

TEST(PieceRendering, ReferenceExamples)
{
    EXPECT_EQ(render(idField(M::IFT_CTO_PACKET_CODE, 0xFE)), "ID Field[Type=CTO_PACKET_CODE, PID=0xfe]");
    EXPECT_EQ(render(idField(M::IFT_ABSOLUTE_ODT_NUMBER, 0x03, 0x00, 0)),
              "ID Field[Type=ABSOLUTE_ODT_NUMBER, PID=0x03, FIRST_PID=0x00, DAQ=0]");
    EXPECT_EQ(render(idField(M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD, 0x01, 0x00, 300)),
              "ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_WORD, PID=0x01, DAQ=300]");
    EXPECT_EQ(render(timestampField(M::TST_NO, {})), "TS Field[Type=NO]");
    EXPECT_EQ(render(timestampField(M::TST_DWORD, hexBytes("78 56 34 12"))),
              "TS Field[Type=DWORD, Timestamp=78 56 34 12]");
    EXPECT_EQ(render(dataField(hexBytes("0a 00 ff"))), "Data Field[Data=0a 00 ff]");
    EXPECT_EQ(render(dataField({})), "Data Field[Data=Empty]");

    XCP_Message ethernet(0, M::TT_ETHERNET, M::MD_TX, 0);
    ASSERT_TRUE(ethernet.header.setLEN(2));
    EXPECT_EQ(render(ethernet.header), "HEADER[on, Data=02 00 00 00]");
    XCP_Message can(0, M::TT_CAN, M::MD_TX, 0);
    EXPECT_EQ(render(can.header), "HEADER[off]");
    EXPECT_EQ(render(static_cast<const XCP_Message::Tail&>(TailWith(true, {}))), "TAIL[on, Data=Empty]");

    EXPECT_EQ(render(packetOf(idField(M::IFT_CTO_PACKET_CODE, 0xFE), timestampField(M::TST_NO, {}),
                              dataField(hexBytes("0a 00 ff")))),
              "PACKET[ID Field[Type=CTO_PACKET_CODE, PID=0xfe]; TS Field[Type=NO]; Data Field[Data=0a 00 ff]]");
}

// ---- hex dumps -------------------------------------------------------------------------------

TEST(HexDump, EveryByteValueIsTwoLowerCaseDigits)
{
    byteVec_t all;
    for (int value = 0; value <= 0xFF; ++value) {
        all.push_back(static_cast<uint8_t>(value));
    }
    const std::string pairs = hexPairs(all);
    ASSERT_EQ(pairs.size(), 256u * 3 - 1);
    EXPECT_EQ(render(dataField(all)), "Data Field[Data=" + pairs + "]");
    EXPECT_EQ(render(static_cast<const XCP_Message::Header&>(HeaderWith(true, all))),
              "HEADER[on, Data=" + pairs + "]");
    EXPECT_EQ(render(static_cast<const XCP_Message::Tail&>(TailWith(true, all))), "TAIL[on, Data=" + pairs + "]");
    EXPECT_EQ(render(static_cast<const TimestampField&>(TimestampWith(M::TST_DWORD, all))),
              "TS Field[Type=DWORD, Timestamp=" + pairs + "]");
}

TEST(HexDump, LeadingZerosAndSingleByte)
{
    EXPECT_EQ(render(dataField({0x00})), "Data Field[Data=00]");
    EXPECT_EQ(render(dataField({0x0a})), "Data Field[Data=0a]");
    EXPECT_EQ(render(dataField({0xff})), "Data Field[Data=ff]");
    EXPECT_EQ(render(dataField({0x01, 0x10})), "Data Field[Data=01 10]");
}

TEST(HexDump, CallerFormatDoesNotReachTheDump)
{
    // Upper case, prefix, left adjustment and fill of the caller stay out of the dumps.
    std::ostringstream out;
    setUnusualFormat(out);
    out << dataField(hexBytes("0a 00 ff")) << "|" << static_cast<const TimestampField&>(TimestampWith(M::TST_WORD, {0xab, 0x0c}))
        << "|" << static_cast<const XCP_Message::Header&>(HeaderWith(true, {0xff, 0x01})) << "|"
        << static_cast<const XCP_Message::Tail&>(TailWith(true, {0xee}));
    EXPECT_EQ(out.str(),
              "Data Field[Data=0a 00 ff]|TS Field[Type=WORD, Timestamp=ab 0c]|HEADER[on, Data=ff 01]|TAIL[on, Data=ee]");
}

// ---- timestamp field -------------------------------------------------------------------------

TEST(TimestampFieldRendering, EachTypeWithItsBytes)
{
    EXPECT_EQ(render(timestampField(M::TST_BYTE, {0xab})), "TS Field[Type=BYTE, Timestamp=ab]");
    EXPECT_EQ(render(timestampField(M::TST_WORD, hexBytes("34 12"))), "TS Field[Type=WORD, Timestamp=34 12]");
    EXPECT_EQ(render(timestampField(M::TST_DWORD, hexBytes("04 03 02 01"))),
              "TS Field[Type=DWORD, Timestamp=04 03 02 01]");
}

TEST(TimestampFieldRendering, BytesOnlyWhenTheTypeIsNotNo)
{
    EXPECT_EQ(render(static_cast<const TimestampField&>(TimestampWith(M::TST_BYTE, {}))),
              "TS Field[Type=BYTE, Timestamp=Empty]");
    EXPECT_EQ(render(static_cast<const TimestampField&>(TimestampWith(M::TST_NO, hexBytes("11 22")))),
              "TS Field[Type=NO]");
}

TEST(TimestampFieldRendering, TypeWithoutEnumeratorDumpsTheBytes)
{
    EXPECT_EQ(render(static_cast<const TimestampField&>(
                  TimestampWith(static_cast<M::timestampFieldType_t>(3), hexBytes("01 02 03")))),
              "TS Field[Type=invalid type, Timestamp=01 02 03]");
    EXPECT_EQ(render(static_cast<const TimestampField&>(TimestampWith(static_cast<M::timestampFieldType_t>(-1), {}))),
              "TS Field[Type=invalid type, Timestamp=Empty]");
}

// ---- header and tail -------------------------------------------------------------------------

TEST(HeaderRendering, OnWithBytesOrEmptyOffWhateverItHolds)
{
    XCP_Message ethernet(0, M::TT_ETHERNET, M::MD_RX, 0);
    ASSERT_TRUE(ethernet.header.setLEN(0x0807));
    ASSERT_TRUE(ethernet.header.setCTR(0x2a));
    EXPECT_EQ(render(ethernet.header), "HEADER[on, Data=07 08 2a 00]");
    EXPECT_EQ(render(static_cast<const XCP_Message::Header&>(HeaderWith(true, {}))), "HEADER[on, Data=Empty]");
    EXPECT_EQ(render(static_cast<const XCP_Message::Header&>(HeaderWith(false, hexBytes("02 00 00 00")))),
              "HEADER[off]");
    EXPECT_EQ(render(XCP_Message::Header()), "HEADER[off]");
}

TEST(TailRendering, OnWithBytesOrEmptyOffWhateverItHolds)
{
    XCP_Message can(0, M::TT_CAN, M::MD_TX, 0);
    can.tail.setFillBytes(6);
    EXPECT_EQ(render(can.tail), "TAIL[on, Data=00 00 00 00 00 00]");
    EXPECT_EQ(render(static_cast<const XCP_Message::Tail&>(TailWith(true, hexBytes("aa 55")))), "TAIL[on, Data=aa 55]");
    EXPECT_EQ(render(static_cast<const XCP_Message::Tail&>(TailWith(false, hexBytes("aa 55")))), "TAIL[off]");
    EXPECT_EQ(render(static_cast<const XCP_Message::Tail&>(TailWith(false, {}))), "TAIL[off]");
    EXPECT_EQ(render(XCP_Message(0, M::TT_ETHERNET, M::MD_TX, 0).tail), "TAIL[off]");
}

// ---- identification field --------------------------------------------------------------------

TEST(IdentificationFieldRendering, PidIsTwoHexDigitsForEveryValue)
{
    char expected[64];
    for (int pid = 0; pid <= 0xFF; ++pid) {
        std::snprintf(expected, sizeof expected, "ID Field[Type=CTO_PACKET_CODE, PID=0x%02x]", pid);
        EXPECT_EQ(render(idField(M::IFT_CTO_PACKET_CODE, static_cast<uint8_t>(pid))), expected);
    }
}

TEST(IdentificationFieldRendering, DaqTypesShowTheListNumberUnpadded)
{
    EXPECT_EQ(render(idField(M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE, 0x00, 0x00, 2)),
              "ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_BYTE, PID=0x00, DAQ=2]");
    EXPECT_EQ(render(idField(M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD, 0x05, 0x44, 65535)),
              "ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_WORD, PID=0x05, DAQ=65535]");
    EXPECT_EQ(render(idField(M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED, 0x1f, 0x44, 7)),
              "ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED, PID=0x1f, DAQ=7]");
    EXPECT_EQ(render(idField(M::IFT_ABSOLUTE_ODT_NUMBER, 0xf0, 0x0b, 65535)),
              "ID Field[Type=ABSOLUTE_ODT_NUMBER, PID=0xf0, FIRST_PID=0x0b, DAQ=65535]");
    EXPECT_EQ(render(idField(M::IFT_ABSOLUTE_ODT_NUMBER, 0x03, 0xff, 16)),
              "ID Field[Type=ABSOLUTE_ODT_NUMBER, PID=0x03, FIRST_PID=0xff, DAQ=16]");
}

TEST(IdentificationFieldRendering, CtoAndUnnamedTypesShowThePidOnly)
{
    EXPECT_EQ(render(idField(M::IFT_CTO_PACKET_CODE, 0xFF, 0x22, 0x3333)), "ID Field[Type=CTO_PACKET_CODE, PID=0xff]");
    EXPECT_EQ(render(idField(static_cast<M::identificationFieldType_t>(4), 0x7a, 0x22, 0x3333)),
              "ID Field[Type=invalid type, PID=0x7a]");
    for (int32_t type : {-1, 6, 99}) {
        EXPECT_EQ(render(idField(static_cast<M::identificationFieldType_t>(type), 0x0c, 0x22, 0x3333)),
                  "ID Field[Type=invalid type, PID=0x0c]")
            << "type " << type;
    }
}

TEST(IdentificationFieldRendering, CtoLeavesFillZeroAndHexBase)
{
    std::ostringstream out;
    const std::ios_base::fmtflags before = out.flags();
    out << idField(M::IFT_CTO_PACKET_CODE, 0xFE);
    EXPECT_EQ(out.fill(), '0');
    EXPECT_EQ(out.flags(), (before & ~std::ios_base::basefield) | std::ios_base::hex);
    EXPECT_EQ(out.width(), 0);
    // The next integer without a base of its own comes out in hex, padded with zeros.
    out << "|" << 255 << "|" << std::setw(4) << 10;
    EXPECT_EQ(out.str(), "ID Field[Type=CTO_PACKET_CODE, PID=0xfe]|ff|000a");
}

TEST(IdentificationFieldRendering, UnnamedTypeLeavesHexBase)
{
    std::ostringstream out;
    out << idField(static_cast<M::identificationFieldType_t>(4), 0x7a) << "|" << 255;
    EXPECT_EQ(out.str(), "ID Field[Type=invalid type, PID=0x7a]|ff");
    EXPECT_EQ(out.fill(), '0');
}

TEST(IdentificationFieldRendering, DaqTypesLeaveFillZeroAndDecimalBase)
{
    const M::identificationFieldType_t daqTypes[] = {M::IFT_ABSOLUTE_ODT_NUMBER, M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE,
                                                     M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD,
                                                     M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED};
    for (M::identificationFieldType_t type : daqTypes) {
        std::ostringstream out;
        out << std::hex;  // the rendering sets the base itself
        const std::ios_base::fmtflags before = out.flags();
        const std::string field = render(idField(type, 0x10, 0x01, 300));
        out << idField(type, 0x10, 0x01, 300);
        EXPECT_EQ(out.fill(), '0') << field;
        EXPECT_EQ(out.flags(), (before & ~std::ios_base::basefield) | std::ios_base::dec) << field;
        out << "|" << 255 << "|" << std::setw(4) << 10;
        EXPECT_EQ(out.str(), field + "|255|0010");
        EXPECT_NE(field.find(", DAQ=300]"), std::string::npos) << field;
    }
}

TEST(IdentificationFieldRendering, OnlyTheBaseOfTheCallersFlagsChanges)
{
    // Upper case set by the caller shows in the PID; the other flags stay as they were.
    std::ostringstream out;
    out << std::uppercase << std::oct << std::setprecision(3);
    const std::ios_base::fmtflags before = out.flags();
    out << idField(M::IFT_CTO_PACKET_CODE, 0xFE);
    EXPECT_EQ(out.str(), "ID Field[Type=CTO_PACKET_CODE, PID=0xFE]");
    EXPECT_EQ(out.flags(), (before & ~std::ios_base::basefield) | std::ios_base::hex);
    EXPECT_EQ(out.precision(), 3);

    std::ostringstream daq;
    daq << std::uppercase << std::hex;
    daq << idField(M::IFT_ABSOLUTE_ODT_NUMBER, 0xAB, 0xCD, 4660);
    EXPECT_EQ(daq.str(), "ID Field[Type=ABSOLUTE_ODT_NUMBER, PID=0xAB, FIRST_PID=0xCD, DAQ=4660]");
    EXPECT_TRUE(daq.flags() & std::ios_base::uppercase);
}

// ---- packet ----------------------------------------------------------------------------------

TEST(PacketRendering, UpperCaseReachesThePidButNotTheDumps)
{
    std::ostringstream out;
    out << std::uppercase;
    out << packetOf(idField(M::IFT_CTO_PACKET_CODE, 0xFE), timestampField(M::TST_DWORD, hexBytes("78 56 34 12")),
                    dataField(hexBytes("0a 00 ff")));
    EXPECT_EQ(out.str(),
              "PACKET[ID Field[Type=CTO_PACKET_CODE, PID=0xFE]; TS Field[Type=DWORD, Timestamp=78 56 34 12]; "
              "Data Field[Data=0a 00 ff]]");
    out.str("");
    out << 255;  // the identification field left hex; upper case is still the caller's
    EXPECT_EQ(out.str(), "FF");
}

TEST(PacketRendering, LeavesTheStateOfItsIdentificationField)
{
    std::ostringstream cto;
    cto << packetOf(idField(M::IFT_CTO_PACKET_CODE, 0x01), TimestampField(), dataField({})) << "|" << 26;
    EXPECT_EQ(cto.str(), "PACKET[ID Field[Type=CTO_PACKET_CODE, PID=0x01]; TS Field[Type=NO]; Data Field[Data=Empty]]|1a");
    EXPECT_EQ(cto.fill(), '0');

    std::ostringstream daq;
    daq << std::hex;
    daq << packetOf(idField(M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE, 0x00, 0, 2), timestampField(M::TST_WORD, hexBytes("34 12")),
                    dataField(hexBytes("0a 00 ff")))
        << "|" << 26;
    EXPECT_EQ(daq.str(),
              "PACKET[ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_BYTE, PID=0x00, DAQ=2]; TS Field[Type=WORD, "
              "Timestamp=34 12]; Data Field[Data=0a 00 ff]]|26");
    EXPECT_EQ(daq.fill(), '0');
}

// ---- stream contract ---------------------------------------------------------------------------

TEST(PieceRendering, DumpingRenderersLeaveTheStreamAsFound)
{
    std::ostringstream out;
    setUnusualFormat(out);
    const StreamState before = stateOf(out);

    out << dataField(hexBytes("01 02"));
    EXPECT_SAME_STATE(stateOf(out), before);
    out << timestampField(M::TST_WORD, hexBytes("03 04"));
    EXPECT_SAME_STATE(stateOf(out), before);
    out << timestampField(M::TST_NO, {});
    EXPECT_SAME_STATE(stateOf(out), before);
    out << static_cast<const XCP_Message::Header&>(HeaderWith(true, {0x05}));
    EXPECT_SAME_STATE(stateOf(out), before);
    out << static_cast<const XCP_Message::Header&>(HeaderWith(false, {0x05}));
    EXPECT_SAME_STATE(stateOf(out), before);
    out << static_cast<const XCP_Message::Tail&>(TailWith(true, {0x06}));
    EXPECT_SAME_STATE(stateOf(out), before);
    out << static_cast<const XCP_Message::Tail&>(TailWith(false, {}));
    EXPECT_SAME_STATE(stateOf(out), before);

    // The next insertion looks as the caller set it up: left-adjusted, '*' fill, 0X prefix.
    out.str("");
    out << std::setw(6) << 255;
    EXPECT_EQ(out.str(), "0XFF**");
}

TEST(PieceRendering, EveryRendererReturnsItsStreamWithoutLineEndOrFlush)
{
    testsupport::FlushRecordingBuf buffer;
    std::ostream out(&buffer);
    const IdentificationField id = idField(M::IFT_CTO_PACKET_CODE, 0xFE);
    const TimestampField ts = timestampField(M::TST_BYTE, {0x01});
    const DataField data = dataField({0x02});
    const XCP_Message::Packet packet = packetOf(id, ts, data);
    const HeaderWith header(true, {0x03});
    const TailWith tail(true, {0x04});

    EXPECT_EQ(&(out << id), &out);
    EXPECT_EQ(&(out << ts), &out);
    EXPECT_EQ(&(out << data), &out);
    EXPECT_EQ(&(out << packet), &out);
    EXPECT_EQ(&(out << static_cast<const XCP_Message::Header&>(header)), &out);
    EXPECT_EQ(&(out << static_cast<const XCP_Message::Tail&>(tail)), &out);
    EXPECT_EQ(buffer.str(),
              "ID Field[Type=CTO_PACKET_CODE, PID=0xfe]"
              "TS Field[Type=BYTE, Timestamp=01]"
              "Data Field[Data=02]"
              "PACKET[ID Field[Type=CTO_PACKET_CODE, PID=0xfe]; TS Field[Type=BYTE, Timestamp=01]; Data Field[Data=02]]"
              "HEADER[on, Data=03]"
              "TAIL[on, Data=04]");
    EXPECT_TRUE(buffer.syncPositions().empty());
}

}  // namespace
