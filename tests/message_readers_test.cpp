// The reader table: registration, dispatch of a record by its message identifier, and what
// comes back for records nobody can read.

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "MessageReaders.h"
#include "XCP_Message.h"
#include "test_support.h"

using testsupport::CerrCapture;
using testsupport::hexBytes;
using testsupport::toHex;

namespace {

/// Restores MessageBase::invalidHandling when a test changed it.
class InvalidHandlingGuard {
public:
    explicit InvalidHandlingGuard(MessageBase::invalidMsgHandling_t handling) : saved_(MessageBase::invalidHandling)
    {
        MessageBase::invalidHandling = handling;
    }
    ~InvalidHandlingGuard() { MessageBase::invalidHandling = saved_; }

private:
    MessageBase::invalidMsgHandling_t saved_;
};

/// Removes a reader a test registered, whatever the test's outcome.
class ReaderGuard {
public:
    explicit ReaderGuard(msgid_t id) : id_(id) {}
    ~ReaderGuard() { unregisterMessageReader(id_); }

private:
    msgid_t id_;
};

struct RecordingReader {
    static int calls;
    static const uint8_t* lastSource;
    static size_t lastLength;

    static MessageBase* read(const uint8_t* psrc, size_t maxlen)
    {
        ++calls;
        lastSource = psrc;
        lastLength = maxlen;
        return new InvalidMessage(psrc, maxlen);
    }
    static MessageBase* other(const uint8_t*, size_t) { return nullptr; }
};
int RecordingReader::calls = 0;
const uint8_t* RecordingReader::lastSource = nullptr;
size_t RecordingReader::lastLength = 0;

XCP_Message makeCanCommand()
{
    XCP_Message message(0x1122334455667788ull, XCP_Message::TT_CAN, XCP_Message::MD_TX, 3);
    message.packet.identificationField.setType(XCP_Message::IFT_CTO_PACKET_CODE);
    message.packet.identificationField.pid = 0xFF;
    message.packet.dataField.data = {0x00};
    message.setCanTransportTypeSettings(0x7F1, CT_STANDARD, 1);
    return message;
}

}  // namespace

TEST(MessageReadersTest, XcpRegistersItsStaticFactory)
{
    unregisterMessageReader(MSGID_XCP);
    EXPECT_EQ(findMessageReader(MSGID_XCP), nullptr);
    EXPECT_TRUE(XCP_Message::registerMessage());
    EXPECT_EQ(findMessageReader(MSGID_XCP), &XCP_Message::readFromByteArray);
    // Registering again keeps the same reader.
    EXPECT_TRUE(XCP_Message::registerMessage());
    EXPECT_EQ(findMessageReader(MSGID_XCP), &XCP_Message::readFromByteArray);
}

TEST(MessageReadersTest, XcpRecordReadsBackThroughTheTable)
{
    ASSERT_TRUE(XCP_Message::registerMessage());
    XCP_Message original = makeCanCommand();
    byteVec_t record = testsupport::writeRecord(original);
    ASSERT_EQ(record.size(), original.getSize() + 2);

    CerrCapture cerr;
    std::unique_ptr<MessageBase> copy(readMessage(record.data(), record.size()));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->getMsgId(), MSGID_XCP);
    ASSERT_NE(dynamic_cast<XCP_Message*>(copy.get()), nullptr);
    EXPECT_TRUE(*copy == original);
    EXPECT_EQ(copy->getTimeStamp(), 0x1122334455667788ull);
    EXPECT_EQ(cerr.text(), "");
}

