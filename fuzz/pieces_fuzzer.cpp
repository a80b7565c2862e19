// Header, packet and tail readers with every transport type, on fresh objects and on objects
// that already hold bytes, each followed by writes into exactly sized buffers.
//
// Input: transport selector A, transport selector B, a shape byte for the pre-filled
// objects, a 2-byte big-endian split, then the bytes. The first min(split, rest) bytes are
// the first input, the remainder the second. Each piece reads the first input with type A
// into a fresh object and into a pre-filled one, then the second input with type B into the
// object the first read filled. Every input is copied into a block of exactly its size.

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
    return 0;
}
