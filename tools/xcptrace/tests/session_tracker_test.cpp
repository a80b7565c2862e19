// The session tracker on hand-made XCP traffic: what it learns from CONNECT,
// GET_DAQ_PROCESSOR_INFO, GET_DAQ_RESOLUTION_INFO, SET_DAQ_LIST_MODE, ALLOC_ODT and
// START_STOP_DAQ_LIST in both byte orders; DAQ packets of every identification field type
// with and without time stamps; answers paired with commands; CTR gaps; reconnects;
// assumptions for captures without the session start; packets too short for their fields.

#include "traffic_support.h"

using tooltest::Bytes;
using tooltest::hex;
using tooltest::Traffic;
using xcptrace::DecodedPacket;
using xcptrace::SessionAssumptions;
using xcptrace::SessionInfo;
using xcptrace::SessionTracker;

namespace {

/// The commands and answers that set up an Intel slave with absolute ODT numbers: two DAQ
/// lists, list 0 with 2 ODTs from FIRST_PID 0x10, list 1 with 1 ODT from 0x12, both with
/// 4-byte time stamps (unit 1 us).
void configureAbsoluteIntel(Traffic& t)
{
    t.tx("ff 00");                                  // CONNECT
    t.rx("ff 15 00 ff 78 05 01 01");                // Intel, MAX_CTO 255, MAX_DTO 0x0578
    t.tx("da");                                     // GET_DAQ_PROCESSOR_INFO
    t.rx("ff 11 02 00 02 00 00 00");                // DAQ_KEY_BYTE 0x00: absolute ODT numbers
    t.tx("d9");                                     // GET_DAQ_RESOLUTION_INFO
    t.rx("ff 01 04 01 04 34 01 00");                // TIMESTAMP_MODE 0x34: 4 bytes, 1 us; 1 tick
    t.tx("d4 00 00 00 02");                         // ALLOC_ODT list 0: 2 ODTs
    t.rx("ff");
    t.tx("d4 00 01 00 01");                         // ALLOC_ODT list 1: 1 ODT
    t.rx("ff");
    t.tx("e0 10 00 00 00 00 01 00");                // SET_DAQ_LIST_MODE list 0, time stamps on
    t.rx("ff");
    t.tx("e0 10 01 00 01 00 01 00");                // SET_DAQ_LIST_MODE list 1, time stamps on
    t.rx("ff");
    t.tx("de 02 00 00");                            // START_STOP_DAQ_LIST select list 0
    t.rx("ff 10");                                  // FIRST_PID 0x10
    t.tx("de 02 01 00");                            // START_STOP_DAQ_LIST select list 1
    t.rx("ff 12");                                  // FIRST_PID 0x12
}

}  // namespace

// ---- what the session announces --------------------------------------------------------------

TEST(SessionTrackerTest, LearnsTheSessionFromConnectAndTheDaqInfoResponses)
{
    Traffic t;
    configureAbsoluteIntel(t);
    const xcptrace::EcuSession* session = t.tracker.session(0);
    ASSERT_NE(session, nullptr);
    EXPECT_TRUE(session->connected);
    EXPECT_EQ(session->connects, 1u);
    EXPECT_FALSE(session->bigEndian);
    EXPECT_EQ(session->maxCto, 0xFF);
    EXPECT_EQ(session->maxDto, 0x0578);
    EXPECT_TRUE(session->idTypeKnown);
    EXPECT_EQ(session->idType, XCP_Message::IFT_ABSOLUTE_ODT_NUMBER);
    EXPECT_TRUE(session->timestampKnown);
    EXPECT_EQ(session->timestampSize, 4);
    EXPECT_FALSE(session->timestampFixed);
    EXPECT_EQ(session->timestampUnit, XCP_Message::TU_1US);
    EXPECT_EQ(session->timestampTicks, 1);
    EXPECT_EQ(t.tracker.session(1), nullptr);
    EXPECT_EQ(t.notes.str(), "");
}

TEST(SessionTrackerTest, MotorolaSlaveGivesItsWordsBigEndian)
{
    Traffic t;
    t.tx("ff 00");
    t.rx("ff 15 01 08 00 08 01 01");        // COMM_MODE_BASIC bit 0: Motorola; MAX_DTO 00 08
    t.tx("da");
    t.rx("ff 11 00 02 00 02 00 80");        // DAQ_KEY_BYTE 0x80: relative ODT, DAQ list as a word
    t.tx("d9");
    t.rx("ff 01 04 01 04 22 01 2c");        // 2 bytes, unit 100 ns, 0x012C ticks
    const xcptrace::EcuSession* session = t.tracker.session(0);
    EXPECT_TRUE(session->bigEndian);
    EXPECT_EQ(session->maxCto, 8);
    EXPECT_EQ(session->maxDto, 8);
    EXPECT_EQ(session->idType, XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD);
    EXPECT_EQ(session->timestampSize, 2);
    EXPECT_EQ(session->timestampUnit, XCP_Message::TU_100NS);
    EXPECT_EQ(session->timestampTicks, 0x012C);

    Traffic intel;
    intel.tx("ff 00");
    intel.rx("ff 15 00 08 08 00 01 01");    // Intel: MAX_DTO 08 00
    intel.tx("d9");
    intel.rx("ff 01 04 01 04 22 2c 01");
    EXPECT_FALSE(intel.tracker.session(0)->bigEndian);
    EXPECT_EQ(intel.tracker.session(0)->maxDto, 8);
    EXPECT_EQ(intel.tracker.session(0)->timestampTicks, 0x012C);
}

