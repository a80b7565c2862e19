// DAQ packets of every identification field type with every time-stamp size, in both byte
// orders, over UDP and CAN: the sessions are generated into a temporary directory; the DAQ
// lines are compared with golden files and checked against the layout the generator uses
// (DAQ list 0 with ODTs of 6 and 7 bytes at 50 Hz, list 1 with one ODT of 4 bytes at 10 Hz;
// absolute ODT numbers from FIRST_PID 0 and 2; time stamps counting microseconds since the
// DAQ phase began; one packet of list 0 lost).

#include <algorithm>
#include <map>
#include <regex>
#include <set>

#include "cli_support.h"

using namespace clitest;

namespace {

struct Variant {
    std::string format;  ///< udp or candump
    std::string idType;
    unsigned timestampSize;
    std::string byteOrder;

    std::string name() const
    {
        return "daq-" + format + "-" + idType + "-ts" + std::to_string(timestampSize) + "-" + byteOrder + ".show";
    }
};

const char* const ID_TYPES[] = {"absolute", "byte", "word", "aligned"};
const unsigned TIMESTAMP_SIZES[] = {0, 1, 2, 4};

/// Every type with every size over UDP, the byte order alternating so that each type and
/// each size meets both; every type over CAN with 4-byte time stamps, where MAX_DTO 8 leaves
/// the first ODT of the aligned type no room for data.
std::vector<Variant> variants()
{
    std::vector<Variant> all;
    for (size_t t = 0; t < 4; ++t) {
        for (size_t s = 0; s < 4; ++s) {
            all.push_back(Variant{"udp", ID_TYPES[t], TIMESTAMP_SIZES[s], (t + s) % 2 == 0 ? "intel" : "motorola"});
        }
    }
    for (size_t t = 0; t < 4; ++t) {
        all.push_back(Variant{"candump", ID_TYPES[t], 4, t % 2 == 0 ? "intel" : "motorola"});
    }
    return all;
}

std::string daqLines(const std::string& output)
{
    std::string result;
    for (const std::string& line : lines(output)) {
        if (line.find("[DTO_DAQ()]") != std::string::npos) {
            result += line + "\n";
        }
    }
    return result;
}

/// Checks every DAQ line against the generator's layout.
void checkLayout(const Variant& v, const std::string& daq)
{
    static const std::regex pattern(
        R"(^(\d+)\.(\d{9})  XCP (ETH|CAN) Rx  \| ECU\[1\], \[DTO_DAQ\(\)\]; HEADER\[[^\]]*\]; PACKET\[ID Field\[Type=(\w+), PID=0x([0-9a-f]{2})(?:, FIRST_PID=0x([0-9a-f]{2}))?, DAQ=(\d+)\]; TS Field\[Type=(\w+)(?:, Timestamp=([0-9a-f ]+))?\]; Data Field\[Data=([0-9a-f ]+|Empty)\]\])");
    const std::map<std::string, std::string> typeNames{{"absolute", "ABSOLUTE_ODT_NUMBER"},
                                                       {"byte", "RELATIVE_ODT_ABSOLUTE_DAQ_BYTE"},
                                                       {"word", "RELATIVE_ODT_ABSOLUTE_DAQ_WORD"},
                                                       {"aligned", "RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED"}};
    const std::map<std::string, unsigned> idSizes{{"absolute", 1}, {"byte", 2}, {"word", 3}, {"aligned", 4}};
    const std::map<unsigned, std::string> timestampNames{{1, "BYTE"}, {2, "WORD"}, {4, "DWORD"}};
    const std::map<std::pair<unsigned, unsigned>, unsigned> wanted{{{0, 0}, 6}, {{0, 1}, 7}, {{1, 0}, 4}};
    bool can = v.format == "candump";
    unsigned maxDto = can ? 8 : 1400;
    unsigned idSize = idSizes.at(v.idType);
    uint64_t modulus = v.timestampSize == 0 ? 1 : 1ull << (8 * v.timestampSize);

    std::map<std::pair<unsigned, unsigned>, unsigned> counts;
    std::map<unsigned, std::set<uint64_t>> offsets;  // capture time minus ECU time, per list
    for (const std::string& line : lines(daq)) {
        std::smatch m;
        ASSERT_TRUE(std::regex_search(line, m, pattern)) << v.name() << ": " << line;
        EXPECT_EQ(m[3].str(), can ? "CAN" : "ETH") << line;
        EXPECT_EQ(m[4].str(), typeNames.at(v.idType)) << line;
        unsigned pid = static_cast<unsigned>(std::stoul(m[5].str(), nullptr, 16));
        unsigned list = static_cast<unsigned>(std::stoul(m[7].str()));
        unsigned odt;
        if (v.idType == "absolute") {
            ASSERT_TRUE(m[6].matched) << line;
            unsigned firstPid = static_cast<unsigned>(std::stoul(m[6].str(), nullptr, 16));
            EXPECT_EQ(firstPid, list == 0 ? 0u : 2u) << line;
            odt = pid - firstPid;
        } else {
            EXPECT_FALSE(m[6].matched) << line;
            odt = pid;
        }
        ASSERT_EQ(wanted.count({list, odt}), 1u) << line;
        ++counts[{list, odt}];

        unsigned timestampBytes = odt == 0 ? v.timestampSize : 0;
        if (timestampBytes == 0) {
            EXPECT_EQ(m[8].str(), "NO") << line;
        } else {
            EXPECT_EQ(m[8].str(), timestampNames.at(timestampBytes)) << line;
            std::vector<std::string> bytes;
            std::istringstream in(m[9].str());
            for (std::string byte; in >> byte;) {
                bytes.push_back(byte);
            }
            ASSERT_EQ(bytes.size(), timestampBytes) << line;
            uint64_t value = 0;
            for (size_t i = 0; i < bytes.size(); ++i) {
                const std::string& byte = v.byteOrder == "motorola" ? bytes[i] : bytes[bytes.size() - 1 - i];
                value = (value << 8) | std::stoul(byte, nullptr, 16);
            }
            uint64_t captureUs = (std::stoull(m[1].str()) * 1000000000ull + std::stoull(m[2].str())) / 1000;
            offsets[list].insert((captureUs - value) % modulus);
        }

        unsigned dataBytes = std::min(wanted.at({list, odt}), maxDto - idSize - timestampBytes);
        if (can) {
            dataBytes = 8 - idSize - timestampBytes;  // frames are padded to 8 bytes
        }
        size_t shown = m[10].str() == "Empty" ? 0 : (m[10].str().size() + 1) / 3;
        EXPECT_EQ(shown, dataBytes) << line;
    }
    // 0.2 s: ten cycles of list 0 (one ODT lost), two of list 1.
    EXPECT_EQ(counts[std::make_pair(0u, 0u)], 10u) << v.name();
    EXPECT_EQ(counts[std::make_pair(0u, 1u)], 9u) << v.name();
    EXPECT_EQ(counts[std::make_pair(1u, 0u)], 2u) << v.name();
    // The ECU's clock runs with the capture's: the same offset for every packet of a list
    // (CAN sends the ODTs of one cycle 200 us apart, so each list has its own).
    for (const auto& list : offsets) {
        EXPECT_EQ(list.second.size(), 1u) << v.name() << " DAQ list " << list.first;
    }
    if (!can && v.timestampSize != 0) {
        EXPECT_EQ(offsets[0], offsets[1]) << v.name();
    }
}

}  // namespace

