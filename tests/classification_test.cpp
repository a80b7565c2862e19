// XCP meaning of a captured packet: packet type from direction and PID, command code, PID as
// master-to-slave or slave-to-master identifier, error/event/service-request code, and the
// minimum response length of a command. The diagnostic lines of the classification are
// asserted line for line, including how often each query writes them and that every line is
// flushed.

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <iostream>
#include <string>
#include <vector>

#include "XCP_Message.h"
#include "test_support.h"

namespace {

using M = XCP_Message;
using testsupport::repeatedLine;

const std::string kStimulationWarning =
    "[WARNING] XCP_Message::setPacketType: STIMULATION is not supported at the moment";
const std::string kUnknownDirectionError = "[ERROR] XCP_Message::setPacketType: Unknown direction=UNKNOWN";
const std::string kInvalidDirectionError =
    "[ERROR] XCP_Message::setPacketType: Unknown direction=invalid msg direction";

/// Captures std::cerr into a buffer that records flushes. unitbuf is switched off meanwhile,
/// so a flush is seen only where the writer asks for one.
class DiagnosticCapture {
public:
    DiagnosticCapture() : saved_(std::cerr.rdbuf(&buffer_)), savedFlags_(std::cerr.flags())
    {
        std::cerr.unsetf(std::ios_base::unitbuf);
    }
    ~DiagnosticCapture()
    {
        std::cerr.rdbuf(saved_);
        std::cerr.flags(savedFlags_);
    }
    DiagnosticCapture(const DiagnosticCapture&) = delete;
    DiagnosticCapture& operator=(const DiagnosticCapture&) = delete;

    std::string text() const { return buffer_.str(); }

