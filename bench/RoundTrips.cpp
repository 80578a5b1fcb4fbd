// Requests and values on TCP, in turn through the bridge and through the bare relay.
#include "bench/Scenarios.h"

#include <fstream>

namespace LumoBench
{
namespace
{

constexpr u32 TICKETS_OPEN = 4096;
constexpr u32 VALUES_PER_BURST = 64;

constexpr u32 REQUESTS_PER_TURN = 500;

struct sLoad
{
    std::vector<double> usec; // of each request
    u64 spentNSec = 0;
    u64 processorNSec = 0;

    double perSecond() const { return static_cast<double>(usec.size()) * 1e9 / static_cast<double>(spentNSec); }
    double processorMSecOf1000() const
    {
        return static_cast<double>(processorNSec) / 1e3 / static_cast<double>(usec.size());
    }
};

void ask(sLoad &load, ClientEnd &client, const Process &process)
{
    const u64 processorBefore = process.processorNSec();
    const u64 begin = nowNSec();
    u64 before = begin;
    for (u32 i = 0; i < REQUESTS_PER_TURN; ++i)
    {
        client.askVariable(VARIABLE_ASKED);
        const u64 now = nowNSec();
        load.usec.push_back(static_cast<double>(now - before) / 1e3);
        before = now;
    }
    load.spentNSec += before - begin;
    load.processorNSec += process.processorNSec() - processorBefore;
    client.rest();
}

// Two runs take turns, so that what else the processor does meets both.
template <typename One, typename Other>
std::pair<sLoad, sLoad> askInTurn(One &one, Other &other, u32 turns)
{
    std::pair<sLoad, sLoad> loads;
    for (u32 i = 0; i < turns; ++i)
    {
        ask(loads.first, *one.client, one.process);
        ask(loads.second, *other.client, other.process);
    }
    return loads;
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
    results.addPair("requests", "1/s", bridge.perSecond(), bare.perSecond());
    results.addPair("processor time of 1000 requests", "ms", bridge.processorMSecOf1000(), bare.processorMSecOf1000());
}

// Round trip times and the share of requests that took no longer.
void writeDistribution(const std::string &path, const std::vector<double> &usec)
{
    std::ofstream file(path);
    for (double rank = 0; rank < 0.999; rank += 0.0025)
        file << percentile(usec, rank) << ' ' << rank * 100 << '\n';
}

} // namespace

void measureRoundTrips(sContext &context)
{
    BridgeRun bridge(context);
    bridge.connectClient();
    RelayRun relay(context);
    const u32 turns = context.scaled(40, 2);
    const u32 nagleRequests = context.scaled(100, 10);
    const u32 bursts = context.scaled(100, 5);
    Results &results = context.results;
    std::vector<double> allBridge, allBare;
    askInTurn(bridge, relay, 2); // to warm up
    for (u32 round = 0; round < context.rounds(); ++round)
    {
        const auto [through, bare] = askInTurn(bridge, relay, turns);
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
    askInTurn(one, many, 2);
    for (u32 round = 0; round < context.rounds(); ++round)
    {
        const auto [loadOfOne, loadOfMany] = askInTurn(one, many, context.scaled(20, 1));
        const double withOne = median(loadOfOne.usec);
        const double withMany = median(loadOfMany.usec);
        context.results.add("round trip with 1 ticket", "us", withOne);
        context.results.add("round trip with 4096 tickets", "us", withMany);
        context.results.add("round trip with 4096 tickets: ratio", "times", withMany / withOne);
    }
}

} // namespace LumoBench
