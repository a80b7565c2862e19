// export: the CSV and JSON Lines rows of hand-made packets, and CSV quoting.

#include <nlohmann/json.hpp>

#include "Export.h"
#include "traffic_support.h"

using tooltest::Traffic;
using xcptrace::ExportSink;

namespace {

constexpr uint64_t T0 = 1700000000000000000ull;

void playExchange(Traffic& t)
{
    t.timeNs = T0;
    t.step = 1000;
    t.tx("ff 00");                           // CONNECT
    t.rx("ff 15 00 ff 78 05 01 01");
    t.tx("da");
    t.rx("ff 11 00 02 00 02 00 40");         // relative ODT, DAQ list byte
    t.tx("d9");
    t.rx("ff 01 04 01 04 3a 01 00");         // FIXED, 2 bytes
    t.rx("00 02 34 12 aa bb");               // DAQ list 2, ODT 0, time stamp 0x1234
    t.rx("01 02 cc");                        // ODT 1
    t.tx("f4 04 00 00 00 00 00 00");         // SHORT_UPLOAD
    t.rx("fe 22");
    t.rx("fd 06");
    t.rx("fc 01 21 00");
    t.can(XCP_Message::MD_TX, "fd", 1);      // GET_STATUS on CAN, ECU 2
}

}  // namespace

TEST(ExportTest, CsvRows)
{
    std::ostringstream out;
    ExportSink sink(out, ExportSink::Format::CSV);
    Traffic t;
    t.sink = &sink;
    playExchange(t);
    std::string error;
    EXPECT_TRUE(sink.close(error));
    EXPECT_EQ(out.str(),
              "time_ns,ecu,transport,direction,packet_type,command,error,event,service,pid,daq_list,odt,ecu_timestamp,"
              "data,len,ctr\n"
              "1700000000000000000,1,UDP,Tx,CTO_CMD,CONNECT,,,,255,,,,00,2,0\n"
              "1700000000000001000,1,UDP,Rx,CTO_RES,CONNECT,,,,255,,,,1500ff78050101,8,0\n"
              "1700000000000002000,1,UDP,Tx,CTO_CMD,GET_DAQ_PROCESSOR_INFO,,,,218,,,,,1,1\n"
              "1700000000000003000,1,UDP,Rx,CTO_RES,GET_DAQ_PROCESSOR_INFO,,,,255,,,,11000200020040,8,1\n"
              "1700000000000004000,1,UDP,Tx,CTO_CMD,GET_DAQ_RESOLUTION_INFO,,,,217,,,,,1,2\n"
              "1700000000000005000,1,UDP,Rx,CTO_RES,GET_DAQ_RESOLUTION_INFO,,,,255,,,,010401043a0100,8,2\n"
              "1700000000000006000,1,UDP,Rx,DTO_DAQ,,,,,0,2,0,4660,aabb,6,3\n"
              "1700000000000007000,1,UDP,Rx,DTO_DAQ,,,,,1,2,1,,cc,3,4\n"
              "1700000000000008000,1,UDP,Tx,CTO_CMD,SHORT_UPLOAD,,,,244,,,,04000000000000,8,3\n"
              "1700000000000009000,1,UDP,Rx,CTO_ERR,SHORT_UPLOAD,ERR-S2_OUT_OF_RANGE,,,254,,,,22,2,5\n"
              "1700000000000010000,1,UDP,Rx,CTO_EV,,,EV-S1_DAQ_OVERLOAD,,253,,,,06,2,6\n"
              "1700000000000011000,1,UDP,Rx,CTO_SERV,,,,SERV_TEXT,252,,,,012100,4,7\n"
              "1700000000000012000,2,CAN,Tx,CTO_CMD,GET_STATUS,,,,253,,,,,,\n");
}

TEST(ExportTest, JsonLinesRows)
{
    std::ostringstream out;
    ExportSink sink(out, ExportSink::Format::JSONL);
    Traffic t;
    t.sink = &sink;
    playExchange(t);
    std::vector<nlohmann::json> rows;
    std::istringstream in(out.str());
    std::string line;
    while (std::getline(in, line)) {
        rows.push_back(nlohmann::json::parse(line));
    }
    ASSERT_EQ(rows.size(), 13u);
    EXPECT_EQ(rows[6], nlohmann::json::parse(R"j({"time_ns": 1700000000000006000, "ecu": 1, "transport": "UDP",
        "direction": "Rx", "packet_type": "DTO_DAQ", "command": null, "error": null, "event": null,
        "service": null, "pid": 0, "daq_list": 2, "odt": 0, "ecu_timestamp": 4660, "data": "aabb", "len": 6,
        "ctr": 3})j"));
    EXPECT_EQ(rows[9]["command"], "SHORT_UPLOAD");
    EXPECT_EQ(rows[9]["error"], "ERR-S2_OUT_OF_RANGE");
    EXPECT_EQ(rows[10]["event"], "EV-S1_DAQ_OVERLOAD");
    EXPECT_EQ(rows[11]["service"], "SERV_TEXT");
    EXPECT_EQ(rows[12]["transport"], "CAN");
    EXPECT_EQ(rows[12]["len"], nullptr);
    EXPECT_EQ(rows[12]["ctr"], nullptr);
    // The keys come in the order of the CSV columns.
    std::vector<std::string> keys;
    nlohmann::ordered_json ordered = nlohmann::ordered_json::parse(out.str().substr(0, out.str().find('\n')));
    for (auto it = ordered.begin(); it != ordered.end(); ++it) {
        keys.push_back(it.key());
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"time_ns", "ecu", "transport", "direction", "packet_type", "command",
                                              "error", "event", "service", "pid", "daq_list", "odt", "ecu_timestamp",
                                              "data", "len", "ctr"}));
}

TEST(ExportTest, CsvFieldsAreQuotedWhenTheyMustBe)
{
    EXPECT_EQ(ExportSink::csvField("ERR-S2_OUT_OF_RANGE"), "ERR-S2_OUT_OF_RANGE");
    EXPECT_EQ(ExportSink::csvField(""), "");
    EXPECT_EQ(ExportSink::csvField("a,b"), "\"a,b\"");
    EXPECT_EQ(ExportSink::csvField("say \"hi\""), "\"say \"\"hi\"\"\"");
    EXPECT_EQ(ExportSink::csvField("two\nlines"), "\"two\nlines\"");
    EXPECT_EQ(ExportSink::csvField("cr\r"), "\"cr\r\"");
    EXPECT_EQ(ExportSink::csvField("\""), "\"\"\"\"");
}