    /// True when the stream was flushed right after every line end and nowhere else.
    bool flushedAfterEachLine() const
    {
        std::vector<size_t> lineEnds;
        std::string captured = buffer_.str();
        for (size_t i = 0; i < captured.size(); ++i) {
            if (captured[i] == '\n') {
                lineEnds.push_back(i + 1);
            }
        }
        return lineEnds == buffer_.syncPositions();
    }

private:
    testsupport::FlushRecordingBuf buffer_;
    std::streambuf* saved_;
    std::ios_base::fmtflags savedFlags_;
};

#define EXPECT_DIAGNOSTICS(capture, expected)                 \
    do {                                                      \
        EXPECT_EQ((capture).text(), (expected));              \
        EXPECT_TRUE((capture).flushedAfterEachLine());        \
    } while (0)

XCP_Message makeMessage(M::msgDirection_t direction, uint32_t pid, const byteVec_t& data = byteVec_t(),
                        M::transportType_t transport = M::TT_ETHERNET)
{
    XCP_Message message(1700000000000000000ull, transport, direction, 0);
    message.packet.identificationField.setType(M::IFT_CTO_PACKET_CODE);
    message.packet.identificationField.pid = static_cast<uint8_t>(pid);
    message.packet.dataField.data = data;
    return message;
}

M::msgDirection_t directionValue(int32_t value)
{
    return static_cast<M::msgDirection_t>(value);
}

/// Packet type of a received packet by PID, as the slave sends them.
M::packetType_t receivedType(uint32_t pid)
{
    switch (pid) {
    case 0xFF:
        return M::PT_CTO_RES;
    case 0xFE:
        return M::PT_CTO_ERR;
    case 0xFD:
        return M::PT_CTO_EV;
    case 0xFC:
        return M::PT_CTO_SERV;
    default:
        return M::PT_DTO_DAQ;
    }
}

// ---- getPacketType ---------------------------------------------------------------------------

TEST(PacketType, TransmittedCommandRangeIsCommandWithoutLine)
{
    for (uint32_t pid = 0xC0; pid <= 0xFF; ++pid) {
        XCP_Message message = makeMessage(M::MD_TX, pid);
        DiagnosticCapture cerr;
        EXPECT_EQ(message.getPacketType(), M::PT_CTO_CMD) << "pid " << pid;
        EXPECT_DIAGNOSTICS(cerr, "");
    }
}

TEST(PacketType, TransmittedStimulationRangeWarnsOnce)
{
    for (uint32_t pid = 0x00; pid <= 0xBF; ++pid) {
        XCP_Message message = makeMessage(M::MD_TX, pid);
        DiagnosticCapture cerr;
        EXPECT_EQ(message.getPacketType(), M::PT_DTO_STIM) << "pid " << pid;
        EXPECT_DIAGNOSTICS(cerr, repeatedLine(kStimulationWarning, 1));
    }
}

TEST(PacketType, ReceivedPacketsByPidWithoutLine)
{
    for (uint32_t pid = 0x00; pid <= 0xFF; ++pid) {
        XCP_Message message = makeMessage(M::MD_RX, pid);
        DiagnosticCapture cerr;
        EXPECT_EQ(message.getPacketType(), receivedType(pid)) << "pid " << pid;
        EXPECT_DIAGNOSTICS(cerr, "");
    }
}

TEST(PacketType, RangeBounds)
{
    DiagnosticCapture cerr;
    EXPECT_EQ(makeMessage(M::MD_TX, 0xBF).getPacketType(), M::PT_DTO_STIM);
    EXPECT_DIAGNOSTICS(cerr, repeatedLine(kStimulationWarning, 1));

    DiagnosticCapture quiet;
    EXPECT_EQ(makeMessage(M::MD_TX, 0xC0).getPacketType(), M::PT_CTO_CMD);
    EXPECT_EQ(makeMessage(M::MD_RX, 0xFB).getPacketType(), M::PT_DTO_DAQ);
    EXPECT_EQ(makeMessage(M::MD_RX, 0xFC).getPacketType(), M::PT_CTO_SERV);
    EXPECT_EQ(makeMessage(M::MD_RX, 0x00).getPacketType(), M::PT_DTO_DAQ);
    EXPECT_DIAGNOSTICS(quiet, "");
}

TEST(PacketType, UnknownDirectionIsReportedOnceWithItsDisplayName)
{
    for (uint32_t pid : {0x00u, 0x10u, 0xBFu, 0xC0u, 0xFCu, 0xFFu}) {
        XCP_Message message = makeMessage(M::MD_UNKNOWN, pid);
        DiagnosticCapture cerr;
        EXPECT_EQ(message.getPacketType(), M::PT_UNKNOWN) << "pid " << pid;
        EXPECT_DIAGNOSTICS(cerr, repeatedLine(kUnknownDirectionError, 1));
    }
}

TEST(PacketType, DirectionOutsideTheEnumerationShowsTheFallbackName)
{
    for (int32_t direction : {3, 7, -1, INT32_MIN, INT32_MAX}) {
        XCP_Message message = makeMessage(directionValue(direction), 0xFF);
        DiagnosticCapture cerr;
        EXPECT_EQ(message.getPacketType(), M::PT_UNKNOWN) << "direction " << direction;
        EXPECT_DIAGNOSTICS(cerr, repeatedLine(kInvalidDirectionError, 1));
    }
}

TEST(PacketType, OnlyDirectionAndPidTakePart)
{
    // Transport, identification field type, time stamp and data length change nothing.
    const M::transportType_t transports[] = {M::TT_UNKNOWN, M::TT_ETHERNET, M::TT_CAN};
    const M::identificationFieldType_t idTypes[] = {M::IFT_ABSOLUTE_ODT_NUMBER, M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD,
                                                    M::IFT_CTO_PACKET_CODE, static_cast<M::identificationFieldType_t>(4)};
    const M::timestampFieldType_t tsTypes[] = {M::TST_NO, M::TST_DWORD};
    const byteVec_t payloads[] = {byteVec_t(), byteVec_t{0x31}, byteVec_t(300, 0xAB)};
    for (M::transportType_t transport : transports) {
        for (M::identificationFieldType_t idType : idTypes) {
            for (M::timestampFieldType_t tsType : tsTypes) {
                for (const byteVec_t& payload : payloads) {
                    for (uint32_t pid : {0x05u, 0xC1u, 0xFEu}) {
                        XCP_Message tx = makeMessage(M::MD_TX, pid, payload, transport);
                        XCP_Message rx = makeMessage(M::MD_RX, pid, payload, transport);
                        for (XCP_Message* message : {&tx, &rx}) {
                            message->packet.identificationField.setType(idType);
                            message->packet.timestampField.setType(tsType);
                        }
                        DiagnosticCapture cerr;
                        EXPECT_EQ(tx.getPacketType(), pid >= 0xC0 ? M::PT_CTO_CMD : M::PT_DTO_STIM);
                        EXPECT_EQ(rx.getPacketType(), receivedType(pid));
                        EXPECT_DIAGNOSTICS(cerr, pid >= 0xC0 ? "" : repeatedLine(kStimulationWarning, 1));
                    }
                }
            }
        }
    }
}

TEST(PacketType, DerivedAfreshAtEveryQuery)
{
    XCP_Message message = makeMessage(M::MD_RX, 0xFF);
    EXPECT_EQ(message.getPacketType(), M::PT_CTO_RES);
    message.packet.identificationField.pid = 0xFE;
    EXPECT_EQ(message.getPacketType(), M::PT_CTO_ERR);
    message.setMsgDirection(M::MD_TX);
    EXPECT_EQ(message.getPacketType(), M::PT_CTO_CMD);
    EXPECT_EQ(message.getCmdCode(), M::XCP_CC_STD_DISCONNECT);
    message.packet.identificationField.pid = 0xFF;
    EXPECT_EQ(message.getCmdCode(), M::XCP_CC_STD_CONNECT);
}

TEST(Classification, QueriesLeaveTheMessageUnchanged)
{
    XCP_Message message = makeMessage(M::MD_RX, 0xFE, {0x31, 0x22});
    message.header.setLEN(3);
    message.setEthernetTransportTypeSettings("10.0.0.2", "10.0.0.1", "255.255.255.0", 5555, true);
    const XCP_Message before(message);
    DiagnosticCapture cerr;
    message.getPacketType();
    message.getCmdCode();
    message.getMasterToSlavePid();
    message.getSlaveToMasterPid();
    message.getErrorPacketCode();
    message.getEventPacketCode();
    message.getServiceRequestPacketCode();
    EXPECT_TRUE(message == before);
    EXPECT_EQ(message.packet.dataField.data, before.packet.dataField.data);
    EXPECT_EQ(message.getTimeStamp(), before.getTimeStamp());
    EXPECT_DIAGNOSTICS(cerr, "");
}

// ---- getCmdCode ------------------------------------------------------------------------------

TEST(CmdCode, TransmittedCommandGivesThePidAsCode)
{
    for (uint32_t pid = 0xC0; pid <= 0xFF; ++pid) {
        XCP_Message message = makeMessage(M::MD_TX, pid);
        DiagnosticCapture cerr;
        EXPECT_EQ(static_cast<int32_t>(message.getCmdCode()), static_cast<int32_t>(pid));
        EXPECT_DIAGNOSTICS(cerr, "");
    }
}

TEST(CmdCode, CommandRangeWithoutEnumeratorComesBackAsItsNumber)
{
    XCP_Message message = makeMessage(M::MD_TX, 0xC3);
    EXPECT_EQ(static_cast<int32_t>(message.getCmdCode()), 0xC3);
    EXPECT_EQ(makeMessage(M::MD_TX, 0xFF).getCmdCode(), M::XCP_CC_STD_CONNECT);
    EXPECT_EQ(makeMessage(M::MD_TX, 0xC7).getCmdCode(), M::XCP_CC_DAQ_WRITE_DAQ_MULTIPLE);
}

TEST(CmdCode, TransmittedStimulationIsUndefinedWithOneWarning)
{
    for (uint32_t pid = 0x00; pid <= 0xBF; ++pid) {
        XCP_Message message = makeMessage(M::MD_TX, pid);
        DiagnosticCapture cerr;
        EXPECT_EQ(message.getCmdCode(), M::XCP_CC_UNDEFINED);
        EXPECT_DIAGNOSTICS(cerr, repeatedLine(kStimulationWarning, 1));
    }
}

TEST(CmdCode, ReceivedPacketIsUndefinedWithoutLine)
{
    for (uint32_t pid = 0x00; pid <= 0xFF; ++pid) {
        XCP_Message message = makeMessage(M::MD_RX, pid);
        DiagnosticCapture cerr;
        EXPECT_EQ(message.getCmdCode(), M::XCP_CC_UNDEFINED) << "pid " << pid;
        EXPECT_DIAGNOSTICS(cerr, "");
    }
}

TEST(CmdCode, UnknownDirectionIsUndefinedWithOneError)
{
    DiagnosticCapture cerr;
    EXPECT_EQ(makeMessage(M::MD_UNKNOWN, 0xFF).getCmdCode(), M::XCP_CC_UNDEFINED);
    EXPECT_DIAGNOSTICS(cerr, repeatedLine(kUnknownDirectionError, 1));

    DiagnosticCapture outOfRange;
    EXPECT_EQ(makeMessage(directionValue(7), 0xFF).getCmdCode(), M::XCP_CC_UNDEFINED);
    EXPECT_DIAGNOSTICS(outOfRange, repeatedLine(kInvalidDirectionError, 1));
}

// ---- getMasterToSlavePid ---------------------------------------------------------------------

TEST(MasterToSlavePid, TransmittedCommandGivesPidWithoutLine)
{
    for (uint32_t pid = 0xC0; pid <= 0xFF; ++pid) {
        XCP_Message message = makeMessage(M::MD_TX, pid);
        DiagnosticCapture cerr;
        EXPECT_EQ(static_cast<int32_t>(message.getMasterToSlavePid()), static_cast<int32_t>(pid));
        EXPECT_DIAGNOSTICS(cerr, "");
    }
}

TEST(MasterToSlavePid, TransmittedStimulationGivesPidAndWarnsTwice)
{
    for (uint32_t pid = 0x00; pid <= 0xBF; ++pid) {
        XCP_Message message = makeMessage(M::MD_TX, pid);
        DiagnosticCapture cerr;
        EXPECT_EQ(static_cast<int32_t>(message.getMasterToSlavePid()), static_cast<int32_t>(pid));
        EXPECT_DIAGNOSTICS(cerr, repeatedLine(kStimulationWarning, 2));
    }
}

TEST(MasterToSlavePid, ReceivedPacketIsInvalidWithoutLine)
{
    for (uint32_t pid = 0x00; pid <= 0xFF; ++pid) {
        XCP_Message message = makeMessage(M::MD_RX, pid);
        DiagnosticCapture cerr;
        EXPECT_EQ(message.getMasterToSlavePid(), M::M2S_INVALID) << "pid " << pid;
        EXPECT_DIAGNOSTICS(cerr, "");
    }
}

TEST(MasterToSlavePid, UnknownDirectionIsInvalidAndReportedTwice)
{
    DiagnosticCapture cerr;
    EXPECT_EQ(makeMessage(M::MD_UNKNOWN, 0xC0).getMasterToSlavePid(), M::M2S_INVALID);
    EXPECT_DIAGNOSTICS(cerr, repeatedLine(kUnknownDirectionError, 2));

    DiagnosticCapture outOfRange;
    EXPECT_EQ(makeMessage(directionValue(3), 0x10).getMasterToSlavePid(), M::M2S_INVALID);
    EXPECT_DIAGNOSTICS(outOfRange, repeatedLine(kInvalidDirectionError, 2));
}

// ---- getSlaveToMasterPid ---------------------------------------------------------------------

TEST(SlaveToMasterPid, ReceivedPacketGivesItsPidWithoutLine)
{
    for (uint32_t pid = 0x00; pid <= 0xFF; ++pid) {
        XCP_Message message = makeMessage(M::MD_RX, pid);
        DiagnosticCapture cerr;
        EXPECT_EQ(static_cast<int32_t>(message.getSlaveToMasterPid()), static_cast<int32_t>(pid));
        EXPECT_DIAGNOSTICS(cerr, "");
    }
    EXPECT_EQ(static_cast<int32_t>(makeMessage(M::MD_RX, 0x10).getSlaveToMasterPid()), 0x10);
    EXPECT_EQ(makeMessage(M::MD_RX, 0xFF).getSlaveToMasterPid(), M::S2M_PID_RES);
    EXPECT_EQ(makeMessage(M::MD_RX, 0xFC).getSlaveToMasterPid(), M::S2M_PID_SERV);
}

TEST(SlaveToMasterPid, TransmittedCommandIsInvalidWithoutLine)
{
    for (uint32_t pid = 0xC0; pid <= 0xFF; ++pid) {
        XCP_Message message = makeMessage(M::MD_TX, pid);
        DiagnosticCapture cerr;
        EXPECT_EQ(message.getSlaveToMasterPid(), M::S2M_INVALID) << "pid " << pid;
        EXPECT_DIAGNOSTICS(cerr, "");
    }
}

TEST(SlaveToMasterPid, TransmittedStimulationIsInvalidAndWarnsFiveTimes)
{
    for (uint32_t pid = 0x00; pid <= 0xBF; ++pid) {
        XCP_Message message = makeMessage(M::MD_TX, pid);
        DiagnosticCapture cerr;
        EXPECT_EQ(message.getSlaveToMasterPid(), M::S2M_INVALID) << "pid " << pid;
        EXPECT_DIAGNOSTICS(cerr, repeatedLine(kStimulationWarning, 5));
    }
}

TEST(SlaveToMasterPid, UnknownDirectionIsInvalidAndReportedFiveTimes)
{
    DiagnosticCapture cerr;
    EXPECT_EQ(makeMessage(M::MD_UNKNOWN, 0xFF).getSlaveToMasterPid(), M::S2M_INVALID);
    EXPECT_DIAGNOSTICS(cerr, repeatedLine(kUnknownDirectionError, 5));

    DiagnosticCapture outOfRange;
    EXPECT_EQ(makeMessage(directionValue(-1), 0x00).getSlaveToMasterPid(), M::S2M_INVALID);
    EXPECT_DIAGNOSTICS(outOfRange, repeatedLine(kInvalidDirectionError, 5));
}

// ---- error, event and service-request codes --------------------------------------------------

TEST(PacketCodes, ErrorPacketGivesItsFirstDataByte)
{
    for (uint32_t code = 0x00; code <= 0xFF; ++code) {
        XCP_Message message = makeMessage(M::MD_RX, 0xFE, {static_cast<uint8_t>(code), 0x77, 0x88});
        DiagnosticCapture cerr;
        EXPECT_EQ(static_cast<int32_t>(message.getErrorPacketCode()), static_cast<int32_t>(code));
        EXPECT_DIAGNOSTICS(cerr, "");
    }
    EXPECT_EQ(makeMessage(M::MD_RX, 0xFE, {0x31}).getErrorPacketCode(), M::ERR_GENERIC);
    EXPECT_EQ(makeMessage(M::MD_RX, 0xFE, {0x00}).getErrorPacketCode(), M::ERR_CMD_SYNCH);
    EXPECT_EQ(static_cast<int32_t>(makeMessage(M::MD_RX, 0xFE, {0x13}).getErrorPacketCode()), 0x13);
}

TEST(PacketCodes, EventPacketGivesItsFirstDataByte)
{
    for (uint32_t code = 0x00; code <= 0xFF; ++code) {
        XCP_Message message = makeMessage(M::MD_RX, 0xFD, {static_cast<uint8_t>(code), 0x66});
        DiagnosticCapture cerr;
        EXPECT_EQ(static_cast<int32_t>(message.getEventPacketCode()), static_cast<int32_t>(code));
        EXPECT_DIAGNOSTICS(cerr, "");
    }
    EXPECT_EQ(makeMessage(M::MD_RX, 0xFD, {0xFF}).getEventPacketCode(), M::EV_TRANSPORT);
    EXPECT_EQ(static_cast<int32_t>(makeMessage(M::MD_RX, 0xFD, {0x04}).getEventPacketCode()), 0x04);
}

TEST(PacketCodes, ServiceRequestPacketGivesItsFirstDataByte)
{
    for (uint32_t code = 0x00; code <= 0xFF; ++code) {
        XCP_Message message = makeMessage(M::MD_RX, 0xFC, {static_cast<uint8_t>(code), 0x55});
        DiagnosticCapture cerr;
        EXPECT_EQ(static_cast<int32_t>(message.getServiceRequestPacketCode()), static_cast<int32_t>(code));
        EXPECT_DIAGNOSTICS(cerr, "");
    }
    EXPECT_EQ(makeMessage(M::MD_RX, 0xFC, {0x01}).getServiceRequestPacketCode(), M::SERV_TEXT);
}

TEST(PacketCodes, EmptyDataFieldGivesTheInvalidCode)
{
    DiagnosticCapture cerr;
    EXPECT_EQ(makeMessage(M::MD_RX, 0xFE).getErrorPacketCode(), M::ERR_NOT_SET);
    EXPECT_EQ(makeMessage(M::MD_RX, 0xFD).getEventPacketCode(), M::EV_INVALID);
    EXPECT_EQ(makeMessage(M::MD_RX, 0xFC).getServiceRequestPacketCode(), M::SERV_INVALID);
    EXPECT_DIAGNOSTICS(cerr, "");
}

TEST(PacketCodes, OtherReceivedPacketsGiveTheInvalidCodeWithoutLine)
{
    // The same data byte under every other received PID.
    for (uint32_t pid = 0x00; pid <= 0xFF; ++pid) {
        XCP_Message message = makeMessage(M::MD_RX, pid, {0x31});
        DiagnosticCapture cerr;
        if (pid != 0xFE) {
            EXPECT_EQ(message.getErrorPacketCode(), M::ERR_NOT_SET) << "pid " << pid;
        }
        if (pid != 0xFD) {
            EXPECT_EQ(message.getEventPacketCode(), M::EV_INVALID) << "pid " << pid;
        }
        if (pid != 0xFC) {
            EXPECT_EQ(message.getServiceRequestPacketCode(), M::SERV_INVALID) << "pid " << pid;
        }
        EXPECT_DIAGNOSTICS(cerr, "");
    }
    XCP_Message errorPacket = makeMessage(M::MD_RX, 0xFE, {0x31});
    EXPECT_EQ(errorPacket.getErrorPacketCode(), M::ERR_GENERIC);
    EXPECT_EQ(errorPacket.getEventPacketCode(), M::EV_INVALID);
}

TEST(PacketCodes, TransmittedCommandGivesTheInvalidCodeWithoutLine)
{
    // A transmitted 0xFE is DISCONNECT, not an error packet.
    for (uint32_t pid : {0xFEu, 0xFDu, 0xFCu, 0xC0u}) {
        XCP_Message message = makeMessage(M::MD_TX, pid, {0x01});
        DiagnosticCapture cerr;
        EXPECT_EQ(message.getErrorPacketCode(), M::ERR_NOT_SET);
        EXPECT_EQ(message.getEventPacketCode(), M::EV_INVALID);
        EXPECT_EQ(message.getServiceRequestPacketCode(), M::SERV_INVALID);
        EXPECT_DIAGNOSTICS(cerr, "");
    }
}

TEST(PacketCodes, EachCodeQueryClassifiesOnce)
{
    XCP_Message stimulation = makeMessage(M::MD_TX, 0x20, {0x01});
    {
        DiagnosticCapture cerr;
        EXPECT_EQ(stimulation.getErrorPacketCode(), M::ERR_NOT_SET);
        EXPECT_DIAGNOSTICS(cerr, repeatedLine(kStimulationWarning, 1));
    }
    {
        DiagnosticCapture cerr;
        EXPECT_EQ(stimulation.getEventPacketCode(), M::EV_INVALID);
        EXPECT_DIAGNOSTICS(cerr, repeatedLine(kStimulationWarning, 1));
    }
    {
        DiagnosticCapture cerr;
        EXPECT_EQ(stimulation.getServiceRequestPacketCode(), M::SERV_INVALID);
        EXPECT_DIAGNOSTICS(cerr, repeatedLine(kStimulationWarning, 1));
    }

    XCP_Message unknown = makeMessage(M::MD_UNKNOWN, 0xFE, {0x31});
    {
        DiagnosticCapture cerr;
        EXPECT_EQ(unknown.getErrorPacketCode(), M::ERR_NOT_SET);
        EXPECT_DIAGNOSTICS(cerr, repeatedLine(kUnknownDirectionError, 1));
    }
    {
        DiagnosticCapture cerr;
        EXPECT_EQ(unknown.getEventPacketCode(), M::EV_INVALID);
        EXPECT_DIAGNOSTICS(cerr, repeatedLine(kUnknownDirectionError, 1));
    }
    {
        DiagnosticCapture cerr;
        EXPECT_EQ(unknown.getServiceRequestPacketCode(), M::SERV_INVALID);
        EXPECT_DIAGNOSTICS(cerr, repeatedLine(kUnknownDirectionError, 1));
    }
    XCP_Message outOfRange = makeMessage(directionValue(9), 0xFD, {0x01});
    {
        DiagnosticCapture cerr;
        EXPECT_EQ(outOfRange.getEventPacketCode(), M::EV_INVALID);
        EXPECT_DIAGNOSTICS(cerr, repeatedLine(kInvalidDirectionError, 1));
    }
}

// ---- getMinResDataSize -----------------------------------------------------------------------

struct MinimumResponse {
    M::cmdCode_t command;
    int32_t code;
    int size;
};

/// The minimum response data sizes, by code.
const MinimumResponse kMinimumResponses[] = {
    {M::XCP_CC_DAQ_WRITE_DAQ_MULTIPLE, 0xC7, -1},
    {M::XCP_CC_PGM_PROGRAM_VERIFY, 0xC8, -1},
    {M::XCP_CC_PGM_PROGRAM_MAX, 0xC9, -1},
    {M::XCP_CC_PGM_PROGRAM_NEXT, 0xCA, -1},
    {M::XCP_CC_PGM_PROGRAM_FORMAT, 0xCB, -1},
    {M::XCP_CC_PGM_PROGRAM_PREPARE, 0xCC, -1},
    {M::XCP_CC_PGM_GET_SECTOR_INFO, 0xCD, -1},
    {M::XCP_CC_PGM_GET_PGM_PROCESSOR_INFO, 0xCE, -1},
    {M::XCP_CC_PGM_PROGRAM_RESET, 0xCF, -1},
    {M::XCP_CC_PGM_PROGRAM, 0xD0, -1},
    {M::XCP_CC_PGM_PROGRAM_CLEAR, 0xD1, -1},
    {M::XCP_CC_PGM_PROGRAM_START, 0xD2, -1},
    {M::XCP_CC_DAQ_ALLOC_ODT_ENTRY, 0xD3, 0},
    {M::XCP_CC_DAQ_ALLOC_ODT, 0xD4, 0},
    {M::XCP_CC_DAQ_ALLOC_DAQ, 0xD5, 0},
    {M::XCP_CC_DAQ_FREE_DAQ, 0xD6, 0},
    {M::XCP_CC_DAQ_GET_DAQ_EVENT_INFO, 0xD7, 6},
    {M::XCP_CC_DAQ_GET_DAQ_LIST_INFO, 0xD8, 5},
    {M::XCP_CC_DAQ_GET_DAQ_RESOLUTION_INFO, 0xD9, 7},
    {M::XCP_CC_DAQ_GET_DAQ_PROCESSOR_INFO, 0xDA, 7},
    {M::XCP_CC_DAQ_READ_DAQ, 0xDB, 7},
    {M::XCP_CC_DAQ_GET_DAQ_CLOCK, 0xDC, 7},
    {M::XCP_CC_DAQ_START_STOP_SYNCH, 0xDD, 0},
    {M::XCP_CC_DAQ_START_STOP_DAQ_LIST, 0xDE, 1},
    {M::XCP_CC_DAQ_GET_DAQ_LIST_MODE, 0xDF, 7},
    {M::XCP_CC_DAQ_SET_DAQ_LIST_MODE, 0xE0, 0},
    {M::XCP_CC_DAQ_WRITE_DAQ, 0xE1, 0},
    {M::XCP_CC_DAQ_SET_DAQ_PTR, 0xE2, 0},
    {M::XCP_CC_DAQ_CLEAR_DAQ_LIST, 0xE3, 0},
    {M::XCP_CC_PAG_COPY_CAL_PAGE, 0xE4, -1},
    {M::XCP_CC_PAG_GET_SEGMENT_MODE, 0xE5, -1},
    {M::XCP_CC_PAG_SET_SEGMENT_MODE, 0xE6, -1},
    {M::XCP_CC_PAG_GET_PAGE_INFO, 0xE7, -1},
    {M::XCP_CC_PAG_GET_SEGMENT_INFO, 0xE8, -1},
    {M::XCP_CC_PAG_GET_PAG_PROCESSOR_INFO, 0xE9, -1},
    {M::XCP_CC_PAG_GET_CAL_PAGE, 0xEA, -1},
    {M::XCP_CC_PAG_SET_CAL_PAGE, 0xEB, -1},
    {M::XCP_CC_CAL_MODIFY_BITS, 0xEC, -1},
    {M::XCP_CC_CAL_SHORT_DOWNLOAD, 0xED, -1},
    {M::XCP_CC_CAL_DOWNLOAD_MAX, 0xEE, -1},
    {M::XCP_CC_CAL_DOWNLOAD_NEXT, 0xEF, -1},
    {M::XCP_CC_CAL_DOWNLOAD, 0xF0, -1},
    {M::XCP_CC_STD_USER_CMD, 0xF1, -1},
    {M::XCP_CC_STD_TRANSPORT_LAYER_CMD, 0xF2, 5},
    {M::XCP_CC_STD_BUILD_CHECKSUM, 0xF3, 7},
    {M::XCP_CC_STD_SHORT_UPLOAD, 0xF4, -1},
    {M::XCP_CC_STD_UPLOAD, 0xF5, -1},
    {M::XCP_CC_STD_SET_MTA, 0xF6, 0},
    {M::XCP_CC_STD_UNLOCK, 0xF7, 1},
    {M::XCP_CC_STD_GET_SEED, 0xF8, 1},
    {M::XCP_CC_STD_SET_REQUEST, 0xF9, 0},
    {M::XCP_CC_STD_GET_ID, 0xFA, 8},
    {M::XCP_CC_STD_GET_COMM_MODE_INFO, 0xFB, 7},
    {M::XCP_CC_STD_SYNCH, 0xFC, -1},
    {M::XCP_CC_STD_GET_STATUS, 0xFD, 5},
    {M::XCP_CC_STD_DISCONNECT, 0xFE, 0},
    {M::XCP_CC_STD_CONNECT, 0xFF, 7},
};

TEST(MinResDataSize, EveryCommandHasItsTabledMinimum)
{
    ASSERT_EQ(sizeof kMinimumResponses / sizeof kMinimumResponses[0], 57u);
    int32_t expectedCode = 0xC7;
    DiagnosticCapture cerr;
    for (const MinimumResponse& entry : kMinimumResponses) {
        EXPECT_EQ(entry.code, expectedCode++);  // the list itself runs through every code once
        EXPECT_EQ(static_cast<int32_t>(entry.command), entry.code);
        EXPECT_EQ(XCP_Message::getMinResDataSize(entry.command), entry.size) << "code " << entry.code;
    }
    EXPECT_DIAGNOSTICS(cerr, "");
}

TEST(MinResDataSize, NamedExamples)
{
    EXPECT_EQ(XCP_Message::getMinResDataSize(M::XCP_CC_STD_CONNECT), 7);
    EXPECT_EQ(XCP_Message::getMinResDataSize(M::XCP_CC_STD_GET_ID), 8);
    EXPECT_EQ(XCP_Message::getMinResDataSize(M::XCP_CC_DAQ_START_STOP_DAQ_LIST), 1);
    EXPECT_EQ(XCP_Message::getMinResDataSize(M::XCP_CC_STD_SYNCH), -1);
    EXPECT_EQ(XCP_Message::getMinResDataSize(M::XCP_CC_UNDEFINED), -1);
    EXPECT_EQ(XCP_Message::getMinResDataSize(static_cast<M::cmdCode_t>(198)), -1);
}

TEST(MinResDataSize, MinusOneOutsideTheCommandCodes)
{
    DiagnosticCapture cerr;
    for (int32_t code = -1000; code < 0xC7; ++code) {
        EXPECT_EQ(XCP_Message::getMinResDataSize(static_cast<M::cmdCode_t>(code)), -1) << "code " << code;
    }
    for (int32_t code = 0x100; code <= 0x1100; ++code) {
        EXPECT_EQ(XCP_Message::getMinResDataSize(static_cast<M::cmdCode_t>(code)), -1) << "code " << code;
    }
    for (int32_t code : {INT32_MIN, INT32_MIN + 199, INT32_MIN + 255, INT32_MAX, 199 + 57, 0xC7 - 1}) {
        EXPECT_EQ(XCP_Message::getMinResDataSize(static_cast<M::cmdCode_t>(code)), -1) << "code " << code;
    }
    EXPECT_DIAGNOSTICS(cerr, "");
}

}  // namespace
