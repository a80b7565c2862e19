// Big-endian helpers of the trace record and the shared identifiers.

#include "test_support.h"

using testsupport::hexBytes;
using testsupport::toHex;

TEST(ByteOrder, Uint16StoresMostSignificantFirst)
{
    uint8_t bytes[2] = {};
    uint16ToByteArray(bytes, 0x1234);
    EXPECT_EQ(toHex(bytes, 2), "12 34");
}

TEST(ByteOrder, Uint16LoadsMostSignificantFirst)
{
    byteVec_t bytes = hexBytes("12 34");
    EXPECT_EQ(byteArrayToUint16(bytes.data()), 0x1234);
}

TEST(ByteOrder, Uint32StoresMostSignificantFirst)
{
    uint8_t bytes[4] = {};
    uint32ToByteArray(bytes, 0x11223344);
    EXPECT_EQ(toHex(bytes, 4), "11 22 33 44");
}

TEST(ByteOrder, Uint32Loads)
{
    byteVec_t bytes = hexBytes("00 00 01 23");
    EXPECT_EQ(byteArrayToUint32(bytes.data()), 0x123u);
}

TEST(ByteOrder, Uint64LoadsHighWordFirst)
{
    byteVec_t bytes = hexBytes("00 00 00 01 00 00 00 02");
    uint64_t value = byteArrayToUint64(bytes.data());
    EXPECT_EQ(value >> 32, 1u);
    EXPECT_EQ(value & 0xFFFFFFFFu, 2u);
}

TEST(ByteOrder, WorksOnUnalignedBytes)
{
    byteVec_t bytes = hexBytes("ee 11 22 33 44 55 66 77 88");
    EXPECT_EQ(byteArrayToUint64(bytes.data() + 1), 0x1122334455667788ull);
    EXPECT_EQ(byteArrayToUint32(bytes.data() + 1), 0x11223344u);
    EXPECT_EQ(byteArrayToUint16(bytes.data() + 1), 0x1122u);
}

TEST(ByteOrder, NtohllReadsNetworkOrder)
{
    byteVec_t bytes = hexBytes("01 02 03 04 05 06 07 08");
    uint64_t raw = 0;
    std::memcpy(&raw, bytes.data(), sizeof raw);
    EXPECT_EQ(ntohll(raw), 0x0102030405060708ull);
}

TEST(SharedIdentifiers, FixedValues)
{
    EXPECT_EQ(MSGID_XCP, 25);
    EXPECT_EQ(MSGID_INVALID, 0xFFFF);
    EXPECT_EQ(MSGID_QVP_CLIENT_REQUEST, 0xF000);
    EXPECT_EQ(BUSID_CCPXCP, 11u);
    EXPECT_EQ(BUSID_NUM, 18u);
    EXPECT_EQ(CT_FD_EXTENDED, 3u);
    EXPECT_EQ(ECUID_SIZE, 4u);
    EXPECT_EQ(HEXDUMP_DEFAULT_ROWSIZE, 16u);
    EXPECT_EQ(sizeof(msgid_t), 2u);
    EXPECT_EQ(sizeof(busid_t), 4u);
    EXPECT_EQ(sizeof(cantype_t), 4u);
}
