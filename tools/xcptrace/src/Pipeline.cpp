#include "Pipeline.h"

namespace xcptrace {

uint64_t runPipeline(PacketSource& source, EcuNumbering& numbering, const std::vector<PacketStage*>& stages,
                     PacketSink& sink)
{
    uint64_t count = 0;
    while (DecodedPacket* packet = source.next()) {
        numbering.apply(*packet);
        packet->session = SessionInfo();
        for (PacketStage* stage : stages) {
            stage->process(*packet);
        }
        sink.write(*packet);
        ++count;
    }
    for (PacketStage* stage : stages) {
        stage->finish();
    }
    return count;
}

}  // namespace xcptrace
