// xcptrace: decodes XCP traffic from network captures, CAN captures, candump logs and trace
// files into XCP messages, prints them or writes them to a trace file.

#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "EcuNumbering.h"
#include "OutputSinks.h"
#include "Pipeline.h"
#include "Problems.h"
#include "Sources.h"

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
};

void addCommonOptions(CLI::App& command, CommonOptions& options)
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

enum class Command { SHOW, CONVERT };

int run(Command command, const CommonOptions& common, const std::string& output)
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
    for (const std::string& path : common.inputs) {
        if (command == Command::CONVERT && sameFile(path, output)) {
            return fail(output + ": is also an input; choose another output file");
        }
        try {
            inputs.push_back(openInput(path, decode, problems));
        } catch (const InputError& error) {
            return fail(path + ": " + error.what());
        }
    }
    MergedSource source(std::move(inputs));
    std::vector<PacketStage*> stages;

    if (command == Command::SHOW) {
        FdOutputBuffer buffer(STDOUT_FILENO);
        std::ostream out(&buffer);
        ShowSink sink(out);
        runPipeline(source, numbering, stages, sink);
        std::string error;
        sink.close(error);
        if (buffer.error() != 0) {
            return fail(std::string("cannot write the output: ") + std::strerror(buffer.error()));
        }
    } else {
        TraceFileSink sink;
        std::string error;
        if (!sink.open(output, error)) {
            return fail(output + ": cannot create: " + error);
        }
        runPipeline(source, numbering, stages, sink);
        if (!sink.close(error)) {
            return fail(output + ": cannot write: " + error);
        }
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
    addCommonOptions(*show, showOptions);

    CommonOptions convertOptions;
    std::string output;
    CLI::App* convert = app.add_subcommand("convert", "write the XCP packets to a trace file");
    addCommonOptions(*convert, convertOptions);
    convert->add_option("-o,--output", output, "trace file to write (created or overwritten)")
        ->required()
        ->type_name("FILE");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        int code = app.exit(error);
        return code == 0 ? 0 : EXIT_INPUT;
    }
    if (show->parsed()) {
        return run(Command::SHOW, showOptions, std::string());
    }
    return run(Command::CONVERT, convertOptions, output);
}
