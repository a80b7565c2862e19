#include "CanFrontEnd.h"

#include <algorithm>

namespace xcptrace {

namespace {

/// CONNECT: FF and the mode byte (0 normal, 1 user defined), possibly padded.
bool looksLikeConnect(const CanFrame& frame)
{
    return frame.length >= 2 && frame.data[0] == XCP_Message::XCP_CC_STD_CONNECT && frame.data[1] <= 1;
}

/// CONNECT's positive response: FF RESOURCE COMM_MODE_BASIC MAX_CTO MAX_DTO(2) and the
/// protocol layer version 1. MAX_CTO is at least 8 on CAN.
bool looksLikeConnectResponse(const CanFrame& frame)
{
    return frame.length >= 8 && frame.data[0] == XCP_Message::S2M_PID_RES && frame.data[3] >= 8 && frame.data[6] == 1;
}

cantype_t canTypeOf(const CanFrame& frame)
{
    bool extended = (frame.id & CAN_EXTENDED_FLAG) != 0;
    if (frame.fd) {
        return extended ? CT_FD_EXTENDED : CT_FD_STANDARD;
    }
    return extended ? CT_EXTENDED : CT_STANDARD;
}

}  // namespace

CanFrontEnd::CanFrontEnd(const std::vector<CanPair>& pairs, ProblemLog& problems, PacketBatch& out)
    : detect_(pairs.empty()), problems_(problems), out_(out)
{
    for (const CanPair& pair : pairs) {
        addPair(pair);
    }
}

void CanFrontEnd::addPair(const CanPair& pair)
{
    pairs_.push_back(pair);
    slaves_.push_back(SlaveKey::can(pair.master, pair.slave));
    roles_.emplace(pair.master, Role{pairs_.size() - 1, true});
    roles_.emplace(pair.slave, Role{pairs_.size() - 1, false});
    cached_ = false;
}

const CanFrontEnd::Role* CanFrontEnd::roleOf(uint32_t id)
{
    if (!cached_ || id != cachedId_) {
        auto found = roles_.find(id);
        cachedRole_ = found == roles_.end() ? nullptr : &found->second;
        cachedId_ = id;
        cached_ = true;
    }
    return cachedRole_;
}

void CanFrontEnd::frame(const CanFrame& frame)
{
    if (frame.error || frame.remote) {
        return;  // XCP uses neither
    }
    ++frames_;
    if (!detect_) {
        decode(frame);
        return;
    }
    detect(frame);
    ++sequence_;
    if (held_.empty() && candidates_.empty()) {
        decode(frame);  // nothing waits for an answer: no need to hold the frame back
        return;
    }
    held_.push_back(Held{frame, sequence_});
    release(false);
}

void CanFrontEnd::detect(const CanFrame& frame)
{
    // Forget CONNECTs whose answer window has closed.
    candidates_.erase(std::remove_if(candidates_.begin(), candidates_.end(),
                                     [&](const Candidate& c) { return frame.timeNs > c.timeNs + ANSWER_WINDOW_NS; }),
                      candidates_.end());
    if (roleOf(frame.id) != nullptr) {
        return;
    }
    if (looksLikeConnectResponse(frame)) {
        // The latest CONNECT on another identifier is the one answered.
        const Candidate* answered = nullptr;
        for (const Candidate& candidate : candidates_) {
            if (candidate.id != frame.id && frame.timeNs >= candidate.timeNs &&
                (answered == nullptr || candidate.sequence > answered->sequence)) {
                answered = &candidate;
            }
        }
        if (answered != nullptr) {
            CanPair pair{answered->id, frame.id};
            addPair(pair);
            std::string unit = problems_.unit();
            problems_.note("found XCP on CAN: master " + canIdText(pair.master) + ", slave " +
                           canIdText(pair.slave) + " (CONNECT in " + unit + " " + std::to_string(answered->number) +
                           ", response in " + unit + " " + std::to_string(frame.number) + ")");
            uint32_t master = answered->id;
            candidates_.erase(std::remove_if(candidates_.begin(), candidates_.end(),
                                             [&](const Candidate& c) { return c.id == master || c.id == frame.id; }),
                              candidates_.end());
            return;
        }
    }
    if (looksLikeConnect(frame)) {
        auto same = std::find_if(candidates_.begin(), candidates_.end(),
                                 [&](const Candidate& c) { return c.id == frame.id; });
        if (same != candidates_.end()) {
            candidates_.erase(same);  // a repeated CONNECT opens a new window
        }
        candidates_.push_back(Candidate{frame.id, frame.timeNs, frame.number, sequence_ + 1});
    }
}

void CanFrontEnd::release(bool all)
{
    uint64_t oldestWaiting = UINT64_MAX;
    if (!all) {
        for (const Candidate& candidate : candidates_) {
            oldestWaiting = std::min(oldestWaiting, candidate.sequence);
        }
    }
    while (!held_.empty() && held_.front().sequence < oldestWaiting) {
        decode(held_.front().frame);
        held_.pop_front();
    }
}

void CanFrontEnd::finish()
{
    candidates_.clear();
    release(true);
}

void CanFrontEnd::decode(const CanFrame& frame)
{
    const Role* role = roleOf(frame.id);
    if (role == nullptr) {
        return;
    }
    if (frame.length == 0) {
        problems_.report(Problem::EmptyCanFrame, frame.number,
                         "CAN frame " + canIdText(frame.id) + " without data: no XCP packet in it");
        return;
    }
    DecodedPacket& packet = out_.append();
    XCP_Message& message = packet.message;
    message.setTimeStamp(frame.timeNs);
    message.setTransportType(XCP_Message::TT_CAN);
    message.setMsgDirection(role->master ? XCP_Message::MD_TX : XCP_Message::MD_RX);
    message.setEcuId(0);
    message.header.setTransportType(XCP_Message::TT_CAN);
    XCP_Message::Packet& xcp = message.packet;
    xcp.identificationField.setType(XCP_Message::IFT_CTO_PACKET_CODE);
    xcp.identificationField.pid = frame.data[0];
    xcp.identificationField.firstPid = 0;
    xcp.identificationField.setDaqNo(0);
    xcp.timestampField.setType(XCP_Message::TST_NO);
    // Padding cannot be told from data without the session: every byte after the PID is data.
    xcp.dataField.data.assign(frame.data + 1, frame.data + frame.length);
    message.tail.setTransportType(XCP_Message::TT_CAN);
    uint32_t bareId = frame.id & ((frame.id & CAN_EXTENDED_FLAG) != 0 ? CAN_EXTENDED_MASK : CAN_STANDARD_MASK);
    message.setCanTransportTypeSettings(bareId, canTypeOf(frame), frame.channel);
    // No Ethernet settings; the slot may hold an earlier message's.
    message.dstIp.clear();
    message.srcIp.clear();
    message.mask.clear();
    message.port = 0;
    message.tcp = false;
    packet.slave = slaves_[role->pair];
    ++messages_;
}

}  // namespace xcptrace
