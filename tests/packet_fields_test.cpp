// Identification, time-stamp and data fields of a packet: values, serialised form, parsing.

#include "test_support.h"

using testsupport::CerrCapture;
using testsupport::ExactBytes;
using testsupport::hexBytes;
using testsupport::toHex;
using testsupport::writePiece;
using testsupport::wrote;

namespace {

using IdentificationField = XCP_Message::Packet::IdentificationField;
using TimestampField = XCP_Message::Packet::TimestampField;
using DataField = XCP_Message::Packet::DataField;

const std::string kIdCantWriteLine =
    "[ERROR] XCP_Message::Packet::IdentificationField::writeToByteArray: can't write Identification Field\n";
const std::string kTsCantWriteLine =
    "[ERROR] XCP_Message::Packet::TimestampField::writeToByteArray: can't write Timestamp Field\n";
const std::string kTsWrongSizeLine = "[ERROR] XCP_Message::Packet::TimestampField::setTimestamp: wrong size\n";
const std::string kDataCantWriteLine =
    "[ERROR] XCP_Message::Packet::DataField::writeToByteArray: can't write Data Field\n";

IdentificationField identification(XCP_Message::identificationFieldType_t type, uint8_t pid, uint8_t firstPid,
                                   uint16_t daqNo)
{
    IdentificationField field;
    field.setType(type);
    field.pid = pid;
    field.firstPid = firstPid;
    field.setDaqNo(daqNo);
    return field;
}

TimestampField timestamp(XCP_Message::timestampFieldType_t type, const std::string& hex)
{
    TimestampField field;
    field.setType(type);
    byteVec_t bytes = hexBytes(hex);
    EXPECT_TRUE(field.setTimestamp(bytes.data(), bytes.size()));
    return field;
}

/// Raw bytes 1, 2, 3, ... (wrapping), so that a shifted copy shows.
byteVec_t counting(size_t count)
{
    byteVec_t bytes(count);
    for (size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<uint8_t>(i + 1);
    }
    return bytes;
}

/// A time-stamp field holding `count` bytes: only a read produces more than 4, and only a
/// read produces the 254 and 255 bytes whose 8-bit size wraps.
TimestampField timestampOfLength(size_t count)
{
    byteVec_t input = {0x01, static_cast<uint8_t>(count)};
    byteVec_t bytes = counting(count);
    input.insert(input.end(), bytes.begin(), bytes.end());
    TimestampField field;
    field.readFromByteArray(input.data(), input.size());
    EXPECT_EQ(field.getTimestamp().size(), count);
    return field;
}

DataField dataField(const std::string& hex)
{
    DataField field;
    field.data = hexBytes(hex);
    return field;
}

template <typename Field>
size_t readField(Field& field, const ExactBytes& input)
{
    return field.readFromByteArray(input.data(), input.size());
}

}  // namespace

// ---- identification field --------------------------------------------------------------------

TEST(IdentificationField, DefaultsToAbsoluteOdtNumberAndZeros)
{
    IdentificationField field;
    EXPECT_EQ(field.getType(), XCP_Message::IFT_ABSOLUTE_ODT_NUMBER);
    EXPECT_EQ(field.pid, 0);
    EXPECT_EQ(field.firstPid, 0);
    EXPECT_EQ(field.getDaqNo(), 0);
    EXPECT_EQ(field.getSize(), 5u);
    EXPECT_TRUE(wrote(writePiece(field, 5), 5, "00 00 00 00 00"));
}

TEST(IdentificationField, WritesTypePidFirstPidAndBigEndianDaqNumber)
{
    IdentificationField field = identification(XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE, 0x12, 0, 0x0102);
    EXPECT_TRUE(wrote(writePiece(field, 5), 5, "01 12 00 01 02"));
    field = identification(XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED, 0x11, 0x22, 0x3344);
    EXPECT_TRUE(wrote(writePiece(field, 9), 5, "03 11 22 33 44"));
}

TEST(IdentificationField, WritesLowEightBitsOfType)
{
    IdentificationField field = identification(static_cast<XCP_Message::identificationFieldType_t>(0x105), 0x11,
                                               0x22, 0x3344);
    EXPECT_TRUE(wrote(writePiece(field, 5), 5, "05 11 22 33 44"));
}