// ---- DAQ packets -----------------------------------------------------------------------------

TEST(SessionTrackerTest, AbsoluteOdtNumbersMapToTheListWhoseFirstPidRangeHoldsThem)
{
    Traffic t;
    configureAbsoluteIntel(t);

    DecodedPacket& first = t.rx("10 11 22 33 44 55 66");
    EXPECT_EQ(Traffic::fields(first),
              "PACKET[ID Field[Type=ABSOLUTE_ODT_NUMBER, PID=0x10, FIRST_PID=0x10, DAQ=0]; TS Field[Type=DWORD, "
              "Timestamp=11 22 33 44]; Data Field[Data=55 66]]");
    EXPECT_EQ(first.session.daq, SessionInfo::Daq::DECODED);
    EXPECT_EQ(first.session.daqList, 0);
    EXPECT_EQ(first.session.odt, 0);
    EXPECT_EQ(first.session.timestampSize, 4);
    EXPECT_EQ(first.session.ecuTimestamp, 0x44332211u);

    DecodedPacket& second = t.rx("11 77 88");
    EXPECT_EQ(Traffic::fields(second),
              "PACKET[ID Field[Type=ABSOLUTE_ODT_NUMBER, PID=0x11, FIRST_PID=0x10, DAQ=0]; TS Field[Type=NO]; Data "
              "Field[Data=77 88]]");
    EXPECT_EQ(second.session.daqList, 0);
    EXPECT_EQ(second.session.odt, 1);
    EXPECT_EQ(second.session.timestampSize, 0);

    DecodedPacket& other = t.rx("12 01 00 00 00 99");
    EXPECT_EQ(Traffic::fields(other),
              "PACKET[ID Field[Type=ABSOLUTE_ODT_NUMBER, PID=0x12, FIRST_PID=0x12, DAQ=1]; TS Field[Type=DWORD, "
              "Timestamp=01 00 00 00]; Data Field[Data=99]]");
    EXPECT_EQ(other.session.daqList, 1);
    EXPECT_EQ(other.session.odt, 0);
    EXPECT_EQ(other.session.ecuTimestamp, 1u);
    EXPECT_EQ(t.notes.str(), "");
}

TEST(SessionTrackerTest, AbsoluteOdtNumberOfNoKnownListStaysAsCaptured)
{
    Traffic t;
    configureAbsoluteIntel(t);
    // List 1 has one ODT (0x12): 0x13 lies beyond it; 0x0F before every list.
    for (const char* bytes : {"13 aa bb", "0f aa", "13 cc"}) {
        DecodedPacket& packet = t.rx(bytes);
        EXPECT_EQ(packet.message.packet.identificationField.getType(), XCP_Message::IFT_CTO_PACKET_CODE) << bytes;
        EXPECT_EQ(packet.message.packet.timestampField.getType(), XCP_Message::TST_NO) << bytes;
        EXPECT_EQ(packet.session.daq, SessionInfo::Daq::UNKNOWN_PID) << bytes;
        EXPECT_EQ(packet.session.daqList, -1) << bytes;
    }
    EXPECT_EQ(Traffic::fields(t.packets.back()),
              "PACKET[ID Field[Type=CTO_PACKET_CODE, PID=0x13]; TS Field[Type=NO]; Data Field[Data=cc]]");
    EXPECT_EQ(t.notes.str(), "xcptrace: ECU[1]: the DAQ packet with PID 0x13 belongs to no DAQ list whose FIRST_PID "
                             "is known (from START_STOP_DAQ_LIST); such packets are shown as captured\n");
}

TEST(SessionTrackerTest, AbsoluteOdtNumbersWithoutStartStopDaqListStayAsCaptured)
{
    Traffic t;
    t.tx("ff 00");
    t.rx("ff 15 00 ff 78 05 01 01");
    t.tx("da");
    t.rx("ff 11 02 00 02 00 00 00");
    t.tx("d9");
    t.rx("ff 01 04 01 04 34 01 00");
    DecodedPacket& packet = t.rx("00 01 02 03 04 05");
    EXPECT_EQ(packet.session.daq, SessionInfo::Daq::UNKNOWN_PID);
    EXPECT_EQ(Traffic::fields(packet),
              "PACKET[ID Field[Type=CTO_PACKET_CODE, PID=0x00]; TS Field[Type=NO]; Data Field[Data=01 02 03 04 05]]");
    EXPECT_EQ(t.notes.str(), "xcptrace: ECU[1]: the DAQ packet with PID 0x00 belongs to no DAQ list whose FIRST_PID "
                             "is known (from START_STOP_DAQ_LIST); such packets are shown as captured\n");
}

TEST(SessionTrackerTest, ListWithoutOdtCountReachesUpToTheNextFirstPid)
{
    Traffic t;
    t.tx("ff 00");
    t.rx("ff 15 00 ff 78 05 01 01");
    t.tx("da");
    t.rx("ff 11 02 00 02 00 00 00");
    t.tx("d9");
    t.rx("ff 01 04 01 04 00 00 00");  // no time stamps
    t.tx("de 01 05 00");              // list 5 starts at 0x20
    t.rx("ff 20");
    t.tx("de 01 03 00");              // list 3 starts at 0x23
    t.rx("ff 23");
    EXPECT_EQ(t.rx("22 aa").session.daqList, 5);
    EXPECT_EQ(t.packets.back().session.odt, 2);
    EXPECT_EQ(t.rx("23 aa").session.daqList, 3);
    EXPECT_EQ(t.rx("fb aa").session.daqList, 3);
    EXPECT_EQ(t.packets.back().session.odt, 0xFB - 0x23);
    EXPECT_EQ(t.rx("1f aa").session.daq, SessionInfo::Daq::UNKNOWN_PID);
}

