// What the bridge costs while nothing happens.
#include "bench/Scenarios.h"

#include <thread>
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

// The client takes what comes and acknowledges nothing, so that the bridge keeps as many of the machine's values as it ever does.
void measurePeak(sContext &context)
{
    constexpr u32 SIZE = 45000; // bytes of a value
    const u32 count = context.scaled(20000, 500);
    for (u32 round = 0; round < context.rounds(); ++round)
    {
        BridgeRun bridge(context);
        bridge.connectClient();
        std::jthread flood([&] { bridge.machine.sendBuffers(VARIABLE_ASKED, SIZE, count); });
        for (u32 i = 0; i < count; ++i)
            bridge.client->setBuffer(VARIABLE_SET, SIZE);
        flood.join();
        context.results.add("resident memory, flood from both sides", "MB", bridge.process.peakMB());
    }
}

// The machine answers at once, yet behind all that it has sent before.
void measureAnswers(sContext &context)
{
    for (u32 round = 0; round < context.rounds(); ++round)
    {
        BridgeRun bridge(context);
        bridge.connectClient();
        bridge.machine.flood(true);
        bridge.client->setVariable(VARIABLE_SET, 0); // wakes its thread
        std::vector<double> msec;
        for (u32 i = 0; i < context.scaled(20, 5); ++i)
        {
            const u64 before = nowNSec();
            bridge.client->askInFlood(VARIABLE_ASKED);
            msec.push_back(static_cast<double>(nowNSec() - before) / 1e6);
            bridge.client->acknowledge();
        }
        bridge.machine.flood(false);
        context.results.add("answer in a flood of the machine, median", "ms", median(msec));
        context.results.add("answer in a flood of the machine, most", "ms", percentile(msec, 1));
    }
}

} // namespace

void measureFlood(sContext &context)
{
    measurePeak(context);
    measureAnswers(context);
}

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