TEST(IdentificationField, WriteNeedsFiveBytes)
{
    CerrCapture cerr;
    IdentificationField field = identification(XCP_Message::IFT_CTO_PACKET_CODE, 0x11, 0x22, 0x3344);
    EXPECT_TRUE(wrote(writePiece(field, 4), 0, ""));
    EXPECT_TRUE(wrote(writePiece(field, 0), 0, ""));
    EXPECT_EQ(cerr.text(), kIdCantWriteLine + kIdCantWriteLine);
}

TEST(IdentificationField, ReadsWhatWasWritten)
{
    IdentificationField field;
    EXPECT_EQ(readField(field, ExactBytes(hexBytes("03 11 22 33 44 55"))), 5u);
    EXPECT_EQ(field.getType(), XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED);
    EXPECT_EQ(field.pid, 0x11);
    EXPECT_EQ(field.firstPid, 0x22);
    EXPECT_EQ(field.getDaqNo(), 0x3344);
}

TEST(IdentificationField, ReadStoresAnyTypeUnchecked)
{
    CerrCapture cerr;
    IdentificationField field;
    EXPECT_EQ(readField(field, ExactBytes(hexBytes("09 11 22 33 44"))), 5u);
    EXPECT_EQ(static_cast<int>(field.getType()), 9);
    EXPECT_TRUE(wrote(writePiece(field, 5), 5, "09 11 22 33 44"));
    EXPECT_EQ(cerr.text(), "");
}

TEST(IdentificationField, ReadOfFourBytesFailsSilentlyAndChangesNothing)
{
    CerrCapture cerr;
    IdentificationField field = identification(XCP_Message::IFT_CTO_PACKET_CODE, 0x55, 0x66, 0x7788);
    EXPECT_EQ(readField(field, ExactBytes(hexBytes("03 11 22 33 44"), 4)), 0u);
    EXPECT_EQ(field.getType(), XCP_Message::IFT_CTO_PACKET_CODE);
    EXPECT_EQ(field.pid, 0x55);
    EXPECT_EQ(field.firstPid, 0x66);
    EXPECT_EQ(field.getDaqNo(), 0x7788);
    EXPECT_EQ(cerr.text(), "");
}

// ---- time-stamp field: type and bytes --------------------------------------------------------

TEST(TimestampField, DefaultHasNoBytes)
{
    TimestampField field;
    EXPECT_EQ(field.getType(), XCP_Message::TST_NO);
    EXPECT_TRUE(field.getTimestamp().empty());
    EXPECT_EQ(field.getSize(), 2);
}

TEST(TimestampField, SetTypeGivesAsManyZeroBytesAsItNames)
{
    const struct {
        XCP_Message::timestampFieldType_t type;
        const char* bytes;
    } cases[] = {
        {XCP_Message::TST_NO, ""},
        {XCP_Message::TST_BYTE, "00"},
        {XCP_Message::TST_WORD, "00 00"},
        {XCP_Message::TST_DWORD, "00 00 00 00"},
        {static_cast<XCP_Message::timestampFieldType_t>(3), ""},
        {static_cast<XCP_Message::timestampFieldType_t>(8), ""},
    };
    for (const auto& c : cases) {
        TimestampField field = timestamp(XCP_Message::TST_WORD, "11 22");
        field.setType(c.type);
        EXPECT_EQ(field.getType(), c.type);
        EXPECT_EQ(toHex(field.getTimestamp()), c.bytes) << c.type;
        EXPECT_EQ(field.getSize(), hexBytes(c.bytes).size() + 2) << c.type;
    }
}

TEST(TimestampField, SetTypeZeroesBytesOfTheSameSize)
{
    TimestampField field = timestamp(XCP_Message::TST_DWORD, "11 22 33 44");
    field.setType(XCP_Message::TST_DWORD);
    EXPECT_EQ(toHex(field.getTimestamp()), "00 00 00 00");
}

TEST(TimestampField, SetTimestampNeedsTheSizeTheTypeGave)
{
    CerrCapture cerr;
    TimestampField field = timestamp(XCP_Message::TST_WORD, "11 22");
    byteVec_t four = hexBytes("33 44 55 66");
    EXPECT_FALSE(field.setTimestamp(four.data(), four.size()));
    EXPECT_EQ(cerr.text(), kTsWrongSizeLine);
    EXPECT_EQ(toHex(field.getTimestamp()), "11 22");
    EXPECT_FALSE(field.setTimestamp(four.data(), 1));
    EXPECT_EQ(toHex(field.getTimestamp()), "11 22");
    EXPECT_TRUE(field.setTimestamp(four.data(), 2));
    EXPECT_EQ(toHex(field.getTimestamp()), "33 44");
    EXPECT_EQ(cerr.text(), kTsWrongSizeLine + kTsWrongSizeLine);
}