struct RelativeCase {
    const char* name;
    uint8_t daqKeyByte;
    bool bigEndian;
    const char* packet;  ///< ODT 0 of DAQ list 0x0102 (or 0x02 for the byte type), 2-byte time stamp
    const char* fields;
    uint32_t list;
    uint64_t timestamp;
};

TEST(SessionTrackerTest, RelativeOdtNumbersTakeTheDaqListFromTheBytesAfterThePid)
{
    const RelativeCase cases[] = {
        {"byte, Intel", 0x40, false, "00 02 cd ab 11 22",
         "PACKET[ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_BYTE, PID=0x00, DAQ=2]; TS Field[Type=WORD, Timestamp=cd "
         "ab]; Data Field[Data=11 22]]",
         2, 0xABCD},
        {"byte, Motorola", 0x40, true, "00 02 ab cd 11 22",
         "PACKET[ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_BYTE, PID=0x00, DAQ=2]; TS Field[Type=WORD, Timestamp=ab "
         "cd]; Data Field[Data=11 22]]",
         2, 0xABCD},
        {"word, Intel", 0x80, false, "00 02 01 cd ab 11 22",
         "PACKET[ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_WORD, PID=0x00, DAQ=258]; TS Field[Type=WORD, "
         "Timestamp=cd ab]; Data Field[Data=11 22]]",
         0x0102, 0xABCD},
        {"word, Motorola", 0x80, true, "00 01 02 ab cd 11 22",
         "PACKET[ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_WORD, PID=0x00, DAQ=258]; TS Field[Type=WORD, "
         "Timestamp=ab cd]; Data Field[Data=11 22]]",
         0x0102, 0xABCD},
        {"aligned, Intel", 0xC0, false, "00 ee 02 01 cd ab 11 22",
         "PACKET[ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED, PID=0x00, DAQ=258]; TS Field[Type=WORD, "
         "Timestamp=cd ab]; Data Field[Data=11 22]]",
         0x0102, 0xABCD},
        {"aligned, Motorola", 0xC0, true, "00 ee 01 02 ab cd 11 22",
         "PACKET[ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED, PID=0x00, DAQ=258]; TS Field[Type=WORD, "
         "Timestamp=ab cd]; Data Field[Data=11 22]]",
         0x0102, 0xABCD},
    };
    for (const RelativeCase& c : cases) {
        Traffic t;
        t.tx("ff 00");
        t.rx(c.bigEndian ? "ff 15 01 ff 05 78 01 01" : "ff 15 00 ff 78 05 01 01");
        t.tx("da");
        char processor[64];
        std::snprintf(processor, sizeof processor, "ff 11 00 02 00 02 00 %02x", c.daqKeyByte);
        t.rx(processor);
        t.tx("d9");
        t.rx("ff 01 04 01 04 3a 00 01");  // FIXED, 2 bytes, 1 us
        DecodedPacket& first = t.rx(c.packet);
        EXPECT_EQ(Traffic::fields(first), c.fields) << c.name;
        EXPECT_EQ(first.session.daq, SessionInfo::Daq::DECODED) << c.name;
        EXPECT_EQ(first.session.daqList, static_cast<int32_t>(c.list)) << c.name;
        EXPECT_EQ(first.session.odt, 0) << c.name;
        EXPECT_EQ(first.session.ecuTimestamp, c.timestamp) << c.name;

        // ODT 1 of the same list: no time stamp.
        std::string next = c.packet;
        next.replace(0, 2, "01");
        DecodedPacket& second = t.rx(next);
        EXPECT_EQ(second.session.odt, 1) << c.name;
        EXPECT_EQ(second.session.daqList, static_cast<int32_t>(c.list)) << c.name;
        EXPECT_EQ(second.message.packet.timestampField.getType(), XCP_Message::TST_NO) << c.name;
        EXPECT_EQ(tooltest::toHex(second.message.packet.dataField.data), c.bigEndian ? "ab cd 11 22" : "cd ab 11 22")
            << c.name;
        EXPECT_EQ(t.notes.str(), "") << c.name;
    }
}

