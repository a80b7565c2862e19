// Trace files written by `xcptrace convert`, read back through the reader table.

#include <cstdio>
#include <iostream>
#include <memory>

#include "MessageReaders.h"
#include "Progress.h"
#include "Sources.h"
#include "TraceFile.h"

namespace xcptrace {

namespace {

constexpr uint64_t PROGRESS_EVERY = 4096;

class TraceFileSource : public BatchedSource {
public:
    TraceFileSource(const std::string& name, std::FILE* file, uint64_t size, ProblemLog& problems)
        : BatchedSource(problems, name, "record"), progress_(std::cerr, name, size, ProgressMeter::wanted(size))
    {
        std::string error;
        if (!reader_.open(file, error)) {
            throw InputError(error);
        }
        XCP_Message::registerMessage();
    }

protected:
    bool step() override
    {
        const uint8_t* record = nullptr;
        uint32_t length = 0;
        switch (reader_.next(record, length)) {
        case TraceFileReader::Status::RECORD:
            ++records_;
            if (progress_.enabled() && records_ % PROGRESS_EVERY == 0) {
                progress_.update(reader_.bytesRead(), records_);
            }
            take(record, length);
            return true;
        case TraceFileReader::Status::TRUNCATED:
            problems_.report(Problem::TruncatedInput, records_ + 1, "the file ends inside this record");
            break;
        case TraceFileReader::Status::BAD_LENGTH:
            problems_.report(Problem::DamagedRecord, records_ + 1,
                             "record length " + std::to_string(length) +
                                 " is impossible; the rest of the file is skipped");
            break;
        case TraceFileReader::Status::END:
            break;
        }
        progress_.done();
        return false;
    }

private:
    void take(const uint8_t* record, uint32_t length)
    {
        std::unique_ptr<MessageBase> message(readMessage(record, length));
        if (!message || message->getMsgId() != MSGID_XCP) {
            unsigned id = length >= 4 ? static_cast<unsigned>(byteArrayToUint16(record + MessageBase::MO_MSGID)) : 0xFFFF;
            char text[80];
            std::snprintf(text, sizeof text, "message identifier %u is not XCP; the record is skipped", id);
            problems_.report(Problem::ForeignRecord, records_, text);
            return;
        }
        const XCP_Message& xcp = static_cast<const XCP_Message&>(*message);
        // A whole XCP record is exactly what writing the message gives again.
        if (xcp.getSize() + 2 != length) {
            problems_.report(Problem::DamagedRecord, records_,
                             "the record's " + std::to_string(length) +
                                 " bytes do not read back as one XCP message; it is skipped");
            return;
        }
        DecodedPacket& packet = batch_.append();
        packet.message = xcp;
        packet.slave = SlaveKey();
    }

    TraceFileReader reader_;
    uint64_t records_ = 0;
    ProgressMeter progress_;
};

}  // namespace

std::unique_ptr<PacketSource> openTraceFileSource(const std::string& name, std::FILE* file, uint64_t size,
                                                  ProblemLog& problems)
{
    return std::unique_ptr<PacketSource>(new TraceFileSource(name, file, size, problems));
}

}  // namespace xcptrace
