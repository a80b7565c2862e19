// Transport tail: fill bytes per transport, switching on and off, serialised form, parsing.

#include "test_support.h"

using testsupport::CerrCapture;
using testsupport::ExactBytes;
using testsupport::hexBytes;
using testsupport::toHex;
using testsupport::writePiece;
using testsupport::wrote;

namespace {

using Tail = XCP_Message::Tail;

const std::string kCantWriteLine = "[ERROR] XCP_Message::Tail::writeToByteArray: can't write Header\n";
const std::string kFlexRayReadLine =
    "[ERROR] XCP_Message::Tail::readFromByteArray: flex ray isn't supported at the moment\n";
const std::string kInvalidTypeLine = "[ERROR] XCP_Message::Tail::readFromByteArray: invalid transport type\n";

const auto kOtherTransport = static_cast<XCP_Message::transportType_t>(9);

Tail tailFor(XCP_Message::transportType_t type)
{
    Tail tail;
    tail.setTransportType(type);
    return tail;
}

size_t readTail(Tail& tail, XCP_Message::transportType_t type, const ExactBytes& input)
{
    return tail.readFromByteArray(type, input.data(), input.size());
}

/// An active CAN tail holding the fill bytes 11 22 33, as a read leaves it.
Tail filledCanTail()
{
    Tail tail;
    EXPECT_EQ(readTail(tail, XCP_Message::TT_CAN, ExactBytes(hexBytes("03 11 22 33"))), 4u);
    return tail;
}

}  // namespace

// ---- shape per transport ---------------------------------------------------------------------

TEST(Tail, DefaultIsInactiveAndEmpty)
{
    Tail tail;
    EXPECT_FALSE(tail.isActive());
    EXPECT_TRUE(tail.data.empty());
    EXPECT_EQ(tail.getSize(), 1u);
    EXPECT_FALSE(tail.setActive(true));  // no transport yet
    EXPECT_TRUE(wrote(writePiece(tail, 1), 1, "00"));
}

TEST(Tail, KnownTransportsEmptyTheTailAndSwitchItOff)
{
    for (auto type : {XCP_Message::TT_ETHERNET, XCP_Message::TT_CAN, XCP_Message::TT_FLEXRAY}) {
        CerrCapture cerr;
        Tail tail = filledCanTail();
        tail.setTransportType(type);
        EXPECT_FALSE(tail.isActive()) << type;
        EXPECT_TRUE(tail.data.empty()) << type;
        EXPECT_TRUE(wrote(writePiece(tail, 1), 1, "00"));
        EXPECT_EQ(cerr.text(), "") << type;
    }
}

TEST(Tail, UnknownAndOtherTransportsKeepBytesAndFlag)
{
    for (auto type : {XCP_Message::TT_UNKNOWN, kOtherTransport}) {
        Tail tail = filledCanTail();
        tail.setTransportType(type);
        EXPECT_TRUE(tail.isActive()) << type;
        EXPECT_EQ(toHex(tail.data), "11 22 33") << type;
        EXPECT_FALSE(tail.setActive(false)) << type;  // but it is no longer a CAN tail
        EXPECT_TRUE(tail.isActive()) << type;
    }
}

TEST(Tail, SettingCanAgainEmptiesTheTail)
{
    Tail tail = filledCanTail();
    tail.setTransportType(XCP_Message::TT_CAN);
    EXPECT_FALSE(tail.isActive());
    EXPECT_TRUE(tail.data.empty());
}

// ---- switching on and off --------------------------------------------------------------------

TEST(Tail, OnlyCanAndFlexRayTailsCanBeSwitched)
{
    const struct {
        XCP_Message::transportType_t type;
        bool accepted;
    } cases[] = {
        {XCP_Message::TT_ETHERNET, false}, {XCP_Message::TT_CAN, true},       {XCP_Message::TT_FLEXRAY, true},
        {XCP_Message::TT_UNKNOWN, false},  {kOtherTransport, false},
    };
    for (const auto& c : cases) {
        Tail tail = tailFor(c.type);
        EXPECT_EQ(tail.setActive(true), c.accepted) << c.type;
        EXPECT_EQ(tail.isActive(), c.accepted) << c.type;
        EXPECT_TRUE(tail.data.empty());
    }
}

TEST(Tail, SwitchingKeepsTheBytes)
{
    Tail tail = filledCanTail();
    EXPECT_TRUE(tail.setActive(false));
    EXPECT_FALSE(tail.isActive());
    EXPECT_EQ(toHex(tail.data), "11 22 33");
    EXPECT_TRUE(tail.setActive(true));
    EXPECT_TRUE(wrote(writePiece(tail, 4), 4, "03 11 22 33"));
}

TEST(Tail, ActiveWithoutBytesWritesOnlyItsLengthByte)
{
    Tail tail = tailFor(XCP_Message::TT_FLEXRAY);
    EXPECT_TRUE(tail.setActive(true));
    EXPECT_TRUE(wrote(writePiece(tail, 1), 1, "00"));
}

// ---- write -----------------------------------------------------------------------------------

