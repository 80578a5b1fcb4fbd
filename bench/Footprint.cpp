// What the bridge costs while nothing happens.
#include "bench/Scenarios.h"

#include <unistd.h>

namespace LumoBench
{
namespace
{

struct sIdle
{
    u64 wakeUps;
    u64 processorNSec;

    explicit sIdle(const Process &process) : wakeUps(process.wakeUps()), processorNSec(process.processorNSec()) {}
};

double wakeUpsPerSecond(const sIdle &before, const sIdle &after, double seconds)
{
    return static_cast<double>(after.wakeUps - before.wakeUps) / seconds;
}

double processorPercent(const sIdle &before, const sIdle &after, double seconds)
{
    return static_cast<double>(after.processorNSec - before.processorNSec) / 1e7 / seconds;
}

} // namespace

void measureFootprint(sContext &context)
{
    const u32 idleSeconds = context.scaled(10, 2);
    Results &results = context.results;
    for (u32 i = 0; i < context.scaled(20, 3); ++i)
        results.add("start to SMU connection", "ms", BridgeRun(context).startMSec);
    for (u32 round = 0; round < context.rounds(); ++round)
    {
        BridgeRun bridge(context);
        bridge.connectClient();
        const RelayRun relay(context);
        results.add("resident memory, ready", "MB", bridge.process.residentMB());
        const sIdle before(bridge.process), bareBefore(relay.process);
        sleep(idleSeconds);
        const sIdle after(bridge.process), bareAfter(relay.process);
        results.addPair("idle, wake-ups", "1/s", wakeUpsPerSecond(before, after, idleSeconds),
                        wakeUpsPerSecond(bareBefore, bareAfter, idleSeconds));
        results.addPair("idle, processor share", "%", processorPercent(before, after, idleSeconds),
                        processorPercent(bareBefore, bareAfter, idleSeconds));
    }
}

} // namespace LumoBench