TEST(SessionTrackerTest, EachTimestampSizeIsMovedOutOfTheData)
{
    const struct {
        uint8_t mode;
        const char* fields;
        uint64_t value;
    } cases[] = {
        {0x31, "TS Field[Type=BYTE, Timestamp=aa]; Data Field[Data=bb cc dd ee]", 0xAA},
        {0x32, "TS Field[Type=WORD, Timestamp=aa bb]; Data Field[Data=cc dd ee]", 0xBBAA},
        {0x34, "TS Field[Type=DWORD, Timestamp=aa bb cc dd]; Data Field[Data=ee]", 0xDDCCBBAA},
        {0x30, "TS Field[Type=NO]; Data Field[Data=aa bb cc dd ee]", 0},
    };
    for (const auto& c : cases) {
        Traffic t;
        t.tx("ff 00");
        t.rx("ff 15 00 ff 78 05 01 01");
        t.tx("da");
        t.rx("ff 11 00 02 00 02 00 40");
        t.tx("d9");
        char resolution[64];
        std::snprintf(resolution, sizeof resolution, "ff 01 04 01 04 %02x 01 00", c.mode);
        t.rx(resolution);
        t.tx("e0 10 07 00 00 00 01 00");  // list 7: time stamps on
        t.rx("ff");
        DecodedPacket& packet = t.rx("00 07 aa bb cc dd ee");
        EXPECT_EQ(Traffic::fields(packet),
                  std::string("PACKET[ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_BYTE, PID=0x00, DAQ=7]; ") + c.fields +
                      "]")
            << int(c.mode);
        EXPECT_EQ(packet.session.ecuTimestamp, c.value) << int(c.mode);
        EXPECT_EQ(t.notes.str(), "") << int(c.mode);
    }
}

TEST(SessionTrackerTest, FixedTimestampsOnEveryListOtherwiseAsSetDaqListModeSays)
{
    // Not FIXED: list 1 has time stamps, list 2 has them off, list 3 was never set.
    Traffic perList;
    perList.tx("ff 00");
    perList.rx("ff 15 00 ff 78 05 01 01");
    perList.tx("da");
    perList.rx("ff 11 00 02 00 02 00 40");
    perList.tx("d9");
    perList.rx("ff 01 04 01 04 32 01 00");
    perList.tx("e0 10 01 00 00 00 01 00");
    perList.rx("ff");
    perList.tx("e0 00 02 00 00 00 01 00");
    perList.rx("ff");
    EXPECT_EQ(perList.rx("00 01 aa bb cc").session.timestampSize, 2);
    EXPECT_EQ(perList.rx("00 02 aa bb cc").session.timestampSize, 0);
    EXPECT_EQ(perList.notes.str(), "");
    EXPECT_EQ(perList.rx("00 03 aa bb cc").session.timestampSize, 0);
    EXPECT_EQ(perList.rx("00 03 aa bb cc").session.timestampSize, 0);
    EXPECT_EQ(perList.notes.str(),
              "xcptrace: ECU[1]: DAQ packets before the session's configuration: assuming no time stamps in DAQ "
              "lists whose SET_DAQ_LIST_MODE was not seen (no --daq-timestamp-size)\n");

    // FIXED: every list, whatever its mode says.
    Traffic fixed;
    fixed.tx("ff 00");
    fixed.rx("ff 15 00 ff 78 05 01 01");
    fixed.tx("da");
    fixed.rx("ff 11 00 02 00 02 00 40");
    fixed.tx("d9");
    fixed.rx("ff 01 04 01 04 3a 01 00");
    fixed.tx("e0 00 02 00 00 00 01 00");
    fixed.rx("ff");
    EXPECT_EQ(fixed.rx("00 01 aa bb cc").session.timestampSize, 2);
    EXPECT_EQ(fixed.rx("00 02 aa bb cc").session.timestampSize, 2);
    EXPECT_EQ(fixed.rx("00 03 aa bb cc").session.timestampSize, 2);
    EXPECT_EQ(fixed.notes.str(), "");
}

TEST(SessionTrackerTest, ModeTakesEffectWithThePositiveResponseOnly)
{
    Traffic t;
    t.tx("ff 00");
    t.rx("ff 15 00 ff 78 05 01 01");
    t.tx("da");
    t.rx("ff 11 00 02 00 02 00 40");
    t.tx("d9");
    t.rx("ff 01 04 01 04 32 01 00");
    t.tx("e0 10 01 00 00 00 01 00");
    t.rx("fe 22");  // refused: ERR_OUT_OF_RANGE
    t.tx("e0 00 01 00 00 00 01 00");
    t.rx("ff");
    EXPECT_EQ(t.rx("00 01 aa bb cc").session.timestampSize, 0);
}

// ---- packets too short for their fields ------------------------------------------------------

TEST(SessionTrackerTest, PacketTooShortForItsIdentificationFieldIsCountedAndLeftAsCaptured)
{
    Traffic t;
    t.tx("ff 00");
    t.rx("ff 15 00 ff 78 05 01 01");
    t.tx("da");
    t.rx("ff 11 00 02 00 02 00 c0");  // aligned: 4 bytes
    t.tx("d9");
    t.rx("ff 01 04 01 04 34 01 00");
    for (const char* bytes : {"00", "00 00", "00 00 01"}) {
        DecodedPacket& packet = t.rx(bytes);
        EXPECT_EQ(packet.session.daq, SessionInfo::Daq::SHORT_FOR_ID) << bytes;
        EXPECT_EQ(packet.message.packet.identificationField.getType(), XCP_Message::IFT_CTO_PACKET_CODE) << bytes;
        EXPECT_EQ(packet.session.daqList, -1);
    }
    EXPECT_EQ(Traffic::fields(t.packets.back()),
              "PACKET[ID Field[Type=CTO_PACKET_CODE, PID=0x00]; TS Field[Type=NO]; Data Field[Data=00 01]]");
    EXPECT_EQ(t.notes.str(), "xcptrace: ECU[1]: a DAQ packet of 1 byte is too short for its identification field "
                             "(RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED, 4 bytes); such packets are shown as captured\n");
}

