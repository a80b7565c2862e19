#ifndef QVTRACE_XCP_MESSAGE_H
#define QVTRACE_XCP_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

#include "MessageBase.h"
#include "busID.h"
#include "constants_canmessage.h"
#include "constants_serialmessage.h"
#include "datablock.h"
#include "messageID.h"
#include "utility.h"

/// One captured frame of the XCP measurement and calibration protocol (XCP on CAN or on
/// Ethernet UDP/TCP) as a trace message, message type MSGID_XCP.
///
/// The frame is kept as its transport header, its XCP packet (identification field,
/// time-stamp field, data field) and its transport tail; beside it the capture metadata:
/// transport type, direction as the logger saw it, ECU number and the CAN or Ethernet
/// settings of the link.
///
/// Trace record (after the 14-byte version-1 base header, all added numbers big-endian):
///   14 transport type (1)  15 direction (1)  16 ECU identifier (1)
///   17 frame block: header, packet, tail (see Header, Packet, Tail)
///   then the transport settings: CAN: id (4), type (1), channel (1);
///   Ethernet: dstIp, srcIp, mask (each a length byte and the characters), port (2), tcp (1).
///
/// Buffer size: getSize() is 2 less than the number of bytes writeToByteArray emits (kept
/// for compatibility with existing trace files and readers). writeToByteArray checks only
/// getSize() against maxlen, and for CAN and Ethernet messages it writes the transport
/// settings up to 2 bytes past maxlen. Callers must give at least getSize() + 2 bytes.
class XCP_Message : public MessageBase {
public:
    // ---- transport and direction -------------------------------------------------------

    enum transportType_t : int32_t {
        TT_UNKNOWN = 0,
        TT_ETHERNET = 1,
        TT_CAN = 2,
        TT_FLEXRAY = 3,  ///< declared, rejected with an error line wherever it is met
    };

    /// Direction as seen from the logger: Rx from the XCP slave (ECU), Tx from the master.
    enum msgDirection_t : int32_t {
        MD_UNKNOWN = 0,
        MD_RX = 1,
        MD_TX = 2,
    };

    // ---- packet fields --------------------------------------------------------------------

    enum identificationFieldType_t : int32_t {
        IFT_ABSOLUTE_ODT_NUMBER = 0,
        IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE = 1,
        IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD = 2,
        IFT_RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED = 3,
        IFT_CTO_PACKET_CODE = 5,
    };

    /// Size of a DTO time stamp; each value is its number of bytes.
    enum timestampFieldType_t : int32_t {
        TST_NO = 0,
        TST_BYTE = 1,
        TST_WORD = 2,
        TST_DWORD = 4,
    };

    // ---- protocol vocabulary ----------------------------------------------------------------

