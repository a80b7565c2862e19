// Transport header: shape per transport, LEN and CTR access, serialised form and parsing.

#include "test_support.h"

using testsupport::CerrCapture;
using testsupport::ExactBytes;
using testsupport::hexBytes;
using testsupport::toHex;
using testsupport::writePiece;
using testsupport::wrote;

namespace {

using Header = XCP_Message::Header;

const std::string kFlexRaySetLine =
    "[ERROR] XCP_Message::Header::setTransportType: flex ray isn't supported at the moment\n";
const std::string kFlexRayReadLine =
    "[ERROR] XCP_Message::Header::readFromByteArray: flex ray isn't supported at the moment\n";
const std::string kInvalidTypeLine = "[ERROR] XCP_Message::Header::readFromByteArray: invalid transport type\n";
const std::string kInvalidSizeLine = "[ERROR] XCP_Message::Header::readFromByteArray: ethernet; invalid headerSize\n";
const std::string kCantWriteLine = "[ERROR] XCP_Message::Header::writeToByteArray: can't write Header\n";

const auto kOtherTransport = static_cast<XCP_Message::transportType_t>(9);

Header headerFor(XCP_Message::transportType_t type)
{
    Header header;
    header.setTransportType(type);
    return header;
}

Header ethernetHeader(uint16_t len, uint16_t ctr)
{
    Header header = headerFor(XCP_Message::TT_ETHERNET);
    EXPECT_TRUE(header.setLEN(len));
    EXPECT_TRUE(header.setCTR(ctr));
    return header;
}

size_t readHeader(Header& header, XCP_Message::transportType_t type, const ExactBytes& input)
{
    return header.readFromByteArray(type, input.data(), input.size());
}

/// Reaches the protected fields to build states that no public operation produces.
class HeaderProbe : public Header {
public:
    HeaderProbe(XCP_Message::transportType_t type, bool on, const byteVec_t& bytes)
    {
        transportType = type;
        active = on;
        data = bytes;
    }
};

}  // namespace

// ---- shape per transport -----------------------------------------------------------------

TEST(Header, DefaultIsInactiveAndEmpty)
{
    Header header;
    EXPECT_FALSE(header.isActive());
    EXPECT_TRUE(header.getData().empty());
    EXPECT_EQ(header.getSize(), 1u);
    EXPECT_TRUE(wrote(writePiece(header, 1), 1, "00"));
}

TEST(Header, EthernetHoldsFourZeroBytes)
{
    CerrCapture cerr;
    Header header = headerFor(XCP_Message::TT_ETHERNET);
    EXPECT_TRUE(header.isActive());
    EXPECT_EQ(toHex(header.getData()), "00 00 00 00");
    EXPECT_EQ(header.getSize(), 5u);
    EXPECT_TRUE(wrote(writePiece(header, 5), 5, "04 00 00 00 00"));
    EXPECT_EQ(cerr.text(), "");
}

TEST(Header, LenAndCtrAreStoredLowByteFirst)
{
    Header header = ethernetHeader(0x1234, 7);
    EXPECT_EQ(toHex(header.getData()), "34 12 07 00");
    EXPECT_TRUE(wrote(writePiece(header, 5), 5, "04 34 12 07 00"));
}

TEST(Header, LenAndCtrReadBack)
{
    Header header = ethernetHeader(0x2211, 0x4433);
    EXPECT_EQ(toHex(header.getData()), "11 22 33 44");
    uint16_t len = 0;
    uint16_t ctr = 0;
    EXPECT_TRUE(header.getLEN(len));
    EXPECT_TRUE(header.getCTR(ctr));
    EXPECT_EQ(len, 0x2211);
    EXPECT_EQ(ctr, 0x4433);
}

TEST(Header, RepeatedEthernetKeepsLenAndCtr)
{
    Header header = ethernetHeader(0x2211, 0x4433);
    header.setTransportType(XCP_Message::TT_ETHERNET);
    EXPECT_EQ(toHex(header.getData()), "11 22 33 44");
    EXPECT_TRUE(header.isActive());
}