TEST(SessionTrackerTest, FirstOdtTooShortForItsTimestampKeepsItsIdentificationOnly)
{
    Traffic t;
    t.tx("ff 00");
    t.rx("ff 15 00 ff 78 05 01 01");
    t.tx("da");
    t.rx("ff 11 00 02 00 02 00 80");  // word: 3 bytes
    t.tx("d9");
    t.rx("ff 01 04 01 04 3c 01 00");  // FIXED, 4 bytes
    DecodedPacket& shortOne = t.rx("00 05 00 aa bb cc");
    EXPECT_EQ(shortOne.session.daq, SessionInfo::Daq::SHORT_FOR_TIMESTAMP);
    EXPECT_EQ(shortOne.session.timestampSize, 0);
    EXPECT_EQ(Traffic::fields(shortOne),
              "PACKET[ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_WORD, PID=0x00, DAQ=5]; TS Field[Type=NO]; Data "
              "Field[Data=aa bb cc]]");
    DecodedPacket& bare = t.rx("00 05 00");
    EXPECT_EQ(bare.session.daq, SessionInfo::Daq::SHORT_FOR_TIMESTAMP);
    EXPECT_EQ(Traffic::fields(bare),
              "PACKET[ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_WORD, PID=0x00, DAQ=5]; TS Field[Type=NO]; Data "
              "Field[Data=Empty]]");
    DecodedPacket& exact = t.rx("00 05 00 aa bb cc dd");
    EXPECT_EQ(exact.session.daq, SessionInfo::Daq::DECODED);
    EXPECT_EQ(Traffic::fields(exact),
              "PACKET[ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_WORD, PID=0x00, DAQ=5]; TS Field[Type=DWORD, "
              "Timestamp=aa bb cc dd]; Data Field[Data=Empty]]");
    EXPECT_EQ(t.notes.str(), "xcptrace: ECU[1]: a DAQ packet of DAQ list 5 has 3 bytes after its identification "
                             "field, too few for its 4-byte time stamp; such packets are shown without one\n");
}

TEST(SessionTrackerTest, ShortConfigurationAnswersAreIgnored)
{
    Traffic t;
    t.tx("ff 00");
    t.rx("ff 15 01 08");       // no MAX_DTO
    t.tx("da");
    t.rx("ff 11 00 02 00 02");  // no DAQ_KEY_BYTE
    t.tx("d9");
    t.rx("ff 01 04 01 04 34");  // no TIMESTAMP_TICKS
    t.tx("de 02");             // no DAQ list number
    t.rx("ff 04");
    t.tx("e0");
    t.rx("ff");
    t.tx("d4 00");
    t.rx("ff");
    const xcptrace::EcuSession* session = t.tracker.session(0);
    EXPECT_FALSE(session->connected);
    EXPECT_FALSE(session->idTypeKnown);
    EXPECT_FALSE(session->timestampKnown);
    EXPECT_EQ(session->lists.size(), 0u);
    EXPECT_EQ(t.rx("00 01 02").session.daq, SessionInfo::Daq::NO_CONFIGURATION);
}

TEST(SessionTrackerTest, TimestampSizeXcpDoesNotHaveIsReportedAndNotDecoded)
{
    Traffic t;
    t.tx("ff 00");
    t.rx("ff 15 00 ff 78 05 01 01");
    t.tx("da");
    t.rx("ff 11 00 02 00 02 00 40");
    t.tx("d9");
    t.rx("ff 01 04 01 04 3b 01 00");  // FIXED, 3 bytes
    DecodedPacket& packet = t.rx("00 01 aa bb cc dd");
    EXPECT_EQ(packet.session.daq, SessionInfo::Daq::DECODED);
    EXPECT_EQ(packet.session.timestampSize, 0);
    EXPECT_EQ(t.notes.str(), "xcptrace: ECU[1]: GET_DAQ_RESOLUTION_INFO's response gives a time-stamp size of 3 "
                             "bytes, which XCP does not have: DAQ time stamps are not decoded\n");
}

// ---- commands and their answers --------------------------------------------------------------

TEST(SessionTrackerTest, ResponsesAndErrorsAnswerTheLastCommand)
{
    Traffic t;
    EXPECT_EQ(t.tx("ff 00").session.answeredCommand, -1);
    EXPECT_EQ(t.rx("ff 15 00 ff 78 05 01 01").session.answeredCommand, 0xFF);
    t.tx("f4 04 00 00 00 00 00 00");                                  // SHORT_UPLOAD
    EXPECT_EQ(t.rx("fd 06").session.answeredCommand, -1);             // an event answers nothing
    EXPECT_EQ(t.rx("fc 01 00").session.answeredCommand, -1);          // nor does a service request
    EXPECT_EQ(t.rx("fe 22").session.answeredCommand, 0xF4);           // the error does
    EXPECT_EQ(t.rx("ff").session.answeredCommand, -1);                // nothing is waiting any more
    t.tx("fd");                                                       // GET_STATUS, not answered
    t.tx("fa 01");                                                    // GET_ID
    EXPECT_EQ(t.rx("ff 00 00 00 06 00 00 00").session.answeredCommand, 0xFA);
    // Another ECU's commands are its own.
    t.tx("fc", 1);
    EXPECT_EQ(t.rx("fe 00", 1).session.answeredCommand, 0xFC);
    EXPECT_EQ(t.rx("fe 00", 0).session.answeredCommand, -1);
}