TEST(Tail, ActiveTailWritesCountAndFillBytes)
{
    CerrCapture cerr;
    Tail tail = filledCanTail();
    EXPECT_EQ(tail.getSize(), 4u);
    EXPECT_TRUE(wrote(writePiece(tail, 4), 4, "03 11 22 33"));
    EXPECT_TRUE(wrote(writePiece(tail, 9), 4, "03 11 22 33"));
    EXPECT_EQ(cerr.text(), "");
}

TEST(Tail, WriteNeedsRoomForCountAndBytes)
{
    CerrCapture cerr;
    EXPECT_TRUE(wrote(writePiece(filledCanTail(), 3), 0, ""));
    EXPECT_TRUE(wrote(writePiece(tailFor(XCP_Message::TT_ETHERNET), 0), 0, ""));
    EXPECT_EQ(cerr.text(), kCantWriteLine + kCantWriteLine);
}

TEST(Tail, SwitchedOffTailAnnouncesBytesItDoesNotWrite)
{
    Tail tail = filledCanTail();
    EXPECT_TRUE(tail.setActive(false));
    EXPECT_EQ(tail.getSize(), 4u);
    // The length byte alone is written, yet the full size is returned.
    EXPECT_TRUE(wrote(writePiece(tail, 4), 4, "03"));
}

TEST(Tail, SwitchedOffTailStillNeedsRoomForItsBytes)
{
    CerrCapture cerr;
    Tail tail = filledCanTail();
    EXPECT_TRUE(tail.setActive(false));
    EXPECT_TRUE(wrote(writePiece(tail, 3), 0, ""));
    EXPECT_EQ(cerr.text(), kCantWriteLine);
}

// ---- read ------------------------------------------------------------------------------------

TEST(Tail, CanReadTakesTheFillBytes)
{
    CerrCapture cerr;
    Tail tail;
    EXPECT_EQ(readTail(tail, XCP_Message::TT_CAN, ExactBytes(hexBytes("03 AA AA AA"))), 4u);
    EXPECT_TRUE(tail.isActive());
    EXPECT_EQ(toHex(tail.data), "aa aa aa");
    EXPECT_EQ(tail.getSize(), 4u);
    EXPECT_TRUE(wrote(writePiece(tail, 4), 4, "03 AA AA AA"));
    EXPECT_EQ(cerr.text(), "");
}

TEST(Tail, CanReadLeavesWhatFollowsTheFillBytes)
{
    Tail tail;
    EXPECT_EQ(readTail(tail, XCP_Message::TT_CAN, ExactBytes(hexBytes("02 11 22 33"))), 3u);
    EXPECT_EQ(toHex(tail.data), "11 22");
}

TEST(Tail, CanReadOfZeroLeavesTheTailOff)
{
    Tail tail = filledCanTail();
    EXPECT_EQ(readTail(tail, XCP_Message::TT_CAN, ExactBytes(hexBytes("00"))), 1u);
    EXPECT_FALSE(tail.isActive());
    EXPECT_TRUE(tail.data.empty());
    EXPECT_TRUE(wrote(writePiece(tail, 1), 1, "00"));
}

TEST(Tail, EthernetReadConsumesOnlyTheLengthByte)
{
    CerrCapture cerr;
    Tail tail = filledCanTail();
    EXPECT_EQ(readTail(tail, XCP_Message::TT_ETHERNET, ExactBytes(hexBytes("02 11 22"))), 1u);
    EXPECT_FALSE(tail.isActive());
    EXPECT_TRUE(tail.data.empty());
    EXPECT_FALSE(tail.setActive(true));
    EXPECT_EQ(cerr.text(), "");
}

TEST(Tail, ReadWithoutInputFailsSilently)
{
    byteVec_t none;
    for (auto type : {XCP_Message::TT_CAN, XCP_Message::TT_ETHERNET, XCP_Message::TT_FLEXRAY}) {
        CerrCapture cerr;
        Tail tail = filledCanTail();
        EXPECT_EQ(readTail(tail, type, ExactBytes(none)), 0u) << type;
        EXPECT_EQ(cerr.text(), "") << type;
        EXPECT_FALSE(tail.isActive()) << type;  // as setTransportType left it
        EXPECT_TRUE(tail.data.empty()) << type;
    }
}

TEST(Tail, ReadShortOfTheAnnouncedBytesFailsSilently)
{
    for (auto type : {XCP_Message::TT_CAN, XCP_Message::TT_ETHERNET, XCP_Message::TT_FLEXRAY}) {
        CerrCapture cerr;
        Tail tail = filledCanTail();
        EXPECT_EQ(readTail(tail, type, ExactBytes(hexBytes("03 AA AA"))), 0u) << type;
        EXPECT_EQ(cerr.text(), "") << type;
        EXPECT_FALSE(tail.isActive()) << type;
        EXPECT_TRUE(tail.data.empty()) << type;
    }
}

