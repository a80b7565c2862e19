// The stats output on hand-made sessions: every table of the text form, the JSON form,
// DAQ list rates across a reconnect, and ECU time stamps added up across counter wraps.

#include <nlohmann/json.hpp>

#include "Statistics.h"
#include "traffic_support.h"

using tooltest::Traffic;
using xcptrace::ProblemLog;
using xcptrace::StatsSink;

namespace {

constexpr uint64_t T0 = 1700000000000000000ull;
constexpr uint64_t MS = 1000000ull;

/// Traffic whose packets end up in a stats sink.
struct Counted {
    Counted() : problems(problemText), stats(traffic.tracker, problems) { traffic.sink = &stats; }
    std::string text() const
    {
        std::ostringstream out;
        stats.writeText(out);
        return out.str();
    }
    nlohmann::json json() const
    {
        std::ostringstream out;
        stats.writeJson(out);
        return nlohmann::json::parse(out.str());
    }

    Traffic traffic;
    std::ostringstream problemText;
    ProblemLog problems;
    StatsSink stats;
};

/// A session with one of everything: commands with and without answers, two errors, two
/// events, a service request, five cycles of DAQ list 3 (two ODTs, 1 kHz, 2-byte time
/// stamps) and one packet missing before the fourth cycle.
void playSmallSession(Traffic& t)
{
    t.timeNs = T0;
    t.step = MS;
    t.tx("ff 00");                         // CONNECT
    t.rx("ff 15 00 ff 78 05 01 01");
    t.tx("da");                            // GET_DAQ_PROCESSOR_INFO: relative ODT, DAQ list byte
    t.rx("ff 11 00 02 00 02 00 40");
    t.tx("d9");                            // GET_DAQ_RESOLUTION_INFO: FIXED, 2 bytes, 1 us
    t.rx("ff 01 04 01 04 3a 01 00");
    t.tx("fd");                            // GET_STATUS, never answered
    t.tx("f4 04 00 00 00 00 00 00");       // SHORT_UPLOAD
    t.rx("fe 22");                         // ERR_OUT_OF_RANGE
    t.rx("fe");                            // an error without a code, nothing waiting
    t.rx("ff");                            // a response, nothing waiting
    t.rx("fd 06");                         // EV_DAQ_OVERLOAD
    t.rx("fc 01 68 69 00");                // SERV_TEXT
    t.rx("fd 99");                         // an event code XCP does not define
    uint64_t daqStart = T0 + 100 * MS;
    uint16_t ctr = 9;                      // the slave's 9 messages so far took 0 to 8
    for (unsigned cycle = 0; cycle < 5; ++cycle) {
        if (cycle == 3) {
            ++ctr;  // lost on the way
        }
        char first[64];
        unsigned ecuTime = cycle * 1000;
        std::snprintf(first, sizeof first, "00 03 %02x %02x aa", ecuTime & 0xFF, ecuTime >> 8);
        t.timeNs = daqStart + cycle * MS;
        t.rxWithCtr(first, ctr++);
        t.rxWithCtr("01 03 bb", ctr++);
    }
    t.timeNs = T0 + 200 * MS;
    t.tx("fe");                            // DISCONNECT
    t.rx("ff");
}

}  // namespace

TEST(StatisticsTest, TablesOfASmallSession)
{
    Counted counted;
    playSmallSession(counted.traffic);
    EXPECT_EQ(counted.text(),
              "ECU[1]: XCP on UDP, slave 10.0.0.2:5555, master 10.0.0.1\n"
              "  26 packets from 1700000000.000000000 to 1700000000.201000000\n"
              "  session: CONNECT seen 1 time; byte order Intel, MAX_CTO 255, MAX_DTO 1400; identification field "
              "RELATIVE_ODT_ABSOLUTE_DAQ_BYTE; time stamps 2 bytes, 1 x 1 US a tick, every DAQ list\n"
              "\n"
              "  packet type  packets\n"
              "  CTO_CMD            6\n"
              "  CTO_RES            5\n"
              "  CTO_ERR            2\n"
              "  CTO_EV             2\n"
              "  CTO_SERV           1\n"
              "  DTO_DAQ           10\n"
              "\n"
              "  command                  sent  positive  error  no answer\n"
              "  CONNECT                     1         1      0          0\n"
              "  GET_DAQ_PROCESSOR_INFO      1         1      0          0\n"
              "  GET_DAQ_RESOLUTION_INFO     1         1      0          0\n"
              "  GET_STATUS                  1         0      0          1\n"
              "  SHORT_UPLOAD                1         0      1          0\n"
              "  DISCONNECT                  1         1      0          0\n"
              "  positive responses to no command seen: 1\n"
              "\n"
              "  error                command       count\n"
              "  ERR-S2_OUT_OF_RANGE  SHORT_UPLOAD      1\n"
              "  (no code)            (none seen)       1\n"
              "\n"
              "  event               count\n"
              "  EV-S1_DAQ_OVERLOAD      1\n"
              "  0x99                    1\n"
              "\n"
              "  service request  count\n"
              "  SERV_TEXT            1\n"
              "\n"
              "  DAQ list  packets  rate (Hz)  ECU time span  unit\n"
              "         3       10   1000.000           4000  1 US\n"
              "\n"
              "  CTR          gaps  packets lost\n"
              "  from master     0             0\n"
              "  from slave      1             1\n"
              "\n"
              "skipped as malformed: nothing\n");
    EXPECT_EQ(counted.traffic.notes.str(), "");
}

