#include "Session.h"

#include <algorithm>

namespace xcpgen {

namespace {

/// splitmix64: small, fast, and the same on every platform.
class Random {
public:
    explicit Random(uint64_t seed) : state_(seed) {}
    uint64_t next()
    {
        uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    /// A whole number from low to high, both included.
    uint64_t between(uint64_t low, uint64_t high) { return low + next() % (high - low + 1); }

private:
    uint64_t state_;
};

struct OdtLayout {
    std::vector<unsigned> entrySizes;
    unsigned dataSize = 0;
    uint32_t firstAddress = 0;
};

struct DaqListLayout {
    uint16_t number = 0;
    uint16_t event = 0;
    uint8_t firstPid = 0;
    std::vector<OdtLayout> odts;
};

constexpr uint8_t PID_RES = 0xFF;
constexpr uint8_t PID_ERR = 0xFE;
constexpr uint8_t PID_EV = 0xFD;
constexpr uint8_t PID_SERV = 0xFC;
constexpr uint8_t ERR_OUT_OF_RANGE = 0x22;
constexpr uint8_t EV_DAQ_OVERLOAD = 0x06;
constexpr uint8_t SERV_TEXT = 0x01;
constexpr uint8_t TIMESTAMP_UNIT_1US = 3;

class Session {
public:
    Session(const SessionConfig& config, const std::function<void(const Send&)>& out)
        : config_(config), out_(out), random_(config.seed), now_(config.startNs)
    {
    }

    void play();

private:
    // Multi-byte parameters in the slave's byte order.
    void putWord(std::vector<uint8_t>& bytes, uint16_t value) const
    {
        putNumber(bytes, value, 2);
    }
    void putDword(std::vector<uint8_t>& bytes, uint32_t value) const { putNumber(bytes, value, 4); }
    void putNumber(std::vector<uint8_t>& bytes, uint64_t value, unsigned size) const
    {
        for (unsigned i = 0; i < size; ++i) {
            unsigned shift = 8 * (config_.bigEndian ? size - 1 - i : i);
            bytes.push_back(static_cast<uint8_t>(value >> shift));
        }
    }

    unsigned identificationSize() const
    {
        switch (config_.idType) {
        case IdentificationType::ABSOLUTE_ODT:
            return 1;
        case IdentificationType::RELATIVE_DAQ_BYTE:
            return 2;
        case IdentificationType::RELATIVE_DAQ_WORD:
            return 3;
        case IdentificationType::RELATIVE_DAQ_ALIGNED:
            return 4;
        }
        return 1;
    }

    /// Moves the clock on by a random delay between low and high microseconds.
    void wait(uint64_t lowUs, uint64_t highUs) { now_ += random_.between(lowUs, highUs) * 1000; }

    void send(bool fromMaster, std::vector<Packet> packets)
    {
        Send s;
        s.timeNs = now_;
        s.fromMaster = fromMaster;
        s.captured = captured_;
        s.packets = std::move(packets);
        out_(s);
    }

    /// A command and its answer (a positive response unless `answer` says otherwise).
    void exchange(std::vector<uint8_t> command, std::vector<uint8_t> answer)
    {
        wait(800, 2000);
        send(true, {Packet{std::move(command), false}});
        wait(150, 600);
        send(false, {Packet{std::move(answer), false}});
    }
    void command(std::vector<uint8_t> bytes) { exchange(std::move(bytes), {PID_RES}); }

    void layOut(bool lastListFirst);
    void configure();
    void acquire(bool withLoss);
    std::vector<uint8_t> daqPacket(const DaqListLayout& list, size_t odt, uint64_t cycle);