TEST(Tail, FlexRayReadIsReported)
{
    CerrCapture cerr;
    Tail tail = filledCanTail();
    EXPECT_EQ(readTail(tail, XCP_Message::TT_FLEXRAY, ExactBytes(hexBytes("00"))), 0u);
    EXPECT_EQ(cerr.text(), kFlexRayReadLine);
    EXPECT_FALSE(tail.isActive());
    EXPECT_TRUE(tail.data.empty());
}

TEST(Tail, ReadWithUnknownOrOtherTypeIsReportedAndKeepsTheTail)
{
    for (auto type : {XCP_Message::TT_UNKNOWN, kOtherTransport}) {
        CerrCapture cerr;
        Tail tail = filledCanTail();
        EXPECT_EQ(readTail(tail, type, ExactBytes(hexBytes("02 AA BB"))), 0u) << type;
        EXPECT_EQ(cerr.text(), kInvalidTypeLine) << type;
        EXPECT_TRUE(tail.isActive()) << type;
        EXPECT_EQ(toHex(tail.data), "11 22 33") << type;
    }
}

TEST(Tail, ReadWithUnknownTypeAndNoInputIsSilent)
{
    CerrCapture cerr;
    Tail tail = filledCanTail();
    EXPECT_EQ(readTail(tail, XCP_Message::TT_UNKNOWN, ExactBytes(byteVec_t())), 0u);
    EXPECT_EQ(cerr.text(), "");
    EXPECT_EQ(toHex(tail.data), "11 22 33");
}

// ---- fill bytes set by a producer ------------------------------------------------------------

TEST(Tail, SetFillBytesOnCanGivesZeroBytesAndSwitchesOn)
{
    Tail tail = tailFor(XCP_Message::TT_CAN);
    tail.setFillBytes(3);
    EXPECT_TRUE(tail.isActive());
    EXPECT_EQ(toHex(tail.data), "00 00 00");
    EXPECT_TRUE(wrote(writePiece(tail, 4), 4, "03 00 00 00"));

    Tail copy;  // reads back like a tail filled by a read
    EXPECT_EQ(readTail(copy, XCP_Message::TT_CAN, ExactBytes(hexBytes("03 00 00 00"))), 4u);
    EXPECT_TRUE(copy.isActive());
    EXPECT_EQ(copy.data, tail.data);
}

TEST(Tail, SetFillBytesZeroEmptiesAndSwitchesOff)
{
    Tail tail = filledCanTail();
    tail.setFillBytes(0);
    EXPECT_FALSE(tail.isActive());
    EXPECT_TRUE(tail.data.empty());
    EXPECT_TRUE(wrote(writePiece(tail, 1), 1, "00"));
}

TEST(Tail, SetFillBytesReplacesExistingBytes)
{
    Tail tail = filledCanTail();
    tail.setFillBytes(2);
    EXPECT_TRUE(tail.isActive());
    EXPECT_EQ(toHex(tail.data), "00 00");
}

TEST(Tail, SetFillBytesOnFlexRay)
{
    Tail tail = tailFor(XCP_Message::TT_FLEXRAY);
    tail.setFillBytes(2);
    EXPECT_TRUE(tail.isActive());
    EXPECT_TRUE(wrote(writePiece(tail, 3), 3, "02 00 00"));
    tail.setFillBytes(0);
    EXPECT_FALSE(tail.isActive());
    EXPECT_TRUE(tail.data.empty());
}

TEST(Tail, SetFillBytesMaximum)
{
    Tail tail = tailFor(XCP_Message::TT_CAN);
    tail.setFillBytes(255);
    EXPECT_EQ(tail.getSize(), 256u);
    EXPECT_TRUE(wrote(writePiece(tail, 256), 256, "FF" + toHex(byteVec_t(255, 0))));
}

TEST(Tail, SetFillBytesChangesNothingOnOtherTransports)
{
    Tail ethernet = tailFor(XCP_Message::TT_ETHERNET);
    ethernet.setFillBytes(3);
    EXPECT_FALSE(ethernet.isActive());
    EXPECT_TRUE(ethernet.data.empty());

    for (auto type : {XCP_Message::TT_UNKNOWN, kOtherTransport}) {
        Tail tail = filledCanTail();
        tail.setTransportType(type);  // keeps 11 22 33, active
        tail.setFillBytes(0);
        EXPECT_TRUE(tail.isActive()) << type;
        EXPECT_EQ(toHex(tail.data), "11 22 33") << type;
        tail.setFillBytes(5);
        EXPECT_EQ(toHex(tail.data), "11 22 33") << type;
    }
    Tail fresh;
    fresh.setFillBytes(3);
    EXPECT_FALSE(fresh.isActive());
    EXPECT_TRUE(fresh.data.empty());
}

TEST(Tail, CopyKeepsTypeFlagAndBytes)
{
    Tail original = filledCanTail();
    Tail copy(original);
    EXPECT_TRUE(copy.isActive());
    EXPECT_TRUE(wrote(writePiece(copy, 4), 4, "03 11 22 33"));
    EXPECT_TRUE(copy.setActive(false));  // still a CAN tail
    EXPECT_TRUE(original.isActive());
}