TEST(DaqVariantsTest, EveryIdentificationTypeWithEveryTimestampSize)
{
    TempDir dir;
    for (const Variant& v : variants()) {
        std::string capture = dir.file(v.name() + (v.format == "udp" ? ".pcap" : ".log"));
        ToolRun made = runProgram(XCPGEN_BINARY, {"--format", v.format, "--id-type", v.idType, "--timestamp-size",
                                                  std::to_string(v.timestampSize), "--byte-order", v.byteOrder,
                                                  "--seconds", "0.2", "-o", capture});
        ASSERT_EQ(made.code, 0) << made.err;
        ToolRun shown = runXcptrace({"show", capture});
        ASSERT_EQ(shown.code, 0) << v.name();
        EXPECT_EQ(shown.err, v.format == "udp" ? "" : "xcptrace: " + capture +
                                                         ": found XCP on CAN: master 7F1, slave 7F2 (CONNECT in line "
                                                         "1, response in line 2)\n")
            << v.name();
        std::string daq = daqLines(shown.out);
        expectGolden(v.name(), daq);
        checkLayout(v, daq);
        // Every other packet stays a CTO with its first byte as PID.
        for (const std::string& line : lines(shown.out)) {
            if (line.find("[DTO_DAQ()]") == std::string::npos) {
                EXPECT_NE(line.find("ID Field[Type=CTO_PACKET_CODE, PID=0x"), std::string::npos) << line;
                EXPECT_NE(line.find("TS Field[Type=NO]"), std::string::npos) << line;
            }
        }
    }
}