TEST(Header, CanAndBackToEthernetZeroesLenAndCtr)
{
    Header header = ethernetHeader(0x2211, 0x4433);
    header.setTransportType(XCP_Message::TT_CAN);
    header.setTransportType(XCP_Message::TT_ETHERNET);
    EXPECT_EQ(toHex(header.getData()), "00 00 00 00");
}

TEST(Header, CanIsInactiveAndEmpty)
{
    Header header = ethernetHeader(0x2211, 0x4433);
    header.setTransportType(XCP_Message::TT_CAN);
    EXPECT_FALSE(header.isActive());
    EXPECT_TRUE(header.getData().empty());
    EXPECT_EQ(header.getSize(), 1u);
    EXPECT_TRUE(wrote(writePiece(header, 1), 1, "00"));
}

TEST(Header, UnknownAndOtherTypesAreInactiveAndEmpty)
{
    for (auto type : {XCP_Message::TT_UNKNOWN, kOtherTransport}) {
        CerrCapture cerr;
        Header header = ethernetHeader(0x2211, 0x4433);
        header.setTransportType(type);
        EXPECT_FALSE(header.isActive());
        EXPECT_TRUE(header.getData().empty());
        EXPECT_EQ(cerr.text(), "");
    }
}

TEST(Header, FlexRayIsActiveWithoutBytesAndReported)
{
    CerrCapture cerr;
    Header header = ethernetHeader(0x2211, 0x4433);
    header.setTransportType(XCP_Message::TT_FLEXRAY);
    EXPECT_EQ(cerr.text(), kFlexRaySetLine);
    EXPECT_TRUE(header.isActive());
    EXPECT_TRUE(header.getData().empty());
    EXPECT_EQ(header.getSize(), 1u);
    EXPECT_TRUE(wrote(writePiece(header, 1), 1, "00"));
    uint16_t len = 0xBEEF;
    EXPECT_FALSE(header.getLEN(len));
    EXPECT_EQ(len, 0xBEEF);
    EXPECT_EQ(cerr.text(), kFlexRaySetLine);
}

TEST(Header, CopyKeepsTypeFlagAndBytes)
{
    Header original = ethernetHeader(0x2211, 0x4433);
    Header copy(original);
    EXPECT_TRUE(copy.isActive());
    EXPECT_EQ(toHex(copy.getData()), "11 22 33 44");
    EXPECT_TRUE(copy.setCTR(0x6655));  // the copy is still an Ethernet header
    EXPECT_EQ(toHex(copy.getData()), "11 22 55 66");
    EXPECT_EQ(toHex(original.getData()), "11 22 33 44");
}

// ---- LEN and CTR outside an Ethernet header ----------------------------------------------

TEST(Header, LenAndCtrRefusedOnCanHeader)
{
    Header header = headerFor(XCP_Message::TT_CAN);
    uint16_t len = 0xBEEF;
    uint16_t ctr = 0xCAFE;
    EXPECT_FALSE(header.setLEN(0x2211));
    EXPECT_FALSE(header.setCTR(0x4433));
    EXPECT_FALSE(header.getLEN(len));
    EXPECT_FALSE(header.getCTR(ctr));
    EXPECT_EQ(len, 0xBEEF);
    EXPECT_EQ(ctr, 0xCAFE);
    EXPECT_TRUE(header.getData().empty());
}

TEST(Header, LenAndCtrNeedEthernetTypeEvenWithFourBytes)
{
    HeaderProbe header(XCP_Message::TT_CAN, true, hexBytes("11 22 33 44"));
    uint16_t len = 0xBEEF;
    EXPECT_FALSE(header.setLEN(0x6655));
    EXPECT_FALSE(header.setCTR(0x6655));
    EXPECT_FALSE(header.getLEN(len));
    EXPECT_EQ(len, 0xBEEF);
    EXPECT_EQ(toHex(header.getData()), "11 22 33 44");
}