TEST(MessageReadersTest, DispatchesOnTheBigEndianIdentifierInBytesTwoAndThree)
{
    ReaderGuard guard(MSGID_CUSTOMER);
    RecordingReader::calls = 0;
    ASSERT_TRUE(registerMessageReader(MSGID_CUSTOMER, &RecordingReader::read));

    // Size 00 0e, identifier 01 00 (MSGID_CUSTOMER), reserved, time stamp.
    byteVec_t record = hexBytes("00 0e 01 00 00 00 00 00 00 00 00 00 00 2a");
    std::unique_ptr<MessageBase> result(readMessage(record.data(), record.size()));
    EXPECT_EQ(RecordingReader::calls, 1);
    EXPECT_EQ(RecordingReader::lastSource, record.data());
    EXPECT_EQ(RecordingReader::lastLength, record.size());
    ASSERT_NE(result, nullptr);

    // The same bytes the other way round (0x0001, MSGID_CAN) are not this reader's.
    InvalidHandlingGuard handling(MessageBase::IMH_RETURN_NULL);
    byteVec_t swapped = hexBytes("00 0e 00 01 00 00 00 00 00 00 00 00 00 2a");
    std::unique_ptr<MessageBase> none(readMessage(swapped.data(), swapped.size()));
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(RecordingReader::calls, 1);
}

TEST(MessageReadersTest, RegisteringReplacesAndNullIsRefused)
{
    ReaderGuard guard(MSGID_GPS);
    EXPECT_FALSE(registerMessageReader(MSGID_GPS, nullptr));
    EXPECT_EQ(findMessageReader(MSGID_GPS), nullptr);
    EXPECT_TRUE(registerMessageReader(MSGID_GPS, &RecordingReader::read));
    EXPECT_EQ(findMessageReader(MSGID_GPS), &RecordingReader::read);
    EXPECT_TRUE(registerMessageReader(MSGID_GPS, &RecordingReader::other));
    EXPECT_EQ(findMessageReader(MSGID_GPS), &RecordingReader::other);
    EXPECT_FALSE(registerMessageReader(MSGID_GPS, nullptr));
    EXPECT_EQ(findMessageReader(MSGID_GPS), &RecordingReader::other);
    EXPECT_TRUE(unregisterMessageReader(MSGID_GPS));
    EXPECT_FALSE(unregisterMessageReader(MSGID_GPS));
    EXPECT_EQ(findMessageReader(MSGID_GPS), nullptr);
}

TEST(MessageReadersTest, UnknownIdentifierGivesNullByDefault)
{
    InvalidHandlingGuard handling(MessageBase::IMH_RETURN_NULL);
    byteVec_t record = hexBytes("00 0e 80 25 00 00 00 00 00 00 00 00 00 01");
    ASSERT_EQ(findMessageReader(MSGID_LOGGER_IDENTIFICATION), nullptr);
    CerrCapture cerr;
    EXPECT_EQ(readMessage(record.data(), record.size()), nullptr);
    EXPECT_EQ(cerr.text(), "");
}

TEST(MessageReadersTest, RecordTooShortForAnIdentifierGivesNull)
{
    InvalidHandlingGuard handling(MessageBase::IMH_RETURN_NULL);
    ASSERT_TRUE(XCP_Message::registerMessage());
    byteVec_t record = hexBytes("00 0e 00");
    EXPECT_EQ(readMessage(record.data(), record.size()), nullptr);
    EXPECT_EQ(readMessage(record.data(), 0), nullptr);
    EXPECT_EQ(readMessage(nullptr, 20), nullptr);
}

TEST(MessageReadersTest, UnknownIdentifierGivesTheRecordAsInvalidMessageWhenAsked)
{
    InvalidHandlingGuard handling(MessageBase::IMH_RETURN_INVALID_MESSAGE);
    byteVec_t record = hexBytes("00 10 80 25 ab cd 00 00 00 00 00 00 00 07 55 66");
    std::unique_ptr<MessageBase> result(readMessage(record.data(), record.size()));
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->getMsgId(), MSGID_INVALID);
    auto* invalid = dynamic_cast<InvalidMessage*>(result.get());
    ASSERT_NE(invalid, nullptr);
    EXPECT_EQ(invalid->getRecordMsgId(), MSGID_LOGGER_IDENTIFICATION);
    EXPECT_EQ(toHex(invalid->getRecord()), toHex(record));
    EXPECT_EQ(invalid->getTimeStamp(), 7u);
    EXPECT_EQ(invalid->getSize(), record.size());

    std::ostringstream line;
    invalid->print(line);
    EXPECT_EQ(line.str(), "0.000000007  INVALID[MsgId=0x8025, Size=16]");
    EXPECT_EQ(invalid->getSourceChannel(), "INVALID");
    EXPECT_EQ(invalid->getSourceChannelID(), 0u);
}

