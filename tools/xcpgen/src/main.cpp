// xcpgen: writes a scripted XCP session as a capture (XCP on UDP or TCP in an Ethernet
// pcap, XCP on CAN in a SocketCAN pcap) or as a candump log. The output depends on the
// options only, so the bundled examples can be made again byte for byte.

#include <CLI/CLI.hpp>
#include <iostream>
#include <map>
#include <string>

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

int generate(SessionConfig session, TransportConfig transport, const std::string& path)
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
    writer->begin(session.startNs);
    uint64_t last = session.startNs;
    playSession(session, [&](const Send& send) {
        writer->send(send);
        last = send.timeNs;
    });
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
    const std::map<std::string, IdentificationType> idTypes{
        {"absolute", IdentificationType::ABSOLUTE_ODT},
        {"byte", IdentificationType::RELATIVE_DAQ_BYTE},
        {"word", IdentificationType::RELATIVE_DAQ_WORD},
        {"aligned", IdentificationType::RELATIVE_DAQ_ALIGNED}};

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
        ->transform(CLI::CheckedTransformer(idTypes, CLI::ignore_case))
        ->default_str("absolute");
    app.add_option("--timestamp-size", session.timestampSize, "bytes of the DAQ time stamp (unit 1 us): 0, 1, 2 or 4")
        ->check(CLI::IsMember({0u, 1u, 2u, 4u}))
        ->default_val(4);
    app.add_option("--byte-order", byteOrder, "the slave's byte order: intel (little-endian) or motorola")
        ->check(CLI::IsMember({"intel", "motorola"}))
        ->default_val("intel");
    app.add_flag("--no-can-padding", noPadding, "send CAN frames as short as their packet (default: padded to 8)");

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

    if (!examplesDirectory.empty()) {
        for (const Example& example : EXAMPLES) {
            TransportConfig exampleTransport = transport;
            exampleTransport.format = example.format;
            int result = generate(session, exampleTransport, examplesDirectory + "/" + example.file);
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
    return generate(session, transport, output);
}
