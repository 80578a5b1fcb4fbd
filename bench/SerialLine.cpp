// A serial line of 115200 baud, made of two pseudo-terminals: 11520 bytes/s.
#include "LumoSmuSim/PtyCable.h"
#include "bench/Scenarios.h"

#include <fcntl.h>
#include <memory>
#include <pthread.h>
#include <sched.h>

namespace LumoBench
{
namespace
{

constexpr u32 LINE_BYTES_PER_SECOND = 11520;
constexpr u16 BLOCK_LEN = 5000;
constexpr u32 VALUES_PER_BURST = 16;

// While it lives, what is started stands for hardware: it is never late and takes none of the shared processor.
class AsHardware
{
  public:
    AsHardware()
    {
        sched_getaffinity(0, sizeof m_before, &m_before);
        cpu_set_t others;
        CPU_ZERO(&others);
        for (size_t processor = 0; processor < CPU_SETSIZE; ++processor)
            if (!CPU_ISSET(processor, &m_before))
                CPU_SET(processor, &others);
        sched_setaffinity(0, sizeof others, &others); // with one processor alone it stays there
        const sched_param first{1};
        pthread_setschedparam(pthread_self(), SCHED_FIFO, &first); // refused to an ordinary user
    }
    ~AsHardware()
    {
        const sched_param usual{0};
        pthread_setschedparam(pthread_self(), SCHED_OTHER, &usual);
        sched_setaffinity(0, sizeof m_before, &m_before);
    }
    AsHardware(const AsHardware &) = delete;
    AsHardware &operator=(const AsHardware &) = delete;

  private:
    cpu_set_t m_before{};
};

std::unique_ptr<LumoSmuSim::PtyCable> layLine()
{
    const AsHardware hardware;
    return std::make_unique<LumoSmuSim::PtyCable>(LINE_BYTES_PER_SECOND);
}

double ofLine(u64 size, double seconds)
{
    return static_cast<double>(size) / seconds / LINE_BYTES_PER_SECOND * 100;
}

// What the line carries when one end only writes and the other only reads.
double streamed(const LumoSmuSim::PtyCable &cable, u32 size)
{
    const Descriptor from(open(cable.deviceA().c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC));
    const Descriptor to(open(cable.deviceB().c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC));
    const u64 begin = nowNSec();
    std::jthread writer([&] { from.write(Bytes(size)); });
    to.readExactly(size);
    return ofLine(size, static_cast<double>(nowNSec() - begin) / 1e9);
}

double requestMSec(ClientEnd &client, u32 count)
{
    std::vector<double> msec;
    for (u32 i = 0; i < count; ++i)
    {
        const u64 before = nowNSec();
        client.askVariable(VARIABLE_ASKED);
        msec.push_back(static_cast<double>(nowNSec() - before) / 1e6);
        client.rest();
    }
    return median(msec);
}

double valuesToMachine(ClientEnd &client, u32 count)
{
    const u64 before = nowNSec();
    for (u32 i = 0; i < count; ++i)
        client.setVariable(VARIABLE_SET, i);
    return count * 1e9 / static_cast<double>(nowNSec() - before);
}

// From the second on: the first waits for a poll.
double valuesToClient(BridgeRun &bridge, u32 count)
{
    bridge.machine.sendValues(VARIABLE_ASKED, count + 1);
    bridge.client->takeValues(1);
    const u64 before = nowNSec();
    bridge.client->acknowledge();
    bridge.client->takeValues(count);
    const double perSecond = count * 1e9 / static_cast<double>(nowNSec() - before);
    bridge.client->rest();
    return perSecond;
}

} // namespace

void measureSerialLine(sContext &context)
{
    const std::unique_ptr<LumoSmuSim::PtyCable> cable = layLine();
    Results &results = context.results;
    results.add("serial line by itself, streaming", "% of the line", streamed(*cable, context.scaled(100000, 10000)));
    BridgeRun bridge(context, {}, cable->deviceA());
    bridge.openLine(cable->deviceB());
    // The last block is short of one byte, so that no empty one follows.
    const u64 size = u64{BLOCK_LEN} * context.scaled(20, 2) - 1;
    const std::string source = context.folder + "/source.bin";
    makeSource(source, size);
    for (u32 round = 0; round < context.rounds(); ++round)
    {
        results.add("serial round trip, median", "ms", requestMSec(*bridge.client, context.scaled(50, 5)));
        results.add("serial values to the machine", "1/s", valuesToMachine(*bridge.client, VALUES_PER_BURST));
        results.add("serial values to the client", "1/s", valuesToClient(bridge, VALUES_PER_BURST));
        bridge.client->awaitPoll();
        results.add("serial upload", "% of the line", ofLine(size, uploadThrough(bridge, size, BLOCK_LEN)));
        bridge.client->awaitPoll();
        bridge.client->acknowledge();
        results.add("serial download", "% of the line", ofLine(size, downloadThrough(bridge, source, size, BLOCK_LEN)));
    }
}

} // namespace LumoBench