    /// Command codes (the PID of a master-to-slave command packet).
    enum cmdCode_t : int32_t {
        XCP_CC_UNDEFINED = 0x00,
        XCP_CC_STD_CONNECT = 0xFF,
        XCP_CC_STD_DISCONNECT = 0xFE,
        XCP_CC_STD_GET_STATUS = 0xFD,
        XCP_CC_STD_SYNCH = 0xFC,
        XCP_CC_STD_GET_COMM_MODE_INFO = 0xFB,
        XCP_CC_STD_GET_ID = 0xFA,
        XCP_CC_STD_SET_REQUEST = 0xF9,
        XCP_CC_STD_GET_SEED = 0xF8,
        XCP_CC_STD_UNLOCK = 0xF7,
        XCP_CC_STD_SET_MTA = 0xF6,
        XCP_CC_STD_UPLOAD = 0xF5,
        XCP_CC_STD_SHORT_UPLOAD = 0xF4,
        XCP_CC_STD_BUILD_CHECKSUM = 0xF3,
        XCP_CC_STD_TRANSPORT_LAYER_CMD = 0xF2,
        XCP_CC_STD_USER_CMD = 0xF1,
        XCP_CC_CAL_DOWNLOAD = 0xF0,
        XCP_CC_CAL_DOWNLOAD_NEXT = 0xEF,
        XCP_CC_CAL_DOWNLOAD_MAX = 0xEE,
        XCP_CC_CAL_SHORT_DOWNLOAD = 0xED,
        XCP_CC_CAL_MODIFY_BITS = 0xEC,
        XCP_CC_PAG_SET_CAL_PAGE = 0xEB,
        XCP_CC_PAG_GET_CAL_PAGE = 0xEA,
        XCP_CC_PAG_GET_PAG_PROCESSOR_INFO = 0xE9,
        XCP_CC_PAG_GET_SEGMENT_INFO = 0xE8,
        XCP_CC_PAG_GET_PAGE_INFO = 0xE7,
        XCP_CC_PAG_SET_SEGMENT_MODE = 0xE6,
        XCP_CC_PAG_GET_SEGMENT_MODE = 0xE5,
        XCP_CC_PAG_COPY_CAL_PAGE = 0xE4,
        XCP_CC_DAQ_CLEAR_DAQ_LIST = 0xE3,
        XCP_CC_DAQ_SET_DAQ_PTR = 0xE2,
        XCP_CC_DAQ_WRITE_DAQ = 0xE1,
        XCP_CC_DAQ_SET_DAQ_LIST_MODE = 0xE0,
        XCP_CC_DAQ_GET_DAQ_LIST_MODE = 0xDF,
        XCP_CC_DAQ_START_STOP_DAQ_LIST = 0xDE,
        XCP_CC_DAQ_START_STOP_SYNCH = 0xDD,
        XCP_CC_DAQ_GET_DAQ_CLOCK = 0xDC,
        XCP_CC_DAQ_READ_DAQ = 0xDB,
        XCP_CC_DAQ_GET_DAQ_PROCESSOR_INFO = 0xDA,
        XCP_CC_DAQ_GET_DAQ_RESOLUTION_INFO = 0xD9,
        XCP_CC_DAQ_GET_DAQ_LIST_INFO = 0xD8,
        XCP_CC_DAQ_GET_DAQ_EVENT_INFO = 0xD7,
        XCP_CC_DAQ_FREE_DAQ = 0xD6,
        XCP_CC_DAQ_ALLOC_DAQ = 0xD5,
        XCP_CC_DAQ_ALLOC_ODT = 0xD4,
        XCP_CC_DAQ_ALLOC_ODT_ENTRY = 0xD3,
        XCP_CC_PGM_PROGRAM_START = 0xD2,
        XCP_CC_PGM_PROGRAM_CLEAR = 0xD1,
        XCP_CC_PGM_PROGRAM = 0xD0,
        XCP_CC_PGM_PROGRAM_RESET = 0xCF,
        XCP_CC_PGM_GET_PGM_PROCESSOR_INFO = 0xCE,
        XCP_CC_PGM_GET_SECTOR_INFO = 0xCD,
        XCP_CC_PGM_PROGRAM_PREPARE = 0xCC,
        XCP_CC_PGM_PROGRAM_FORMAT = 0xCB,
        XCP_CC_PGM_PROGRAM_NEXT = 0xCA,
        XCP_CC_PGM_PROGRAM_MAX = 0xC9,
        XCP_CC_PGM_PROGRAM_VERIFY = 0xC8,
        XCP_CC_DAQ_WRITE_DAQ_MULTIPLE = 0xC7,    };