TEST(SessionTrackerTest, XcpOnCanPairsAnswersAndDecodesDaqAlike)
{
    Traffic t;
    t.can(XCP_Message::MD_TX, "ff 00 00 00 00 00 00 00");
    t.can(XCP_Message::MD_RX, "ff 15 00 08 08 00 01 01");
    t.can(XCP_Message::MD_TX, "da 00 00 00 00 00 00 00");
    t.can(XCP_Message::MD_RX, "ff 11 02 00 02 00 00 40");
    t.can(XCP_Message::MD_TX, "d9 00 00 00 00 00 00 00");
    EXPECT_EQ(t.can(XCP_Message::MD_RX, "ff 01 04 01 04 39 01 00").session.answeredCommand, 0xD9);
    DecodedPacket& daq = t.can(XCP_Message::MD_RX, "00 01 aa bb cc 00 00 00");  // padded to 8
    EXPECT_EQ(Traffic::fields(daq),
              "PACKET[ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_BYTE, PID=0x00, DAQ=1]; TS Field[Type=BYTE, "
              "Timestamp=aa]; Data Field[Data=bb cc 00 00 00]]");
    EXPECT_EQ(daq.session.lostBefore, 0);
}

// ---- CTR -------------------------------------------------------------------------------------

TEST(SessionTrackerTest, CtrStepsOtherThanOneCountAsLostPacketsPerDirection)
{
    Traffic t;
    EXPECT_EQ(t.rxWithCtr("fd 06", 5).session.lostBefore, 0);
    EXPECT_EQ(t.rxWithCtr("fd 06", 6).session.lostBefore, 0);
    EXPECT_EQ(t.rxWithCtr("fd 06", 9).session.lostBefore, 2);
    EXPECT_EQ(t.txWithCtr("fd", 100).session.lostBefore, 0);  // the master counts on its own
    EXPECT_EQ(t.txWithCtr("fd", 101).session.lostBefore, 0);
    EXPECT_EQ(t.rxWithCtr("fd 06", 10).session.lostBefore, 0);
    EXPECT_EQ(t.rxWithCtr("fd 06", 65535).session.lostBefore, 65524);
    EXPECT_EQ(t.rxWithCtr("fd 06", 0).session.lostBefore, 0);  // wraps
    EXPECT_EQ(t.rxWithCtr("fd 06", 2).session.lostBefore, 1);
    EXPECT_EQ(t.rxWithCtr("fd 06", 2).session.lostBefore, 65535);  // the same CTR again
    EXPECT_EQ(t.txWithCtr("fd", 103).session.lostBefore, 1);
}

TEST(SessionTrackerTest, CountersMayStartAgainAtConnect)
{
    Traffic t;
    t.txWithCtr("fd", 40);
    t.rxWithCtr("ff 00 00 00 00 00", 70);
    EXPECT_EQ(t.txWithCtr("ff 00", 0).session.lostBefore, 0);
    EXPECT_EQ(t.rxWithCtr("ff 15 00 ff 78 05 01 01", 0).session.lostBefore, 0);
    EXPECT_EQ(t.txWithCtr("fd", 2).session.lostBefore, 1);
    EXPECT_EQ(t.rxWithCtr("ff 00 00 00 00 00", 1).session.lostBefore, 0);
}

// ---- reconnects, several ECUs, stored packets ----------------------------------------------------

TEST(SessionTrackerTest, ReconnectForgetsTheDaqListsAndTakesTheNewByteOrder)
{
    Traffic t;
    configureAbsoluteIntel(t);
    EXPECT_EQ(t.rx("12 01 00 00 00 99").session.daqList, 1);
    t.tx("fe");  // DISCONNECT
    t.rx("ff");
    EXPECT_EQ(t.rx("12 01 00 00 00 99").session.daqList, 1);  // still configured
    t.tx("ff 00");
    t.rx("ff 15 01 ff 05 78 01 01");  // now Motorola
    const xcptrace::EcuSession* session = t.tracker.session(0);
    EXPECT_EQ(session->connects, 2u);
    EXPECT_TRUE(session->bigEndian);
    EXPECT_EQ(session->lists.size(), 0u);
    EXPECT_EQ(t.rx("12 01 00 00 00 99").session.daq, SessionInfo::Daq::UNKNOWN_PID);
    // The new configuration: list 1 first now, from PID 0x00; the slave's properties hold.
    t.tx("e0 10 00 01 00 01 01 00");
    t.rx("ff");
    t.tx("de 02 00 01");
    t.rx("ff 00");
    t.tx("de 02 00 00");
    t.rx("ff 01");
    DecodedPacket& packet = t.rx("00 00 00 00 07 99");
    EXPECT_EQ(Traffic::fields(packet),
              "PACKET[ID Field[Type=ABSOLUTE_ODT_NUMBER, PID=0x00, FIRST_PID=0x00, DAQ=1]; TS Field[Type=DWORD, "
              "Timestamp=00 00 00 07]; Data Field[Data=99]]");
    EXPECT_EQ(packet.session.ecuTimestamp, 7u);
    // List 0 has no SET_DAQ_LIST_MODE in this connection: ODT 0 of it has no time stamp, and
    // the tracker says once what it assumed.
    DecodedPacket& other = t.rx("01 aa bb");
    EXPECT_EQ(other.session.daqList, 0);
    EXPECT_EQ(other.session.timestampSize, 0);
    EXPECT_EQ(t.notes.str(),
              "xcptrace: ECU[1]: the DAQ packet with PID 0x12 belongs to no DAQ list whose FIRST_PID is known "
              "(from START_STOP_DAQ_LIST); such packets are shown as captured\n"
              "xcptrace: ECU[1]: DAQ packets before the session's configuration: assuming no time stamps in DAQ "
              "lists whose SET_DAQ_LIST_MODE was not seen (no --daq-timestamp-size)\n");
}

