// Property-based checks of the trace record on thousands of random messages per run:
// random CAN and Ethernet messages within the record's limits write, read back equal and
// write again to the same bytes; random mutations of valid records never crash and make
// the reader write only its own diagnostic lines.
//
// The runs are seeded and reproducible: QV_PROPERTY_SEED overrides the seed (decimal or
// 0x hex) and QV_PROPERTY_CASES the number of cases; every failure names the seed and case.

#include <cstdlib>
#include <random>
#include <set>

#include "test_support.h"

using testsupport::CerrCapture;
using testsupport::toHex;

namespace {

typedef XCP_Message M;

const uint32_t DEFAULT_SEED = 0x5eed2024u;

uint32_t environmentNumber(const char* name, uint32_t fallback)
{
    const char* text = std::getenv(name);
    if (text == nullptr || *text == '\0') {
        return fallback;
    }
    return static_cast<uint32_t>(std::strtoul(text, nullptr, 0));
}

uint32_t propertySeed()
{
    return environmentNumber("QV_PROPERTY_SEED", DEFAULT_SEED);
}

uint32_t propertyCases(uint32_t fallback)
{
    return environmentNumber("QV_PROPERTY_CASES", fallback);
}

/// Random values from a 32-bit Mersenne Twister, reduced by hand (not through the standard
/// distributions, whose results differ between library implementations) so that a seed
/// gives the same cases on every platform, 32-bit or 64-bit.
class Random {
public:
    explicit Random(uint32_t seed) : engine_(seed) {}