    enum errorPacketCode_t : int32_t {
        ERR_NOT_SET = -1,
        ERR_CMD_SYNCH = 0x00,
        ERR_CMD_BUSY = 0x10,
        ERR_DAQ_ACTIVE = 0x11,
        ERR_PGM_ACTIVE = 0x12,
        ERR_CMD_UNKNOWN = 0x20,
        ERR_CMD_SYNTAX = 0x21,
        ERR_OUT_OF_RANGE = 0x22,
        ERR_WRITE_PROTECTED = 0x23,
        ERR_ACCESS_DENIED = 0x24,
        ERR_ACCESS_LOCKED = 0x25,
        ERR_PAGE_NOT_VALID = 0x26,
        ERR_MODE_NOT_VALID = 0x27,
        ERR_SEGMENT_NOT_VALID = 0x28,
        ERR_SEQUENCE = 0x29,
        ERR_DAQ_CONFIG = 0x2A,
        ERR_MEMORY_OVERFLOW = 0x30,
        ERR_GENERIC = 0x31,
        ERR_VERIFY = 0x32,
        ERR_RESOURCE_TMPORARY_NOT_ACCESSIBLE = 0x33,  // spelling is part of the interface
    };

    enum eventPacketCode_t : int32_t {
        EV_INVALID = -1,
        EV_RESUME_MODE = 0x00,
        EV_CLEAR_DAQ = 0x01,
        EV_STORE_DAQ = 0x02,
        EV_STORE_CAL = 0x03,
        EV_CMD_PENDING = 0x05,
        EV_DAQ_OVERLOAD = 0x06,
        EV_SESSION_TERMINATED = 0x07,
        EV_TIME_SYNC = 0x08,
        EV_STIM_TIMEOUT = 0x09,
        EV_SLEEP = 0x0A,
        EV_WAKE_UP = 0x0B,
        EV_USER = 0xFE,
        EV_TRANSPORT = 0xFF,
    };

    enum serviceRequestPacketCode_t : int32_t {
        SERV_INVALID = -1,
        SERV_RESET = 0x00,
        SERV_TEXT = 0x01,
    };

    /// PID of a slave-to-master packet; 0x00 to 0xFB are DAQ PIDs.
    enum slaveToMasterPid_t : int32_t {
        S2M_INVALID = -1,
        S2M_PID_RES = 0xFF,
        S2M_PID_ERR = 0xFE,
        S2M_PID_EV = 0xFD,
        S2M_PID_SERV = 0xFC,
        S2M_PID_DAQ_FIRST = 0x00,
        S2M_PID_DAQ_LAST = 0xFB,
    };

    /// PID of a master-to-slave packet: stimulation or command range.
    enum masterToSlavePid_t : int32_t {
        M2S_INVALID = -1,
        M2S_PID_STIM_FIRST = 0x00,
        M2S_PID_STIM_LAST = 0xBF,
        M2S_PID_CMD_FIRST = 0xC0,
        M2S_PID_CMD_LAST = 0xFF,
    };

    enum packetType_t : int32_t {
        PT_UNKNOWN = 0,
        PT_CTO_CMD = 1,
        PT_CTO_RES = 2,
        PT_CTO_ERR = 3,
        PT_CTO_EV = 4,
        PT_CTO_SERV = 5,
        PT_DTO_DAQ = 6,
        PT_DTO_STIM = 7,
    };

    /// Unit of a DAQ time-stamp tick; the picosecond units follow the second.
    enum timeUnit_t : int32_t {
        TU_1NS = 0,
        TU_10NS = 1,
        TU_100NS = 2,
        TU_1US = 3,
        TU_10US = 4,
        TU_100US = 5,
        TU_1MS = 6,
        TU_10MS = 7,
        TU_100MS = 8,
        TU_1S = 9,
        TU_1PS = 10,
        TU_10PS = 11,
        TU_100PS = 12,
    };

