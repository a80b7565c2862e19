// xcpgen: writes a scripted XCP session as a capture (XCP on UDP or TCP in an Ethernet
// pcap, XCP on CAN in a SocketCAN pcap) or as a candump log. The output depends on the
// options only, so the bundled examples can be made again byte for byte.

#include <CLI/CLI.hpp>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "Session.h"
#include "Writers.h"

namespace {

using namespace xcpgen;

struct Example {
    const char* file;
    Format format;
};

/// The examples bundled in examples/: the default session over each transport.
const Example EXAMPLES[] = {
    {"xcp-session-udp.pcap", Format::UDP},
    {"xcp-session-tcp.pcap", Format::TCP},
    {"xcp-session-can.pcap", Format::CAN_PCAP},
    {"xcp-session-can.log", Format::CANDUMP},
};

bool isCan(Format format)
{
    return format == Format::CAN_PCAP || format == Format::CANDUMP;
}

const std::map<std::string, IdentificationType> ID_TYPES{
    {"absolute", IdentificationType::ABSOLUTE_ODT},
    {"byte", IdentificationType::RELATIVE_DAQ_BYTE},
    {"word", IdentificationType::RELATIVE_DAQ_WORD},
    {"aligned", IdentificationType::RELATIVE_DAQ_ALIGNED}};

/// "word,2,motorola": identification field type, time-stamp size, byte order.
bool parseVariant(const std::string& text, DaqVariant& variant)
{
    std::vector<std::string> parts;
    std::istringstream in(text);
    std::string part;
    while (std::getline(in, part, ',')) {
        parts.push_back(part);
    }
    if (parts.size() != 3) {
        return false;
    }
    auto type = ID_TYPES.find(parts[0]);
    if (type == ID_TYPES.end() || (parts[1] != "0" && parts[1] != "1" && parts[1] != "2" && parts[1] != "4") ||
        (parts[2] != "intel" && parts[2] != "motorola")) {
        return false;
    }
    variant.idType = type->second;
    variant.timestampSize = static_cast<unsigned>(std::stoul(parts[1]));
    variant.bigEndian = parts[2] == "motorola";
    return true;
}

/// The slaves after the first start their sessions this much later.
constexpr uint64_t NEXT_ECU_DELAY_NS = 317000;

int generate(SessionConfig session, const std::vector<DaqVariant>& others, TransportConfig transport,
             const std::string& path)
{
    if (isCan(transport.format)) {
        session.maxCto = 8;
        session.maxDto = 8;
    }
    std::string error;
    std::unique_ptr<TransportWriter> writer = openWriter(transport, path, error);
    if (!writer) {
        std::cerr << "xcpgen: " << path << ": cannot create: " << error << std::endl;
        return 2;
    }
    // The sessions of the other slaves are played first and kept; they join the first
    // slave's sends in time order.
    std::vector<std::vector<Send>> kept(transport.ecus - 1);
    for (unsigned ecu = 1; ecu < transport.ecus; ++ecu) {
        SessionConfig other = session;
        other.seed = session.seed + ecu;
        other.startNs = session.startNs + ecu * NEXT_ECU_DELAY_NS;
        if (ecu - 1 < others.size()) {
            other.idType = others[ecu - 1].idType;
            other.timestampSize = others[ecu - 1].timestampSize;
            other.bigEndian = others[ecu - 1].bigEndian;
        }
        playSession(other, [&](const Send& send) {
            kept[ecu - 1].push_back(send);
            kept[ecu - 1].back().ecu = ecu;
        });
    }
    std::vector<size_t> next(kept.size(), 0);
    uint64_t last = session.startNs;
    auto write = [&](const Send& send) {
        writer->send(send);
        last = std::max(last, send.timeNs);
    };
    // Writes the kept sends earlier than `timeNs`, earliest first.
    auto writeKept = [&](uint64_t timeNs) {
        for (;;) {
            size_t best = kept.size();
            for (size_t i = 0; i < kept.size(); ++i) {
                if (next[i] < kept[i].size() && kept[i][next[i]].timeNs < timeNs &&
                    (best == kept.size() || kept[i][next[i]].timeNs < kept[best][next[best]].timeNs)) {
                    best = i;
                }
            }
            if (best == kept.size()) {
                return;
            }
            write(kept[best][next[best]++]);
        }
    };
    if (!session.startAtDaq) {
        writer->begin(session.startNs);
    }
    playSession(session, [&](const Send& send) {
        writeKept(send.timeNs);
        write(send);
    });
    writeKept(UINT64_MAX);
    writer->end(last + 1000000);
    if (!writer->close(error)) {
        std::cerr << "xcpgen: " << path << ": cannot write: " << error << std::endl;
        return 2;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    CLI::App app{"xcpgen: write a scripted XCP session (CONNECT, DAQ configuration, a few seconds of DAQ with "
                 "one lost packet, a refused SHORT_UPLOAD, an event, a service request, DISCONNECT) as a capture "
                 "or candump log"};

    const std::map<std::string, Format> formats{
        {"udp", Format::UDP}, {"tcp", Format::TCP}, {"can-pcap", Format::CAN_PCAP}, {"candump", Format::CANDUMP}};

    SessionConfig session;
    TransportConfig transport;
    std::string output;
    std::string examplesDirectory;
    std::string byteOrder = "intel";
    uint64_t startSeconds = session.startNs / 1000000000ull;
    bool noPadding = false;

    app.add_option("-f,--format", transport.format, "udp, tcp (XCP on Ethernet in a pcap), can-pcap (SocketCAN pcap) "
                                                     "or candump (candump -l log)")
        ->transform(CLI::CheckedTransformer(formats, CLI::ignore_case))
        ->default_str("udp");
    app.add_option("-o,--output", output, "file to write")->type_name("FILE");
    app.add_option("--examples", examplesDirectory,
                   "write the four bundled examples (default session over each transport) into DIR")
        ->type_name("DIR")
        ->excludes("--output");
    app.add_option("--seconds", session.seconds, "length of the DAQ phase in seconds")->default_val(3.0)
        ->check(CLI::Range(0.0, 1e6));
    app.add_option("--daq-packets", session.daqPackets,
                   "send this many DAQ packets instead (one of them lost), however long it takes")
        ->type_name("N");
    app.add_option("--rate", session.rateHz, "DAQ cycles per second of the fast DAQ list (the slow one runs at a "
                                             "fifth)")
        ->default_val(50)
        ->check(CLI::Range(1u, 1000000u));
    app.add_option("--seed", session.seed, "seed of the random delays and TCP segment cuts")->default_val(1);
    app.add_option("--start-time", startSeconds, "time of the first packet, seconds since the epoch")
        ->default_val(startSeconds);
    app.add_option("--id-type", session.idType,
                   "identification field of DAQ packets: absolute (ODT number), byte, word or aligned (relative "
                   "ODT number with the DAQ list number as a byte, word, or word after a fill byte)")
        ->transform(CLI::CheckedTransformer(ID_TYPES, CLI::ignore_case))
        ->default_str("absolute");
    app.add_option("--timestamp-size", session.timestampSize, "bytes of the DAQ time stamp (unit 1 us): 0, 1, 2 or 4")
        ->check(CLI::IsMember({0u, 1u, 2u, 4u}))
        ->default_val(4);
    app.add_option("--byte-order", byteOrder, "the slave's byte order: intel (little-endian) or motorola")
        ->check(CLI::IsMember({"intel", "motorola"}))
        ->default_val("intel");
    app.add_flag("--no-can-padding", noPadding, "send CAN frames as short as their packet (default: padded to 8)");
    app.add_flag("--start-at-daq", session.startAtDaq,
                 "start the capture with the DAQ phase: CONNECT and the DAQ configuration are not in it");
    std::string reconnectWith;
    app.add_option("--reconnect-with", reconnectWith,
                   "after DISCONNECT, connect again to the slave, which now announces this identification field "
                   "type, time-stamp size and byte order (e.g. word,2,motorola); configure the DAQ lists anew "
                   "(FIRST_PIDs in the other order) and run a second DAQ phase")
        ->type_name("TYPE,SIZE,ORDER");
    app.add_option("--ecus", transport.ecus,
                   "slaves whose sessions run interleaved: 192.168.0.2, .3, ... (CAN: 7F1/7F2, 7F3/7F4, ...)")
        ->check(CLI::Range(1u, 4u))
        ->default_val(1u);
    std::vector<std::string> ecuWith;
    app.add_option("--ecu-with", ecuWith,
                   "identification field type, time-stamp size and byte order of the second, third ... slave, in "
                   "order (default: as the first)")
        ->type_name("TYPE,SIZE,ORDER")
        ->allow_extra_args(false);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        int code = app.exit(error);
        return code == 0 ? 0 : 2;
    }
    session.startNs = startSeconds * 1000000000ull;
    session.bigEndian = byteOrder == "motorola";
    transport.canPadding = !noPadding;
    transport.seed = session.seed;
    if (!reconnectWith.empty()) {
        if (!parseVariant(reconnectWith, session.reconnectWith)) {
            std::cerr << "xcpgen: --reconnect-with " << reconnectWith
                      << ": expected TYPE,SIZE,ORDER such as word,2,motorola\n";
            return 2;
        }
        session.reconnect = true;
    }
    std::vector<DaqVariant> others;
    for (const std::string& text : ecuWith) {
        DaqVariant variant;
        if (!parseVariant(text, variant)) {
            std::cerr << "xcpgen: --ecu-with " << text << ": expected TYPE,SIZE,ORDER such as byte,1,intel\n";
            return 2;
        }
        others.push_back(variant);
    }
    if (others.size() + 1 > transport.ecus) {
        std::cerr << "xcpgen: --ecu-with is given for more slaves than --ecus makes\n";
        return 2;
    }

    if (!examplesDirectory.empty()) {
        for (const Example& example : EXAMPLES) {
            TransportConfig exampleTransport = transport;
            exampleTransport.format = example.format;
            int result = generate(session, others, exampleTransport, examplesDirectory + "/" + example.file);
            if (result != 0) {
                return result;
            }
        }
        return 0;
    }
    if (output.empty()) {
        std::cerr << "xcpgen: give --output FILE or --examples DIR\n";
        return 2;
    }
    return generate(session, others, transport, output);
}