TEST(StatisticsTest, JsonOfASmallSession)
{
    Counted counted;
    playSmallSession(counted.traffic);
    nlohmann::json document = counted.json();
    ASSERT_EQ(document["ecus"].size(), 1u);
    const nlohmann::json& ecu = document["ecus"][0];
    EXPECT_EQ(ecu["ecu"], 1);
    EXPECT_EQ(ecu["transport"], "UDP");
    EXPECT_EQ(ecu["slave_address"], "10.0.0.2");
    EXPECT_EQ(ecu["slave_port"], 5555);
    EXPECT_EQ(ecu["master_address"], "10.0.0.1");
    EXPECT_EQ(ecu["packets"], 26);
    EXPECT_EQ(ecu["first_ns"], T0);
    EXPECT_EQ(ecu["last_ns"], T0 + 201 * MS);
    EXPECT_EQ(ecu["session"],
              nlohmann::json::parse(R"j({"connects": 1, "byte_order": "Intel", "max_cto": 255, "max_dto": 1400,
                  "identification_field": "RELATIVE_ODT_ABSOLUTE_DAQ_BYTE", "timestamp_size": 2,
                  "timestamp_fixed": true, "timestamp_unit": "1 US", "timestamp_ticks": 1})j"));
    EXPECT_EQ(ecu["packet_types"], nlohmann::json::parse(R"j({"CTO_CMD": 6, "CTO_RES": 5, "CTO_ERR": 2,
                  "CTO_EV": 2, "CTO_SERV": 1, "DTO_DAQ": 10})j"));
    ASSERT_EQ(ecu["commands"].size(), 6u);
    EXPECT_EQ(ecu["commands"][3], nlohmann::json::parse(R"j({"command": "GET_STATUS", "code": 253, "sent": 1,
                  "positive": 0, "error": 0, "no_answer": 1})j"));
    EXPECT_EQ(ecu["responses_without_command"], 1);
    EXPECT_EQ(ecu["errors"], nlohmann::json::parse(R"j([
                  {"error": "ERR-S2_OUT_OF_RANGE", "code": 34, "command": "SHORT_UPLOAD", "count": 1},
                  {"error": "(no code)", "code": null, "command": null, "count": 1}])j"));
    EXPECT_EQ(ecu["events"], nlohmann::json::parse(R"j([{"event": "EV-S1_DAQ_OVERLOAD", "code": 6, "count": 1},
                  {"event": "0x99", "code": 153, "count": 1}])j"));
    EXPECT_EQ(ecu["service_requests"],
              nlohmann::json::parse(R"j([{"service_request": "SERV_TEXT", "code": 1, "count": 1}])j"));
    ASSERT_EQ(ecu["daq_lists"].size(), 1u);
    const nlohmann::json& list = ecu["daq_lists"][0];
    EXPECT_EQ(list["daq_list"], 3);
    EXPECT_EQ(list["packets"], 10);
    EXPECT_EQ(list["cycles"], 5);
    EXPECT_DOUBLE_EQ(list["rate_hz"].get<double>(), 1000.0);
    EXPECT_EQ(list["timestamp_span"], 4000);
    EXPECT_EQ(list["timestamp_unit"], "1 US");
    EXPECT_EQ(ecu["daq_packets"]["decoded"], 10);
    EXPECT_EQ(ecu["daq_packets"]["no_configuration"], 0);
    EXPECT_EQ(ecu["ctr"], nlohmann::json::parse(R"j({"from_master": {"gaps": 0, "lost": 0},
                  "from_slave": {"gaps": 1, "lost": 1}})j"));
    EXPECT_EQ(document["skipped"], nlohmann::json::object());
}