    // DAQ properties, for the library's users; no operation of this class stores them.
    enum eventChannelConsistency_t : int32_t { ECC_ODT = 0, ECC_DAQ = 1, ECC_EVENT = 2 };
    enum directionType_t : int32_t { DT_DAQ = 1, DT_STIM = 2, DT_BOTH = 3 };
    enum addressGranularity_t : int32_t { AG_BYTE = 1, AG_WORD = 2, AG_DWORD = 4 };
    enum daqConfigType_t : int32_t { DCT_STATIC = 0, DCT_DYNAMIC = 1 };
    enum overloadIndicationType_t : int32_t { OIT_NO = 0, OIT_PID = 1, OIT_EVENT = 2 };
    enum optimisationType_t : int32_t {
        OT_DEFAULT = 0,
        OT_ODT_TYPE_16 = 1,
        OT_ODT_TYPE_32 = 2,
        OT_ODT_TYPE_64 = 3,
        OT_ODT_TYPE_ALIGNMENT = 4,
        OT_MAX_ENTRY_SIZE = 5,
    };
    enum addressExtensionType_t : int32_t { AET_FREE = 0, AET_ODT = 1, AET_DAQ = 3 };
    enum odtEntrySizeGranularity_t : int32_t { OESG_BYTE = 1, OESG_WORD = 2, OESG_DWORD = 4, OESG_DLONG = 8 };

    // ---- record offsets -----------------------------------------------------------------------

    static constexpr size_t MO_TRANSPORTTYPE = MO_BASE_DERIVED;      // 14
    static constexpr size_t MO_DIRECTION = MO_BASE_DERIVED + 1;      // 15
    static constexpr size_t MO_ECUID = MO_BASE_DERIVED + 2;          // 16
    static constexpr size_t MO_HEADER = MO_BASE_DERIVED + 3;         // 17
    // Version-2 body offsets, declared for version-2 readers; unused by this class.
    static constexpr size_t MO2_TRANSPORTTYPE = MO2_BASE_DERIVED;    // 7
    static constexpr size_t MO2_DIRECTION = 15;
    static constexpr size_t MO2_ECUID = 16;
    static constexpr size_t MO2_HEADER = 17;

    // ---- frame pieces ---------------------------------------------------------------------------

    /// Transport-layer header. XCP on Ethernet: 4 raw bytes, LEN and CTR, each 16-bit
    /// little-endian as sent on the wire. XCP on CAN has no header.
    /// Serialised as a length byte followed by the bytes (only when active).
    class Header {
    public:
        Header();

        /// Shapes the header for a transport: Ethernet keeps 4 bytes (a header that already
        /// holds 4 keeps them), CAN and unknown types hold none, FlexRay is rejected.
        void setTransportType(transportType_t type);

        // LEN and CTR exist only in an Ethernet header holding 4 bytes; elsewhere these
        // return false and touch nothing.
        bool setLEN(uint16_t len);
        bool getLEN(uint16_t& len) const;
        bool setCTR(uint16_t ctr);
        bool getCTR(uint16_t& ctr) const;

        bool isActive() const { return active; }
        const byteVec_t& getData() const { return data; }
        size_t getSize() const { return 1 + data.size(); }

        size_t writeToByteArray(uint8_t*& pdest, size_t maxlen) const;
        size_t readFromByteArray(transportType_t type, const uint8_t* psrc, size_t maxlen);

    protected:
        transportType_t transportType;
        bool active;
        byteVec_t data;

        bool holdsLenAndCtr() const;
    };

    /// The XCP packet: identification field, time-stamp field and data field, serialised
    /// together with one bound check.
    class Packet {
    public:
        /// The packet identifier, kept decoded: serialised as a 5-byte descriptor
        /// (type, PID, first PID, DAQ list number big-endian).
        class IdentificationField {
        public:
            IdentificationField();

            uint8_t pid;       ///< first byte of the packet: packet code of a CTO, ODT number of a DTO
            uint8_t firstPid;  ///< first PID of the DAQ list (absolute ODT numbers)

            void setType(identificationFieldType_t newType) { type = newType; }
            identificationFieldType_t getType() const { return type; }
            void setDaqNo(uint16_t number) { daqNo = number; }
            uint16_t getDaqNo() const { return daqNo; }

            size_t getSize() const { return 5; }
            size_t writeToByteArray(uint8_t*& pdest, size_t maxlen) const;
            size_t readFromByteArray(const uint8_t* psrc, size_t maxlen);

        protected:
            identificationFieldType_t type;
            uint16_t daqNo;
        };