TEST(Header, LenAndCtrNeedExactlyFourBytes)
{
    HeaderProbe header(XCP_Message::TT_ETHERNET, true, hexBytes("11 22 33"));
    uint16_t ctr = 0xCAFE;
    EXPECT_FALSE(header.setLEN(0x6655));
    EXPECT_FALSE(header.setCTR(0x6655));
    EXPECT_FALSE(header.getCTR(ctr));
    EXPECT_EQ(ctr, 0xCAFE);
    EXPECT_EQ(toHex(header.getData()), "11 22 33");
}

TEST(Header, LenAndCtrIgnoreTheActiveFlag)
{
    HeaderProbe header(XCP_Message::TT_ETHERNET, false, hexBytes("11 22 33 44"));
    uint16_t len = 0;
    EXPECT_TRUE(header.getLEN(len));
    EXPECT_EQ(len, 0x2211);
}

// ---- write -----------------------------------------------------------------------------------

TEST(Header, WriteNeedsRoomForLengthByteAndBytes)
{
    Header header = ethernetHeader(0x2211, 0x4433);
    {
        CerrCapture cerr;
        EXPECT_TRUE(wrote(writePiece(header, 4), 0, ""));
        EXPECT_EQ(cerr.text(), kCantWriteLine);
    }
    CerrCapture cerr;
    EXPECT_TRUE(wrote(writePiece(header, 5), 5, "04 11 22 33 44"));
    EXPECT_EQ(cerr.text(), "");
}

TEST(Header, CanWriteNeedsOneByte)
{
    Header header = headerFor(XCP_Message::TT_CAN);
    CerrCapture cerr;
    EXPECT_TRUE(wrote(writePiece(header, 0), 0, ""));
    EXPECT_EQ(cerr.text(), kCantWriteLine);
}

TEST(Header, WriteWithMoreRoomStopsAtItsBytes)
{
    Header header = ethernetHeader(0x2211, 0x4433);
    EXPECT_TRUE(wrote(writePiece(header, 9), 5, "04 11 22 33 44"));
}

TEST(Header, InactiveHeaderWithBytesWritesOnlyItsLengthByte)
{
    HeaderProbe header(XCP_Message::TT_ETHERNET, false, hexBytes("11 22 33 44"));
    EXPECT_TRUE(wrote(writePiece(header, 5), 5, "04"));
}

// ---- read ------------------------------------------------------------------------------------

TEST(Header, EthernetReadTakesLenAndCtr)
{
    CerrCapture cerr;
    Header header;
    EXPECT_EQ(readHeader(header, XCP_Message::TT_ETHERNET, ExactBytes(hexBytes("04 01 00 02 00"))), 5u);
    uint16_t len = 0;
    uint16_t ctr = 0;
    EXPECT_TRUE(header.getLEN(len));
    EXPECT_TRUE(header.getCTR(ctr));
    EXPECT_EQ(len, 1);
    EXPECT_EQ(ctr, 2);
    EXPECT_TRUE(header.isActive());
    EXPECT_TRUE(wrote(writePiece(header, 5), 5, "04 01 00 02 00"));
    EXPECT_EQ(cerr.text(), "");
}

TEST(Header, EthernetReadOfWrittenBytes)
{
    Header header = headerFor(XCP_Message::TT_CAN);
    EXPECT_EQ(readHeader(header, XCP_Message::TT_ETHERNET, ExactBytes(hexBytes("04 11 22 33 44 55"))), 5u);
    EXPECT_EQ(toHex(header.getData()), "11 22 33 44");
}

TEST(Header, EthernetReadTooShortFailsSilently)
{
    CerrCapture cerr;
    Header header = ethernetHeader(0x2211, 0x4433);
    byteVec_t input = hexBytes("04 01 00 02 00");
    EXPECT_EQ(readHeader(header, XCP_Message::TT_ETHERNET, ExactBytes(input, 4)), 0u);
    // Left as setTransportType leaves an Ethernet header that already has 4 bytes.
    EXPECT_EQ(toHex(header.getData()), "11 22 33 44");
    EXPECT_TRUE(header.isActive());
    EXPECT_EQ(cerr.text(), "");
}

