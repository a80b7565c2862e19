#include "OutputSinks.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace xcptrace {

FdOutputBuffer::FdOutputBuffer(int fd) : fd_(fd), buffer_(BUFFER_SIZE)
{
    setp(buffer_.data(), buffer_.data() + buffer_.size());
}

FdOutputBuffer::~FdOutputBuffer()
{
    drain();
}

bool FdOutputBuffer::drain()
{
    const char* data = pbase();
    size_t left = static_cast<size_t>(pptr() - pbase());
    while (left > 0 && error_ == 0) {
        ssize_t written = ::write(fd_, data, left);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            error_ = errno;
            break;
        }
        data += written;
        left -= static_cast<size_t>(written);
    }
    setp(buffer_.data(), buffer_.data() + buffer_.size());
    return error_ == 0;
}

FdOutputBuffer::int_type FdOutputBuffer::overflow(int_type c)
{
    if (!drain()) {
        return traits_type::eof();
    }
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
        *pptr() = traits_type::to_char_type(c);
        pbump(1);
    }
    return traits_type::not_eof(c);
}

std::streamsize FdOutputBuffer::xsputn(const char* data, std::streamsize count)
{
    std::streamsize done = 0;
    while (done < count) {
        std::streamsize room = epptr() - pptr();
        if (room == 0) {
            if (!drain()) {
                return done;
            }
            continue;
        }
        std::streamsize take = count - done < room ? count - done : room;
        std::memcpy(pptr(), data + done, static_cast<size_t>(take));
        pbump(static_cast<int>(take));
        done += take;
    }
    return done;
}

int FdOutputBuffer::sync()
{
    return drain() ? 0 : -1;
}

bool ShowSink::close(std::string& error)
{
    out_.flush();
    if (!out_) {
        error = "cannot write the output";
        return false;
    }
    return true;
}

void TraceFileSink::write(const DecodedPacket& packet)
{
    if (!writer_.write(packet.message)) {
        ++refused_;
    }
}

bool TraceFileSink::close(std::string& error)
{
    if (!writer_.close(error)) {
        return false;
    }
    if (refused_ != 0) {
        error = std::to_string(refused_) + " messages could not be written as records";
        return false;
    }
    return true;
}

}  // namespace xcptrace
