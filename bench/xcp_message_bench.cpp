// Micro-benchmarks of XCP_Message beside the baselines that bound them from below, measured
// in the same run:
//   record write            vs  memcpy of as many bytes as the writer emits
//   record read (+ delete)  vs  the heap allocations and frees a read cannot avoid
//   summary line            vs  putting the finished line into the same kind of stream
// plus comparison, clone and packet classification. Two sample messages: a CAN command with
// 8 data bytes and an Ethernet DAQ packet with a WORD time stamp and 200 data bytes.
// For explanation only: the write beside a field-by-field copy of the same bytes and one
// virtual getSize(), and the summary line on a stream that takes the separate insertions.
//
// Every heap allocation is counted (allocation_count.cpp); each benchmark shows its
// allocations per iteration, so that the read and its baseline can be seen to make as many.
// At the end the ratios to the baselines are printed, from the medians when the benchmarks
// run with --benchmark_repetitions, otherwise from the single run. Times are CPU times of the
// benchmark thread, which other processes on a shared machine disturb less than wall time.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <locale>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "XCP_Message.h"
#include "allocation_count.h"

namespace {

using M = XCP_Message;

// ---- sample messages ---------------------------------------------------------------------------

enum class Sample { Can, EthernetDaq };

const char* sampleName(Sample sample)
{
    return sample == Sample::Can ? "can" : "eth_daq";
}

/// A DOWNLOAD command sent by the logger on CAN: 8 data bytes, no time stamp, no fill bytes.
XCP_Message canCommand()
{
    XCP_Message message(1700000000123456789ull, M::TT_CAN, M::MD_TX, 0);
    message.packet.identificationField.setType(M::IFT_CTO_PACKET_CODE);
    message.packet.identificationField.pid = M::XCP_CC_CAL_DOWNLOAD;
    message.packet.timestampField.setType(M::TST_NO);
    message.packet.dataField.data = {0x06, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77};
    message.setCanTransportTypeSettings(0x7F1, CT_STANDARD, 0);
    return message;
}

/// A DAQ packet received over UDP: relative ODT, DAQ list as a word, a WORD time stamp and
/// 200 data bytes. The address strings are short, as IPv4 texts are.
XCP_Message ethernetDaq()
{
    XCP_Message message(1700000000123456789ull, M::TT_ETHERNET, M::MD_RX, 2);
    message.header.setLEN(205);
    message.header.setCTR(4711);
    M::Packet::IdentificationField& id = message.packet.identificationField;
    id.setType(M::IFT_RELATIVE_ODT_ABSOLUTE_DAQ_WORD);
    id.pid = 0x03;
    id.setDaqNo(7);
    message.packet.timestampField.setType(M::TST_WORD);
    const uint8_t ticks[] = {0x34, 0x12};
    message.packet.timestampField.setTimestamp(ticks, sizeof ticks);
    for (int i = 0; i < 200; ++i) {
        message.packet.dataField.data.push_back(static_cast<uint8_t>(i * 37 + 11));
    }
    message.setEthernetTransportTypeSettings("192.168.10.20", "192.168.10.1", "255.255.255.0", 5555, false);
    return message;
}

XCP_Message makeSample(Sample sample)
{
    return sample == Sample::Can ? canCommand() : ethernetDaq();
}

/// The record as a trace writer produces it: getSize() + 2 bytes of room, the bytes written.
byteVec_t recordOf(const XCP_Message& message)
{
    byteVec_t record(message.getSize() + 2);
    uint8_t* cursor = record.data();
    message.writeToByteArray(cursor, record.size(), false);
    record.resize(static_cast<size_t>(cursor - record.data()));
    return record;
}

/// Hides the dynamic type from the optimiser, so that calls go through the vtable as they
/// do in trace writers and viewers that hold MessageBase pointers.
template <typename T>
T* opaque(T* pointer)
{
    benchmark::DoNotOptimize(pointer);
    return pointer;
}

void countAllocations(benchmark::State& state, std::size_t before)
{
    state.counters["allocs"] = benchmark::Counter(static_cast<double>(allocationCount() - before),
                                                  benchmark::Counter::kAvgIterations);
}

// ---- record write and its baseline ---------------------------------------------------------------

void recordWrite(benchmark::State& state, Sample sample)
{
    const XCP_Message message = makeSample(sample);
    const MessageBase* base = opaque(static_cast<const MessageBase*>(&message));
    const size_t emitted = recordOf(message).size();
    byteVec_t buffer(message.getSize() + 2);
    const std::size_t before = allocationCount();
    for (auto _ : state) {
        uint8_t* cursor = buffer.data();
        size_t written = base->writeToByteArray(cursor, buffer.size(), false);
        benchmark::DoNotOptimize(written);
        benchmark::DoNotOptimize(cursor);
        benchmark::ClobberMemory();
    }
    countAllocations(state, before);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * emitted));
}

