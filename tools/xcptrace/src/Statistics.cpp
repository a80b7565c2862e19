#include "Statistics.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "XcpNames.h"

namespace xcptrace {

namespace {

using Json = nlohmann::ordered_json;

const char* const DAQ_OUTCOME_TEXTS[SessionInfo::DAQ_OUTCOMES] = {
    "",
    "decoded",
    "decoded where they were stored",
    "shown as captured: no DAQ configuration known",
    "shown as captured: PID of no DAQ list with a known FIRST_PID",
    "shown as captured: too short for the identification field",
    "decoded without their time stamp: too short for it",
};
const char* const DAQ_OUTCOME_KEYS[SessionInfo::DAQ_OUTCOMES] = {
    "", "decoded", "stored", "no_configuration", "unknown_pid", "short_for_id", "short_for_timestamp",
};

uint32_t flaggedCanId(const XCP_Message& message)
{
    bool extended = message.canType == CT_EXTENDED || message.canType == CT_FD_EXTENDED;
    return extended ? (message.canId & CAN_EXTENDED_MASK) | CAN_EXTENDED_FLAG : message.canId & CAN_STANDARD_MASK;
}

std::string numberText(uint64_t value)
{
    return std::to_string(value);
}

std::string fixed(double value, int decimals)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

/// A plain text table: a header line and rows, columns as wide as their widest cell, two
/// spaces apart; numbers right-aligned.
class Table {
public:
    Table(std::vector<std::string> headers, std::vector<bool> right) : headers_(std::move(headers)), right_(std::move(right))
    {
    }
    void row(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
    bool empty() const { return rows_.empty(); }

    void write(std::ostream& out) const
    {
        std::vector<size_t> widths(headers_.size());
        for (size_t c = 0; c < headers_.size(); ++c) {
            widths[c] = headers_[c].size();
            for (const std::vector<std::string>& cells : rows_) {
                widths[c] = std::max(widths[c], cells[c].size());
            }
        }
        line(out, headers_, widths);
        for (const std::vector<std::string>& cells : rows_) {
            line(out, cells, widths);
        }
    }

private:
    void line(std::ostream& out, const std::vector<std::string>& cells, const std::vector<size_t>& widths) const
    {
        std::string text = "  ";
        for (size_t c = 0; c < cells.size(); ++c) {
            std::string pad(widths[c] - cells[c].size(), ' ');
            text += c == 0 ? "" : "  ";
            text += right_[c] ? pad + cells[c] : cells[c] + (c + 1 == cells.size() ? "" : pad);
        }
        out << text << '\n';
    }

    std::vector<std::string> headers_;
    std::vector<bool> right_;
    std::vector<std::vector<std::string>> rows_;
};

std::string commandName(int32_t code)
{
    return code < 0 ? std::string("(none seen)") : displayName<XCP_Message::cmdCode_t>(code);
}

std::string errorName(int32_t code)
{
    return code < 0 ? std::string("(no code)") : displayName<XCP_Message::errorPacketCode_t>(code);
}

std::string eventName(uint16_t index)
{
    return index > 255 ? std::string("(no code)") : displayName<XCP_Message::eventPacketCode_t>(index);
}

std::string serviceName(uint16_t index)
{
    return index > 255 ? std::string("(no code)") : displayName<XCP_Message::serviceRequestPacketCode_t>(index);
}

/// The events or service requests of one ECU, by name in order of first appearance.
void writeCodeCounts(std::ostream& out, const std::string& what, const std::vector<uint16_t>& order,
                     const std::array<uint64_t, 257>& counts, std::string (*nameOf)(uint16_t))
{
    if (order.empty()) {
        out << "  " << what << "s: none\n";
        return;
    }
    Table table({what, "count"}, {false, true});
    for (uint16_t index : order) {
        table.row({nameOf(index), numberText(counts[index])});
    }
    table.write(out);
}

/// The same as JSON: name, code (null without one) and count.
Json codeCountsJson(const char* nameKey, const std::vector<uint16_t>& order, const std::array<uint64_t, 257>& counts,
                    std::string (*nameOf)(uint16_t))
{
    Json rows = Json::array();
    for (uint16_t index : order) {
        rows.push_back(
            Json{{nameKey, nameOf(index)}, {"code", index > 255 ? Json(nullptr) : Json(index)}, {"count", counts[index]}});
    }
    return rows;
}

/// "UDP 192.168.0.2:5555 (master 192.168.0.1)" or "CAN master 7F1, slave 7F2, channel 1".
std::string whoText(const EcuStats& stats)
{
    switch (stats.transport) {
    case XCP_Message::TT_ETHERNET: {
        bool v6 = stats.slaveAddress.find(':') != std::string::npos;
        std::string slave = v6 ? "[" + stats.slaveAddress + "]" : stats.slaveAddress;
        return std::string("XCP on ") + (stats.tcp ? "TCP" : "UDP") + ", slave " + slave + ":" +
               std::to_string(stats.port) + ", master " + (stats.masterAddress.empty() ? "?" : stats.masterAddress);
    }
    case XCP_Message::TT_CAN:
        return "XCP on CAN, master " + (stats.haveMasterId ? canIdText(stats.masterId) : std::string("?")) +
               ", slave " + (stats.haveSlaveId ? canIdText(stats.slaveId) : std::string("?")) + ", channel " +
               std::to_string(unsigned(stats.canChannel) + 1);
    default:
        return "transport " + displayName<XCP_Message::transportType_t>(stats.transport);
    }
}

std::string byteCount(unsigned size)
{
    return std::to_string(size) + (size == 1 ? " byte" : " bytes");
}

/// What the session said, in one line.
std::string sessionText(const EcuSession* session)
{
    if (session == nullptr) {
        return "nothing seen";
    }
    std::string text;
    if (session->connected) {
        text = "CONNECT seen " + std::to_string(session->connects) + (session->connects == 1 ? " time" : " times") +
               "; byte order " + (session->bigEndian ? "Motorola" : "Intel") + ", MAX_CTO " +
               std::to_string(session->maxCto) + ", MAX_DTO " + std::to_string(session->maxDto);
    } else {
        text = "no CONNECT seen";
    }
    text += "; identification field ";
    text += session->idTypeKnown ? displayName<XCP_Message::identificationFieldType_t>(session->idType)
                                 : std::string("not seen");
    text += "; time stamps ";
    if (!session->timestampKnown) {
        text += "not seen";
    } else if (session->timestampSize == 0) {
        text += "none";
    } else {
        text += byteCount(session->timestampSize) + ", " + std::to_string(session->timestampTicks) + " x " +
                displayName<XCP_Message::timeUnit_t>(session->timestampUnit) + " a tick" +
                (session->timestampFixed ? ", every DAQ list" : "");
    }
    return text;
}

/// The span of a DAQ list's time stamps as a count of the session's unit, and that unit
/// ("1 US"); "ticks" when the unit was never announced.
std::pair<uint64_t, std::string> spanIn(const TimestampSpan& span, const EcuSession* session)
{
    if (session != nullptr && session->timestampKnown && timeUnitNs(session->timestampUnit) > 0 && span.ticks == 0) {
        double units = span.ns / timeUnitNs(session->timestampUnit);
        return {static_cast<uint64_t>(std::llround(units)),
                displayName<XCP_Message::timeUnit_t>(session->timestampUnit)};
    }
    return {span.ticks, "ticks"};
}

}  // namespace

// ---- counting --------------------------------------------------------------------------------

void StatsSink::identify(EcuStats& stats, const XCP_Message& message)
{
    bool fromMaster = message.getMsgDirection() == XCP_Message::MD_TX;
    if (stats.transport == XCP_Message::TT_UNKNOWN) {
        stats.transport = message.getTransportType();
        stats.tcp = message.tcp;
        stats.port = message.port;
        stats.canChannel = message.canChannel;
    }
    if (message.getTransportType() == XCP_Message::TT_ETHERNET) {
        if (stats.slaveAddress.empty()) {
            stats.slaveAddress = fromMaster ? message.dstIp : message.srcIp;
        }
        if (stats.masterAddress.empty()) {
            stats.masterAddress = fromMaster ? message.srcIp : message.dstIp;
        }
    } else if (message.getTransportType() == XCP_Message::TT_CAN) {
        if (fromMaster && !stats.haveMasterId) {
            stats.haveMasterId = true;
            stats.masterId = flaggedCanId(message);
        } else if (!fromMaster && !stats.haveSlaveId) {
            stats.haveSlaveId = true;
            stats.slaveId = flaggedCanId(message);
        }
    }
    switch (stats.transport) {
    case XCP_Message::TT_ETHERNET:
        stats.identified = !stats.slaveAddress.empty() && !stats.masterAddress.empty();
        break;
    case XCP_Message::TT_CAN:
        stats.identified = stats.haveMasterId && stats.haveSlaveId;
        break;
    default:
        stats.identified = true;
        break;
    }
}

void StatsSink::write(const DecodedPacket& packet)
{
    const XCP_Message& message = packet.message;
    const SessionInfo& info = packet.session;
    std::unique_ptr<EcuStats>& slot = ecus_[message.getEcuId()];
    uint64_t now = message.getTimeStamp();
    if (!slot) {
        slot.reset(new EcuStats());
        slot->firstNs = now;
        slot->lastNs = now;
    }
    EcuStats& stats = *slot;
    if (!stats.identified) {
        identify(stats, message);
    }
    ++stats.packets;
    stats.firstNs = std::min(stats.firstNs, now);
    stats.lastNs = std::max(stats.lastNs, now);
    XCP_Message::packetType_t type = packetTypeOf(message);
    ++stats.types[static_cast<size_t>(type)];
    if (info.lostBefore != 0) {
        size_t side = message.getMsgDirection() == XCP_Message::MD_TX ? 0 : 1;
        ++stats.ctrGaps[side];
        stats.ctrLost[side] += info.lostBefore;
    }
    uint8_t pid = message.packet.identificationField.pid;
    const byteVec_t& data = message.packet.dataField.data;
    switch (type) {
    case XCP_Message::PT_CTO_CMD:
        if (stats.commands[pid]++ == 0) {
            stats.commandOrder.push_back(pid);
        }
        break;
    case XCP_Message::PT_CTO_RES:
        if (info.answeredCommand >= 0) {
            ++stats.positive[static_cast<size_t>(info.answeredCommand)];
        } else {
            ++stats.responsesWithoutCommand;
        }
        break;
    case XCP_Message::PT_CTO_ERR: {
        if (info.answeredCommand >= 0) {
            ++stats.errors[static_cast<size_t>(info.answeredCommand)];
        }
        int16_t code = data.empty() ? -1 : data[0];
        auto row = std::find_if(stats.errorRows.begin(), stats.errorRows.end(), [&](const EcuStats::ErrorRow& r) {
            return r.code == code && r.command == info.answeredCommand;
        });
        if (row == stats.errorRows.end()) {
            stats.errorRows.push_back(EcuStats::ErrorRow{code, info.answeredCommand, 1});
        } else {
            ++row->count;
        }
        break;
    }
    case XCP_Message::PT_CTO_EV: {
        uint16_t index = data.empty() ? 256 : data[0];
        if (stats.events[index]++ == 0) {
            stats.eventOrder.push_back(index);
        }
        break;
    }
    case XCP_Message::PT_CTO_SERV: {
        uint16_t index = data.empty() ? 256 : data[0];
        if (stats.services[index]++ == 0) {
            stats.serviceOrder.push_back(index);
        }
        break;
    }
    case XCP_Message::PT_DTO_DAQ:
        countDaq(stats, packet);
        break;
    default:
        break;
    }
}

void StatsSink::countDaq(EcuStats& stats, const DecodedPacket& packet)
{
    const SessionInfo& info = packet.session;
    ++stats.daqOutcomes[static_cast<size_t>(info.daq)];
    if (info.daqList < 0) {
        return;
    }
    int32_t slot = stats.daqIndex.slot(static_cast<uint16_t>(info.daqList));
    if (slot < 0) {
        ++stats.daqListsBeyondLimit;
        return;
    }
    if (static_cast<size_t>(slot) >= stats.daqLists.size()) {
        stats.daqLists.resize(static_cast<size_t>(slot) + 1);
    }
    DaqListStats& list = stats.daqLists[static_cast<size_t>(slot)];
    uint64_t now = packet.message.getTimeStamp();
    const EcuSession* session = tracker_.session(packet.message.getEcuId());
    unsigned connects = session != nullptr ? session->connects : 0;
    ++list.packets;
    if (info.odt == 0) {
        if (list.cycles == 0 || connects != list.runConnects || now < list.lastCycleNs) {
            // A new connection starts a new run; the time in between does not count.
            if (list.cycles != 0) {
                list.earlierRunsNs += list.lastCycleNs - list.runStartNs;
            }
            ++list.runs;
            list.runStartNs = now;
            list.runConnects = connects;
        }
        ++list.cycles;
        list.lastCycleNs = now;
    }
    if (info.timestampSize == 0) {
        return;
    }
    TimestampSpan& span = list.span;
    if (span.have && span.connects == connects && span.lastSize == info.timestampSize) {
        // The counter wraps; the capture's clock tells how often it did in between.
        uint64_t modulus = info.timestampSize >= 8 ? 0 : 1ull << (8 * info.timestampSize);
        uint64_t delta = info.ecuTimestamp - span.last;
        if (modulus != 0) {
            delta &= modulus - 1;
        }
        double tickNs = session != nullptr && session->timestampKnown
                            ? timeUnitNs(session->timestampUnit) * session->timestampTicks
                            : 0;
        if (tickNs > 0) {
            double elapsed = delta * tickNs;
            if (modulus != 0 && now >= span.lastNs) {
                double wrapNs = static_cast<double>(modulus) * tickNs;
                double wraps = std::floor((static_cast<double>(now - span.lastNs) - elapsed) / wrapNs + 0.5);
                if (wraps > 0) {
                    elapsed += wraps * wrapNs;
                }
            }
            span.ns += elapsed;
        } else {
            span.ticks += delta;
        }
    }
    span.have = true;
    span.last = info.ecuTimestamp;
    span.lastNs = now;
    span.lastSize = info.timestampSize;
    span.connects = connects;
}

// ---- reports ---------------------------------------------------------------------------------

void StatsSink::writeText(std::ostream& out) const
{
    bool any = false;
    for (size_t number = 0; number < ecus_.size(); ++number) {
        const EcuStats* stats = ecus_[number].get();
        if (stats == nullptr) {
            continue;
        }
        const EcuSession* session = tracker_.session(static_cast<uint8_t>(number));
        if (any) {
            out << '\n';
        }
        any = true;
        out << "ECU[" << number + 1 << "]: " << whoText(*stats) << '\n';
        out << "  " << stats->packets << (stats->packets == 1 ? " packet" : " packets") << " from "
            << timeText(stats->firstNs) << " to " << timeText(stats->lastNs) << '\n';
        out << "  session: " << sessionText(session) << "\n\n";

        Table types({"packet type", "packets"}, {false, true});
        for (size_t type = 0; type < stats->types.size(); ++type) {
            if (stats->types[type] != 0) {
                types.row({displayName<XCP_Message::packetType_t>(static_cast<int32_t>(type)), numberText(stats->types[type])});
            }
        }
        types.write(out);

        out << '\n';
        if (stats->commandOrder.empty()) {
            out << "  commands: none\n";
        } else {
            Table commands({"command", "sent", "positive", "error", "no answer"}, {false, true, true, true, true});
            for (uint8_t code : stats->commandOrder) {
                uint64_t answered = stats->positive[code] + stats->errors[code];
                uint64_t sent = stats->commands[code];
                commands.row({commandName(code), numberText(sent), numberText(stats->positive[code]), numberText(stats->errors[code]),
                              numberText(sent > answered ? sent - answered : 0)});
            }
            commands.write(out);
        }
        if (stats->responsesWithoutCommand != 0) {
            out << "  positive responses to no command seen: " << stats->responsesWithoutCommand << '\n';
        }

        out << '\n';
        if (stats->errorRows.empty()) {
            out << "  errors: none\n";
        } else {
            Table errors({"error", "command", "count"}, {false, false, true});
            for (const EcuStats::ErrorRow& row : stats->errorRows) {
                errors.row({errorName(row.code), commandName(row.command), numberText(row.count)});
            }
            errors.write(out);
        }

        out << '\n';
        writeCodeCounts(out, "event", stats->eventOrder, stats->events, eventName);
        out << '\n';
        writeCodeCounts(out, "service request", stats->serviceOrder, stats->services, serviceName);

        out << '\n';
        if (stats->daqLists.empty()) {
            out << "  DAQ lists: none\n";
        } else {
            Table lists({"DAQ list", "packets", "rate (Hz)", "ECU time span", "unit"}, {true, true, true, true, false});
            std::vector<size_t> order(stats->daqLists.size());
            for (size_t i = 0; i < order.size(); ++i) {
                order[i] = i;
            }
            std::sort(order.begin(), order.end(),
                      [&](size_t a, size_t b) { return stats->daqIndex.listAt(a) < stats->daqIndex.listAt(b); });
            for (size_t slot : order) {
                const DaqListStats& list = stats->daqLists[slot];
                std::string rate = list.rateHz() < 0 ? "-" : fixed(list.rateHz(), 3);
                std::string span = "-";
                std::string unit = "-";
                if (list.span.have) {
                    std::pair<uint64_t, std::string> inUnit = spanIn(list.span, session);
                    span = numberText(inUnit.first);
                    unit = inUnit.second;
                }
                lists.row({numberText(stats->daqIndex.listAt(slot)), numberText(list.packets), rate, span, unit});
            }
            lists.write(out);
        }
        if (stats->daqListsBeyondLimit != 0) {
            out << "  packets of DAQ lists beyond the first " << DaqListIndex::LIMIT
                << " (not counted per list): " << stats->daqListsBeyondLimit << '\n';
        }
        bool incomplete = false;
        for (size_t outcome = 3; outcome < SessionInfo::DAQ_OUTCOMES; ++outcome) {
            incomplete = incomplete || stats->daqOutcomes[outcome] != 0;
        }
        if (incomplete) {
            out << '\n';
            Table outcomes({"DAQ packets", "count"}, {false, true});
            for (size_t outcome = 3; outcome < SessionInfo::DAQ_OUTCOMES; ++outcome) {
                if (stats->daqOutcomes[outcome] != 0) {
                    outcomes.row({DAQ_OUTCOME_TEXTS[outcome], numberText(stats->daqOutcomes[outcome])});
                }
            }
            outcomes.write(out);
        }

        out << '\n';
        if (stats->transport == XCP_Message::TT_ETHERNET) {
            Table ctr({"CTR", "gaps", "packets lost"}, {false, true, true});
            ctr.row({"from master", numberText(stats->ctrGaps[0]), numberText(stats->ctrLost[0])});
            ctr.row({"from slave", numberText(stats->ctrGaps[1]), numberText(stats->ctrLost[1])});
            ctr.write(out);
        } else {
            out << "  CTR: none on this transport\n";
        }
    }
    if (!any) {
        out << "no XCP packets\n";
    }

    out << '\n';
    if (problems_.total() == 0) {
        out << "skipped as malformed: nothing\n";
    } else {
        Table skipped({"skipped as malformed", "count"}, {false, true});
        for (int kind = 0; kind < static_cast<int>(Problem::Count); ++kind) {
            uint64_t count = problems_.count(static_cast<Problem>(kind));
            if (count != 0) {
                skipped.row({ProblemLog::name(static_cast<Problem>(kind), true), numberText(count)});
            }
        }
        skipped.write(out);
    }
}

void StatsSink::writeJson(std::ostream& out) const
{
    Json document = Json::object();
    Json ecus = Json::array();
    for (size_t number = 0; number < ecus_.size(); ++number) {
        const EcuStats* stats = ecus_[number].get();
        if (stats == nullptr) {
            continue;
        }
        const EcuSession* session = tracker_.session(static_cast<uint8_t>(number));
        Json ecu = Json::object();
        ecu["ecu"] = number + 1;
        switch (stats->transport) {
        case XCP_Message::TT_ETHERNET:
            ecu["transport"] = stats->tcp ? "TCP" : "UDP";
            ecu["slave_address"] = stats->slaveAddress;
            ecu["slave_port"] = stats->port;
            ecu["master_address"] = stats->masterAddress;
            break;
        case XCP_Message::TT_CAN:
            ecu["transport"] = "CAN";
            ecu["master_id"] = stats->haveMasterId ? Json(canIdText(stats->masterId)) : Json(nullptr);
            ecu["slave_id"] = stats->haveSlaveId ? Json(canIdText(stats->slaveId)) : Json(nullptr);
            ecu["channel"] = unsigned(stats->canChannel) + 1;
            break;
        default:
            ecu["transport"] = displayName<XCP_Message::transportType_t>(stats->transport);
            break;
        }
        ecu["packets"] = stats->packets;
        ecu["first_ns"] = stats->firstNs;
        ecu["last_ns"] = stats->lastNs;

        Json sessionJson = Json::object();
        sessionJson["connects"] = session != nullptr ? session->connects : 0;
        if (session != nullptr && session->connected) {
            sessionJson["byte_order"] = session->bigEndian ? "Motorola" : "Intel";
            sessionJson["max_cto"] = session->maxCto;
            sessionJson["max_dto"] = session->maxDto;
        }
        if (session != nullptr && session->idTypeKnown) {
            sessionJson["identification_field"] = displayName<XCP_Message::identificationFieldType_t>(session->idType);
        }
        if (session != nullptr && session->timestampKnown) {
            sessionJson["timestamp_size"] = session->timestampSize;
            sessionJson["timestamp_fixed"] = session->timestampFixed;
            sessionJson["timestamp_unit"] = displayName<XCP_Message::timeUnit_t>(session->timestampUnit);
            sessionJson["timestamp_ticks"] = session->timestampTicks;
        }
        ecu["session"] = sessionJson;

        Json types = Json::object();
        for (size_t type = 0; type < stats->types.size(); ++type) {
            if (stats->types[type] != 0) {
                types[displayName<XCP_Message::packetType_t>(static_cast<int32_t>(type))] = stats->types[type];
            }
        }
        ecu["packet_types"] = types;

        Json commands = Json::array();
        for (uint8_t code : stats->commandOrder) {
            uint64_t sent = stats->commands[code];
            uint64_t answered = stats->positive[code] + stats->errors[code];
            commands.push_back(Json{{"command", commandName(code)},
                                    {"code", code},
                                    {"sent", sent},
                                    {"positive", stats->positive[code]},
                                    {"error", stats->errors[code]},
                                    {"no_answer", sent > answered ? sent - answered : 0}});
        }
        ecu["commands"] = commands;
        ecu["responses_without_command"] = stats->responsesWithoutCommand;

        Json errors = Json::array();
        for (const EcuStats::ErrorRow& row : stats->errorRows) {
            errors.push_back(Json{{"error", errorName(row.code)},
                                  {"code", row.code < 0 ? Json(nullptr) : Json(row.code)},
                                  {"command", row.command < 0 ? Json(nullptr) : Json(commandName(row.command))},
                                  {"count", row.count}});
        }
        ecu["errors"] = errors;

        ecu["events"] = codeCountsJson("event", stats->eventOrder, stats->events, eventName);
        ecu["service_requests"] =
            codeCountsJson("service_request", stats->serviceOrder, stats->services, serviceName);

        Json lists = Json::array();
        std::vector<size_t> order(stats->daqLists.size());
        for (size_t i = 0; i < order.size(); ++i) {
            order[i] = i;
        }
        std::sort(order.begin(), order.end(),
                  [&](size_t a, size_t b) { return stats->daqIndex.listAt(a) < stats->daqIndex.listAt(b); });
        for (size_t slot : order) {
            const DaqListStats& list = stats->daqLists[slot];
            Json entry = Json::object();
            entry["daq_list"] = stats->daqIndex.listAt(slot);
            entry["packets"] = list.packets;
            entry["cycles"] = list.cycles;
            entry["rate_hz"] = list.rateHz() < 0 ? Json(nullptr) : Json(list.rateHz());
            if (list.span.have) {
                std::pair<uint64_t, std::string> inUnit = spanIn(list.span, session);
                entry["timestamp_span"] = inUnit.first;
                entry["timestamp_unit"] = inUnit.second;
            } else {
                entry["timestamp_span"] = nullptr;
                entry["timestamp_unit"] = nullptr;
            }
            lists.push_back(entry);
        }
        ecu["daq_lists"] = lists;
        ecu["daq_packets_beyond_list_limit"] = stats->daqListsBeyondLimit;
        Json outcomes = Json::object();
        for (size_t outcome = 1; outcome < SessionInfo::DAQ_OUTCOMES; ++outcome) {
            outcomes[DAQ_OUTCOME_KEYS[outcome]] = stats->daqOutcomes[outcome];
        }
        ecu["daq_packets"] = outcomes;

        if (stats->transport == XCP_Message::TT_ETHERNET) {
            ecu["ctr"] = Json{{"from_master", Json{{"gaps", stats->ctrGaps[0]}, {"lost", stats->ctrLost[0]}}},
                              {"from_slave", Json{{"gaps", stats->ctrGaps[1]}, {"lost", stats->ctrLost[1]}}}};
        } else {
            ecu["ctr"] = nullptr;
        }
        ecus.push_back(ecu);
    }
    document["ecus"] = ecus;
    Json skipped = Json::object();
    for (int kind = 0; kind < static_cast<int>(Problem::Count); ++kind) {
        uint64_t count = problems_.count(static_cast<Problem>(kind));
        if (count != 0) {
            skipped[ProblemLog::name(static_cast<Problem>(kind), true)] = count;
        }
    }
    document["skipped"] = skipped;
    out << document.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

}  // namespace xcptrace