        /// The DTO time stamp, raw bytes in wire order. Serialised as type byte, count byte,
        /// bytes; its size is 8-bit and wraps (kept for compatibility with existing records).
        class TimestampField {
        public:
            TimestampField();

            /// Stores the type and resets the bytes to as many zero bytes as the type names.
            void setType(timestampFieldType_t newType);
            timestampFieldType_t getType() const { return type; }
            /// Copies `count` bytes over the time stamp; the count must equal its size.
            bool setTimestamp(const uint8_t* bytes, size_t count);
            const byteVec_t& getTimestamp() const { return timestamp; }

            uint8_t getSize() const { return static_cast<uint8_t>(timestamp.size() + 2); }
            size_t writeToByteArray(uint8_t*& pdest, size_t maxlen) const;
            size_t readFromByteArray(const uint8_t* psrc, size_t maxlen);

        protected:
            timestampFieldType_t type;
            byteVec_t timestamp;

            friend class Packet;
        };

        /// The packet's remaining bytes, raw. Serialised as a big-endian 16-bit length and
        /// the bytes.
        class DataField {
        public:
            byteVec_t data;

            size_t getSize() const { return 2 + data.size(); }
            size_t writeToByteArray(uint8_t*& pdest, size_t maxlen) const;
            size_t readFromByteArray(const uint8_t* psrc, size_t maxlen);
        };

        IdentificationField identificationField;
        TimestampField timestampField;
        DataField dataField;

        size_t getSize() const;
        size_t writeToByteArray(uint8_t*& pdest, size_t maxlen) const;
        size_t readFromByteArray(const uint8_t* psrc, size_t maxlen);
        /// Moves as many leading data bytes into the time stamp as its type sizes it for:
        /// for producers that learn the time-stamp size after filling the data field.
        bool moveTimestampData();
    };

    /// Transport-layer tail: the fill bytes XCP on CAN may append to fill the frame.
    /// Serialised as a length byte followed by the bytes (only when active).
    class Tail {
    public:
        Tail();

        byteVec_t data;  ///< fill bytes, raw

        /// Stores the type; Ethernet, CAN and FlexRay also empty the tail and switch it off.
        void setTransportType(transportType_t type);
        /// Only a CAN or FlexRay tail can be switched; returns false elsewhere.
        bool setActive(bool on);
        bool isActive() const { return active; }
        /// CAN or FlexRay tail: `count` zero fill bytes, switched on when count > 0 and off
        /// when 0. Any other transport: no change.
        void setFillBytes(uint8_t count);
        size_t getSize() const { return 1 + data.size(); }

        size_t writeToByteArray(uint8_t*& pdest, size_t maxlen) const;
        size_t readFromByteArray(transportType_t type, const uint8_t* psrc, size_t maxlen);

    protected:
        transportType_t transportType;
        bool active;
    };

    // ---- members ---------------------------------------------------------------------------

    uint8_t ecuId;  ///< ECU number; 255 when not given
    Header header;
    Packet packet;
    Tail tail;
    transportType_t transportType;
    uint32_t canId;
    cantype_t canType;
    uint8_t canChannel;
    std::string dstIp;
    std::string srcIp;
    std::string mask;
    uint16_t port;
    bool tcp;  ///< Ethernet transport: true for TCP, false for UDP
    msgDirection_t msgDirection;

    // ---- construction ----------------------------------------------------------------------

    XCP_Message();
    /// Shapes header and tail for the transport (an Ethernet header holds LEN and CTR).
    XCP_Message(timeStamp_t ts, transportType_t type, msgDirection_t direction, uint8_t ecu);
    XCP_Message(const XCP_Message&) = default;
    XCP_Message(XCP_Message&&) = default;
    /// Member-wise, as the copy: lets decoders reuse one message object per slot.
    XCP_Message& operator=(const XCP_Message&) = default;
    XCP_Message& operator=(XCP_Message&&) = default;
    ~XCP_Message() override;

    XCP_Message* clone() const override;
    /// Compares the frame and capture settings; the time stamp and the rest of the base part
    /// take no part.
    bool operator==(const MessageBase& other) const override;

