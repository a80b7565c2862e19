// Header, packet and tail readers with every transport type, on fresh objects and on objects
// that already hold bytes, each followed by writes into exactly sized buffers.
//
// Input: transport selector A, transport selector B, a shape byte for the pre-filled
// objects, a 2-byte big-endian split, then the bytes. The first min(split, rest) bytes are
// the first input, the remainder the second. Each piece reads the first input with type A
// into a fresh object and into a pre-filled one, then the second input with type B into the
// object the first read filled. The packet's three fields then go through the same on their
// own, and leading data bytes are moved into the time stamp. Every input is copied into a
// block of exactly its size.

#include <algorithm>
#include <array>
#include <vector>

#include "fuzz_support.h"

using fuzzsupport::check;
using fuzzsupport::ExactBuffer;
using fuzzsupport::transportFromSelector;

namespace {

typedef XCP_Message::transportType_t Transport;

bool isCanOrEthernet(Transport type)
{
    return type == XCP_Message::TT_CAN || type == XCP_Message::TT_ETHERNET;
}

// Uniform calls over the three pieces: only the header and the tail take a transport type.
size_t readPiece(XCP_Message::Header& header, Transport type, const ExactBuffer& input)
{
    return header.readFromByteArray(type, input.bytes.get(), input.size);
}
size_t readPiece(XCP_Message::Tail& tail, Transport type, const ExactBuffer& input)
{
    return tail.readFromByteArray(type, input.bytes.get(), input.size);
}
size_t readPiece(XCP_Message::Packet& packet, Transport, const ExactBuffer& input)
{
    return packet.readFromByteArray(input.bytes.get(), input.size);
}

/// Writes into exactly getSize() bytes, which must succeed, and into one byte less, which
/// must be refused without writing. Returns the bytes written into the exact buffer.
template <typename Piece>
ExactBuffer writeChecks(const Piece& piece)
{
    const size_t size = piece.getSize();
    check(size >= 1, "a piece reported size 0");
    ExactBuffer exact(size);
    uint8_t* cursor = exact.bytes.get();
    check(piece.writeToByteArray(cursor, exact.size) == size, "a write into getSize() bytes did not return getSize()");
    size_t written = static_cast<size_t>(cursor - exact.bytes.get());
    check(written <= size, "a write moved its cursor past the buffer");

    ExactBuffer shortBuffer(size - 1);
    uint8_t* shortCursor = shortBuffer.bytes.get();
    check(piece.writeToByteArray(shortCursor, shortBuffer.size) == 0, "a write into too few bytes was not refused");
    check(shortCursor == shortBuffer.bytes.get(), "a refused write moved its cursor");
    return ExactBuffer(exact.bytes.get(), written);
}

bool samePiece(const XCP_Message::Header& a, const XCP_Message::Header& b)
{
    return a.getData() == b.getData() && a.isActive() == b.isActive();
}
bool samePiece(const XCP_Message::Tail& a, const XCP_Message::Tail& b)
{
    return a.data == b.data && a.isActive() == b.isActive();
}
bool samePiece(const XCP_Message::Packet& a, const XCP_Message::Packet& b)
{
    const XCP_Message::Packet::IdentificationField& x = a.identificationField;
    const XCP_Message::Packet::IdentificationField& y = b.identificationField;
    return x.getType() == y.getType() && x.pid == y.pid && x.firstPid == y.firstPid && x.getDaqNo() == y.getDaqNo() &&
           a.timestampField.getType() == b.timestampField.getType() &&
           a.timestampField.getTimestamp() == b.timestampField.getTimestamp() && a.dataField.data == b.dataField.data;
}

/// Whether a piece read successfully from fresh must survive write and read unchanged.
bool roundTrips(const XCP_Message::Header&, Transport type)
{
    return isCanOrEthernet(type);
}
bool roundTrips(const XCP_Message::Tail&, Transport type)
{
    return isCanOrEthernet(type);
}
bool roundTrips(const XCP_Message::Packet& packet, Transport)
{
    return packet.timestampField.getTimestamp().size() < 254;
}

/// A packet field written into exactly getSize() bytes succeeds, or refuses as a whole (a
/// time stamp of 254 or 255 bytes, whose 8-bit size understates it); one byte less is
/// always refused without writing.
template <typename Field>
void fieldWriteChecks(const Field& field)
{
    const size_t size = field.getSize();
    ExactBuffer exact(size);
    uint8_t* cursor = exact.bytes.get();
    size_t returned = field.writeToByteArray(cursor, exact.size);
    size_t written = static_cast<size_t>(cursor - exact.bytes.get());
    check(returned == size || (returned == 0 && written == 0), "a field write returned neither its size nor 0");
    check(written <= size, "a field write moved its cursor past the buffer");
    if (size > 0) {
        ExactBuffer shortBuffer(size - 1);
        uint8_t* shortCursor = shortBuffer.bytes.get();
        check(field.writeToByteArray(shortCursor, shortBuffer.size) == 0, "a field write into too few bytes went on");
        check(shortCursor == shortBuffer.bytes.get(), "a refused field write moved its cursor");
    }
}

/// The three packet fields on their own: reads into fresh and filled fields, writes, and
/// moving leading data bytes into the time stamp.
void exerciseFields(const XCP_Message::Packet& filled, const ExactBuffer& input)
{
    XCP_Message::Packet::IdentificationField id;
    check(id.readFromByteArray(input.bytes.get(), input.size) <= input.size, "a field read consumed too much");
    fieldWriteChecks(id);

    XCP_Message::Packet::TimestampField stamp;
    check(stamp.readFromByteArray(input.bytes.get(), input.size) <= input.size, "a field read consumed too much");
    fieldWriteChecks(stamp);
    XCP_Message::Packet::TimestampField filledStamp = filled.timestampField;
    check(filledStamp.readFromByteArray(input.bytes.get(), input.size) <= input.size, "a field read consumed too much");
    fieldWriteChecks(filledStamp);

    XCP_Message::Packet::DataField data;
    check(data.readFromByteArray(input.bytes.get(), input.size) <= input.size, "a field read consumed too much");
    fieldWriteChecks(data);
    XCP_Message::Packet::DataField filledData = filled.dataField;
    check(filledData.readFromByteArray(input.bytes.get(), input.size) <= input.size, "a field read consumed too much");
    fieldWriteChecks(filledData);

    XCP_Message::Packet moved = filled;
    const byteVec_t& stampBytes = moved.timestampField.getTimestamp();
    const size_t count = stampBytes.size();
    if (moved.moveTimestampData()) {
        check(count <= filled.dataField.data.size(), "a move succeeded without enough data");
        check(std::equal(stampBytes.begin(), stampBytes.end(), filled.dataField.data.begin()) &&
                  moved.dataField.data.size() + count == filled.dataField.data.size() &&
                  std::equal(moved.dataField.data.begin(), moved.dataField.data.end(),
                             filled.dataField.data.begin() + static_cast<std::ptrdiff_t>(count)),
              "moving time-stamp bytes lost or reordered data");
    } else {
        check(count > filled.dataField.data.size(), "a move failed although the data sufficed");
        check(samePiece(moved, filled), "a failed move changed the packet");
    }
}

template <typename Piece>
void exercise(Piece fresh, Piece prefilled, Transport typeA, Transport typeB, const ExactBuffer& first,
              const ExactBuffer& second)
{
    size_t consumed = readPiece(fresh, typeA, first);
    check(consumed <= first.size, "a read consumed more than it was given");
    ExactBuffer written = writeChecks(fresh);
    if (consumed > 0 && roundTrips(fresh, typeA)) {
        Piece copy;
        check(readPiece(copy, typeA, written) == consumed, "a written piece read back to another length");
        check(samePiece(copy, fresh), "a written piece read back different");
    }

    check(readPiece(prefilled, typeA, first) <= first.size, "a read consumed more than it was given");
    writeChecks(prefilled);

    check(readPiece(fresh, typeB, second) <= second.size, "a read consumed more than it was given");
    writeChecks(fresh);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzzsupport::silenceDiagnostics();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 5) {
        return 0;
    }
    const Transport typeA = transportFromSelector(data[0]);
    const Transport typeB = transportFromSelector(data[1]);
    const uint8_t shape = data[2];
    const size_t rest = size - 5;
    const size_t split = std::min(static_cast<size_t>(data[3]) << 8 | data[4], rest);
    const ExactBuffer first(data + 5, split);
    const ExactBuffer second(data + 5 + split, rest - split);

