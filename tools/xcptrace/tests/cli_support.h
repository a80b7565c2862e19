#ifndef XCPTRACE_TESTS_CLI_SUPPORT_H
#define XCPTRACE_TESTS_CLI_SUPPORT_H

// Running the built programs and handling the files they read and write.

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "tool_test_support.h"

namespace clitest {

using tooltest::Bytes;

/// A temporary directory, removed with everything in it.
class TempDir {
public:
    TempDir()
    {
        char pattern[] = "/tmp/xcptrace-cli-XXXXXX";
        path_ = mkdtemp(pattern);
    }
    ~TempDir()
    {
        std::string command = "rm -rf '" + path_ + "'";
        if (std::system(command.c_str()) != 0) {
            ADD_FAILURE() << "could not remove " << path_;
        }
    }
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

inline std::string readText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline Bytes readBytes(const std::string& path)
{
    std::string text = readText(path);
    return Bytes(text.begin(), text.end());
}

inline void writeBytes(const std::string& path, const Bytes& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline void writeText(const std::string& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

inline std::string quote(const std::string& text)
{
    std::string quoted = "'";
    for (char c : text) {
        if (c == '\'') {
            quoted += "'\\''";
        } else {
            quoted += c;
        }
    }
    return quoted + "'";
}

struct ToolRun {
    int code = -1;
    std::string out;
    std::string err;
};

/// Runs a program with arguments; stdout and stderr are collected through files.
inline ToolRun runProgram(const std::string& program, const std::vector<std::string>& args)
{
    TempDir dir;
    std::string command = quote(program);
    for (const std::string& arg : args) {
        command += " " + quote(arg);
    }
    command += " >" + quote(dir.file("out")) + " 2>" + quote(dir.file("err")) + " </dev/null";
    int status = std::system(command.c_str());
    ToolRun run;
    run.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.out = readText(dir.file("out"));
    run.err = readText(dir.file("err"));
    return run;
}

inline ToolRun runXcptrace(const std::vector<std::string>& args)
{
    return runProgram(XCPTRACE_BINARY, args);
}

inline std::string example(const std::string& name)
{
    return std::string(XCPTRACE_SOURCE_DIR) + "/examples/" + name;
}

inline std::string golden(const std::string& name)
{
    return readText(std::string(XCPTRACE_GOLDEN_DIR) + "/" + name);
}

/// Compares text with a golden file; with XCPTRACE_REGENERATE_GOLDEN=1 in the environment
/// writes the file instead (then check the difference by hand before committing it).
inline void expectGolden(const std::string& name, const std::string& actual)
{
    std::string path = std::string(XCPTRACE_GOLDEN_DIR) + "/" + name;
    const char* regenerate = std::getenv("XCPTRACE_REGENERATE_GOLDEN");
    if (regenerate != nullptr && std::string(regenerate) == "1") {
        writeText(path, actual);
        return;
    }
    EXPECT_EQ(actual, readText(path)) << name;
}

inline std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> result;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        result.push_back(line);
    }
    return result;
}

/// Little-endian classic pcap with microsecond time stamps.
class PcapBuilder {
public:
    explicit PcapBuilder(uint32_t linkType)
    {
        le32(0xA1B2C3D4);
        le16(2);
        le16(4);
        le32(0);
        le32(0);
        le32(262144);
        le32(linkType);
    }
    void record(uint64_t timeNs, const Bytes& frame)
    {
        le32(static_cast<uint32_t>(timeNs / 1000000000ull));
        le32(static_cast<uint32_t>(timeNs % 1000000000ull / 1000));
        le32(static_cast<uint32_t>(frame.size()));
        le32(static_cast<uint32_t>(frame.size()));
        bytes.insert(bytes.end(), frame.begin(), frame.end());
    }
    Bytes bytes;

private:
    void le16(uint16_t v)
    {
        bytes.push_back(static_cast<uint8_t>(v));
        bytes.push_back(static_cast<uint8_t>(v >> 8));
    }
    void le32(uint32_t v)
    {
        le16(static_cast<uint16_t>(v));
        le16(static_cast<uint16_t>(v >> 16));
    }
};

/// Little-endian pcapng: one section, named interfaces of one link type with nanosecond
/// time stamps, enhanced packet blocks.
class PcapngBuilder {
public:
    PcapngBuilder(uint16_t linkType, const std::vector<std::string>& names)
    {
        Bytes body;
        le32(body, 0x1A2B3C4D);
        le16(body, 1);
        le16(body, 0);
        le32(body, 0xFFFFFFFF);
        le32(body, 0xFFFFFFFF);
        block(0x0A0D0D0A, body);
        for (const std::string& name : names) {
            Bytes idb;
            le16(idb, linkType);
            le16(idb, 0);
            le32(idb, 0);
            le16(idb, 2);  // if_name
            le16(idb, static_cast<uint16_t>(name.size()));
            idb.insert(idb.end(), name.begin(), name.end());
            while (idb.size() % 4 != 0) {
                idb.push_back(0);
            }
            le16(idb, 9);  // if_tsresol: nanoseconds
            le16(idb, 1);
            idb.insert(idb.end(), {9, 0, 0, 0});
            le32(idb, 0);
            block(1, idb);
        }
    }
    void packet(uint32_t interface, uint64_t timeNs, const Bytes& frame)
    {
        Bytes body;
        le32(body, interface);
        le32(body, static_cast<uint32_t>(timeNs >> 32));
        le32(body, static_cast<uint32_t>(timeNs));
        le32(body, static_cast<uint32_t>(frame.size()));
        le32(body, static_cast<uint32_t>(frame.size()));
        body.insert(body.end(), frame.begin(), frame.end());
        while (body.size() % 4 != 0) {
            body.push_back(0);
        }
        block(6, body);
    }
    Bytes bytes;

private:
    static void le16(Bytes& out, uint16_t v)
    {
        out.push_back(static_cast<uint8_t>(v));
        out.push_back(static_cast<uint8_t>(v >> 8));
    }
    static void le32(Bytes& out, uint32_t v)
    {
        le16(out, static_cast<uint16_t>(v));
        le16(out, static_cast<uint16_t>(v >> 16));
    }
    void block(uint32_t type, const Bytes& body)
    {
        le32(bytes, type);
        le32(bytes, static_cast<uint32_t>(12 + body.size()));
        bytes.insert(bytes.end(), body.begin(), body.end());
        le32(bytes, static_cast<uint32_t>(12 + body.size()));
    }
};

/// A SocketCAN frame (pcap link type 227) with a classic 8-byte payload area.
inline Bytes socketCan(uint32_t id, const Bytes& payload)
{
    Bytes frame;
    tooltest::put32(frame, id);
    frame.push_back(static_cast<uint8_t>(payload.size()));
    frame.insert(frame.end(), {0, 0, 0});
    frame.insert(frame.end(), payload.begin(), payload.end());
    if (frame.size() < 16) {
        frame.resize(16, 0);
    }
    return frame;
}

}  // namespace clitest

#endif  // XCPTRACE_TESTS_CLI_SUPPORT_H
