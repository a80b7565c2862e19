// The trace file container: header, records framed by the bytes the writer really
// produced, and what a reader makes of damaged files.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "MessageReaders.h"
#include "TraceFile.h"
#include "tool_test_support.h"

using namespace tooltest;
using xcptrace::TraceFileReader;
using xcptrace::TraceFileWriter;

namespace {

/// A file name in a fresh temporary directory, removed afterwards.
class TempFile {
public:
    TempFile()
    {
        char pattern[] = "/tmp/xcptrace-test-XXXXXX";
        directory_ = mkdtemp(pattern);
        path_ = directory_ + "/trace.xtr";
    }
    ~TempFile()
    {
        std::remove(path_.c_str());
        rmdir(directory_.c_str());
    }
    const std::string& path() const { return path_; }
    Bytes read() const
    {
        std::ifstream in(path_, std::ios::binary);
        return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    void write(const Bytes& bytes) const
    {
        std::ofstream out(path_, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }

private:
    std::string directory_;
    std::string path_;
};

XCP_Message canMessage()
{
    XCP_Message m(0x1122334455667788ull, XCP_Message::TT_CAN, XCP_Message::MD_TX, 3);
    m.packet.identificationField.setType(XCP_Message::IFT_CTO_PACKET_CODE);
    m.packet.identificationField.pid = 0xFF;
    m.packet.dataField.data = {0x00};
    m.setCanTransportTypeSettings(0x7F1, CT_STANDARD, 1);
    return m;
}

XCP_Message ethernetMessage()
{
    XCP_Message m(1700000000000000001ull, XCP_Message::TT_ETHERNET, XCP_Message::MD_RX, 0);
    m.header.setLEN(2);
    m.header.setCTR(9);
    m.packet.identificationField.setType(XCP_Message::IFT_CTO_PACKET_CODE);
    m.packet.identificationField.pid = 0xFE;
    m.packet.dataField.data = {0x22};
    m.setEthernetTransportTypeSettings("10.0.0.1", "10.0.0.2", "", 5555, true);
    return m;
}

/// The record the library writes for a message, as trace writers size it.
Bytes record(const XCP_Message& m)
{
    Bytes bytes(m.getSize() + 2);
    uint8_t* cursor = bytes.data();
    m.writeToByteArray(cursor, bytes.size(), false);
    bytes.resize(static_cast<size_t>(cursor - bytes.data()));
    return bytes;
}

Bytes lengthPrefix(size_t length)
{
    Bytes prefix;
    put32(prefix, static_cast<uint32_t>(length));
    return prefix;
}

const Bytes HEADER = hex("89 51 56 54 52 0d 0a 1a 00 01 00 10 00 00 00 00");

}  // namespace

TEST(TraceFileTest, HeaderBytes)
{
    uint8_t header[xcptrace::TRACE_HEADER_SIZE];
    xcptrace::traceFileHeader(header);
    EXPECT_EQ(toHex(Bytes(header, header + sizeof header)), toHex(HEADER));
    EXPECT_TRUE(xcptrace::hasTraceMagic(header, sizeof header));
    EXPECT_FALSE(xcptrace::hasTraceMagic(header, 7));
}

TEST(TraceFileTest, RecordsAreFramedByTheBytesWritten)
{
    TempFile file;
    XCP_Message can = canMessage();
    XCP_Message eth = ethernetMessage();
    TraceFileWriter writer;
    std::string error;
    ASSERT_TRUE(writer.open(file.path(), error)) << error;
    ASSERT_TRUE(writer.write(can));
    ASSERT_TRUE(writer.write(eth));
    ASSERT_TRUE(writer.close(error)) << error;
    EXPECT_EQ(writer.records(), 2u);

    Bytes canRecord = record(can);
    Bytes ethRecord = record(eth);
    // The length prefix is what was written, 2 more than the record's own size field.
    ASSERT_EQ(canRecord.size(), can.getSize() + 2);
    EXPECT_EQ(canRecord[0] * 256 + canRecord[1], static_cast<int>(can.getSize()));
    Bytes expected = concat({HEADER, lengthPrefix(canRecord.size()), canRecord, lengthPrefix(ethRecord.size()), ethRecord});
    EXPECT_EQ(toHex(file.read()), toHex(expected));
}

TEST(TraceFileTest, RecordsReadBackThroughTheReaderTable)
{
    TempFile file;
    XCP_Message can = canMessage();
    XCP_Message eth = ethernetMessage();
    file.write(concat({HEADER, lengthPrefix(record(can).size()), record(can), lengthPrefix(record(eth).size()), record(eth)}));

    XCP_Message::registerMessage();
    TraceFileReader reader;
    std::string error;
    ASSERT_TRUE(reader.open(std::fopen(file.path().c_str(), "rb"), error)) << error;
    const uint8_t* data = nullptr;
    uint32_t length = 0;
    std::vector<std::unique_ptr<MessageBase>> messages;
    while (reader.next(data, length) == TraceFileReader::Status::RECORD) {
        messages.emplace_back(readMessage(data, length));
    }
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_TRUE(*messages[0] == can);
    EXPECT_EQ(messages[0]->getTimeStamp(), can.getTimeStamp());
    EXPECT_TRUE(*messages[1] == eth);
    EXPECT_EQ(messages[1]->getTimeStamp(), eth.getTimeStamp());
    EXPECT_EQ(reader.next(data, length), TraceFileReader::Status::END);
}

TEST(TraceFileTest, FileCutInsideARecordOrItsLength)
{
    Bytes whole = concat({HEADER, lengthPrefix(record(canMessage()).size()), record(canMessage())});
    for (size_t cut : {HEADER.size() + 2, whole.size() - 1}) {
        TempFile file;
        file.write(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(cut)));
        TraceFileReader reader;
        std::string error;
        ASSERT_TRUE(reader.open(std::fopen(file.path().c_str(), "rb"), error)) << error;
        const uint8_t* data = nullptr;
        uint32_t length = 0;
        EXPECT_EQ(reader.next(data, length), TraceFileReader::Status::TRUNCATED) << "cut at " << cut;
        EXPECT_EQ(reader.next(data, length), TraceFileReader::Status::END);
    }
}

TEST(TraceFileTest, ImpossibleLengthStopsTheFile)
{
    for (uint32_t bad : {0u, xcptrace::TRACE_RECORD_LIMIT + 1}) {
        TempFile file;
        file.write(concat({HEADER, lengthPrefix(bad), Bytes(8, 0)}));
        TraceFileReader reader;
        std::string error;
        ASSERT_TRUE(reader.open(std::fopen(file.path().c_str(), "rb"), error));
        const uint8_t* data = nullptr;
        uint32_t length = 0;
        EXPECT_EQ(reader.next(data, length), TraceFileReader::Status::BAD_LENGTH);
        EXPECT_EQ(length, bad);
        EXPECT_EQ(reader.next(data, length), TraceFileReader::Status::END);
    }
}

TEST(TraceFileTest, HeadersThatCannotBeRead)
{
    struct Case {
        Bytes bytes;
        const char* error;
    };
    const Case cases[] = {
        {hex("89 51 56 54 52 0d 0a 1a 00 02 00 10 00 00 00 00"),
         "trace file version 2 is not supported (this xcptrace reads version 1)"},
        {hex("89 51 56 54 52 0d 0a 1a 00 01 00 08 00 00 00 00"), "trace file header size 8 is below 16"},
        {hex("89 51 56 54 52 0d 0a 1a 00 01"), "trace file header is cut off"},
        {hex("89 51 56 54 52 0d 0a 1a 00 01 00 14 00 00 00 00 00"), "trace file header is cut off"},
        {hex("00 11 22 33 44 55 66 77 88 99 aa bb cc dd ee ff"), "not an xcptrace trace file"},
    };
    for (const Case& c : cases) {
        TempFile file;
        file.write(c.bytes);
        TraceFileReader reader;
        std::string error;
        EXPECT_FALSE(reader.open(std::fopen(file.path().c_str(), "rb"), error));
        EXPECT_EQ(error, c.error);
    }
}

TEST(TraceFileTest, LongerHeadersOfLaterWritersAreSkipped)
{
    TempFile file;
    Bytes header = hex("89 51 56 54 52 0d 0a 1a 00 01 00 14 00 00 00 00 de ad be ef");
    file.write(concat({header, lengthPrefix(record(canMessage()).size()), record(canMessage())}));
    TraceFileReader reader;
    std::string error;
    ASSERT_TRUE(reader.open(std::fopen(file.path().c_str(), "rb"), error)) << error;
    const uint8_t* data = nullptr;
    uint32_t length = 0;
    ASSERT_EQ(reader.next(data, length), TraceFileReader::Status::RECORD);
    EXPECT_EQ(toHex(Bytes(data, data + length)), toHex(record(canMessage())));
}

TEST(TraceFileTest, WriterReportsAFileItCannotCreate)
{
    TraceFileWriter writer;
    std::string error;
    EXPECT_FALSE(writer.open("/nonexistent-directory/trace.xtr", error));
    EXPECT_EQ(error, "No such file or directory");
}