TEST(TimestampField, SetTimestampWithNoBytesOnEmptyField)
{
    CerrCapture cerr;
    TimestampField field;
    EXPECT_TRUE(field.setTimestamp(nullptr, 0));
    EXPECT_EQ(cerr.text(), "");
}

// ---- time-stamp field: write -----------------------------------------------------------------

TEST(TimestampField, WritesTypeCountAndBytes)
{
    EXPECT_TRUE(wrote(writePiece(timestamp(XCP_Message::TST_DWORD, "11 22 33 44"), 6), 6, "04 04 11 22 33 44"));
    EXPECT_TRUE(wrote(writePiece(timestamp(XCP_Message::TST_BYTE, "55"), 9), 3, "01 01 55"));
    EXPECT_TRUE(wrote(writePiece(TimestampField(), 2), 2, "00 00"));
}

TEST(TimestampField, WritesLowEightBitsOfType)
{
    TimestampField field;
    field.setType(static_cast<XCP_Message::timestampFieldType_t>(0x102));  // unknown value: no bytes
    EXPECT_TRUE(wrote(writePiece(field, 2), 2, "02 00"));
}

TEST(TimestampField, WriteNeedsItsWholeSize)
{
    CerrCapture cerr;
    TimestampField field = timestamp(XCP_Message::TST_DWORD, "11 22 33 44");
    EXPECT_TRUE(wrote(writePiece(field, 5), 0, ""));
    EXPECT_EQ(cerr.text(), kTsCantWriteLine);
    EXPECT_TRUE(wrote(writePiece(TimestampField(), 1), 0, ""));
    EXPECT_EQ(cerr.text(), kTsCantWriteLine + kTsCantWriteLine);
}

TEST(TimestampField, FieldOf254BytesHasSizeZeroAndIsRefusedUnlessAllFits)
{
    TimestampField field = timestampOfLength(254);
    EXPECT_EQ(field.getSize(), 0);
    for (size_t room : {0, 2, 255}) {
        CerrCapture cerr;
        EXPECT_TRUE(wrote(writePiece(field, room), 0, "")) << room;
        EXPECT_EQ(cerr.text(), kTsCantWriteLine) << room;
    }
    CerrCapture cerr;
    testsupport::WriteResult result = writePiece(field, 256);
    // All 256 bytes are written; the result is the 8-bit size.
    EXPECT_TRUE(wrote(result, 0, "01 FE " + toHex(counting(254))));
    EXPECT_EQ(cerr.text(), "");
}

TEST(TimestampField, FieldOf255BytesHasSizeOneAndIsRefusedUnlessAllFits)
{
    TimestampField field = timestampOfLength(255);
    EXPECT_EQ(field.getSize(), 1);
    for (size_t room : {1, 2, 256}) {
        CerrCapture cerr;
        EXPECT_TRUE(wrote(writePiece(field, room), 0, "")) << room;
        EXPECT_EQ(cerr.text(), kTsCantWriteLine) << room;
    }
    EXPECT_TRUE(wrote(writePiece(field, 257), 1, "01 FF " + toHex(counting(255))));
}

TEST(TimestampField, FieldOf253BytesStillHasItsTrueSize)
{
    TimestampField field = timestampOfLength(253);
    EXPECT_EQ(field.getSize(), 255);
    EXPECT_TRUE(wrote(writePiece(field, 255), 255, "01 FD " + toHex(counting(253))));
}

// ---- time-stamp field: read ------------------------------------------------------------------

TEST(TimestampField, ReadIntoEmptyField)
{
    CerrCapture cerr;
    TimestampField field;
    EXPECT_EQ(readField(field, ExactBytes(hexBytes("02 02 AA BB"))), 4u);
    EXPECT_EQ(field.getType(), XCP_Message::TST_WORD);
    EXPECT_EQ(toHex(field.getTimestamp()), "aa bb");
    EXPECT_TRUE(wrote(writePiece(field, 4), 4, "02 02 AA BB"));
    EXPECT_EQ(cerr.text(), "");
}