TEST(SessionTrackerTest, FreeDaqClearsTheDaqLists)
{
    Traffic t;
    configureAbsoluteIntel(t);
    t.tx("d6");
    t.rx("ff");
    EXPECT_EQ(t.rx("10 11 22 33 44").session.daq, SessionInfo::Daq::UNKNOWN_PID);
}

TEST(SessionTrackerTest, EcusKeepTheirOwnSessions)
{
    Traffic t;
    configureAbsoluteIntel(t);
    t.tx("ff 00", 3);
    t.rx("ff 15 01 08 00 08 01 01", 3);
    t.tx("da", 3);
    t.rx("ff 11 00 02 00 02 00 40", 3);
    t.tx("d9", 3);
    t.rx("ff 01 04 01 04 39 01 00", 3);
    DecodedPacket& fourth = t.rx("00 10 aa bb", 3);
    EXPECT_EQ(Traffic::fields(fourth),
              "PACKET[ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_BYTE, PID=0x00, DAQ=16]; TS Field[Type=BYTE, "
              "Timestamp=aa]; Data Field[Data=bb]]");
    DecodedPacket& first = t.rx("10 11 22 33 44 55", 0);
    EXPECT_EQ(first.session.daqList, 0);
    EXPECT_EQ(first.session.timestampSize, 4);
    EXPECT_EQ(t.notes.str(), "");
}

TEST(SessionTrackerTest, PacketsDecodedWhereTheyWereStoredAreNotDecodedAgain)
{
    Traffic t;
    configureAbsoluteIntel(t);
    DecodedPacket stored{XCP_Message(1, XCP_Message::TT_ETHERNET, XCP_Message::MD_RX, 0), {}, {}};
    XCP_Message::Packet& packet = stored.message.packet;
    packet.identificationField.setType(XCP_Message::IFT_ABSOLUTE_ODT_NUMBER);
    packet.identificationField.pid = 0x13;
    packet.identificationField.firstPid = 0x12;
    packet.identificationField.setDaqNo(9);
    packet.timestampField.setType(XCP_Message::TST_WORD);
    const uint8_t timestamp[] = {0x34, 0x12};
    packet.timestampField.setTimestamp(timestamp, 2);
    packet.dataField.data = hex("aa bb");
    std::string before = Traffic::fields(stored);
    t.tracker.process(stored);
    EXPECT_EQ(Traffic::fields(stored), before);
    EXPECT_EQ(stored.session.daq, SessionInfo::Daq::STORED);
    EXPECT_EQ(stored.session.daqList, 9);
    EXPECT_EQ(stored.session.odt, 1);
    EXPECT_EQ(stored.session.timestampSize, 2);
    EXPECT_EQ(stored.session.ecuTimestamp, 0x1234u);
}

// ---- without the session start ----------------------------------------------------------------

TEST(SessionTrackerTest, WithoutTheSessionStartDaqPacketsStayAsCapturedAndTheToolSaysSoOncePerEcu)
{
    Traffic t;
    for (uint8_t ecu : {0, 0, 2, 2, 0}) {
        DecodedPacket& packet = t.rx("00 01 aa bb cc dd", ecu);
        EXPECT_EQ(packet.session.daq, SessionInfo::Daq::NO_CONFIGURATION);
        EXPECT_EQ(Traffic::fields(packet),
                  "PACKET[ID Field[Type=CTO_PACKET_CODE, PID=0x00]; TS Field[Type=NO]; Data Field[Data=01 aa bb cc "
                  "dd]]");
    }
    const std::string note = "DAQ packets before the session's DAQ configuration (no response to "
                             "GET_DAQ_PROCESSOR_INFO seen) are shown as captured; --daq-id-type and "
                             "--daq-timestamp-size say how to decode them\n";
    EXPECT_EQ(t.notes.str(), "xcptrace: ECU[1]: " + note + "xcptrace: ECU[3]: " + note);
}

