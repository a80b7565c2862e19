#include "TraceFile.h"

#include <cerrno>
#include <cstring>

namespace xcptrace {

namespace {

constexpr size_t FILE_BUFFER_SIZE = 1u << 20;

}  // namespace

void traceFileHeader(uint8_t (&header)[TRACE_HEADER_SIZE])
{
    std::memset(header, 0, sizeof header);
    std::memcpy(header, TRACE_MAGIC, sizeof TRACE_MAGIC);
    uint16ToByteArray(header + 8, TRACE_VERSION);
    uint16ToByteArray(header + 10, static_cast<uint16_t>(TRACE_HEADER_SIZE));
    // Bytes 12-15: reserved, 0.
}

bool hasTraceMagic(const uint8_t* data, size_t size)
{
    return size >= sizeof TRACE_MAGIC && std::memcmp(data, TRACE_MAGIC, sizeof TRACE_MAGIC) == 0;
}

// ---- writer ------------------------------------------------------------------------------

TraceFileWriter::~TraceFileWriter()
{
    if (file_ != nullptr) {
        std::fclose(file_);
    }
}

bool TraceFileWriter::open(const std::string& path, std::string& error)
{
    file_ = std::fopen(path.c_str(), "wb");
    if (file_ == nullptr) {
        error = std::strerror(errno);
        return false;
    }
    std::setvbuf(file_, nullptr, _IOFBF, FILE_BUFFER_SIZE);
    uint8_t header[TRACE_HEADER_SIZE];
    traceFileHeader(header);
    std::fwrite(header, 1, sizeof header, file_);
    return true;
}

bool TraceFileWriter::write(const MessageBase& message)
{
    // getSize() is 2 less than what the XCP writer emits; the room must cover the real count.
    size_t room = message.getSize() + 2;
    if (buffer_.size() < TRACE_LENGTH_SIZE + room) {
        buffer_.resize(TRACE_LENGTH_SIZE + room);
    }
    uint8_t* start = buffer_.data() + TRACE_LENGTH_SIZE;
    uint8_t* cursor = start;
    if (message.writeToByteArray(cursor, room, false) == 0) {
        return false;
    }
    size_t written = static_cast<size_t>(cursor - start);
    if (written == 0 || written > room || written > TRACE_RECORD_LIMIT) {
        return false;
    }
    uint32ToByteArray(buffer_.data(), static_cast<uint32_t>(written));
    std::fwrite(buffer_.data(), 1, TRACE_LENGTH_SIZE + written, file_);
    ++records_;
    return true;
}

bool TraceFileWriter::close(std::string& error)
{
    if (file_ == nullptr) {
        return true;
    }
    bool failed = std::ferror(file_) != 0;
    int savedErrno = errno;
    if (std::fclose(file_) != 0 && !failed) {
        failed = true;
        savedErrno = errno;
    }
    file_ = nullptr;
    if (failed) {
        error = std::strerror(savedErrno != 0 ? savedErrno : EIO);
        return false;
    }
    return true;
}

// ---- reader ------------------------------------------------------------------------------

TraceFileReader::~TraceFileReader()
{
    if (file_ != nullptr) {
        std::fclose(file_);
    }
}

bool TraceFileReader::open(std::FILE* file, std::string& error)
{
    file_ = file;
    std::setvbuf(file_, nullptr, _IOFBF, FILE_BUFFER_SIZE);
    uint8_t header[TRACE_HEADER_SIZE];
    size_t got = std::fread(header, 1, sizeof header, file_);
    bytesRead_ = got;
    if (got < sizeof header || !hasTraceMagic(header, got)) {
        error = got < sizeof header && hasTraceMagic(header, got) ? "trace file header is cut off"
                                                                  : "not an xcptrace trace file";
        return false;
    }
    uint16_t version = byteArrayToUint16(header + 8);
    uint16_t headerSize = byteArrayToUint16(header + 10);
    if (version != TRACE_VERSION) {
        error = "trace file version " + std::to_string(version) + " is not supported (this xcptrace reads version " +
                std::to_string(TRACE_VERSION) + ")";
        return false;
    }
    if (headerSize < TRACE_HEADER_SIZE) {
        error = "trace file header size " + std::to_string(headerSize) + " is below " +
                std::to_string(TRACE_HEADER_SIZE);
        return false;
    }
    // Later header fields, if any, are skipped.
    for (size_t extra = headerSize - TRACE_HEADER_SIZE; extra > 0; --extra) {
        if (std::fgetc(file_) == EOF) {
            error = "trace file header is cut off";
            return false;
        }
        ++bytesRead_;
    }
    return true;
}

TraceFileReader::Status TraceFileReader::next(const uint8_t*& record, uint32_t& length)
{
    if (finished_) {
        return Status::END;
    }
    uint8_t prefix[TRACE_LENGTH_SIZE];
    size_t got = std::fread(prefix, 1, sizeof prefix, file_);
    bytesRead_ += got;
    if (got == 0) {
        finished_ = true;
        return Status::END;
    }
    if (got < sizeof prefix) {
        finished_ = true;
        return Status::TRUNCATED;
    }
    length = byteArrayToUint32(prefix);
    if (length == 0 || length > TRACE_RECORD_LIMIT) {
        finished_ = true;
        return Status::BAD_LENGTH;
    }
    if (buffer_.size() < length) {
        buffer_.resize(length);
    }
    got = std::fread(buffer_.data(), 1, length, file_);
    bytesRead_ += got;
    if (got < length) {
        finished_ = true;
        return Status::TRUNCATED;
    }
    record = buffer_.data();
    return Status::RECORD;
}

}  // namespace xcptrace