void memcpyBaseline(benchmark::State& state, Sample sample)
{
    const byteVec_t record = recordOf(makeSample(sample));
    byteVec_t buffer(record.size() + 2);
    const uint8_t* source = record.data();
    uint8_t* destination = buffer.data();
    const std::size_t before = allocationCount();
    for (auto _ : state) {
        size_t count = record.size();
        benchmark::DoNotOptimize(count);  // a run-time size, as the writer's copies have
        benchmark::DoNotOptimize(source);
        std::memcpy(destination, source, count);
        benchmark::DoNotOptimize(destination);
        benchmark::ClobberMemory();
    }
    countAllocations(state, before);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * record.size()));
}

/// Lengths of the runs the record is made of, each copied from its own source by the writer:
/// base header, description, each length or type prefix, each byte vector and string.
std::vector<size_t> fieldRunsOf(const XCP_Message& message)
{
    std::vector<size_t> runs = {14, 3, 1};
    auto bytes = [&runs](size_t count) {
        if (count != 0) {
            runs.push_back(count);
        }
    };
    bytes(message.header.isActive() ? message.header.getData().size() : 0);
    runs.push_back(5);
    runs.push_back(2);
    bytes(message.packet.timestampField.getTimestamp().size());
    runs.push_back(2);
    bytes(message.packet.dataField.data.size());
    runs.push_back(1);
    bytes(message.tail.isActive() ? message.tail.data.size() : 0);
    if (message.getTransportType() == M::TT_CAN) {
        runs.push_back(6);
    } else if (message.getTransportType() == M::TT_ETHERNET) {
        for (const std::string* text : {&message.dstIp, &message.srcIp, &message.mask}) {
            runs.push_back(1);
            bytes(text->size());
        }
        runs.push_back(3);
    }
    return runs;
}

/// Not a target, an explanation: the same bytes as the writer emits, copied run by run with
/// one memcpy per field, as a record assembled from separate members must at least be.
void fieldwiseMemcpyBaseline(benchmark::State& state, Sample sample)
{
    const XCP_Message message = makeSample(sample);
    const byteVec_t record = recordOf(message);
    const std::vector<size_t> runs = fieldRunsOf(message);
    size_t total = 0;
    for (size_t run : runs) {
        total += run;
    }
    if (total != record.size()) {
        state.SkipWithError("the field runs do not add up to the record");
        return;
    }
    byteVec_t buffer(record.size() + 2);
    for (auto _ : state) {
        const uint8_t* source = record.data();
        uint8_t* destination = buffer.data();
        benchmark::DoNotOptimize(source);
        for (size_t run : runs) {
            benchmark::DoNotOptimize(run);
            std::memcpy(destination, source, run);
            source += run;
            destination += run;
        }
        benchmark::DoNotOptimize(destination);
        benchmark::ClobberMemory();
    }
    state.counters["copies"] = static_cast<double>(runs.size());
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * record.size()));
}

/// Not a target, an explanation: one call of the virtual getSize(), which the write makes
/// three times (refusal check, base header, result).
void recordSize(benchmark::State& state, Sample sample)
{
    const XCP_Message message = makeSample(sample);
    const MessageBase* base = opaque(static_cast<const MessageBase*>(&message));
    for (auto _ : state) {
        benchmark::DoNotOptimize(base);
        size_t size = base->getSize();
        benchmark::DoNotOptimize(size);
    }
}

// ---- record read and its baseline ----------------------------------------------------------------

void recordRead(benchmark::State& state, Sample sample)
{
    const byteVec_t record = recordOf(makeSample(sample));
    const uint8_t* bytes = record.data();
    const std::size_t before = allocationCount();
    for (auto _ : state) {
        benchmark::DoNotOptimize(bytes);
        MessageBase* message = XCP_Message::readFromByteArray(bytes, record.size());
        benchmark::DoNotOptimize(message);
        delete message;
    }
    countAllocations(state, before);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * record.size()));
}

