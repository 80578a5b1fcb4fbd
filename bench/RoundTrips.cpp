// Requests and values on TCP, in turn through the bridge and through the bare relay.
#include "bench/Scenarios.h"

#include <fstream>

namespace LumoBench
{
namespace
{

constexpr u32 TICKETS_OPEN = 4096;
constexpr u32 VALUES_PER_BURST = 64;

struct sLoad
{
    std::vector<double> usec; // of each request
    double perSecond = 0;
    double processorUSec = 0; // of 1000 requests
};

sLoad ask(ClientEnd &client, const Process &process, u32 count)
{
    sLoad load;
    load.usec.reserve(count);
    const u64 processorBefore = process.processorNSec();
    const u64 begin = nowNSec();
    u64 before = begin;
    for (u32 i = 0; i < count; ++i)
    {
        client.askVariable(VARIABLE_ASKED);
        const u64 now = nowNSec();
        load.usec.push_back(static_cast<double>(now - before) / 1e3);
        before = now;
    }
    load.perSecond = count * 1e9 / static_cast<double>(before - begin);
    load.processorUSec = static_cast<double>(process.processorNSec() - processorBefore) / count;
    client.rest();
    return load;
}

// Requests of a client that leaves Nagle's algorithm on and acknowledges each value before it asks again, at the earliest
// moment that the link's rules allow.
std::vector<double> askWithNagle(ClientEnd &client, u32 count)
{
    std::vector<double> msec;
    client.setNoDelay(false);
    for (u32 i = 0; i < count; ++i)
    {
        const u64 before = nowNSec();
        client.askVariable(VARIABLE_ASKED);
        msec.push_back(static_cast<double>(nowNSec() - before) / 1e6);
        client.rest();
    }
    client.setNoDelay(true);
    return msec;
}

// Values per second.
double valuesToMachine(ClientEnd &client, MachineEnd &machine, u32 count)
{
    const u64 taken = machine.valuesTaken();
    const u64 before = nowNSec();
    for (u32 i = 0; i < count; ++i)
        client.setVariable(VARIABLE_SET, i);
    machine.awaitValues(taken + count);
    return count * 1e9 / static_cast<double>(nowNSec() - before);
}

double valuesToClient(ClientEnd &client, const MachineEnd &machine, u32 bursts)
{
    u64 spent = 0;
    for (u32 i = 0; i < bursts; ++i)
    {
        const u64 before = nowNSec();
        machine.sendValues(VARIABLE_ASKED, VALUES_PER_BURST);
        client.takeValues(VALUES_PER_BURST);
        spent += nowNSec() - before;
        client.rest();
    }
    return bursts * VALUES_PER_BURST * 1e9 / static_cast<double>(spent);
}

void compareLoads(Results &results, const sLoad &bridge, const sLoad &bare)
{
    results.addPair("round trip, median", "us", median(bridge.usec), median(bare.usec));
    results.addPair("round trip, 99 %", "us", percentile(bridge.usec, 0.99), percentile(bare.usec, 0.99));
    results.addPair("requests", "1/s", bridge.perSecond, bare.perSecond);
    results.addPair("processor time of 1000 requests", "ms", bridge.processorUSec / 1e3, bare.processorUSec / 1e3);
}

// Round trip times and the share of requests that took no longer.
void writeDistribution(const std::string &path, const std::vector<double> &usec)
{
    std::ofstream file(path);
    for (double rank = 0; rank < 0.9995; rank += 0.001)
        file << percentile(usec, rank) << ' ' << rank * 100 << '\n';
}

} // namespace

void measureRoundTrips(sContext &context)
{
    BridgeRun bridge(context);
    bridge.connectClient();
    RelayRun relay(context);
    const u32 requests = context.scaled(20000, 500);
    const u32 nagleRequests = context.scaled(100, 10);
    const u32 bursts = context.scaled(100, 5);
    Results &results = context.results;
    std::vector<double> allBridge, allBare;
    ask(*bridge.client, bridge.process, requests / 10);
    ask(*relay.client, relay.process, requests / 10);
    for (u32 round = 0; round < context.rounds(); ++round)
    {
        const sLoad through = ask(*bridge.client, bridge.process, requests);
        const sLoad bare = ask(*relay.client, relay.process, requests);
        compareLoads(results, through, bare);
        allBridge.insert(allBridge.end(), through.usec.begin(), through.usec.end());
        allBare.insert(allBare.end(), bare.usec.begin(), bare.usec.end());

        const std::vector<double> nagle = askWithNagle(*bridge.client, nagleRequests);
        const std::vector<double> nagleBare = askWithNagle(*relay.client, nagleRequests);
        results.addPair("round trip with Nagle, median", "ms", median(nagle), median(nagleBare));
        results.addPair("round trip with Nagle, 99 %", "ms", percentile(nagle, 0.99), percentile(nagleBare, 0.99));

        results.addPair("values to the machine", "1/s",
                        valuesToMachine(*bridge.client, bridge.machine, bursts * VALUES_PER_BURST),
                        valuesToMachine(*relay.client, relay.machine, bursts * VALUES_PER_BURST));
        results.addPair("values to the client", "1/s", valuesToClient(*bridge.client, bridge.machine, bursts),
                        valuesToClient(*relay.client, relay.machine, bursts));
    }
    writeDistribution(context.out + "/roundtrip-bridge.dat", allBridge);
    writeDistribution(context.out + "/roundtrip-bare.dat", allBare);
}

void measureTickets(sContext &context)
{
    BridgeRun one(context);
    one.connectClient();
    BridgeRun many(context);
    many.connectClient();
    for (u32 i = 1; i < TICKETS_OPEN; ++i)
        many.client->askSilent(VARIABLE_SILENT_FIRST + i);
    const u32 requests = context.scaled(10000, 300);
    for (u32 round = 0; round < context.rounds(); ++round)
    {
        const double withOne = median(ask(*one.client, one.process, requests).usec);
        const double withMany = median(ask(*many.client, many.process, requests).usec);
        context.results.add("round trip with 1 ticket", "us", withOne);
        context.results.add("round trip with 4096 tickets", "us", withMany);
        context.results.add("round trip with 4096 tickets: ratio", "times", withMany / withOne);
    }
}

} // namespace LumoBench