TEST(StatisticsTest, TimestampSpanCountsTheWrapsOfAShortCounter)
{
    // A 1-byte microsecond counter wraps every 256 us; DAQ cycles 20 ms apart.
    Counted counted;
    Traffic& t = counted.traffic;
    t.tx("ff 00");
    t.rx("ff 15 00 ff 78 05 01 01");
    t.tx("da");
    t.rx("ff 11 00 02 00 02 00 40");
    t.tx("d9");
    t.rx("ff 01 04 01 04 39 01 00");  // FIXED, 1 byte, 1 us
    uint64_t start = T0 + 5 * MS;
    for (unsigned cycle = 0; cycle < 3; ++cycle) {
        char bytes[32];
        std::snprintf(bytes, sizeof bytes, "00 00 %02x", (cycle * 20000u) & 0xFF);
        t.timeNs = start + cycle * 20 * MS;
        t.rx(bytes);
    }
    nlohmann::json list = counted.json()["ecus"][0]["daq_lists"][0];
    EXPECT_EQ(list["timestamp_span"], 40000);
    EXPECT_EQ(list["timestamp_unit"], "1 US");

    // Without the unit the counter's steps are all there is to add up.
    xcptrace::SessionAssumptions assumptions;
    assumptions.idTypeGiven = true;
    assumptions.idType = XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE;
    assumptions.timestampSizeGiven = true;
    assumptions.timestampSize = 1;
    std::ostringstream problemText;
    ProblemLog problems(problemText);
    Traffic assumed(assumptions);
    StatsSink stats(assumed.tracker, problems);
    assumed.sink = &stats;
    for (unsigned cycle = 0; cycle < 3; ++cycle) {
        char bytes[32];
        std::snprintf(bytes, sizeof bytes, "00 00 %02x", (cycle * 20000u) & 0xFF);
        assumed.timeNs = start + cycle * 20 * MS;
        assumed.rx(bytes);
    }
    std::ostringstream out;
    stats.writeJson(out);
    nlohmann::json unknownUnit = nlohmann::json::parse(out.str())["ecus"][0]["daq_lists"][0];
    EXPECT_EQ(unknownUnit["timestamp_span"], 64);
    EXPECT_EQ(unknownUnit["timestamp_unit"], "ticks");
}

TEST(StatisticsTest, RateCountsOnlyTheTimeEachConnectionRan)
{
    Counted counted;
    Traffic& t = counted.traffic;
    for (unsigned connection = 0; connection < 2; ++connection) {
        uint64_t start = T0 + connection * 5000 * MS;
        t.timeNs = start;
        t.tx("ff 00");
        t.rx("ff 15 00 ff 78 05 01 01");
        t.tx("da");
        t.rx("ff 11 00 02 00 02 00 40");
        t.tx("d9");
        t.rx("ff 01 04 01 04 00 01 00");  // no time stamps
        for (unsigned cycle = 0; cycle < 10; ++cycle) {
            t.timeNs = start + 100 * MS + cycle * 10 * MS;
            t.rx("00 00 aa");
        }
    }
    nlohmann::json list = counted.json()["ecus"][0]["daq_lists"][0];
    EXPECT_EQ(list["cycles"], 20);
    EXPECT_DOUBLE_EQ(list["rate_hz"].get<double>(), 100.0);
    EXPECT_EQ(list["timestamp_span"], nullptr);
}

TEST(StatisticsTest, CanEcuAndUndecodedDaqPackets)
{
    Counted counted;
    Traffic& t = counted.traffic;
    t.can(XCP_Message::MD_RX, "00 01 02 03 04 05 06 07");  // no configuration yet
    t.can(XCP_Message::MD_TX, "ff 00 00 00 00 00 00 00");
    t.can(XCP_Message::MD_RX, "ff 15 00 08 08 00 01 01");
    t.can(XCP_Message::MD_TX, "da 00 00 00 00 00 00 00");
    t.can(XCP_Message::MD_RX, "ff 11 02 00 02 00 00 00");  // absolute ODT numbers
    t.can(XCP_Message::MD_RX, "04 01 02 03 04 05 06 07");  // no FIRST_PID known
    std::string text = counted.text();
    EXPECT_NE(text.find("ECU[1]: XCP on CAN, master 7F1, slave 7F2, channel 1\n"), std::string::npos) << text;
    EXPECT_NE(text.find("  errors: none\n"
                        "\n"
                        "  events: none\n"
                        "\n"
                        "  service requests: none\n"
                        "\n"
                        "  DAQ lists: none\n"
                        "\n"
                        "  DAQ packets                                                   count\n"
                        "  shown as captured: no DAQ configuration known                     1\n"
                        "  shown as captured: PID of no DAQ list with a known FIRST_PID      1\n"
                        "\n"
                        "  CTR: none on this transport\n"),
              std::string::npos)
        << text;
    nlohmann::json document = counted.json();
    const nlohmann::json& ecu = document["ecus"][0];
    EXPECT_EQ(ecu["errors"], nlohmann::json::array());
    EXPECT_EQ(ecu["events"], nlohmann::json::array());
    EXPECT_EQ(ecu["service_requests"], nlohmann::json::array());
}

TEST(StatisticsTest, SkippedFramesAreListedByKind)
{
    Counted counted;
    counted.problems.setInput("broken.log", "line");
    counted.problems.report(xcptrace::Problem::MalformedLine, 4, "bad");
    counted.problems.report(xcptrace::Problem::MalformedLine, 5, "bad");
    counted.problems.report(xcptrace::Problem::TruncatedInput, 9, "cut");
    EXPECT_EQ(counted.text(), "no XCP packets\n"
                              "\n"
                              "  skipped as malformed            count\n"
                              "  inputs cut off inside a record      1\n"
                              "  malformed candump lines             2\n");
    EXPECT_EQ(counted.json()["skipped"],
              nlohmann::json::parse(R"j({"inputs cut off inside a record": 1, "malformed candump lines": 2})j"));
}