/// What no reader can avoid: the object itself, and filling the byte vectors and strings that
/// the record holds data for, each copied from its source bytes once. Vectors without bytes
/// and strings within the small-string capacity cost no allocation, here as in the reader.
void readAllocationBaseline(benchmark::State& state, Sample sample)
{
    const XCP_Message message = makeSample(sample);
    const byteVec_t record = recordOf(message);
    const std::array<const byteVec_t*, 4> sourceVectors = {&message.header.getData(),
                                                           &message.packet.timestampField.getTimestamp(),
                                                           &message.packet.dataField.data, &message.tail.data};
    const bool ethernet = message.getTransportType() == M::TT_ETHERNET;
    const std::array<const std::string*, 3> sourceStrings = {&message.dstIp, &message.srcIp, &message.mask};
    const std::size_t before = allocationCount();
    for (auto _ : state) {
        void* object = ::operator new(sizeof(XCP_Message));
        benchmark::DoNotOptimize(object);
        {
            std::array<byteVec_t, 4> vectors;
            for (size_t i = 0; i < vectors.size(); ++i) {
                const byteVec_t& source = *sourceVectors[i];
                if (!source.empty()) {
                    vectors[i].assign(source.begin(), source.end());
                }
            }
            std::array<std::string, 3> strings;
            if (ethernet) {
                for (size_t i = 0; i < strings.size(); ++i) {
                    strings[i].assign(sourceStrings[i]->data(), sourceStrings[i]->size());
                }
            }
            benchmark::DoNotOptimize(vectors);
            benchmark::DoNotOptimize(strings);
        }
        ::operator delete(object);
    }
    countAllocations(state, before);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * record.size()));
}

// ---- comparison, clone, classification -------------------------------------------------------------

void equality(benchmark::State& state, Sample sample)
{
    const XCP_Message message = makeSample(sample);
    std::unique_ptr<MessageBase> copy(message.clone());
    const MessageBase* left = opaque(static_cast<const MessageBase*>(&message));
    const MessageBase* right = opaque(copy.get());
    for (auto _ : state) {
        bool same = *left == *right;
        benchmark::DoNotOptimize(same);
    }
}

void cloneAndDelete(benchmark::State& state, Sample sample)
{
    const XCP_Message message = makeSample(sample);
    const MessageBase* base = opaque(static_cast<const MessageBase*>(&message));
    const std::size_t before = allocationCount();
    for (auto _ : state) {
        MessageBase* copy = base->clone();
        benchmark::DoNotOptimize(copy);
        delete copy;
    }
    countAllocations(state, before);
}

void packetType(benchmark::State& state, Sample sample)
{
    const XCP_Message message = makeSample(sample);
    const XCP_Message* subject = opaque(&message);
    for (auto _ : state) {
        M::packetType_t type = subject->getPacketType();
        benchmark::DoNotOptimize(type);
    }
}

// ---- summary line and its baseline -------------------------------------------------------------

/// Prints the line into one string stream that is rewound, not rebuilt, before each line.
void printLine(benchmark::State& state, Sample sample, const std::locale* locale)
{
    const XCP_Message message = makeSample(sample);
    const MessageBase* base = opaque(static_cast<const MessageBase*>(&message));
    std::ostringstream out;
    if (locale != nullptr) {
        out.imbue(*locale);
    }
    base->print(out);
    const std::string expected = message.toString();
    if (out.str() != expected) {
        state.SkipWithError("the stream does not hold the line");
        return;
    }
    const std::size_t before = allocationCount();
    for (auto _ : state) {
        out.seekp(0);
        base->print(out);
    }
    countAllocations(state, before);
    if (out.str() != expected) {
        state.SkipWithError("the stream does not hold the line after the loop");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * expected.size()));
}

void printFinishedLineBaseline(benchmark::State& state, Sample sample)
{
    const std::string line = makeSample(sample).toString();
    std::ostringstream out;
    out << line;
    const std::size_t before = allocationCount();
    for (auto _ : state) {
        out.seekp(0);
        out << line;
    }
    countAllocations(state, before);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * line.size()));
}

// ---- ratios -----------------------------------------------------------------------------------------

struct Comparison {
    const char* what;
    std::string measured;
    std::string baseline;
    double target;  ///< the largest acceptable ratio; 0 for a ratio shown for explanation
};