TEST(MessageReadersTest, ShortRecordAsInvalidMessageKeepsItsBytesWithoutIdentifier)
{
    InvalidHandlingGuard handling(MessageBase::IMH_RETURN_INVALID_MESSAGE);
    byteVec_t record = hexBytes("12 34 56");
    std::unique_ptr<MessageBase> result(readMessage(record.data(), record.size()));
    auto* invalid = dynamic_cast<InvalidMessage*>(result.get());
    ASSERT_NE(invalid, nullptr);
    EXPECT_EQ(invalid->getRecordMsgId(), MSGID_INVALID);
    EXPECT_EQ(toHex(invalid->getRecord()), "12 34 56");
    EXPECT_EQ(invalid->getTimeStamp(), 0u);

    std::unique_ptr<MessageBase> empty(readMessage(record.data(), 0));
    auto* emptyInvalid = dynamic_cast<InvalidMessage*>(empty.get());
    ASSERT_NE(emptyInvalid, nullptr);
    EXPECT_TRUE(emptyInvalid->getRecord().empty());
}

TEST(MessageReadersTest, RegisteredReaderIsCalledWhateverTheLength)
{
    ASSERT_TRUE(XCP_Message::registerMessage());
    InvalidHandlingGuard handling(MessageBase::IMH_RETURN_NULL);
    // Identifier 25 (XCP) but only 6 bytes: the XCP reader reports and returns its object.
    byteVec_t record = hexBytes("00 06 00 19 00 00");
    CerrCapture cerr;
    std::unique_ptr<MessageBase> result(readMessage(record.data(), record.size()));
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->getMsgId(), MSGID_XCP);
    EXPECT_EQ(cerr.text(), "[ERROR] XCP message v1 read error\n");
}

TEST(MessageReadersTest, InvalidMessageWritesItsBytesBackUnchanged)
{
    byteVec_t record = hexBytes("00 10 80 25 ab cd 00 00 00 00 00 00 00 07 55 66");
    InvalidMessage message(record.data(), record.size());

    auto fits = testsupport::writeInto(record.size(), [&](uint8_t*& cursor, size_t maxlen) {
        return message.writeToByteArray(cursor, maxlen, false);
    });
    EXPECT_EQ(fits.returned, record.size());
    EXPECT_EQ(toHex(fits.bytes), toHex(record));
    EXPECT_TRUE(fits.guardIntact);

    auto tooSmall = testsupport::writeInto(record.size() - 1, [&](uint8_t*& cursor, size_t maxlen) {
        return message.writeToByteArray(cursor, maxlen, false);
    });
    EXPECT_EQ(tooSmall.returned, 0u);
    EXPECT_TRUE(tooSmall.bytes.empty());
    EXPECT_TRUE(tooSmall.guardIntact);
}

TEST(MessageReadersTest, InvalidMessagesCompareByTheirBytes)
{
    byteVec_t record = hexBytes("00 10 80 25 ab cd 00 00 00 00 00 00 00 07 55 66");
    InvalidMessage message(record.data(), record.size());
    std::unique_ptr<InvalidMessage> copy(message.clone());
    EXPECT_TRUE(*copy == message);

    byteVec_t other = record;
    other.back() = 0x67;
    InvalidMessage different(other.data(), other.size());
    EXPECT_FALSE(different == message);
    EXPECT_FALSE(message == makeCanCommand());
}