TEST(TimestampField, ReadIsBoundByTheSizeHeldBefore)
{
    CerrCapture cerr;
    byteVec_t input = hexBytes("02 02 AA BB 11 22 33 44");
    TimestampField field = timestamp(XCP_Message::TST_DWORD, "11 22 33 44");

    EXPECT_EQ(readField(field, ExactBytes(input, 4)), 0u);  // 6 > 4: nothing taken
    EXPECT_EQ(field.getType(), XCP_Message::TST_DWORD);
    EXPECT_EQ(toHex(field.getTimestamp()), "11 22 33 44");

    EXPECT_EQ(readField(field, ExactBytes(input, 7)), 0u);  // 7 < 6 + 2: type already taken
    EXPECT_EQ(field.getType(), XCP_Message::TST_WORD);
    EXPECT_EQ(toHex(field.getTimestamp()), "11 22 33 44");

    EXPECT_EQ(readField(field, ExactBytes(input, 8)), 4u);
    EXPECT_EQ(toHex(field.getTimestamp()), "aa bb");
    EXPECT_EQ(cerr.text(), "");
}

TEST(TimestampField, ReadOfEmptyFieldNeedsTwoBytes)
{
    TimestampField field = timestamp(XCP_Message::TST_BYTE, "55");
    field.setType(XCP_Message::TST_NO);
    EXPECT_EQ(readField(field, ExactBytes(hexBytes("02"))), 0u);
    EXPECT_EQ(field.getType(), XCP_Message::TST_NO);
}

TEST(TimestampField, ReadShortOfTheAnnouncedBytesKeepsOnlyTheType)
{
    TimestampField field;
    EXPECT_EQ(readField(field, ExactBytes(hexBytes("02 02 AA"))), 0u);
    EXPECT_EQ(field.getType(), XCP_Message::TST_WORD);
    EXPECT_TRUE(field.getTimestamp().empty());
}

TEST(TimestampField, ReadDoesNotMatchTypeAndCount)
{
    TimestampField field;
    EXPECT_EQ(readField(field, ExactBytes(hexBytes("04 01 5A"))), 3u);
    EXPECT_EQ(field.getType(), XCP_Message::TST_DWORD);
    EXPECT_EQ(toHex(field.getTimestamp()), "5a");
    EXPECT_EQ(readField(field, ExactBytes(hexBytes("07 00 00"))), 2u);
    EXPECT_EQ(static_cast<int>(field.getType()), 7);
    EXPECT_TRUE(field.getTimestamp().empty());
}

TEST(TimestampField, ReadOfLongTimeStampsReturnsTheEightBitSize)
{
    const struct {
        size_t count;
        size_t returned;
    } cases[] = {{253, 255}, {254, 0}, {255, 1}};
    for (const auto& c : cases) {
        byteVec_t input = {0x01, static_cast<uint8_t>(c.count)};
        byteVec_t bytes = counting(c.count);
        input.insert(input.end(), bytes.begin(), bytes.end());
        TimestampField field;
        EXPECT_EQ(readField(field, ExactBytes(input)), c.returned) << c.count;
        EXPECT_EQ(field.getType(), XCP_Message::TST_BYTE);
        EXPECT_EQ(field.getTimestamp(), bytes) << c.count;  // taken even where 0 is returned
    }
}

TEST(TimestampField, ReadIntoFieldOf254BytesStaysInBounds)
{
    TimestampField field = timestampOfLength(254);
    byteVec_t input = hexBytes("02 02 AA BB");

    EXPECT_EQ(readField(field, ExactBytes(input, 0)), 0u);
    EXPECT_EQ(field.getType(), XCP_Message::TST_BYTE);

    EXPECT_EQ(readField(field, ExactBytes(input, 1)), 0u);  // no count byte
    EXPECT_EQ(field.getType(), XCP_Message::TST_WORD);
    EXPECT_EQ(field.getTimestamp().size(), 254u);

    field = timestampOfLength(254);
    EXPECT_EQ(readField(field, ExactBytes(input, 3)), 0u);  // one announced byte missing
    EXPECT_EQ(field.getType(), XCP_Message::TST_WORD);
    EXPECT_EQ(field.getTimestamp().size(), 254u);

    EXPECT_EQ(readField(field, ExactBytes(input, 4)), 4u);
    EXPECT_EQ(toHex(field.getTimestamp()), "aa bb");
}

TEST(TimestampField, ReadIntoFieldOf255BytesStaysInBounds)
{
    TimestampField field = timestampOfLength(255);
    byteVec_t input = hexBytes("04 04 11 22 33 44");

    EXPECT_EQ(readField(field, ExactBytes(input, 0)), 0u);
    EXPECT_EQ(field.getType(), XCP_Message::TST_BYTE);

    EXPECT_EQ(readField(field, ExactBytes(input, 1)), 0u);
    EXPECT_EQ(field.getType(), XCP_Message::TST_DWORD);
    EXPECT_EQ(field.getTimestamp().size(), 255u);

    EXPECT_EQ(readField(field, ExactBytes(input, 5)), 0u);  // 1 + 4 fits, 2 + 4 does not
    EXPECT_EQ(field.getTimestamp().size(), 255u);

    EXPECT_EQ(readField(field, ExactBytes(input, 6)), 6u);
    EXPECT_EQ(toHex(field.getTimestamp()), "11 22 33 44");
}