    // Pre-filled shapes: an Ethernet header with LEN and CTR, a CAN tail with fill bytes
    // (switched off for odd shapes), a packet with a time stamp and data.
    XCP_Message::Header header;
    header.setTransportType(XCP_Message::TT_ETHERNET);
    header.setLEN(static_cast<uint16_t>(shape * 0x101));
    header.setCTR(shape);
    XCP_Message::Tail tail;
    tail.setTransportType(XCP_Message::TT_CAN);
    tail.setFillBytes(shape);
    tail.setActive((shape & 1) == 0);
    XCP_Message::Packet packet;
    static const std::array<XCP_Message::timestampFieldType_t, 4> stamps = {
        XCP_Message::TST_NO, XCP_Message::TST_BYTE, XCP_Message::TST_WORD, XCP_Message::TST_DWORD};
    packet.timestampField.setType(stamps[shape & 3]);
    packet.dataField.data.assign(shape >> 2, shape);

    exercise(XCP_Message::Header(), header, typeA, typeB, first, second);
    exercise(XCP_Message::Tail(), tail, typeA, typeB, first, second);
    exercise(XCP_Message::Packet(), packet, typeA, typeB, first, second);
    XCP_Message::Packet read;
    read.readFromByteArray(first.bytes.get(), first.size);
    exerciseFields(read, second);
    exerciseFields(packet, first);
    return 0;
}