    // ---- trace record ----------------------------------------------------------------------

    /// Record length as existing trace files declare it: 2 less than what is written.
    size_t getSize() const override;
    /// Writes the record; needs getSize() + 2 bytes at pdest (see the class comment).
    size_t writeToByteArray(uint8_t*& pdest, size_t maxlen, bool sync) const override;
    /// Rebuilds a message from a record. Always returns a new object owned by the caller;
    /// a damaged record is reported on std::cerr and yields a partly filled message.
    static MessageBase* readFromByteArray(const uint8_t* psrc, size_t maxlen);
    /// Registers readFromByteArray as the reader of MSGID_XCP records.
    static bool registerMessage();

    // ---- accessors -------------------------------------------------------------------------

    void setTransportType(transportType_t type) { transportType = type; }
    transportType_t getTransportType() const { return transportType; }
    void setCanTransportTypeSettings(uint32_t id, cantype_t type, uint8_t channel);
    /// Only for TT_CAN: fills the outputs and returns true; otherwise leaves them alone.
    bool getCanTransportTypeSettings(uint32_t& id, cantype_t& type, uint8_t& channel) const;
    void setEthernetTransportTypeSettings(const std::string& dst, const std::string& src,
                                          const std::string& netMask, uint16_t portNumber, bool isTcp);
    /// Only for TT_ETHERNET: fills the outputs and returns true; otherwise leaves them alone.
    bool getEthernetTransportTypeSettings(std::string& dst, std::string& src, std::string& netMask,
                                          uint16_t& portNumber, bool& isTcp) const;
    void setMsgDirection(msgDirection_t direction) { msgDirection = direction; }
    msgDirection_t getMsgDirection() const { return msgDirection; }
    void setEcuId(uint8_t ecu) { ecuId = ecu; }
    uint8_t getEcuId() const { return ecuId; }

    // ---- XCP meaning, derived afresh from direction and PID at every call -----------------

    packetType_t getPacketType() const;
    cmdCode_t getCmdCode() const;
    masterToSlavePid_t getMasterToSlavePid() const;
    slaveToMasterPid_t getSlaveToMasterPid() const;
    errorPacketCode_t getErrorPacketCode() const;
    eventPacketCode_t getEventPacketCode() const;
    serviceRequestPacketCode_t getServiceRequestPacketCode() const;
    /// Minimum number of data bytes of the positive response to a command, -1 if none.
    static int getMinResDataSize(cmdCode_t cmd);

    // ---- source channel -------------------------------------------------------------------

    /// "CCP_XCP #" and the ECU number.
    std::string getSourceChannel() const override;
    /// Bus CCP/XCP, channel ecuId, logger number in the upper 32 bits.
    uint64_t getSourceChannelID() const override;
    using MessageBase::cascadeChannel;
    /// Adds xcpOffset to the ECU number and, for CAN, transportChannelOffset to the CAN
    /// channel; both wrap at 256.
    void cascadeChannel(uint16_t xcpOffset, uint16_t transportChannelOffset);

    // ---- text ------------------------------------------------------------------------------

    std::ostream& print(std::ostream& _os) const override;

protected:
    XCP_Message(const uint8_t* psrc, size_t maxlen);

private:
    static bool pidInStimRange(uint32_t pid);
    static bool pidInCmdRange(uint32_t pid);
    static bool pidInDaqRange(uint32_t pid);
    /// The classification rule; may write the stimulation or unknown-direction line.
    packetType_t classifyPacket() const;
    /// First data byte, or -1 when the data field is empty.
    int32_t firstDataByte() const;
    /// Bytes of the transport settings block that ends the record.
    size_t settingsSize() const;
};

// ---- display texts ---------------------------------------------------------------------------

/// Display text of the values first..last of an enumeration (first == last for one value).
struct XcpDisplayText {
    int32_t first;
    int32_t last;
    const char* text;
};

