// xcptrace: decodes XCP traffic from network captures, CAN captures, candump logs and trace
// files into XCP messages, follows each ECU's session to decode its DAQ packets, and
// prints them, writes them to a trace file, sums them up or exports them as rows.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "EcuNumbering.h"
#include "Export.h"
#include "OutputSinks.h"
#include "Pipeline.h"
#include "Problems.h"
#include "SessionTracker.h"
#include "Sources.h"
#include "Statistics.h"

#ifndef XCPTRACE_VERSION
#define XCPTRACE_VERSION "unknown"
#endif

namespace {

using namespace xcptrace;

constexpr int EXIT_SKIPPED = 1;
constexpr int EXIT_INPUT = 2;

/// Options every subcommand that reads inputs shares.
struct CommonOptions {
    std::vector<std::string> inputs;
    std::vector<uint16_t> ports;
    std::vector<std::string> canPairs;
    std::vector<std::string> ecus;
    bool strict = false;
    std::string daqIdType;
    int daqTimestampSize = -1;
    std::string daqByteOrder;
    bool raw = false;
};

void addCommonOptions(CLI::App& command, CommonOptions& options, bool rawOption)
{
    command.add_option("INPUT", options.inputs,
                       "pcap or pcapng capture, candump log (candump -l) or trace file written by convert; "
                       "the format is recognised from the content")
        ->required();
    command
        .add_option("--port", options.ports,
                    "UDP or TCP port of the XCP slaves; repeat for several (default: 5555)")
        ->check(CLI::Range(1, 65535))
        ->allow_extra_args(false)
        ->type_name("PORT");
    command
        .add_option("--can", options.canPairs,
                    "CAN identifiers of an XCP master and its slave, hexadecimal; 8 digits or a trailing x make "
                    "an identifier extended; repeat for several (default: found from CONNECT and its answer)")
        ->allow_extra_args(false)
        ->type_name("MASTER_ID:SLAVE_ID");
    command
        .add_option("--ecu", options.ecus,
                    "fixed ECU number N (0-255, printed as ECU[N+1]) for the slave ADDRESS:PORT or "
                    "MASTER_ID:SLAVE_ID; others are numbered from 0 in order of appearance; repeatable")
        ->allow_extra_args(false)
        ->type_name("SLAVE=N");
    command.add_flag("--strict", options.strict, "exit with code 1 when anything was skipped as malformed");

    command
        .add_option("--daq-id-type", options.daqIdType,
                    "identification field of DAQ packets where the input lacks GET_DAQ_PROCESSOR_INFO's response: "
                    "absolute (ODT number), byte, word or aligned (relative ODT number with the DAQ list number as "
                    "a byte, a word, or a word after a fill byte)")
        ->check(CLI::IsMember({"absolute", "byte", "word", "aligned"}))
        ->type_name("TYPE");
    command
        .add_option("--daq-timestamp-size", options.daqTimestampSize,
                    "bytes of the time stamp in the first ODT of each DAQ list (0, 1, 2 or 4) where the input "
                    "lacks GET_DAQ_RESOLUTION_INFO's response or SET_DAQ_LIST_MODE")
        ->check(CLI::IsMember({0, 1, 2, 4}))
        ->type_name("N");
    command
        .add_option("--daq-byte-order", options.daqByteOrder,
                    "the slave's byte order where the input lacks CONNECT's response: intel (default) or motorola")
        ->check(CLI::IsMember({"intel", "motorola"}))
        ->type_name("ORDER");
    if (rawOption) {
        command.add_flag("--raw", options.raw,
                         "do not follow the sessions: every packet as captured, its first byte as PID and the rest "
                         "as data");
    }
}

SessionAssumptions assumptionsOf(const CommonOptions& options)
{
    SessionAssumptions assumptions;
    const std::map<std::string, XCP_Message::identificationFieldType_t> idTypes{
        {"absolute", XCP_Message::IFT_ABSOLUTE_ODT_NUMBER},
        {"byte", XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_BYTE},
        {"word", XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD},
        {"aligned", XCP_Message::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_ALIGNED}};
    auto idType = idTypes.find(options.daqIdType);
    if (idType != idTypes.end()) {
        assumptions.idTypeGiven = true;
        assumptions.idType = idType->second;
    }
    if (options.daqTimestampSize >= 0) {
        assumptions.timestampSizeGiven = true;
        assumptions.timestampSize = static_cast<uint8_t>(options.daqTimestampSize);
    }
    if (!options.daqByteOrder.empty()) {
        assumptions.byteOrderGiven = true;
        assumptions.bigEndian = options.daqByteOrder == "motorola";
    }
    return assumptions;
}

int fail(const std::string& text)
{
    std::cerr << "xcptrace: " << text << std::endl;
    return EXIT_INPUT;
}

bool sameFile(const std::string& a, const std::string& b)
{
    struct stat first {};
    struct stat second {};
    return ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

enum class Command { SHOW, CONVERT, STATS, EXPORT };

/// What only one subcommand takes.
struct CommandOptions {
    std::string output;  ///< convert: the trace file; export: the file (empty: standard output)
    bool json = false;   ///< stats
    ExportSink::Format format = ExportSink::Format::CSV;  ///< export
};

/// Runs the pipeline into the sink and checks that the output was written.
int writeThrough(PacketSource& source, EcuNumbering& numbering, const std::vector<PacketStage*>& stages,
                 PacketSink& sink, FdOutputBuffer& buffer, const std::string& name)
{
    runPipeline(source, numbering, stages, sink);
    std::string error;
    sink.close(error);
    buffer.pubsync();
    if (buffer.error() != 0) {
        return fail((name.empty() ? std::string() : name + ": ") + "cannot write the output: " +
                    std::strerror(buffer.error()));
    }
    return 0;
}

int run(Command command, const CommonOptions& common, const CommandOptions& options)
{
    DecodeOptions decode;
    if (!common.ports.empty()) {
        decode.slavePorts = common.ports;
    }
    for (const std::string& text : common.canPairs) {
        CanPair pair;
        if (!parseCanPair(text, pair)) {
            return fail("--can " + text +
                        ": expected MASTER_ID:SLAVE_ID, two different identifiers in hexadecimal "
                        "(standard up to 7FF; extended with 8 digits or a trailing x)");
        }
        decode.canPairs.push_back(pair);
    }
    EcuNumbering numbering(std::cerr);
    for (const std::string& text : common.ecus) {
        SlaveKey slave;
        uint8_t number = 0;
        std::string error;
        if (!parseEcuAssignment(text, slave, number, error)) {
            return fail("--ecu " + text + ": " + error);
        }
        if (!numbering.fix(slave, number)) {
            return fail("--ecu " + text + ": this slave already has a number");
        }
    }

    XCP_Message::registerMessage();
    ProblemLog problems(std::cerr);
    std::vector<std::unique_ptr<PacketSource>> inputs;
    const std::string& output = options.output;
    for (const std::string& path : common.inputs) {
        if ((command == Command::CONVERT || command == Command::EXPORT) && !output.empty() && sameFile(path, output)) {
            return fail(output + ": is also an input; choose another output file");
        }
        try {
            inputs.push_back(openInput(path, decode, problems));
        } catch (const InputError& error) {
            return fail(path + ": " + error.what());
        }
    }
    MergedSource source(std::move(inputs));
    SessionTracker tracker(assumptionsOf(common), std::cerr);
    std::vector<PacketStage*> stages;
    if (!common.raw) {
        stages.push_back(&tracker);
    }

    int result = 0;
    switch (command) {
    case Command::SHOW: {
        FdOutputBuffer buffer(STDOUT_FILENO);
        std::ostream out(&buffer);
        ShowSink sink(out);
        result = writeThrough(source, numbering, stages, sink, buffer, std::string());
        break;
    }
    case Command::CONVERT: {
        TraceFileSink sink;
        std::string error;
        if (!sink.open(output, error)) {
            return fail(output + ": cannot create: " + error);
        }
        runPipeline(source, numbering, stages, sink);
        if (!sink.close(error)) {
            return fail(output + ": cannot write: " + error);
        }
        break;
    }
    case Command::STATS: {
        StatsSink sink(tracker, problems);
        runPipeline(source, numbering, stages, sink);
        FdOutputBuffer buffer(STDOUT_FILENO);
        std::ostream out(&buffer);
        if (options.json) {
            sink.writeJson(out);
        } else {
            sink.writeText(out);
        }
        out.flush();
        if (buffer.error() != 0) {
            return fail(std::string("cannot write the output: ") + std::strerror(buffer.error()));
        }
        break;
    }
    case Command::EXPORT: {
        int fd = STDOUT_FILENO;
        if (!output.empty()) {
            fd = ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
            if (fd < 0) {
                return fail(output + ": cannot create: " + std::strerror(errno));
            }
        }
        {
            FdOutputBuffer buffer(fd);
            std::ostream out(&buffer);
            ExportSink sink(out, options.format);
            result = writeThrough(source, numbering, stages, sink, buffer, output);
        }
        if (fd != STDOUT_FILENO && ::close(fd) != 0 && result == 0) {
            return fail(output + ": cannot write: " + std::strerror(errno));
        }
        break;
    }
    }
    if (result != 0) {
        return result;
    }
    problems.writeSummary();
    return common.strict && problems.total() != 0 ? EXIT_SKIPPED : 0;
}

}  // namespace

int main(int argc, char** argv)
{
    std::ios::sync_with_stdio(false);

    CLI::App app{"xcptrace: decode XCP traffic (XCP on Ethernet and on CAN) from captures, candump logs and trace "
                 "files into XCP messages"};
    app.set_version_flag("--version", XCPTRACE_VERSION);
    app.require_subcommand(1);

    CommonOptions showOptions;
    CLI::App* show = app.add_subcommand("show", "print one line per XCP packet, in time order");
    addCommonOptions(*show, showOptions, true);

    CommonOptions convertOptions;
    CommandOptions convertOnly;
    CLI::App* convert = app.add_subcommand("convert", "write the XCP packets to a trace file");
    addCommonOptions(*convert, convertOptions, true);
    convert->add_option("-o,--output", convertOnly.output, "trace file to write (created or overwritten)")
        ->required()
        ->type_name("FILE");

    CommonOptions statsOptions;
    CommandOptions statsOnly;
    CLI::App* stats = app.add_subcommand(
        "stats", "sum up each ECU's traffic: packet types, commands and their answers, errors, events, service "
                 "requests, DAQ lists, lost packets");
    addCommonOptions(*stats, statsOptions, false);
    stats->add_flag("--json", statsOnly.json, "write one JSON document instead of tables");

    CommonOptions exportOptions;
    CommandOptions exportOnly;
    CLI::App* exporting = app.add_subcommand(
        "export", "write one row per XCP packet (time, ECU, transport, direction, packet type, command, error, "
                  "event, service, PID, DAQ list, ODT, ECU time stamp, data, LEN, CTR) for analysis tools");
    addCommonOptions(*exporting, exportOptions, true);
    std::string exportFormat;
    exporting->add_option("--format", exportFormat, "csv (with a header line) or jsonl (one JSON object a line)")
        ->required()
        ->check(CLI::IsMember({"csv", "jsonl"}))
        ->type_name("FORMAT");
    exporting->add_option("-o,--output", exportOnly.output, "file to write (default: standard output)")
        ->type_name("FILE");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        int code = app.exit(error);
        return code == 0 ? 0 : EXIT_INPUT;
    }
    if (show->parsed()) {
        return run(Command::SHOW, showOptions, CommandOptions());
    }
    if (stats->parsed()) {
        return run(Command::STATS, statsOptions, statsOnly);
    }
    if (exporting->parsed()) {
        exportOnly.format = exportFormat == "jsonl" ? ExportSink::Format::JSONL : ExportSink::Format::CSV;
        return run(Command::EXPORT, exportOptions, exportOnly);
    }
    return run(Command::CONVERT, convertOptions, convertOnly);
}
