#ifndef XCPTRACE_EXPORT_H
#define XCPTRACE_EXPORT_H

#include <ostream>
#include <string>

#include "Pipeline.h"

namespace xcptrace {

/// `export`: one row per XCP packet, as CSV (with a header line) or as JSON Lines, for
/// analysis in pandas, DuckDB, Spark and the like. The columns, in this order:
/// time_ns, ecu, transport, direction, packet_type, command, error, event, service, pid,
/// daq_list, odt, ecu_timestamp, data, len, ctr.
class ExportSink : public PacketSink {
public:
    enum class Format { CSV, JSONL };

    ExportSink(std::ostream& out, Format format);
    void write(const DecodedPacket& packet) override;
    bool close(std::string& error) override;

    /// A CSV field: quoted (quotes doubled) when it holds a comma, a quote or a line end.
    static std::string csvField(const std::string& text);

private:
    std::ostream& out_;
    Format format_;
    std::string line_;
};

}  // namespace xcptrace

#endif  // XCPTRACE_EXPORT_H
