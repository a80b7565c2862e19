#include "TcpReassembly.h"

namespace xcptrace {

void TcpStreamReassembler::segment(uint32_t sequence, bool syn, const uint8_t* payload, size_t count,
                                   StreamSink& sink)
{
    if (syn && sawSyn_ && sequence == synSequence_) {
        syn = false;  // a retransmitted SYN changes nothing
        sequence += 1;
    }
    if (syn) {
        sawSyn_ = true;
        synSequence_ = sequence;
        if (started()) {
            // The same addresses and ports start a new connection: close the old stream.
            flush(sink);
            delivered_ = 0;
        }
        synced_ = true;
        nextSequence_ = sequence + 1;  // SYN takes one sequence number
        nextOffset_ = 0;
        sequence += 1;
    }
    if (count == 0) {
        return;
    }
    if (!synced_) {
        synced_ = true;
        nextSequence_ = sequence;
        nextOffset_ = 0;
    }
    int32_t ahead = static_cast<int32_t>(sequence - nextSequence_);
    if (ahead <= 0) {
        uint64_t old = static_cast<uint64_t>(-static_cast<int64_t>(ahead));
        if (old >= count) {
            duplicate_ += count;
            return;
        }
        duplicate_ += old;
        deliver(payload + old, count - static_cast<size_t>(old), sink);
        drain(sink);
        return;
    }
    uint64_t offset = nextOffset_ + static_cast<uint64_t>(ahead);
    auto existing = pending_.find(offset);
    if (existing != pending_.end()) {
        if (existing->second.size() >= count) {
            duplicate_ += count;
            return;
        }
        pendingBytes_ -= existing->second.size();
        duplicate_ += existing->second.size();
        existing->second.assign(payload, payload + count);
    } else {
        pending_.emplace(offset, std::vector<uint8_t>(payload, payload + count));
    }
    pendingBytes_ += count;
    while (pendingBytes_ > PENDING_LIMIT) {
        skipToPending(sink);
    }
}

void TcpStreamReassembler::flush(StreamSink& sink)
{
    while (!pending_.empty()) {
        skipToPending(sink);
    }
}

void TcpStreamReassembler::deliver(const uint8_t* data, size_t count, StreamSink& sink)
{
    nextSequence_ += static_cast<uint32_t>(count);
    nextOffset_ += count;
    delivered_ += count;
    sink.streamData(data, count);
}

void TcpStreamReassembler::drain(StreamSink& sink)
{
    while (!pending_.empty()) {
        auto first = pending_.begin();
        if (first->first > nextOffset_) {
            return;
        }
        std::vector<uint8_t> bytes = std::move(first->second);
        uint64_t start = first->first;
        pending_.erase(first);
        pendingBytes_ -= bytes.size();
        uint64_t end = start + bytes.size();
        if (end <= nextOffset_) {
            duplicate_ += bytes.size();
            continue;
        }
        size_t skip = static_cast<size_t>(nextOffset_ - start);
        duplicate_ += skip;
        deliver(bytes.data() + skip, bytes.size() - skip, sink);
    }
}

void TcpStreamReassembler::skipToPending(StreamSink& sink)
{
    if (pending_.empty()) {
        return;
    }
    uint64_t start = pending_.begin()->first;
    if (start > nextOffset_) {
        uint64_t missing = start - nextOffset_;
        nextSequence_ += static_cast<uint32_t>(missing);
        nextOffset_ = start;
        sink.streamGap(missing);
    }
    drain(sink);
}

}  // namespace xcptrace