TEST(SessionTrackerTest, AssumptionsDecodeWhatTheInputDoesNotSayAndAreStatedOncePerEcu)
{
    SessionAssumptions assumptions;
    assumptions.idTypeGiven = true;
    assumptions.idType = XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD;
    assumptions.timestampSizeGiven = true;
    assumptions.timestampSize = 2;
    assumptions.byteOrderGiven = true;
    assumptions.bigEndian = true;
    Traffic t(assumptions);
    DecodedPacket& first = t.rx("00 00 03 12 34 aa");
    EXPECT_EQ(Traffic::fields(first),
              "PACKET[ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_WORD, PID=0x00, DAQ=3]; TS Field[Type=WORD, "
              "Timestamp=12 34]; Data Field[Data=aa]]");
    EXPECT_EQ(first.session.ecuTimestamp, 0x1234u);
    EXPECT_EQ(t.rx("01 00 03 12 34 aa").session.timestampSize, 0);
    t.rx("00 00 04 12 34 aa", 1);
    EXPECT_EQ(t.notes.str(),
              "xcptrace: ECU[1]: DAQ packets before the session's configuration: assuming identification field "
              "RELATIVE_ODT_ABSOLUTE_DAQ_WORD (--daq-id-type), time stamps of 2 bytes in the first ODT of every "
              "DAQ list (--daq-timestamp-size), byte order Motorola (--daq-byte-order)\n"
              "xcptrace: ECU[2]: DAQ packets before the session's configuration: assuming identification field "
              "RELATIVE_ODT_ABSOLUTE_DAQ_WORD (--daq-id-type), time stamps of 2 bytes in the first ODT of every "
              "DAQ list (--daq-timestamp-size), byte order Motorola (--daq-byte-order)\n");

    // Once the session is seen, what it says wins over the assumptions.
    t.tx("ff 00");
    t.rx("ff 15 00 ff 78 05 01 01");
    t.tx("da");
    t.rx("ff 11 00 02 00 02 00 40");
    t.tx("d9");
    t.rx("ff 01 04 01 04 31 01 00");
    t.tx("e0 10 05 00 00 00 01 00");
    t.rx("ff");
    EXPECT_EQ(Traffic::fields(t.rx("00 05 77 aa")),
              "PACKET[ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_BYTE, PID=0x00, DAQ=5]; TS Field[Type=BYTE, "
              "Timestamp=77]; Data Field[Data=aa]]");
}

TEST(SessionTrackerTest, IdentificationAssumedWithoutTimestampSize)
{
    SessionAssumptions assumptions;
    assumptions.idTypeGiven = true;
    assumptions.idType = XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE;
    Traffic t(assumptions);
    EXPECT_EQ(Traffic::fields(t.rx("00 03 12 34 aa")),
              "PACKET[ID Field[Type=RELATIVE_ODT_ABSOLUTE_DAQ_BYTE, PID=0x00, DAQ=3]; TS Field[Type=NO]; Data "
              "Field[Data=12 34 aa]]");
    EXPECT_EQ(t.notes.str(), "xcptrace: ECU[1]: DAQ packets before the session's configuration: assuming "
                             "identification field RELATIVE_ODT_ABSOLUTE_DAQ_BYTE (--daq-id-type), no time stamps "
                             "(no --daq-timestamp-size), byte order Intel (no CONNECT seen; see --daq-byte-order)\n");
}

TEST(DaqListIndexTest, SmallAndLargeListNumbersUpToTheLimit)
{
    xcptrace::DaqListIndex index;
    EXPECT_EQ(index.find(3), -1);
    EXPECT_EQ(index.slot(3), 0);
    EXPECT_EQ(index.slot(60000), 1);
    EXPECT_EQ(index.slot(3), 0);
    EXPECT_EQ(index.find(60000), 1);
    EXPECT_EQ(index.listAt(1), 60000);
    for (uint32_t list = 1000; index.size() < xcptrace::DaqListIndex::LIMIT; ++list) {
        ASSERT_GE(index.slot(static_cast<uint16_t>(list)), 0);
    }
    EXPECT_EQ(index.slot(7), -1);
    EXPECT_EQ(index.slot(65535), -1);
    EXPECT_EQ(index.slot(3), 0);
    index.clear();
    EXPECT_EQ(index.size(), 0u);
    EXPECT_EQ(index.find(3), -1);
    EXPECT_EQ(index.find(60000), -1);
}

TEST(SessionTrackerTest, RandomTrafficNeverLosesOrInventsBytes)
{
    // Random commands, answers and DAQ packets of random length for four ECUs: every DAQ
    // packet keeps its bytes, split between the identification field, time stamp and data.
    uint64_t state = 12345;
    auto next = [&state]() {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<unsigned>(state >> 33);
    };
    const char* const commands[] = {"ff", "da", "d9", "e0", "de", "d4", "d6", "fd"};
    SessionAssumptions assumptions;
    assumptions.idTypeGiven = true;
    assumptions.idType = XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED;
    assumptions.timestampSizeGiven = true;
    assumptions.timestampSize = 4;
    Traffic t(assumptions);
    size_t decoded = 0;
    for (int i = 0; i < 20000; ++i) {
        uint8_t ecu = static_cast<uint8_t>(next() % 4);
        unsigned kind = next() % 3;
        unsigned length = next() % 12;
        std::string bytes;
        char byte[4];
        if (kind == 0) {
            bytes = commands[next() % 8];
        } else if (kind == 1) {
            bytes = "ff";
        } else {
            std::snprintf(byte, sizeof byte, "%02x", next() % 8);  // a DAQ PID
            bytes = byte;
        }
        for (unsigned b = 0; b < length; ++b) {
            std::snprintf(byte, sizeof byte, " %02x", next() % 256);
            bytes += byte;
        }
        DecodedPacket& packet = kind == 0 ? t.tx(bytes, ecu) : t.rx(bytes, ecu);
        if (kind == 2) {
            const XCP_Message::Packet& fields = packet.message.packet;
            size_t idSize = SessionTracker::idFieldSize(fields.identificationField.getType());
            size_t total = (idSize == 0 ? 1 : idSize) + fields.timestampField.getTimestamp().size() +
                           fields.dataField.data.size();
            ASSERT_EQ(total, length + 1u) << bytes;
            EXPECT_EQ(fields.timestampField.getTimestamp().size(), packet.session.timestampSize) << bytes;
            decoded += packet.session.daq == SessionInfo::Daq::DECODED ? 1 : 0;
        }
        t.packets.clear();
    }
    EXPECT_GT(decoded, 1000u);
}