    uint32_t next() { return static_cast<uint32_t>(engine_()); }
    /// A value in [low, high].
    uint32_t between(uint32_t low, uint32_t high) { return low + next() % (high - low + 1u); }
    bool oneIn(uint32_t n) { return next() % n == 0; }
    uint8_t byte() { return static_cast<uint8_t>(next()); }
    uint16_t word() { return static_cast<uint16_t>(next()); }
    uint64_t wide() { return static_cast<uint64_t>(next()) << 32 | next(); }
    byteVec_t bytes(size_t count)
    {
        byteVec_t result(count);
        for (uint8_t& value : result) {
            value = byte();
        }
        return result;
    }

private:
    std::mt19937 engine_;
};

/// A data-field length: mostly short packets, sometimes anything up to the 16-bit limit.
size_t randomDataLength(Random& random, bool allowLarge)
{
    if (allowLarge && random.oneIn(200)) {
        return 65535;
    }
    if (allowLarge && random.oneIn(25)) {
        return random.between(0, 65535);
    }
    return random.between(0, random.oneIn(4) ? 300 : 8);
}

std::string randomText(Random& random)
{
    if (random.oneIn(3)) {
        // Any bytes, NUL included, up to the longest string a record can carry.
        byteVec_t raw = random.bytes(random.between(0, 255));
        return std::string(raw.begin(), raw.end());
    }
    std::string address;
    for (int part = 0; part < 4; ++part) {
        address += (part > 0 ? "." : "") + std::to_string(random.between(0, 255));
    }
    return address;
}

/// A CAN or Ethernet message within the record's limits: strings under 256 characters,
/// data under 65,536 bytes, a time stamp of each type.
M randomMessage(Random& random, bool allowLargeData = true)
{
    const bool can = random.oneIn(2);
    M message(random.wide(), can ? M::TT_CAN : M::TT_ETHERNET, static_cast<M::msgDirection_t>(random.byte()),
              random.byte());

    M::Packet::IdentificationField& id = message.packet.identificationField;
    id.setType(static_cast<M::identificationFieldType_t>(random.byte()));
    id.pid = random.byte();
    id.firstPid = random.byte();
    id.setDaqNo(random.word());

    static const M::timestampFieldType_t types[] = {M::TST_NO, M::TST_BYTE, M::TST_WORD, M::TST_DWORD};
    // Now and then a type byte outside the enumeration, which carries no time-stamp bytes.
    M::timestampFieldType_t type =
        random.oneIn(10) ? static_cast<M::timestampFieldType_t>(random.byte()) : types[random.between(0, 3)];
    message.packet.timestampField.setType(type);
    byteVec_t ticks = random.bytes(message.packet.timestampField.getTimestamp().size());
    message.packet.timestampField.setTimestamp(ticks.data(), ticks.size());
    message.packet.dataField.data = random.bytes(randomDataLength(random, allowLargeData));

    if (can) {
        message.tail.setFillBytes(static_cast<uint8_t>(random.oneIn(5) ? random.byte() : random.between(0, 7)));
        message.tail.data = random.bytes(message.tail.data.size());
        message.setCanTransportTypeSettings(random.next(), static_cast<cantype_t>(random.byte()), random.byte());
    } else {
        message.header.setLEN(random.word());
        message.header.setCTR(random.word());
        std::string dst = randomText(random);
        std::string src = randomText(random);
        std::string mask = randomText(random);
        message.setEthernetTransportTypeSettings(dst, src, mask, random.word(), random.oneIn(2));
    }
    return message;
}

/// The record of a message in a buffer of exactly getSize() + 2 bytes.
byteVec_t writeExactly(const M& message)
{
    byteVec_t record(message.getSize() + 2);
    uint8_t* cursor = record.data();
    message.writeToByteArray(cursor, record.size(), false);
    record.resize(static_cast<size_t>(cursor - record.data()));
    return record;
}

std::unique_ptr<M> readExactly(const byteVec_t& record)
{
    // A copy of exactly the record's size, so that the sanitizers see any read past it.
    std::unique_ptr<uint8_t[]> exact(new uint8_t[record.size()]);
    std::copy(record.begin(), record.end(), exact.get());
    std::unique_ptr<MessageBase> base(M::readFromByteArray(exact.get(), record.size()));
    M* message = dynamic_cast<M*>(base.get());
    if (message != nullptr) {
        base.release();
    }
    return std::unique_ptr<M>(message);
}

std::string caseName(uint32_t seed, uint32_t index)
{
    return "QV_PROPERTY_SEED=" + std::to_string(seed) + ", case " + std::to_string(index);
}

/// Every line the record reader and the piece readers it calls can write.
const std::set<std::string>& readingLines()
{
    static const std::set<std::string> lines = {
        "[ERROR] XCP message v1 read error",
        "[ERROR] XCP message description read error",
        "[ERROR] XCP Header read error",
        "[ERROR] XCP Packet read error",
        "[ERROR] XCP Tail read error",
        "[ERROR] XCP message CAN settings read error",
        "[ERROR] XCP message ETH settings read error (dstIp size)",
        "[ERROR] XCP message ETH settings read error (dstIp)",
        "[ERROR] XCP message ETH settings read error (srcIp size)",
        "[ERROR] XCP message ETH settings read error (srcIp)",
        "[ERROR] XCP message ETH settings read error (mask size)",
        "[ERROR] XCP message ETH settings read error (mask)",
        "[ERROR] XCP message CAN settings read error (port or protocol)",
        "[ERROR] XCP_Message::Header::setTransportType: flex ray isn't supported at the moment",
        "[ERROR] XCP_Message::Header::readFromByteArray: ethernet; invalid headerSize",
        "[ERROR] XCP_Message::Header::readFromByteArray: flex ray isn't supported at the moment",
        "[ERROR] XCP_Message::Header::readFromByteArray: invalid transport type",
        "[ERROR] Identification Field read error",
        "[ERROR] Timestamp Field read error",
        "[ERROR] Data Field read error",
        "[ERROR] XCP_Message::Tail::readFromByteArray: flex ray isn't supported at the moment",
        "[ERROR] XCP_Message::Tail::readFromByteArray: invalid transport type",
    };
    return lines;
}

/// Every line that writing and printing a message can add: the writers' refusals and the
/// classification's lines.
const std::set<std::string>& writingAndPrintingLines()
{
    static const std::set<std::string> lines = {
        "[ERROR] XCP_Message::writeToByteArray: can't write XCP_Message",
        "[ERROR] XCP_Message::Header::writeToByteArray: can't write Header",
        "[ERROR] XCP_Message::Packet::writeToByteArray: can't write Data Field",
        "[ERROR] XCP_Message::Packet::IdentificationField::writeToByteArray: can't write Identification Field",
        "[ERROR] XCP_Message::Packet::TimestampField::writeToByteArray: can't write Timestamp Field",
        "[ERROR] XCP_Message::Packet::DataField::writeToByteArray: can't write Data Field",
        "[ERROR] XCP_Message::Tail::writeToByteArray: can't write Header",
        "[WARNING] XCP_Message::setPacketType: STIMULATION is not supported at the moment",
        "[ERROR] XCP_Message::setPacketType: Unknown direction=UNKNOWN",
        "[ERROR] XCP_Message::setPacketType: Unknown direction=invalid msg direction",
    };
    return lines;
}

/// Applies 1 to 4 random damages: bit flips, overwritten bytes, truncation, inserted bytes,
/// removed bytes.
void mutate(Random& random, byteVec_t& record)
{
    const uint32_t count = random.between(1, 4);
    for (uint32_t i = 0; i < count; ++i) {
        const size_t size = record.size();
        switch (random.between(0, 4)) {
        case 0:
            if (size > 0) {
                record[random.next() % size] ^= static_cast<uint8_t>(1u << random.between(0, 7));
            }
            break;
        case 1:
            if (size > 0) {
                record[random.next() % size] = random.byte();
            }
            break;
        case 2:
            record.resize(random.next() % (size + 1));
            break;
        case 3: {
            byteVec_t extra = random.bytes(random.between(1, 8));
            record.insert(record.begin() + static_cast<std::ptrdiff_t>(random.next() % (size + 1)), extra.begin(),
                          extra.end());
            break;
        }
        default:
            if (size > 0) {
                size_t from = random.next() % size;
                size_t length = std::min<size_t>(random.between(1, 8), size - from);
                record.erase(record.begin() + static_cast<std::ptrdiff_t>(from),
                             record.begin() + static_cast<std::ptrdiff_t>(from + length));
            }
            break;
        }
    }
}

}  // namespace