TEST(Header, EthernetReadWithOtherLengthByteIsReported)
{
    for (const char* input : {"03 11 22 33", "05 11 22 33 44 55", "00"}) {
        CerrCapture cerr;
        Header header = headerFor(XCP_Message::TT_CAN);
        EXPECT_EQ(readHeader(header, XCP_Message::TT_ETHERNET, ExactBytes(hexBytes(input))), 0u) << input;
        EXPECT_EQ(cerr.text(), kInvalidSizeLine) << input;
        EXPECT_TRUE(header.isActive());
        EXPECT_EQ(toHex(header.getData()), "00 00 00 00");
    }
}

TEST(Header, ReadWithoutInputFailsSilently)
{
    byteVec_t none;
    for (auto type : {XCP_Message::TT_ETHERNET, XCP_Message::TT_CAN, XCP_Message::TT_UNKNOWN, kOtherTransport}) {
        CerrCapture cerr;
        Header header;
        EXPECT_EQ(readHeader(header, type, ExactBytes(none)), 0u) << type;
        EXPECT_EQ(cerr.text(), "") << type;
        EXPECT_EQ(header.isActive(), type == XCP_Message::TT_ETHERNET);
    }
}

TEST(Header, CanReadConsumesOnlyTheLengthByte)
{
    CerrCapture cerr;
    Header header = ethernetHeader(0x2211, 0x4433);
    EXPECT_EQ(readHeader(header, XCP_Message::TT_CAN, ExactBytes(hexBytes("02 AA BB"))), 1u);
    EXPECT_FALSE(header.isActive());
    EXPECT_TRUE(header.getData().empty());
    EXPECT_EQ(cerr.text(), "");
}

TEST(Header, CanReadOfWrittenByte)
{
    Header header;
    EXPECT_EQ(readHeader(header, XCP_Message::TT_CAN, ExactBytes(hexBytes("00"))), 1u);
    EXPECT_TRUE(wrote(writePiece(header, 1), 1, "00"));
}

TEST(Header, CanReadStillChecksTheAnnouncedLength)
{
    CerrCapture cerr;
    Header header;
    EXPECT_EQ(readHeader(header, XCP_Message::TT_CAN, ExactBytes(hexBytes("02 AA"))), 0u);
    EXPECT_EQ(cerr.text(), "");
}

TEST(Header, FlexRayReadLogsBothLines)
{
    CerrCapture cerr;
    Header header = ethernetHeader(0x2211, 0x4433);
    EXPECT_EQ(readHeader(header, XCP_Message::TT_FLEXRAY, ExactBytes(hexBytes("00"))), 0u);
    EXPECT_EQ(cerr.text(), kFlexRaySetLine + kFlexRayReadLine);
    EXPECT_TRUE(header.isActive());
    EXPECT_TRUE(header.getData().empty());
}

TEST(Header, FlexRayReadTooShortLogsOnlyTheShapeLine)
{
    CerrCapture cerr;
    Header header;
    EXPECT_EQ(readHeader(header, XCP_Message::TT_FLEXRAY, ExactBytes(hexBytes("02 AA"))), 0u);
    EXPECT_EQ(cerr.text(), kFlexRaySetLine);
}

TEST(Header, ReadWithUnknownOrOtherTypeIsReported)
{
    for (auto type : {XCP_Message::TT_UNKNOWN, kOtherTransport}) {
        CerrCapture cerr;
        Header header = ethernetHeader(0x2211, 0x4433);
        EXPECT_EQ(readHeader(header, type, ExactBytes(hexBytes("00"))), 0u) << type;
        EXPECT_EQ(cerr.text(), kInvalidTypeLine) << type;
        EXPECT_FALSE(header.isActive());
        EXPECT_TRUE(header.getData().empty());
        uint16_t len = 0xBEEF;
        EXPECT_FALSE(header.getLEN(len));  // the stored type is the one given
    }
}