/// The console report, followed by each measured operation's ratio to its baseline.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    explicit RatioReporter(std::vector<Comparison> comparisons)
        : benchmark::ConsoleReporter(OO_None), comparisons_(std::move(comparisons))
    {
    }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        benchmark::ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.error_occurred) {
                continue;
            }
            Figure& figure = figures_[run.run_name.str()];
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if (median || (run.run_type == Run::RT_Iteration && !figure.median)) {
                figure.nanoseconds = run.GetAdjustedCPUTime();
                figure.median = median;
                auto allocs = run.counters.find("allocs");
                figure.allocations = allocs == run.counters.end() ? -1.0 : allocs->second.value;
            }
        }
    }

    void Finalize() override
    {
        std::ostream& out = GetOutputStream();
        bool header = false;
        for (const Comparison& comparison : comparisons_) {
            auto measured = figures_.find(comparison.measured);
            auto baseline = figures_.find(comparison.baseline);
            if (measured == figures_.end() || baseline == figures_.end() || baseline->second.nanoseconds <= 0) {
                continue;
            }
            if (!header) {
                out << "\nRatios to the baselines (CPU time per operation"
                    << (measured->second.median ? ", medians" : "") << "):\n";
                header = true;
            }
            const double ratio = measured->second.nanoseconds / baseline->second.nanoseconds;
            char text[256];
            std::snprintf(text, sizeof text, "  %-30s %9.1f ns / %9.1f ns = %6.2fx", comparison.what,
                          measured->second.nanoseconds, baseline->second.nanoseconds, ratio);
            out << text;
            if (comparison.target > 0) {
                std::snprintf(text, sizeof text, "  (target <= %.1fx: %s)", comparison.target,
                              ratio <= comparison.target ? "met" : "MISSED");
                out << text;
            }
            if (measured->second.allocations >= 0 && baseline->second.allocations >= 0) {
                std::snprintf(text, sizeof text, "  allocations %.0f / %.0f", measured->second.allocations,
                              baseline->second.allocations);
                out << text;
            }
            out << "\n";
        }
    }

private:
    struct Figure {
        double nanoseconds = 0;
        double allocations = -1;
        bool median = false;
    };
    std::vector<Comparison> comparisons_;
    std::map<std::string, Figure> figures_;
};

std::string nameOf(const char* operation, Sample sample)
{
    return std::string(operation) + "/" + sampleName(sample);
}

}  // namespace

int main(int argc, char** argv)
{
    // A locale that formats exactly as the classic one but is not it: printing on a stream
    // imbued with it measures the line built from separate stream insertions.
    static const std::locale notClassic(std::locale::classic(), new std::numpunct<char>());

    std::vector<Comparison> comparisons;
    for (Sample sample : {Sample::Can, Sample::EthernetDaq}) {
        auto reg = [sample](const char* operation, auto function, auto... extra) {
            benchmark::RegisterBenchmark(nameOf(operation, sample).c_str(), function, sample, extra...)
                ->Unit(benchmark::kNanosecond);
        };
        reg("record_write", recordWrite);
        reg("baseline_memcpy", memcpyBaseline);
        reg("fieldwise_memcpy", fieldwiseMemcpyBaseline);
        reg("record_size", recordSize);
        reg("record_read", recordRead);
        reg("baseline_read_allocations", readAllocationBaseline);
        reg("equality", equality);
        reg("clone", cloneAndDelete);
        reg("packet_type", packetType);
        reg("print_line", printLine, static_cast<const std::locale*>(nullptr));
        reg("print_line_insertions", printLine, &notClassic);
        reg("baseline_finished_line", printFinishedLineBaseline);

        const bool can = sample == Sample::Can;
        comparisons.push_back({can ? "record write, CAN" : "record write, Ethernet DAQ",
                               nameOf("record_write", sample), nameOf("baseline_memcpy", sample), 2.5});
        comparisons.push_back({can ? "write vs field-wise copy, CAN" : "write vs field-wise copy, Eth",
                               nameOf("record_write", sample), nameOf("fieldwise_memcpy", sample), 0});
        comparisons.push_back({can ? "record read, CAN" : "record read, Ethernet DAQ", nameOf("record_read", sample),
                               nameOf("baseline_read_allocations", sample), 1.5});
        comparisons.push_back({can ? "print line, CAN" : "print line, Ethernet DAQ", nameOf("print_line", sample),
                               nameOf("baseline_finished_line", sample), 10.0});
        comparisons.push_back({can ? "print by insertions, CAN" : "print by insertions, Eth",
                               nameOf("print_line_insertions", sample), nameOf("baseline_finished_line", sample), 0});
    }

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    RatioReporter reporter(std::move(comparisons));
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
