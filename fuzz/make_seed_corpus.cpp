// Writes the seed corpus of the fuzz targets: records of XCP-on-CAN and XCP-on-Ethernet
// messages built the way the unit tests build them (every time-stamp type, commands,
// responses, errors, events, DAQ and STIM packets, fill bytes), unknown and FlexRay records,
// truncated records and records under another message type's identifier, each in the input
// format of each target.
//
// Usage: make_seed_corpus <directory>; creates <directory>/{message,pieces,rendering}/.

#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "XCP_Message.h"

namespace {

typedef XCP_Message M;

struct Seed {
    std::string name;
    M message;
};

M canMessage(M::msgDirection_t direction, M::identificationFieldType_t idType, uint8_t pid, uint8_t fill)
{
    M message(1700000000123456789ull, M::TT_CAN, direction, 0x01);
    message.packet.identificationField.setType(idType);
    message.packet.identificationField.pid = pid;
    message.tail.setFillBytes(fill);
    message.setCanTransportTypeSettings(0x7f1, CT_STANDARD, 0);
    return message;
}

M ethernetMessage(M::msgDirection_t direction, M::identificationFieldType_t idType, uint8_t pid, bool tcp)
{
    M message(1700000000223456789ull, M::TT_ETHERNET, direction, 0x02);
    message.header.setLEN(0x0008);
    message.header.setCTR(0x002a);
    message.packet.identificationField.setType(idType);
    message.packet.identificationField.pid = pid;
    message.setEthernetTransportTypeSettings("192.168.1.10", "192.168.1.2", "255.255.255.0", 5555, tcp);
    return message;
}

void setTimestamp(M& message, M::timestampFieldType_t type)
{
    message.packet.timestampField.setType(type);
    const uint8_t ticks[] = {0x33, 0x44, 0x55, 0x66};
    message.packet.timestampField.setTimestamp(ticks, message.packet.timestampField.getTimestamp().size());
}

std::vector<Seed> seeds()
{
    std::vector<Seed> all;
    const std::pair<const char*, M::timestampFieldType_t> stamps[] = {
        {"no", M::TST_NO}, {"byte", M::TST_BYTE}, {"word", M::TST_WORD}, {"dword", M::TST_DWORD}};

    M connect = canMessage(M::MD_TX, M::IFT_CTO_PACKET_CODE, M::XCP_CC_STD_CONNECT, 6);
    connect.packet.dataField.data = {0x00};
    all.push_back({"can-connect", connect});
    for (const auto& stamp : stamps) {
        M daq = canMessage(M::MD_RX, M::IFT_ABSOLUTE_ODT_NUMBER, 0x11, 0);
        daq.packet.identificationField.firstPid = 0x10;
        daq.packet.identificationField.setDaqNo(0x2222);
        setTimestamp(daq, stamp.second);
        daq.packet.dataField.data = {0x77, 0x88, 0x99};
        daq.setCanTransportTypeSettings(0x18da00f1, CT_EXTENDED, 2);
        all.push_back({std::string("can-daq-ts-") + stamp.first, daq});
    }
    M error = canMessage(M::MD_RX, M::IFT_CTO_PACKET_CODE, M::S2M_PID_ERR, 6);
    error.packet.dataField.data = {M::ERR_CMD_UNKNOWN};
    all.push_back({"can-error", error});
    M event = canMessage(M::MD_RX, M::IFT_CTO_PACKET_CODE, M::S2M_PID_EV, 0);
    event.packet.dataField.data = {M::EV_DAQ_OVERLOAD, 0x01};
    all.push_back({"can-event", event});
    M service = canMessage(M::MD_RX, M::IFT_CTO_PACKET_CODE, M::S2M_PID_SERV, 0);
    service.packet.dataField.data = {M::SERV_TEXT, 'o', 'k'};
    all.push_back({"can-service", service});
    M stim = canMessage(M::MD_TX, M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD, 0x10, 2);
    stim.packet.identificationField.setDaqNo(0x0102);
    stim.packet.dataField.data = {0xaa, 0xbb};
    stim.setCanTransportTypeSettings(0x123, CT_FD_STANDARD, 7);
    all.push_back({"can-stim", stim});
    // A tail switched off while it holds fill bytes announces them without writing them.
    M silentTail = canMessage(M::MD_TX, M::IFT_CTO_PACKET_CODE, M::XCP_CC_STD_GET_STATUS, 3);
    silentTail.tail.setActive(false);
    all.push_back({"can-tail-off", silentTail});

    for (const auto& stamp : stamps) {
        M daq = ethernetMessage(M::MD_RX, M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE, 0x00, false);
        daq.packet.identificationField.setDaqNo(2);
        setTimestamp(daq, stamp.second);
        daq.packet.dataField.data = {0x0a, 0x00, 0xff};
        all.push_back({std::string("eth-daq-ts-") + stamp.first, daq});
    }
    M response = ethernetMessage(M::MD_RX, M::IFT_CTO_PACKET_CODE, M::S2M_PID_RES, true);
    response.packet.dataField.data = {0x10, 0x00, 0x08, 0x00, 0x01, 0x01};
    all.push_back({"eth-response-tcp", response});
    M upload = ethernetMessage(M::MD_TX, M::IFT_CTO_PACKET_CODE, M::XCP_CC_STD_UPLOAD, false);
    upload.packet.dataField.data = {0x04};
    upload.setEthernetTransportTypeSettings("", "10.0.0.1", "", 0, true);
    all.push_back({"eth-upload-empty-strings", upload});
    M aligned = ethernetMessage(M::MD_RX, M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED, 0x05, false);
    aligned.packet.identificationField.setDaqNo(0xfffe);
    all.push_back({"eth-daq-aligned", aligned});

    all.push_back({"unknown-transport", M(1, M::TT_UNKNOWN, M::MD_UNKNOWN, 0)});
    all.push_back({"flexray", M(2, M::TT_FLEXRAY, M::MD_TX, 4)});
    return all;
}

byteVec_t recordOf(const M& message)
{
    byteVec_t record(message.getSize() + 2);
    uint8_t* cursor = record.data();
    message.writeToByteArray(cursor, record.size(), false);
    record.resize(static_cast<size_t>(cursor - record.data()));
    return record;
}

template <typename Piece>
byteVec_t piecesOf(const Piece& piece)
{
    byteVec_t bytes(piece.getSize());
    uint8_t* cursor = bytes.data();
    piece.writeToByteArray(cursor, bytes.size());
    bytes.resize(static_cast<size_t>(cursor - bytes.data()));
    return bytes;
}

bool writeFile(const std::string& path, const byteVec_t& bytes)
{
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(file);
}

byteVec_t concat(std::initializer_list<byteVec_t> parts)
{
    byteVec_t all;
    for (const byteVec_t& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

byteVec_t bigEndian16(size_t value)
{
    return {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
}

byteVec_t bigEndian32(uint32_t value)
{
    return {static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16), static_cast<uint8_t>(value >> 8),
            static_cast<uint8_t>(value)};
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: make_seed_corpus <directory>\n";
        return 2;
    }
    const std::string root = argv[1];
    for (const char* target : {"", "/message", "/pieces", "/rendering"}) {
        mkdir((root + target).c_str(), 0755);
    }
    std::vector<Seed> all;
    {
        // Building the FlexRay message reports that FlexRay is not supported; expected here.
        std::ostringstream expected;
        std::streambuf* saved = std::cerr.rdbuf(expected.rdbuf());
        all = seeds();
        std::cerr.rdbuf(saved);
    }
    bool ok = true;
    for (const Seed& seed : all) {
        const byteVec_t record = recordOf(seed.message);
        const M& message = seed.message;

        // message: the whole record, then truncations through the length selector.
        ok = writeFile(root + "/message/" + seed.name, concat({{0xff, 0xff}, record})) && ok;
        if (seed.name == "can-connect" || seed.name == "eth-daq-ts-word") {
            // The same record under the identifier of another message type (CAN, 1).
            byteVec_t other = record;
            other[2] = 0x00;
            other[3] = 0x01;
            ok = writeFile(root + "/message/" + seed.name + "-other-type", concat({{0xff, 0xff}, other})) && ok;
        }
        if (message.getTransportType() == M::TT_CAN || message.getTransportType() == M::TT_ETHERNET) {
            const size_t cuts[] = {13, 16, 17, 20, 30, record.size() - 7, record.size() - 3, record.size() - 1};
            for (size_t cut : cuts) {
                ok = writeFile(root + "/message/" + seed.name + "-cut-" + std::to_string(cut),
                               concat({bigEndian16(cut), record})) &&
                     ok;
            }
        }

        // pieces: each piece's bytes as the first input, read with the record's transport;
        // the next piece's bytes as the second input, read with the other real transport.
        const uint8_t transport = static_cast<uint8_t>(message.getTransportType());
        const uint8_t other = transport == M::TT_CAN ? M::TT_ETHERNET : M::TT_CAN;
        const byteVec_t header = piecesOf(message.header);
        const byteVec_t packet = piecesOf(message.packet);
        const byteVec_t tail = piecesOf(message.tail);
        const std::pair<const char*, std::pair<byteVec_t, byteVec_t>> inputs[] = {
            {"header", {header, packet}}, {"packet", {packet, tail}}, {"tail", {tail, header}}};
        uint8_t shape = 0;
        for (const auto& input : inputs) {
            const byteVec_t& first = input.second.first;
            ok = writeFile(root + "/pieces/" + seed.name + "-" + input.first,
                           concat({{transport, other, shape}, bigEndian16(first.size()), first, input.second.second})) &&
                 ok;
            shape = static_cast<uint8_t>(shape + 0x0b);
        }

        // rendering: the record as it is, and with fields no record can carry.
        const byteVec_t plain(24, 0);
        ok = writeFile(root + "/rendering/" + seed.name, concat({plain, record})) && ok;
        const byteVec_t odd = concat({{0xff}, bigEndian32(3), bigEndian32(7), bigEndian32(4), bigEndian32(8),
                                      bigEndian32(9), {0x03, 0x82, 0x0a}});
        ok = writeFile(root + "/rendering/" + seed.name + "-odd-fields", concat({odd, record})) && ok;
        const byteVec_t extreme = concat({{0x1f}, bigEndian32(0x80000000u), bigEndian32(0xffffffffu),
                                          bigEndian32(0x7fffffffu), bigEndian32(0xffffff00u),
                                          bigEndian32(0xffffffffu), {0x00, 0x00, 0x00}});
        ok = writeFile(root + "/rendering/" + seed.name + "-extreme-values", concat({extreme, record})) && ok;
    }
    if (!ok) {
        std::cerr << "make_seed_corpus: could not write every file under " << root << "\n";
        return 1;
    }
    return 0;
}