    SessionConfig config_;  ///< changes when the slave reconnects with another variant
    const std::function<void(const Send&)>& out_;
    Random random_;
    uint64_t now_;
    uint64_t daqStartNs_ = 0;
    bool captured_ = true;
    std::vector<DaqListLayout> lists_;
};

void Session::layOut(bool lastListFirst)
{
    // DAQ list 0 on the fast event with two ODTs, list 1 on the slow event with one; ODTs
    // hold what fits under MAX_DTO next to the identification field and time stamp. The
    // slave numbers the ODTs of list 0 first, or of list 1 first.
    const unsigned wanted[2][2] = {{6, 7}, {4, 0}};
    const size_t odtCount[2] = {2, 1};
    uint8_t nextPid = 0;
    uint32_t address = 0x00010000;
    for (uint16_t l = 0; l < 2; ++l) {
        DaqListLayout list;
        list.number = l;
        list.event = l;
        list.firstPid = nextPid;
        for (size_t o = 0; o < odtCount[l]; ++o) {
            unsigned room = config_.maxDto - identificationSize() - (o == 0 ? config_.timestampSize : 0);
            OdtLayout odt;
            odt.dataSize = std::min(wanted[l][o], room);
            odt.firstAddress = address;
            for (unsigned left = odt.dataSize; left > 0;) {
                unsigned size = left >= 4 ? 4 : left >= 2 ? 2 : 1;
                odt.entrySizes.push_back(size);
                left -= size;
            }
            address += 0x100;
            list.odts.push_back(odt);
        }
        nextPid = static_cast<uint8_t>(nextPid + list.odts.size());
        lists_.push_back(list);
    }
    if (lastListFirst) {
        lists_[1].firstPid = 0;
        lists_[0].firstPid = static_cast<uint8_t>(lists_[1].odts.size());
    }
}

void Session::configure()
{
    uint8_t commModeBasic = config_.bigEndian ? 0x01 : 0x00;
    std::vector<uint8_t> connected{PID_RES, 0x05, commModeBasic, static_cast<uint8_t>(config_.maxCto)};
    putWord(connected, static_cast<uint16_t>(config_.maxDto));
    connected.push_back(0x01);  // protocol layer version
    connected.push_back(0x01);  // transport layer version
    exchange({0xFF, 0x00}, connected);  // CONNECT

    exchange({0xFD}, {PID_RES, 0x00, 0x00, 0x00, 0x00, 0x00});  // GET_STATUS

    std::vector<uint8_t> identifier{PID_RES, 0x00, 0x00, 0x00};
    putDword(identifier, 6);  // length of the ASAM MC2 file name the master would upload
    exchange({0xFA, 0x01}, identifier);  // GET_ID

    std::vector<uint8_t> processor{PID_RES, static_cast<uint8_t>(config_.timestampSize != 0 ? 0x11 : 0x01)};
    putWord(processor, 2);  // MAX_DAQ
    putWord(processor, 2);  // MAX_EVENT_CHANNEL
    processor.push_back(0x00);  // MIN_DAQ
    processor.push_back(static_cast<uint8_t>(static_cast<uint8_t>(config_.idType) << 6));  // DAQ_KEY_BYTE
    exchange({0xDA}, processor);  // GET_DAQ_PROCESSOR_INFO

    std::vector<uint8_t> resolution{PID_RES, 0x01, 0x04, 0x01, 0x04,
                                    static_cast<uint8_t>(config_.timestampSize == 0
                                                             ? 0
                                                             : (TIMESTAMP_UNIT_1US << 4) | config_.timestampSize)};
    putWord(resolution, 1);  // TIMESTAMP_TICKS
    exchange({0xD9}, resolution);  // GET_DAQ_RESOLUTION_INFO

    command({0xD6});  // FREE_DAQ
    std::vector<uint8_t> allocDaq{0xD5, 0x00};
    putWord(allocDaq, static_cast<uint16_t>(lists_.size()));
    command(allocDaq);
    for (const DaqListLayout& list : lists_) {
        std::vector<uint8_t> allocOdt{0xD4, 0x00};
        putWord(allocOdt, list.number);
        allocOdt.push_back(static_cast<uint8_t>(list.odts.size()));
        command(allocOdt);
    }
    for (const DaqListLayout& list : lists_) {
        for (size_t o = 0; o < list.odts.size(); ++o) {
            std::vector<uint8_t> allocEntries{0xD3, 0x00};
            putWord(allocEntries, list.number);
            allocEntries.push_back(static_cast<uint8_t>(o));
            allocEntries.push_back(static_cast<uint8_t>(list.odts[o].entrySizes.size()));
            command(allocEntries);
        }
    }
    for (const DaqListLayout& list : lists_) {
        for (size_t o = 0; o < list.odts.size(); ++o) {
            std::vector<uint8_t> pointer{0xE2, 0x00};
            putWord(pointer, list.number);
            pointer.push_back(static_cast<uint8_t>(o));
            pointer.push_back(0x00);
            command(pointer);  // SET_DAQ_PTR
            uint32_t address = list.odts[o].firstAddress;
            for (unsigned size : list.odts[o].entrySizes) {
                std::vector<uint8_t> write{0xE1, 0xFF, static_cast<uint8_t>(size), 0x00};
                putDword(write, address);
                command(write);  // WRITE_DAQ
                address += size;
            }
        }
    }
    for (const DaqListLayout& list : lists_) {
        std::vector<uint8_t> mode{0xE0, static_cast<uint8_t>(config_.timestampSize != 0 ? 0x10 : 0x00)};
        putWord(mode, list.number);
        putWord(mode, list.event);
        mode.push_back(0x01);  // prescaler
        mode.push_back(0x00);  // priority
        command(mode);  // SET_DAQ_LIST_MODE
    }
    for (const DaqListLayout& list : lists_) {
        std::vector<uint8_t> select{0xDE, 0x02};
        putWord(select, list.number);
        exchange(select, {PID_RES, list.firstPid});  // START_STOP_DAQ_LIST (select)
    }
    exchange({0xDD, 0x01}, {PID_RES});  // START_STOP_SYNCH (start selected)
}

std::vector<uint8_t> Session::daqPacket(const DaqListLayout& list, size_t odt, uint64_t cycle)
{
    std::vector<uint8_t> bytes;
    switch (config_.idType) {
    case IdentificationType::ABSOLUTE_ODT:
        bytes.push_back(static_cast<uint8_t>(list.firstPid + odt));
        break;
    case IdentificationType::RELATIVE_DAQ_BYTE:
        bytes.push_back(static_cast<uint8_t>(odt));
        bytes.push_back(static_cast<uint8_t>(list.number));
        break;
    case IdentificationType::RELATIVE_DAQ_WORD:
        bytes.push_back(static_cast<uint8_t>(odt));
        putWord(bytes, list.number);
        break;
    case IdentificationType::RELATIVE_DAQ_ALIGNED:
        bytes.push_back(static_cast<uint8_t>(odt));
        bytes.push_back(0x00);
        putWord(bytes, list.number);
        break;
    }
    if (odt == 0 && config_.timestampSize != 0) {
        // The slave's free-running microsecond counter, cut to the time stamp's size.
        putNumber(bytes, (now_ - daqStartNs_) / 1000, config_.timestampSize);
    }
    // Measured values: a counter per entry that moves with the cycle.
    uint64_t value = cycle * 3 + list.number * 1000 + odt * 100;
    for (unsigned size : list.odts[odt].entrySizes) {
        putNumber(bytes, value, size);
        value = value * 7 + 13;
    }
    return bytes;
}

void Session::acquire(bool withLoss)
{
    wait(800, 2000);
    daqStartNs_ = now_;
    uint64_t period = 1000000000ull / (config_.rateHz == 0 ? 1 : config_.rateHz);
    uint64_t cycles;
    if (config_.daqPackets != 0) {
        cycles = UINT64_MAX;
    } else {
        cycles = static_cast<uint64_t>(config_.seconds * config_.rateHz + 0.5);
    }
    uint64_t lostCycle = cycles == UINT64_MAX ? config_.daqPackets / 6 : cycles / 2;
    uint64_t sent = 0;
    for (uint64_t cycle = 0; cycle < cycles; ++cycle) {
        now_ = daqStartNs_ + cycle * period + random_.between(0, 40) * 1000;
        std::vector<Packet> packets;
        for (const DaqListLayout& list : lists_) {
            if (list.number == 1 && cycle % 5 != 0) {
                continue;
            }
            for (size_t odt = 0; odt < list.odts.size(); ++odt) {
                if (config_.daqPackets != 0 && sent == config_.daqPackets) {
                    break;
                }
                Packet packet{daqPacket(list, odt, cycle), false};
                // Half way through, the second ODT of list 0 is lost once.
                packet.lost = withLoss && cycle == lostCycle && list.number == 0 && odt == 1;
                packets.push_back(std::move(packet));
                ++sent;
            }
        }
        if (!packets.empty()) {
            send(false, std::move(packets));
        }
        if (config_.daqPackets != 0 && sent == config_.daqPackets) {
            break;
        }
    }
    now_ += period;
}

void Session::play()
{
    layOut(false);
    captured_ = !config_.startAtDaq;
    configure();
    captured_ = true;
    acquire(true);
    std::vector<uint8_t> upload{0xF4, 0x04, 0x00, 0x00};
    putDword(upload, 0xFFFFFF00);
    exchange(upload, {PID_ERR, ERR_OUT_OF_RANGE});  // SHORT_UPLOAD, refused
    wait(2000, 5000);
    send(false, {Packet{{PID_EV, EV_DAQ_OVERLOAD}, false}});
    wait(2000, 5000);
    send(false, {Packet{{PID_SERV, SERV_TEXT, 'd', 'o', 'n', 'e', 0x00}, false}});
    exchange({0xFE}, {PID_RES});  // DISCONNECT

    if (config_.reconnect) {
        wait(50000, 80000);
        config_.idType = config_.reconnectWith.idType;
        config_.timestampSize = config_.reconnectWith.timestampSize;
        config_.bigEndian = config_.reconnectWith.bigEndian;
        lists_.clear();
        layOut(true);
        configure();
        acquire(false);
        exchange({0xFE}, {PID_RES});  // DISCONNECT
    }
}

}  // namespace

void playSession(const SessionConfig& config, const std::function<void(const Send&)>& out)
{
    Session session(config, out);
    session.play();
}

}  // namespace xcpgen