// ---- data field ------------------------------------------------------------------------------

TEST(DataField, WritesBigEndianLengthAndBytes)
{
    EXPECT_TRUE(wrote(writePiece(dataField("11 22 33"), 5), 5, "00 03 11 22 33"));
    EXPECT_TRUE(wrote(writePiece(DataField(), 2), 2, "00 00"));
    EXPECT_EQ(dataField("11 22 33").getSize(), 5u);
}

TEST(DataField, WriteNeedsItsWholeSize)
{
    CerrCapture cerr;
    EXPECT_TRUE(wrote(writePiece(dataField("11 22 33"), 4), 0, ""));
    EXPECT_TRUE(wrote(writePiece(DataField(), 1), 0, ""));
    EXPECT_EQ(cerr.text(), kDataCantWriteLine + kDataCantWriteLine);
    EXPECT_TRUE(wrote(writePiece(dataField("11 22 33"), 9), 5, "00 03 11 22 33"));
}

TEST(DataField, ReadsWhatWasWritten)
{
    DataField field;
    EXPECT_EQ(readField(field, ExactBytes(hexBytes("00 03 11 22 33"))), 5u);
    EXPECT_EQ(toHex(field.data), "11 22 33");
}

TEST(DataField, ReadIsBoundByTheSizeHeldBefore)
{
    byteVec_t input = hexBytes("00 03 11 22 33");
    DataField field = dataField("55");
    EXPECT_EQ(readField(field, ExactBytes(input)), 0u);  // 5 < 3 + 3
    EXPECT_EQ(toHex(field.data), "55");
    DataField empty;
    EXPECT_EQ(readField(empty, ExactBytes(input)), 5u);
}

TEST(DataField, ReadOfEmptyLengthEmptiesTheField)
{
    DataField field = dataField("55");
    EXPECT_EQ(readField(field, ExactBytes(hexBytes("00 00 EE"))), 2u);
    EXPECT_TRUE(field.data.empty());
}

TEST(DataField, ReadFailsSilentlyWithoutTheLengthOrTheBytes)
{
    CerrCapture cerr;
    DataField field = dataField("55");
    field.data.clear();
    EXPECT_EQ(readField(field, ExactBytes(hexBytes("00"))), 0u);
    EXPECT_EQ(readField(field, ExactBytes(hexBytes("00 03 11 22"))), 0u);
    EXPECT_TRUE(field.data.empty());
    EXPECT_EQ(cerr.text(), "");
}

TEST(DataField, SeventyThousandBytesWriteTheLengthModulo65536)
{
    DataField field;
    field.data = counting(70000);
    testsupport::WriteResult result = writePiece(field, 70002);
    EXPECT_EQ(result.returned, 70002u);
    ASSERT_EQ(result.bytes.size(), 70002u);
    EXPECT_EQ(toHex(result.bytes.data(), 2), "11 70");  // 4464
    EXPECT_TRUE(std::equal(field.data.begin(), field.data.end(), result.bytes.begin() + 2));
    EXPECT_TRUE(result.guardIntact);

    // Read back, the truncated length takes only the first 4464 bytes.
    DataField copy;
    EXPECT_EQ(readField(copy, ExactBytes(result.bytes)), 4466u);
    EXPECT_EQ(copy.data, byteVec_t(field.data.begin(), field.data.begin() + 4464));
}

TEST(PacketFields, CopiesCopyEveryValue)
{
    IdentificationField id = identification(XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD, 0x11, 0x22, 0x3344);
    IdentificationField idCopy(id);
    EXPECT_TRUE(wrote(writePiece(idCopy, 5), 5, "02 11 22 33 44"));
    TimestampField ts = timestamp(XCP_Message::TST_WORD, "55 66");
    TimestampField tsCopy(ts);
    EXPECT_EQ(tsCopy.getType(), XCP_Message::TST_WORD);
    EXPECT_EQ(toHex(tsCopy.getTimestamp()), "55 66");
    DataField data = dataField("77 88");
    DataField dataCopy(data);
    EXPECT_EQ(toHex(dataCopy.data), "77 88");
}