TEST(Property, RandomMessagesRoundTripThroughTheirRecords)
{
    const uint32_t seed = propertySeed();
    const uint32_t cases = propertyCases(3000);
    Random random(seed);
    uint32_t canCases = 0;
    for (uint32_t index = 0; index < cases; ++index) {
        SCOPED_TRACE(caseName(seed, index));
        const M message = randomMessage(random);
        canCases += message.getTransportType() == M::TT_CAN ? 1 : 0;

        CerrCapture cerr;
        const byteVec_t record = writeExactly(message);
        ASSERT_EQ(record.size(), message.getSize() + 2);
        ASSERT_EQ(byteArrayToUint16(record.data()), static_cast<uint16_t>(message.getSize()));
        std::unique_ptr<M> copy = readExactly(record);
        ASSERT_NE(copy, nullptr);
        ASSERT_EQ(cerr.text(), "");
        ASSERT_TRUE(*copy == message) << "\n  written: " << message.toString() << "\n  read:    " << copy->toString();
        ASSERT_EQ(copy->getTimeStamp(), message.getTimeStamp());
        const byteVec_t again = writeExactly(*copy);
        ASSERT_EQ(again, record) << toHex(again) << "\n" << toHex(record);
        ASSERT_EQ(cerr.text(), "");
    }
    // Both transports were drawn, so neither path went untested.
    if (cases >= 100) {
        EXPECT_GT(canCases, cases / 4);
        EXPECT_LT(canCases, cases - cases / 4);
    }
}

TEST(Property, DamagedRecordsReadWithTheReadersOwnLinesOnly)
{
    const uint32_t seed = propertySeed();
    const uint32_t cases = propertyCases(3000);
    Random random(seed ^ 0x0badf00du);  // other cases than the round trip's
    std::set<std::string> linesSeen;
    uint32_t silentReads = 0;
    for (uint32_t index = 0; index < cases; ++index) {
        SCOPED_TRACE(caseName(seed, index));
        byteVec_t record = writeExactly(randomMessage(random, false));
        mutate(random, record);

        std::unique_ptr<M> message;
        {
            CerrCapture cerr;
            message = readExactly(record);
            ASSERT_NE(message, nullptr);
            for (const std::string& line : cerr.lines()) {
                ASSERT_EQ(readingLines().count(line), 1u) << "unexpected line: " << line << "\n  record: " << toHex(record);
                linesSeen.insert(line);
            }
            silentReads += cerr.text().empty() ? 1 : 0;
        }

        // Whatever was read writes within getSize() + 2 bytes and prints.
        CerrCapture cerr;
        testsupport::WriteResult written = testsupport::writeInto(
            message->getSize() + 2,
            [&](uint8_t*& cursor, size_t maxlen) { return message->writeToByteArray(cursor, maxlen, false); });
        ASSERT_TRUE(written.guardIntact) << toHex(record);
        ASSERT_FALSE(message->toString().empty());
        for (const std::string& line : cerr.lines()) {
            ASSERT_EQ(writingAndPrintingLines().count(line), 1u) << "unexpected line: " << line;
        }
    }
    std::cout << "[ property ] " << cases << " damaged records: " << linesSeen.size() << " distinct reader lines, "
              << silentReads << " read silently\n";
    // The damage reached the reader's checks and also left records it reads silently.
    if (cases >= 1000) {
        EXPECT_GE(linesSeen.size(), 10u);
        EXPECT_GT(silentReads, 0u);
    }
}
