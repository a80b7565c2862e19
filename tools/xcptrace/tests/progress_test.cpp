// The progress line for large inputs.

#include <chrono>
#include <thread>

#include "Progress.h"
#include "tool_test_support.h"

using xcptrace::ProgressMeter;

TEST(ProgressTest, LineShowsBytesPacketsAndRateAndIsClearedAtTheEnd)
{
    std::ostringstream out;
    {
        ProgressMeter meter(out, "big.pcap", 100000000, true);
        meter.update(1000, 1);  // too early: nothing drawn yet
        EXPECT_EQ(out.str(), "");
        std::this_thread::sleep_for(std::chrono::milliseconds(520));
        meter.update(50000000, 123456);
        std::string line = out.str();
        EXPECT_EQ(line.rfind("\rxcptrace: big.pcap: 50.0 of 100.0 MB (50%), 123456 packets, ", 0), 0u) << line;
        EXPECT_EQ(line.substr(line.size() - 5), " MB/s");
        meter.update(60000000, 130000);  // within half a second of the last drawing
        EXPECT_EQ(out.str(), line);
        size_t width = line.size() - 1;
        meter.done();
        EXPECT_EQ(out.str(), line + "\r" + std::string(width, ' ') + "\r");
    }
}

TEST(ProgressTest, DisabledMeterWritesNothing)
{
    std::ostringstream out;
    {
        ProgressMeter meter(out, "small.pcap", 1000, false);
        std::this_thread::sleep_for(std::chrono::milliseconds(520));
        meter.update(500, 10);
    }
    EXPECT_EQ(out.str(), "");
    EXPECT_FALSE(ProgressMeter::wanted(ProgressMeter::THRESHOLD_BYTES));
}
