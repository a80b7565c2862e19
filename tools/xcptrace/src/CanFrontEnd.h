#ifndef XCPTRACE_CANFRONTEND_H
#define XCPTRACE_CANFRONTEND_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <unordered_map>
#include <vector>

#include "CanFrames.h"
#include "DecodedPacket.h"
#include "Problems.h"

namespace xcptrace {

/// Finds XCP on CAN: one XCP packet per frame on the identifiers of a master/slave pair.
/// The pairs are given, or found from the traffic: a CONNECT command (first byte FF) on
/// one identifier answered within one second by a positive response (first byte FF) on
/// another. While a CONNECT waits for its answer, frames are held back (at most one second
/// of traffic) so that the messages still come out in capture order.
class CanFrontEnd {
public:
    static constexpr uint64_t ANSWER_WINDOW_NS = 1000000000ull;

    /// With no pairs given, pairs are found from the traffic.
    CanFrontEnd(const std::vector<CanPair>& pairs, ProblemLog& problems, PacketBatch& out);

    void frame(const CanFrame& frame);
    /// End of the input: releases every frame held back.
    void finish();

    const std::vector<CanPair>& pairs() const { return pairs_; }
    uint64_t frames() const { return frames_; }
    uint64_t messages() const { return messages_; }
    bool detecting() const { return detect_; }

private:
    struct Role {
        size_t pair;
        bool master;
    };
    struct Candidate {
        uint32_t id;
        uint64_t timeNs;
        uint64_t number;
        uint64_t sequence;
    };
    struct Held {
        CanFrame frame;
        uint64_t sequence;
    };

    void addPair(const CanPair& pair);
    /// The role of an identifier, nullptr for one of no pair.
    const Role* roleOf(uint32_t id);
    void detect(const CanFrame& frame);
    void release(bool all);
    void decode(const CanFrame& frame);

    bool detect_;
    std::vector<CanPair> pairs_;
    std::vector<SlaveKey> slaves_;  ///< per pair, made once
    std::unordered_map<uint32_t, Role> roles_;
    // The last identifier looked up: XCP traffic mostly repeats the slave's.
    bool cached_ = false;
    uint32_t cachedId_ = 0;
    const Role* cachedRole_ = nullptr;
    std::vector<Candidate> candidates_;
    std::deque<Held> held_;
    uint64_t sequence_ = 0;
    ProblemLog& problems_;
    PacketBatch& out_;
    uint64_t frames_ = 0;
    uint64_t messages_ = 0;
};

}  // namespace xcptrace

#endif  // XCPTRACE_CANFRONTEND_H
