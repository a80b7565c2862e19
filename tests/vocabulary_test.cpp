// The XCP vocabulary of XCP_Message: every enumeration with its values, and the display text
// that its stream operator writes for every value, named or not.
//
// Each enumeration is described below a second time, independently of the library's display
// tables: enumerator, value and text as the XCP standard and existing viewers have them. The tests
// compare the library against these lists, walk the library's own tables, and probe the
// values next to every named value, gap and range bound for the fallback text.

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <iomanip>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "XCP_Message.h"
#include "test_support.h"

namespace {

using M = XCP_Message;

// ---- width and signedness ------------------------------------------------------------------
// Values such as ERR_NOT_SET (-1) are real enumerators and every enumeration travels as four
// bytes, so each one is declared with int32_t underneath.

#define EXPECT_INT32_ENUMERATION(Enum)                                                   \
    static_assert(std::is_same<std::underlying_type<M::Enum>::type, int32_t>::value,     \
                  #Enum " must be declared with int32_t as its underlying type");        \
    static_assert(sizeof(M::Enum) == 4, #Enum " must be four bytes wide")

EXPECT_INT32_ENUMERATION(transportType_t);
EXPECT_INT32_ENUMERATION(msgDirection_t);
EXPECT_INT32_ENUMERATION(identificationFieldType_t);
EXPECT_INT32_ENUMERATION(timestampFieldType_t);
EXPECT_INT32_ENUMERATION(cmdCode_t);
EXPECT_INT32_ENUMERATION(errorPacketCode_t);
EXPECT_INT32_ENUMERATION(eventPacketCode_t);
EXPECT_INT32_ENUMERATION(serviceRequestPacketCode_t);
EXPECT_INT32_ENUMERATION(slaveToMasterPid_t);
EXPECT_INT32_ENUMERATION(masterToSlavePid_t);
EXPECT_INT32_ENUMERATION(packetType_t);
EXPECT_INT32_ENUMERATION(timeUnit_t);
EXPECT_INT32_ENUMERATION(eventChannelConsistency_t);
EXPECT_INT32_ENUMERATION(directionType_t);
EXPECT_INT32_ENUMERATION(addressGranularity_t);
EXPECT_INT32_ENUMERATION(daqConfigType_t);
EXPECT_INT32_ENUMERATION(overloadIndicationType_t);
EXPECT_INT32_ENUMERATION(optimisationType_t);
EXPECT_INT32_ENUMERATION(addressExtensionType_t);
EXPECT_INT32_ENUMERATION(odtEntrySizeGranularity_t);

#undef EXPECT_INT32_ENUMERATION

// ---- the expected vocabulary ----------------------------------------------------------------

/// One enumerator: its name, the value the protocol gives it, and the text it displays as.
template <typename Enum>
struct Enumerator {
    Enum enumerator;
    int32_t value;
    const char* text;
    const char* name;
};

/// Values that display a text without having an enumerator each (PID ranges).
struct TextRange {
    int32_t first;
    int32_t last;
    const char* text;
};

template <typename Enum>
struct Vocabulary {
    std::vector<Enumerator<Enum>> enumerators;
    std::vector<TextRange> ranges;
    std::string fallback;

    /// Every value that has a text of its own, with that text. An enumerator whose text is
    /// the fallback (such as EV_INVALID) has none of its own.
    std::map<int64_t, std::string> ownTexts() const
    {
        std::map<int64_t, std::string> texts;
        for (const TextRange& range : ranges) {
            for (int64_t v = range.first; v <= range.last; ++v) {
                texts[v] = range.text;
            }
        }
        for (const Enumerator<Enum>& e : enumerators) {
            if (fallback != e.text) {
                texts[e.value] = e.text;
            }
        }
        return texts;
    }

    std::string expectedText(int64_t value) const
    {
        std::map<int64_t, std::string> texts = ownTexts();
        auto found = texts.find(value);
        return found == texts.end() ? fallback : found->second;
    }
};

#define ROW(name, value, text) {M::name, value, text, #name}

Vocabulary<M::transportType_t> transportTypes()
{
    return {{ROW(TT_UNKNOWN, 0, "UNKNOWN"), ROW(TT_ETHERNET, 1, "ETH"), ROW(TT_CAN, 2, "CAN"),
             ROW(TT_FLEXRAY, 3, "FR")},
            {},
            "invalid transport type"};
}

Vocabulary<M::msgDirection_t> msgDirections()
{
    return {{ROW(MD_UNKNOWN, 0, "UNKNOWN"), ROW(MD_RX, 1, "Rx"), ROW(MD_TX, 2, "Tx")}, {}, "invalid msg direction"};
}

Vocabulary<M::identificationFieldType_t> identificationFieldTypes()
{
    // 4 has no enumerator and shows the fallback.
    return {{ROW(IFT_ABSOLUTE_ODT_NUMBER, 0, "ABSOLUTE_ODT_NUMBER"),
             ROW(IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE, 1, "RELATIVE_ODT_ABSOLUTE_DAQ_BYTE"),
             ROW(IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD, 2, "RELATIVE_ODT_ABSOLUTE_DAQ_WORD"),
             ROW(IFT_RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED, 3, "RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED"),
             ROW(IFT_CTO_PACKET_CODE, 5, "CTO_PACKET_CODE")},
            {},
            "invalid type"};
}

Vocabulary<M::timestampFieldType_t> timestampFieldTypes()
{
    // Each value is the time stamp's size in bytes; 3 has no enumerator.
    return {{ROW(TST_NO, 0, "NO"), ROW(TST_BYTE, 1, "BYTE"), ROW(TST_WORD, 2, "WORD"), ROW(TST_DWORD, 4, "DWORD")},
            {},
            "invalid type"};
}

Vocabulary<M::cmdCode_t> cmdCodes()
{
    // 0xCC and 0xE9 display as existing viewers show them ("PROGRAMM_PREPARE",
    // "GET_PAG_PROCESSOR").
    return {{
                ROW(XCP_CC_UNDEFINED, 0x00, "invalid command code"),
                ROW(XCP_CC_STD_CONNECT, 0xFF, "CONNECT"),
                ROW(XCP_CC_STD_DISCONNECT, 0xFE, "DISCONNECT"),
                ROW(XCP_CC_STD_GET_STATUS, 0xFD, "GET_STATUS"),
                ROW(XCP_CC_STD_SYNCH, 0xFC, "SYNCH"),
                ROW(XCP_CC_STD_GET_COMM_MODE_INFO, 0xFB, "GET_COMM_MODE_INFO"),
                ROW(XCP_CC_STD_GET_ID, 0xFA, "GET_ID"),
                ROW(XCP_CC_STD_SET_REQUEST, 0xF9, "SET_REQUEST"),
                ROW(XCP_CC_STD_GET_SEED, 0xF8, "GET_SEED"),
                ROW(XCP_CC_STD_UNLOCK, 0xF7, "UNLOCK"),
                ROW(XCP_CC_STD_SET_MTA, 0xF6, "SET_MTA"),
                ROW(XCP_CC_STD_UPLOAD, 0xF5, "UPLOAD"),
                ROW(XCP_CC_STD_SHORT_UPLOAD, 0xF4, "SHORT_UPLOAD"),
                ROW(XCP_CC_STD_BUILD_CHECKSUM, 0xF3, "BUILD_CHECKSUM"),
                ROW(XCP_CC_STD_TRANSPORT_LAYER_CMD, 0xF2, "TRANSPORT_LAYER_CMD"),
                ROW(XCP_CC_STD_USER_CMD, 0xF1, "USER_CMD"),
                ROW(XCP_CC_CAL_DOWNLOAD, 0xF0, "DOWNLOAD"),
                ROW(XCP_CC_CAL_DOWNLOAD_NEXT, 0xEF, "DOWNLOAD_NEXT"),
                ROW(XCP_CC_CAL_DOWNLOAD_MAX, 0xEE, "DOWNLOAD_MAX"),
                ROW(XCP_CC_CAL_SHORT_DOWNLOAD, 0xED, "SHORT_DOWNLOAD"),
                ROW(XCP_CC_CAL_MODIFY_BITS, 0xEC, "MODIFY_BITS"),
                ROW(XCP_CC_PAG_SET_CAL_PAGE, 0xEB, "SET_CAL_PAGE"),
                ROW(XCP_CC_PAG_GET_CAL_PAGE, 0xEA, "GET_CAL_PAGE"),
                ROW(XCP_CC_PAG_GET_PAG_PROCESSOR_INFO, 0xE9, "GET_PAG_PROCESSOR"),
                ROW(XCP_CC_PAG_GET_SEGMENT_INFO, 0xE8, "GET_SEGMENT_INFO"),
                ROW(XCP_CC_PAG_GET_PAGE_INFO, 0xE7, "GET_PAGE_INFO"),
                ROW(XCP_CC_PAG_SET_SEGMENT_MODE, 0xE6, "SET_SEGMENT_MODE"),
                ROW(XCP_CC_PAG_GET_SEGMENT_MODE, 0xE5, "GET_SEGMENT_MODE"),
                ROW(XCP_CC_PAG_COPY_CAL_PAGE, 0xE4, "COPY_CAL_PAGE"),
                ROW(XCP_CC_DAQ_CLEAR_DAQ_LIST, 0xE3, "CLEAR_DAQ_LIST"),
                ROW(XCP_CC_DAQ_SET_DAQ_PTR, 0xE2, "SET_DAQ_PTR"),
                ROW(XCP_CC_DAQ_WRITE_DAQ, 0xE1, "WRITE_DAQ"),
                ROW(XCP_CC_DAQ_SET_DAQ_LIST_MODE, 0xE0, "SET_DAQ_LIST_MODE"),
                ROW(XCP_CC_DAQ_GET_DAQ_LIST_MODE, 0xDF, "GET_DAQ_LIST_MODE"),
                ROW(XCP_CC_DAQ_START_STOP_DAQ_LIST, 0xDE, "START_STOP_DAQ_LIST"),
                ROW(XCP_CC_DAQ_START_STOP_SYNCH, 0xDD, "START_STOP_SYNCH"),
                ROW(XCP_CC_DAQ_GET_DAQ_CLOCK, 0xDC, "GET_DAQ_CLOCK"),
                ROW(XCP_CC_DAQ_READ_DAQ, 0xDB, "READ_DAQ"),
                ROW(XCP_CC_DAQ_GET_DAQ_PROCESSOR_INFO, 0xDA, "GET_DAQ_PROCESSOR_INFO"),
                ROW(XCP_CC_DAQ_GET_DAQ_RESOLUTION_INFO, 0xD9, "GET_DAQ_RESOLUTION_INFO"),
                ROW(XCP_CC_DAQ_GET_DAQ_LIST_INFO, 0xD8, "GET_DAQ_LIST_INFO"),
                ROW(XCP_CC_DAQ_GET_DAQ_EVENT_INFO, 0xD7, "GET_DAQ_EVENT_INFO"),
                ROW(XCP_CC_DAQ_FREE_DAQ, 0xD6, "FREE_DAQ"),
                ROW(XCP_CC_DAQ_ALLOC_DAQ, 0xD5, "ALLOC_DAQ"),
                ROW(XCP_CC_DAQ_ALLOC_ODT, 0xD4, "ALLOC_ODT"),
                ROW(XCP_CC_DAQ_ALLOC_ODT_ENTRY, 0xD3, "ALLOC_ODT_ENTRY"),
                ROW(XCP_CC_PGM_PROGRAM_START, 0xD2, "PROGRAM_START"),
                ROW(XCP_CC_PGM_PROGRAM_CLEAR, 0xD1, "PROGRAM_CLEAR"),
                ROW(XCP_CC_PGM_PROGRAM, 0xD0, "PROGRAM"),
                ROW(XCP_CC_PGM_PROGRAM_RESET, 0xCF, "PROGRAM_RESET"),
                ROW(XCP_CC_PGM_GET_PGM_PROCESSOR_INFO, 0xCE, "GET_PGM_PROCESSOR_INFO"),
                ROW(XCP_CC_PGM_GET_SECTOR_INFO, 0xCD, "GET_SECTOR_INFO"),
                ROW(XCP_CC_PGM_PROGRAM_PREPARE, 0xCC, "PROGRAMM_PREPARE"),
                ROW(XCP_CC_PGM_PROGRAM_FORMAT, 0xCB, "PROGRAM_FORMAT"),
                ROW(XCP_CC_PGM_PROGRAM_NEXT, 0xCA, "PROGRAM_NEXT"),
                ROW(XCP_CC_PGM_PROGRAM_MAX, 0xC9, "PROGRAM_MAX"),
                ROW(XCP_CC_PGM_PROGRAM_VERIFY, 0xC8, "PROGRAM_VERIFY"),
                ROW(XCP_CC_DAQ_WRITE_DAQ_MULTIPLE, 0xC7, "WRITE_DAQ_MULTIPLE"),
            },
            {},
            "invalid command code"};
}

Vocabulary<M::errorPacketCode_t> errorPacketCodes()
{
    // Severity classes with a hyphen, ERR_NOT_SET with an underscore; the enumerator of 0x33
    // is spelled TMPORARY.
    return {{
                ROW(ERR_NOT_SET, -1, "ERR_NOT_SET"),
                ROW(ERR_CMD_SYNCH, 0x00, "ERR-S0_CMD_SYNCH"),
                ROW(ERR_CMD_BUSY, 0x10, "ERR-S2_CMD_BUSY"),
                ROW(ERR_DAQ_ACTIVE, 0x11, "ERR-S2_DAQ_ACTIVE"),
                ROW(ERR_PGM_ACTIVE, 0x12, "ERR-S2_PGM_ACTIVE"),
                ROW(ERR_CMD_UNKNOWN, 0x20, "ERR-S2_CMD_UNKNOWN"),
                ROW(ERR_CMD_SYNTAX, 0x21, "ERR-S2_CMD_SYNTAX"),
                ROW(ERR_OUT_OF_RANGE, 0x22, "ERR-S2_OUT_OF_RANGE"),
                ROW(ERR_WRITE_PROTECTED, 0x23, "ERR-S2_WRITE_PROTECTED"),
                ROW(ERR_ACCESS_DENIED, 0x24, "ERR-S2_ACCESS_DENIED"),
                ROW(ERR_ACCESS_LOCKED, 0x25, "ERR-S2_ACCESS_LOCKED"),
                ROW(ERR_PAGE_NOT_VALID, 0x26, "ERR-S2_PAGE_NOT_VALID"),
                ROW(ERR_MODE_NOT_VALID, 0x27, "ERR-S2_MODE_NOT_VALID"),
                ROW(ERR_SEGMENT_NOT_VALID, 0x28, "ERR-S2_SEGMENT_NOT_VALID"),
                ROW(ERR_SEQUENCE, 0x29, "ERR-S2_SEQUENCE"),
                ROW(ERR_DAQ_CONFIG, 0x2A, "ERR-S2_DAQ_CONFIG"),
                ROW(ERR_MEMORY_OVERFLOW, 0x30, "ERR-S2_MEMORY_OVERFLOW"),
                ROW(ERR_GENERIC, 0x31, "ERR-S2_GENERIC"),
                ROW(ERR_VERIFY, 0x32, "ERR-S3_VERIFY"),
                ROW(ERR_RESOURCE_TMPORARY_NOT_ACCESSIBLE, 0x33, "ERR-S2_RESOURCE_TMP_NOT_ACCESSIBLE"),
            },
            {},
            "invalid error code"};
}

Vocabulary<M::eventPacketCode_t> eventPacketCodes()
{
    return {{
                ROW(EV_INVALID, -1, "invalid event code"),
                ROW(EV_RESUME_MODE, 0x00, "EV-S0_RESUME_MODE"),
                ROW(EV_CLEAR_DAQ, 0x01, "EV-S0_CLEAR_DAQ"),
                ROW(EV_STORE_DAQ, 0x02, "EV-S0_STORE_DAQ"),
                ROW(EV_STORE_CAL, 0x03, "EV-S0_STORE_CAL"),
                ROW(EV_CMD_PENDING, 0x05, "EV-S1_CMD_PENDING"),
                ROW(EV_DAQ_OVERLOAD, 0x06, "EV-S1_DAQ_OVERLOAD"),
                ROW(EV_SESSION_TERMINATED, 0x07, "EV-S3_SESSION_TERMINATED"),
                ROW(EV_TIME_SYNC, 0x08, "EV-S0_TIME_SYNC"),
                ROW(EV_STIM_TIMEOUT, 0x09, "EV-S0-S3_STIM_TIMEOUT"),
                ROW(EV_SLEEP, 0x0A, "EV-S1_SLEEP"),
                ROW(EV_WAKE_UP, 0x0B, "EV-S1_WAKE_UP"),
                ROW(EV_USER, 0xFE, "EV-S0_USER"),
                ROW(EV_TRANSPORT, 0xFF, "EV-Sx_TRANSPORT"),
            },
            {},
            "invalid event code"};
}

Vocabulary<M::serviceRequestPacketCode_t> serviceRequestPacketCodes()
{
    return {{ROW(SERV_INVALID, -1, "invalid service request code"), ROW(SERV_RESET, 0x00, "SERV_RESET"),
             ROW(SERV_TEXT, 0x01, "SERV_TEXT")},
            {},
            "invalid service request code"};
}

Vocabulary<M::slaveToMasterPid_t> slaveToMasterPids()
{
    return {{ROW(S2M_INVALID, -1, "INVALID"), ROW(S2M_PID_RES, 0xFF, "RES"), ROW(S2M_PID_ERR, 0xFE, "ERR"),
             ROW(S2M_PID_EV, 0xFD, "EV"), ROW(S2M_PID_SERV, 0xFC, "SERV"),
             ROW(S2M_PID_DAQ_FIRST, 0x00, "DAQ_xxx"), ROW(S2M_PID_DAQ_LAST, 0xFB, "DAQ_xxx")},
            {{0x00, 0xFB, "DAQ_xxx"}},
            "invalid S2M PID"};
}

Vocabulary<M::masterToSlavePid_t> masterToSlavePids()
{
    return {{ROW(M2S_INVALID, -1, "INVALID"), ROW(M2S_PID_STIM_FIRST, 0x00, "STIM_xxx"),
             ROW(M2S_PID_STIM_LAST, 0xBF, "STIM_xxx"), ROW(M2S_PID_CMD_FIRST, 0xC0, "CMD_xxx"),
             ROW(M2S_PID_CMD_LAST, 0xFF, "CMD_xxx")},
            {{0x00, 0xBF, "STIM_xxx"}, {0xC0, 0xFF, "CMD_xxx"}},
            "invalid M2S PID"};
}

Vocabulary<M::packetType_t> packetTypes()
{
    return {{ROW(PT_UNKNOWN, 0, "UNKNOWN"), ROW(PT_CTO_CMD, 1, "CTO_CMD"), ROW(PT_CTO_RES, 2, "CTO_RES"),
             ROW(PT_CTO_ERR, 3, "CTO_ERR"), ROW(PT_CTO_EV, 4, "CTO_EV"), ROW(PT_CTO_SERV, 5, "CTO_SERV"),
             ROW(PT_DTO_DAQ, 6, "DTO_DAQ"), ROW(PT_DTO_STIM, 7, "DTO_STIM")},
            {},
            "invalid packet type"};
}

Vocabulary<M::timeUnit_t> timeUnits()
{
    // The picosecond units follow the second.
    return {{ROW(TU_1NS, 0, "1 NS"), ROW(TU_10NS, 1, "10 NS"), ROW(TU_100NS, 2, "100 NS"), ROW(TU_1US, 3, "1 US"),
             ROW(TU_10US, 4, "10 US"), ROW(TU_100US, 5, "100 US"), ROW(TU_1MS, 6, "1 MS"),
             ROW(TU_10MS, 7, "10 MS"), ROW(TU_100MS, 8, "100 MS"), ROW(TU_1S, 9, "1 S"),
             ROW(TU_1PS, 10, "1 PS"), ROW(TU_10PS, 11, "10 PS"), ROW(TU_100PS, 12, "100 PS")},
            {},
            "invalid time unit"};
}

Vocabulary<M::eventChannelConsistency_t> eventChannelConsistencies()
{
    return {{ROW(ECC_ODT, 0, "ODT"), ROW(ECC_DAQ, 1, "DAQ"), ROW(ECC_EVENT, 2, "EVENT")}, {}, "invalid consistency"};
}

Vocabulary<M::directionType_t> directionTypes()
{
    return {{ROW(DT_DAQ, 1, "DAQ"), ROW(DT_STIM, 2, "STIM"), ROW(DT_BOTH, 3, "BOTH")}, {}, "invalid type"};
}

Vocabulary<M::addressGranularity_t> addressGranularities()
{
    return {{ROW(AG_BYTE, 1, "BYTE"), ROW(AG_WORD, 2, "WORD"), ROW(AG_DWORD, 4, "DWORD")}, {}, "invalid type"};
}

Vocabulary<M::daqConfigType_t> daqConfigTypes()
{
    return {{ROW(DCT_STATIC, 0, "STATIC"), ROW(DCT_DYNAMIC, 1, "DYNAMIC")}, {}, "invalid type"};
}

Vocabulary<M::overloadIndicationType_t> overloadIndicationTypes()
{
    return {{ROW(OIT_NO, 0, "NO"), ROW(OIT_PID, 1, "PID"), ROW(OIT_EVENT, 2, "EVENT")}, {}, "invalid type"};
}

Vocabulary<M::optimisationType_t> optimisationTypes()
{
    return {{ROW(OT_DEFAULT, 0, "DEFAULT"), ROW(OT_ODT_TYPE_16, 1, "ODT_TYPE_16"), ROW(OT_ODT_TYPE_32, 2, "ODT_TYPE_32"),
             ROW(OT_ODT_TYPE_64, 3, "ODT_TYPE_64"), ROW(OT_ODT_TYPE_ALIGNMENT, 4, "ODT_TYPE_ALIGNMENT"),
             ROW(OT_MAX_ENTRY_SIZE, 5, "MAX_ENTRY_SIZE")},
            {},
            "invalid type"};
}

Vocabulary<M::addressExtensionType_t> addressExtensionTypes()
{
    return {{ROW(AET_FREE, 0, "FREE"), ROW(AET_ODT, 1, "ODT"), ROW(AET_DAQ, 3, "DAQ")}, {}, "invalid type"};
}

Vocabulary<M::odtEntrySizeGranularity_t> odtEntrySizeGranularities()
{
    return {{ROW(OESG_BYTE, 1, "BYTE"), ROW(OESG_WORD, 2, "WORD"), ROW(OESG_DWORD, 4, "DWORD"),
             ROW(OESG_DLONG, 8, "DLONG")},
            {},
            "invalid type"};
}

#undef ROW

// ---- checks shared by every enumeration ------------------------------------------------------

template <typename Enum>
std::string display(Enum value)
{
    std::ostringstream text;
    text << value;
    return text.str();
}

template <typename Enum>
std::string displayNumber(int64_t value)
{
    return display(static_cast<Enum>(static_cast<int32_t>(value)));
}

/// Every enumerator exists under its name with its value and displays its text.
template <typename Enum>
void expectEnumerators(const Vocabulary<Enum>& vocabulary)
{
    for (const Enumerator<Enum>& e : vocabulary.enumerators) {
        EXPECT_EQ(static_cast<int32_t>(e.enumerator), e.value) << e.name;
        EXPECT_EQ(display(e.enumerator), e.text) << e.name;
    }
}

/// The library's table lists exactly the expected texts: every entry's values carry the
/// expected text, every value with a text is found, and the fallback is the expected one.
template <typename Enum>
void expectTableMatchesExpectedTexts(const Vocabulary<Enum>& vocabulary)
{
    const XcpDisplayTable& table = xcpDisplayTable<Enum>();
    EXPECT_EQ(std::string(table.fallback), vocabulary.fallback);
    ASSERT_GT(table.count, 0u);

    std::map<int64_t, std::string> own = vocabulary.ownTexts();
    for (const XcpDisplayText& entry : table) {
        ASSERT_LE(entry.first, entry.last) << entry.text;
        ASSERT_LE(static_cast<int64_t>(entry.last) - entry.first, 255) << entry.text;
        for (int64_t v = entry.first; v <= entry.last; ++v) {
            EXPECT_EQ(entry.text, vocabulary.expectedText(v)) << "table entry for value " << v;
            EXPECT_EQ(own.count(v), 1u) << "table names value " << v << ", which has no text of its own";
            // The operator prints from this table.
            EXPECT_EQ(displayNumber<Enum>(v), vocabulary.expectedText(v)) << "value " << v;
        }
    }
    for (const auto& named : own) {
        EXPECT_EQ(std::string(table.textOf(static_cast<int32_t>(named.first))), named.second)
            << "value " << named.first;
        EXPECT_EQ(displayNumber<Enum>(named.first), named.second) << "value " << named.first;
    }
}

/// Values next to every named value, gap and range bound, and the extremes of the type,
/// show the fallback unless they have a text of their own.
template <typename Enum>
void expectFallbackAroundNamedValues(const Vocabulary<Enum>& vocabulary)
{
    std::set<int64_t> probes = {INT32_MIN, INT32_MIN + 1, -2, -1, 0, 1, 0xFF, 0x100, 0x101, 0xFFFF, 0x10000,
                                INT32_MAX - 1, INT32_MAX};
    auto addAround = [&probes](int64_t v) {
        for (int64_t p = v - 1; p <= v + 1; ++p) {
            if (p >= INT32_MIN && p <= INT32_MAX) {
                probes.insert(p);
            }
        }
    };
    for (const Enumerator<Enum>& e : vocabulary.enumerators) {
        addAround(e.value);
    }
    for (const TextRange& range : vocabulary.ranges) {
        addAround(range.first);
        addAround(range.last);
    }
    for (const auto& named : vocabulary.ownTexts()) {
        addAround(named.first);
    }

    const XcpDisplayTable& table = xcpDisplayTable<Enum>();
    size_t fallbacks = 0;
    for (int64_t v : probes) {
        std::string expected = vocabulary.expectedText(v);
        EXPECT_EQ(displayNumber<Enum>(v), expected) << "value " << v;
        EXPECT_EQ(std::string(table.textOf(static_cast<int32_t>(v))), expected) << "value " << v;
        if (expected == vocabulary.fallback) {
            ++fallbacks;
        }
    }
    EXPECT_GT(fallbacks, 0u);
}

/// The operator writes into the stream it was given and returns it, so outputs chain; it
/// neither flushes nor depends on the stream's number formatting.
template <typename Enum>
void expectOperatorReturnsItsStream(const Vocabulary<Enum>& vocabulary)
{
    ASSERT_FALSE(vocabulary.enumerators.empty());
    const Enumerator<Enum>& named = vocabulary.enumerators.front();
    const Enum unnamed = static_cast<Enum>(INT32_MIN + 7);

    std::ostringstream out;
    std::ostream& returned = (out << named.enumerator);
    EXPECT_EQ(&returned, &out);
    std::ostream& returnedForFallback = (out << unnamed);
    EXPECT_EQ(&returnedForFallback, &out);
    EXPECT_EQ(out.str(), std::string(named.text) + vocabulary.fallback);

    std::ostringstream chained;
    chained << "<" << named.enumerator << "|" << unnamed << ">";
    EXPECT_EQ(chained.str(), "<" + std::string(named.text) + "|" + vocabulary.fallback + ">");

    testsupport::FlushRecordingBuf buffer;
    std::ostream recorded(&buffer);
    recorded << std::hex << std::uppercase << std::showbase << std::setfill('#');
    const std::ios_base::fmtflags flagsBefore = recorded.flags();
    recorded << named.enumerator << unnamed;
    EXPECT_EQ(buffer.str(), std::string(named.text) + vocabulary.fallback);
    EXPECT_TRUE(buffer.syncPositions().empty());
    EXPECT_EQ(recorded.flags(), flagsBefore);
    EXPECT_EQ(recorded.fill(), '#');
}

#define VOCABULARY_TESTS(Suite, vocabulary)                                                          \
    TEST(Suite, EnumeratorsHaveTheirValuesAndTexts) { expectEnumerators(vocabulary()); }           \
    TEST(Suite, DisplayTableMatchesTheExpectedTexts) { expectTableMatchesExpectedTexts(vocabulary()); } \
    TEST(Suite, ValuesAroundNamedOnesShowTheFallback) { expectFallbackAroundNamedValues(vocabulary()); } \
    TEST(Suite, OperatorReturnsTheStreamItWasGiven) { expectOperatorReturnsItsStream(vocabulary()); }

VOCABULARY_TESTS(TransportTypeDisplay, transportTypes)
VOCABULARY_TESTS(MsgDirectionDisplay, msgDirections)
VOCABULARY_TESTS(IdentificationFieldTypeDisplay, identificationFieldTypes)
VOCABULARY_TESTS(TimestampFieldTypeDisplay, timestampFieldTypes)
VOCABULARY_TESTS(CmdCodeDisplay, cmdCodes)
VOCABULARY_TESTS(ErrorPacketCodeDisplay, errorPacketCodes)
VOCABULARY_TESTS(EventPacketCodeDisplay, eventPacketCodes)
VOCABULARY_TESTS(ServiceRequestPacketCodeDisplay, serviceRequestPacketCodes)
VOCABULARY_TESTS(SlaveToMasterPidDisplay, slaveToMasterPids)
VOCABULARY_TESTS(MasterToSlavePidDisplay, masterToSlavePids)
VOCABULARY_TESTS(PacketTypeDisplay, packetTypes)
VOCABULARY_TESTS(TimeUnitDisplay, timeUnits)
VOCABULARY_TESTS(EventChannelConsistencyDisplay, eventChannelConsistencies)
VOCABULARY_TESTS(DirectionTypeDisplay, directionTypes)
VOCABULARY_TESTS(AddressGranularityDisplay, addressGranularities)
VOCABULARY_TESTS(DaqConfigTypeDisplay, daqConfigTypes)
VOCABULARY_TESTS(OverloadIndicationTypeDisplay, overloadIndicationTypes)
VOCABULARY_TESTS(OptimisationTypeDisplay, optimisationTypes)
VOCABULARY_TESTS(AddressExtensionTypeDisplay, addressExtensionTypes)
VOCABULARY_TESTS(OdtEntrySizeGranularityDisplay, odtEntrySizeGranularities)

#undef VOCABULARY_TESTS

// ---- the lists themselves --------------------------------------------------------------------

TEST(CmdCodeVocabulary, OneEnumeratorForEveryCodeFromC7ToFF)
{
    std::set<int32_t> codes;
    size_t named = 0;
    for (const Enumerator<M::cmdCode_t>& e : cmdCodes().enumerators) {
        if (e.enumerator == M::XCP_CC_UNDEFINED) {
            continue;
        }
        ++named;
        codes.insert(e.value);
    }
    EXPECT_EQ(named, 57u);
    EXPECT_EQ(codes.size(), 57u);
    EXPECT_EQ(*codes.begin(), 0xC7);
    EXPECT_EQ(*codes.rbegin(), 0xFF);
}

TEST(CmdCodeVocabulary, LibraryTableHoldsOneTextPerCommand)
{
    // Every code 0xC7..0xFF has exactly one entry; nothing below 0xC7 is named.
    std::map<int32_t, int> entriesPerCode;
    for (const XcpDisplayText& entry : xcpDisplayTable<M::cmdCode_t>()) {
        for (int64_t v = entry.first; v <= entry.last; ++v) {
            ++entriesPerCode[static_cast<int32_t>(v)];
        }
    }
    EXPECT_EQ(entriesPerCode.size(), 57u);
    for (int32_t code = 0xC7; code <= 0xFF; ++code) {
        EXPECT_EQ(entriesPerCode[code], 1) << "code " << code;
    }
}

// ---- cases worth naming one by one --------------------------------------------------------------

TEST(VocabularyEdgeCases, CommandCodes)
{
    EXPECT_EQ(display(M::XCP_CC_UNDEFINED), "invalid command code");
    EXPECT_EQ(displayNumber<M::cmdCode_t>(0xC6), "invalid command code");
    EXPECT_EQ(displayNumber<M::cmdCode_t>(0xC7), "WRITE_DAQ_MULTIPLE");
    EXPECT_EQ(displayNumber<M::cmdCode_t>(0xCC), "PROGRAMM_PREPARE");
    EXPECT_EQ(displayNumber<M::cmdCode_t>(0xE9), "GET_PAG_PROCESSOR");
    EXPECT_EQ(displayNumber<M::cmdCode_t>(0x100), "invalid command code");
    EXPECT_EQ(displayNumber<M::cmdCode_t>(-1), "invalid command code");
}

TEST(VocabularyEdgeCases, ErrorEventAndServiceCodes)
{
    EXPECT_EQ(displayNumber<M::errorPacketCode_t>(0x13), "invalid error code");
    EXPECT_EQ(displayNumber<M::errorPacketCode_t>(-1), "ERR_NOT_SET");
    EXPECT_EQ(displayNumber<M::errorPacketCode_t>(0x32), "ERR-S3_VERIFY");
    EXPECT_EQ(displayNumber<M::eventPacketCode_t>(0x04), "invalid event code");
    EXPECT_EQ(display(M::EV_INVALID), "invalid event code");
    EXPECT_EQ(displayNumber<M::eventPacketCode_t>(0xFF), "EV-Sx_TRANSPORT");
    EXPECT_EQ(display(M::SERV_INVALID), "invalid service request code");
    EXPECT_EQ(displayNumber<M::serviceRequestPacketCode_t>(0x02), "invalid service request code");
}

TEST(VocabularyEdgeCases, PacketIdentifiers)
{
    EXPECT_EQ(displayNumber<M::slaveToMasterPid_t>(0x00), "DAQ_xxx");
    EXPECT_EQ(displayNumber<M::slaveToMasterPid_t>(0xFB), "DAQ_xxx");
    EXPECT_EQ(displayNumber<M::slaveToMasterPid_t>(256), "invalid S2M PID");
    EXPECT_EQ(displayNumber<M::slaveToMasterPid_t>(-1), "INVALID");
    EXPECT_EQ(displayNumber<M::slaveToMasterPid_t>(-2), "invalid S2M PID");
    EXPECT_EQ(displayNumber<M::masterToSlavePid_t>(0xBF), "STIM_xxx");
    EXPECT_EQ(displayNumber<M::masterToSlavePid_t>(0xC0), "CMD_xxx");
    EXPECT_EQ(displayNumber<M::masterToSlavePid_t>(256), "invalid M2S PID");
    EXPECT_EQ(displayNumber<M::masterToSlavePid_t>(-1), "INVALID");
    EXPECT_EQ(displayNumber<M::masterToSlavePid_t>(INT32_MIN), "invalid M2S PID");
}

TEST(VocabularyEdgeCases, UnnamedTypeAndDirectionValues)
{
    EXPECT_EQ(displayNumber<M::identificationFieldType_t>(4), "invalid type");
    EXPECT_EQ(displayNumber<M::timestampFieldType_t>(3), "invalid type");
    EXPECT_EQ(displayNumber<M::msgDirection_t>(3), "invalid msg direction");
    EXPECT_EQ(displayNumber<M::transportType_t>(4), "invalid transport type");
    EXPECT_EQ(displayNumber<M::packetType_t>(8), "invalid packet type");
    EXPECT_EQ(displayNumber<M::timeUnit_t>(13), "invalid time unit");
    EXPECT_EQ(displayNumber<M::eventChannelConsistency_t>(3), "invalid consistency");
    EXPECT_EQ(displayNumber<M::addressExtensionType_t>(2), "invalid type");
    EXPECT_EQ(displayNumber<M::odtEntrySizeGranularity_t>(3), "invalid type");
}

TEST(VocabularyEdgeCases, NamedValuesShowNoNumber)
{
    // The text alone: no value, no prefix, no padding.
    std::ostringstream out;
    out << std::setfill('0') << std::hex;
    out << M::XCP_CC_STD_CONNECT << M::ERR_CMD_BUSY << M::S2M_PID_RES << M::TU_100PS;
    EXPECT_EQ(out.str(), "CONNECTERR-S2_CMD_BUSYRES100 PS");
}

}  // namespace
