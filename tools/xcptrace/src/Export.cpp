#include "Export.h"

#include <nlohmann/json.hpp>

#include "XcpNames.h"

namespace xcptrace {

namespace {

using Json = nlohmann::ordered_json;

const char* const COLUMNS[] = {"time_ns", "ecu",     "transport", "direction", "packet_type", "command",
                               "error",   "event",   "service",   "pid",       "daq_list",    "odt",
                               "ecu_timestamp", "data", "len", "ctr"};
constexpr size_t COLUMN_COUNT = sizeof COLUMNS / sizeof COLUMNS[0];

/// The values of one row; a field that does not apply is absent (empty in CSV, null in
/// JSON).
struct Row {
    struct Field {
        bool present = false;
        bool numeric = false;
        uint64_t value = 0;
        std::string text;
    };
    Field fields[COLUMN_COUNT];

    void number(size_t column, uint64_t value)
    {
        fields[column].present = true;
        fields[column].numeric = true;
        fields[column].value = value;
    }
    void text(size_t column, std::string value)
    {
        fields[column].present = true;
        fields[column].numeric = false;
        fields[column].text = std::move(value);
    }
};

enum Column : size_t {
    TIME_NS, ECU, TRANSPORT, DIRECTION, PACKET_TYPE, COMMAND, ERROR, EVENT, SERVICE, PID, DAQ_LIST, ODT,
    ECU_TIMESTAMP, DATA, LEN, CTR
};

std::string hexOf(const byteVec_t& bytes)
{
    static const char DIGITS[] = "0123456789abcdef";
    std::string text(bytes.size() * 2, '0');
    for (size_t i = 0; i < bytes.size(); ++i) {
        text[2 * i] = DIGITS[bytes[i] >> 4];
        text[2 * i + 1] = DIGITS[bytes[i] & 0x0F];
    }
    return text;
}

void fill(Row& row, const DecodedPacket& packet)
{
    const XCP_Message& message = packet.message;
    const SessionInfo& info = packet.session;
    for (Row::Field& field : row.fields) {
        field.present = false;
    }
    row.number(TIME_NS, message.getTimeStamp());
    row.number(ECU, static_cast<uint64_t>(message.getEcuId()) + 1);
    switch (message.getTransportType()) {
    case XCP_Message::TT_ETHERNET:
        row.text(TRANSPORT, message.tcp ? "TCP" : "UDP");
        break;
    case XCP_Message::TT_CAN:
        row.text(TRANSPORT, "CAN");
        break;
    default:
        row.text(TRANSPORT, displayName<XCP_Message::transportType_t>(message.getTransportType()));
        break;
    }
    row.text(DIRECTION, displayName<XCP_Message::msgDirection_t>(message.getMsgDirection()));
    XCP_Message::packetType_t type = packetTypeOf(message);
    row.text(PACKET_TYPE, displayName<XCP_Message::packetType_t>(type));
    uint8_t pid = message.packet.identificationField.pid;
    const byteVec_t& data = message.packet.dataField.data;
    switch (type) {
    case XCP_Message::PT_CTO_CMD:
        row.text(COMMAND, displayName<XCP_Message::cmdCode_t>(pid));
        break;
    case XCP_Message::PT_CTO_RES:
    case XCP_Message::PT_CTO_ERR:
        if (info.answeredCommand >= 0) {
            row.text(COMMAND, displayName<XCP_Message::cmdCode_t>(info.answeredCommand));
        }
        if (type == XCP_Message::PT_CTO_ERR && !data.empty()) {
            row.text(ERROR, displayName<XCP_Message::errorPacketCode_t>(data[0]));
        }
        break;
    case XCP_Message::PT_CTO_EV:
        if (!data.empty()) {
            row.text(EVENT, displayName<XCP_Message::eventPacketCode_t>(data[0]));
        }
        break;
    case XCP_Message::PT_CTO_SERV:
        if (!data.empty()) {
            row.text(SERVICE, displayName<XCP_Message::serviceRequestPacketCode_t>(data[0]));
        }
        break;
    default:
        break;
    }
    row.number(PID, pid);
    if (info.daqList >= 0) {
        row.number(DAQ_LIST, static_cast<uint64_t>(info.daqList));
    }
    if (info.odt >= 0) {
        row.number(ODT, static_cast<uint64_t>(info.odt));
    }
    if (info.timestampSize != 0) {
        row.number(ECU_TIMESTAMP, info.ecuTimestamp);
    }
    row.text(DATA, hexOf(data));
    uint16_t value = 0;
    if (message.header.getLEN(value)) {
        row.number(LEN, value);
    }
    if (message.header.getCTR(value)) {
        row.number(CTR, value);
    }
}

}  // namespace

ExportSink::ExportSink(std::ostream& out, Format format) : out_(out), format_(format)
{
    if (format_ == Format::CSV) {
        for (size_t column = 0; column < COLUMN_COUNT; ++column) {
            out_ << (column == 0 ? "" : ",") << COLUMNS[column];
        }
        out_ << '\n';
    }
}

std::string ExportSink::csvField(const std::string& text)
{
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (char c : text) {
        if (c == '"') {
            quoted += '"';
        }
        quoted += c;
    }
    return quoted + "\"";
}

void ExportSink::write(const DecodedPacket& packet)
{
    Row row;
    fill(row, packet);
    if (format_ == Format::CSV) {
        line_.clear();
        for (size_t column = 0; column < COLUMN_COUNT; ++column) {
            if (column != 0) {
                line_ += ',';
            }
            const Row::Field& field = row.fields[column];
            if (field.present) {
                line_ += field.numeric ? std::to_string(field.value) : csvField(field.text);
            }
        }
        line_ += '\n';
        out_ << line_;
        return;
    }
    Json object = Json::object();
    for (size_t column = 0; column < COLUMN_COUNT; ++column) {
        const Row::Field& field = row.fields[column];
        if (!field.present) {
            object[COLUMNS[column]] = nullptr;
        } else if (field.numeric) {
            object[COLUMNS[column]] = field.value;
        } else {
            object[COLUMNS[column]] = field.text;
        }
    }
    out_ << object.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
}

bool ExportSink::close(std::string& error)
{
    out_.flush();
    if (!out_) {
        error = "cannot write the output";
        return false;
    }
    return true;
}

}  // namespace xcptrace