/// Every display text of one enumeration, with the text shown for any other value.
struct XcpDisplayTable {
    const XcpDisplayText* entries;
    size_t count;
    const char* fallback;

    const XcpDisplayText* begin() const { return entries; }
    const XcpDisplayText* end() const { return entries + count; }
    /// The text of a value: its entry's, or the fallback.
    const char* textOf(int32_t value) const;
};

/// The display table of an enumeration of XCP_Message; the stream operators below print
/// from these tables.
template <typename Enum>
const XcpDisplayTable& xcpDisplayTable();

#define XCP_DISPLAY_ENUMERATION(Enum)                                   \
    template <>                                                         \
    const XcpDisplayTable& xcpDisplayTable<XCP_Message::Enum>();        \
    std::ostream& operator<<(std::ostream& _os, XCP_Message::Enum _in);

XCP_DISPLAY_ENUMERATION(transportType_t)
XCP_DISPLAY_ENUMERATION(msgDirection_t)
XCP_DISPLAY_ENUMERATION(identificationFieldType_t)
XCP_DISPLAY_ENUMERATION(timestampFieldType_t)
XCP_DISPLAY_ENUMERATION(cmdCode_t)
XCP_DISPLAY_ENUMERATION(errorPacketCode_t)
XCP_DISPLAY_ENUMERATION(eventPacketCode_t)
XCP_DISPLAY_ENUMERATION(serviceRequestPacketCode_t)
XCP_DISPLAY_ENUMERATION(slaveToMasterPid_t)
XCP_DISPLAY_ENUMERATION(masterToSlavePid_t)
XCP_DISPLAY_ENUMERATION(packetType_t)
XCP_DISPLAY_ENUMERATION(timeUnit_t)
XCP_DISPLAY_ENUMERATION(eventChannelConsistency_t)
XCP_DISPLAY_ENUMERATION(directionType_t)
XCP_DISPLAY_ENUMERATION(addressGranularity_t)
XCP_DISPLAY_ENUMERATION(daqConfigType_t)
XCP_DISPLAY_ENUMERATION(overloadIndicationType_t)
XCP_DISPLAY_ENUMERATION(optimisationType_t)
XCP_DISPLAY_ENUMERATION(addressExtensionType_t)
XCP_DISPLAY_ENUMERATION(odtEntrySizeGranularity_t)

#undef XCP_DISPLAY_ENUMERATION

// ---- frame piece and message renderings ----------------------------------------------------

/// "ID Field[Type=..., PID=0x.., ...]". Leaves the stream with fill '0' and the integer base
/// decimal for the four DAQ identification types, hexadecimal otherwise; the summary line
/// depends on that.
std::ostream& operator<<(std::ostream& _os, const XCP_Message::Packet::IdentificationField& _in);
/// "TS Field[Type=..., Timestamp=.. ..]"; leaves the stream's format as it was.
std::ostream& operator<<(std::ostream& _os, const XCP_Message::Packet::TimestampField& _in);
/// "Data Field[Data=.. ..]"; leaves the stream's format as it was.
std::ostream& operator<<(std::ostream& _os, const XCP_Message::Packet::DataField& _in);
/// "PACKET[<id>; <ts>; <data>]".
std::ostream& operator<<(std::ostream& _os, const XCP_Message::Packet& _in);
/// "HEADER[on, Data=.. ..]" or "HEADER[off]".
std::ostream& operator<<(std::ostream& _os, const XCP_Message::Header& _in);
/// "TAIL[on, Data=.. ..]" or "TAIL[off]".
std::ostream& operator<<(std::ostream& _os, const XCP_Message::Tail& _in);
/// The one-line summary: base rendering, then
/// "  XCP <transport> <direction> | ECU[n], [<packet type>(<command>)]; <header>; <packet>;
/// <tail>; <CAN or ETH settings>". No line end, no flush; the stream keeps the fill and
/// base the line leaves behind.
std::ostream& operator<<(std::ostream& _os, const XCP_Message& _in);

#endif  // QVTRACE_XCP_MESSAGE_H
