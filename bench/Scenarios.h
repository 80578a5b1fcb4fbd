// What is measured, one function a topic. Each starts what it needs and adds to the results.
#pragma once

#include "bench/ClientEnd.h"
#include "bench/MachineEnd.h"
#include "bench/Process.h"
#include "bench/Results.h"

#include <optional>

namespace LumoBench
{

struct sContext
{
    std::string bridge; // the daemon's program
    std::string self;   // this program
    std::string folder; // for what the programs write
    std::string out;    // for the data of the plots
    bool quick = false; // tries everything out; the values mean little
    Results results;

    u32 rounds() const { return quick ? 1 : 5; }
    u32 scaled(u32 full, u32 trial) const { return quick ? trial : full; }
};

// The real daemon, its machine and, once it has come, its client.
struct BridgeRun
{
    // On TCP without a line. Ready means that it listens for its client, or has opened its line.
    explicit BridgeRun(const sContext &context, const std::vector<std::string> &more = {},
                       const std::string &line = "");

    void connectClient();
    void openLine(const std::string &device); // the client's end; also waits until the bridge polls

    MachineEnd machine;
    u16 port;
    std::string folder;
    u64 startedNSec; // when its start began
    Process process;
    double startMSec; // until its connection with the machine stood
    std::optional<ClientEnd> client;
};

// The relay that does nothing else, with the same neighbours.
struct RelayRun
{
    explicit RelayRun(const sContext &context);

    MachineEnd machine;
    u16 port;
    Process process;
    std::optional<ClientEnd> client;
};

// A port of ownLoopback() that nobody had before.
u16 freshPort();

void measureRoundTrips(sContext &context);
void measureTickets(sContext &context);
void measureTransfers(sContext &context);
void measureGrowth(sContext &context);
void measureSerialLine(sContext &context);
void measureFootprint(sContext &context);
void measureFlood(sContext &context);

// ---- Files over the link. Each returns the seconds from the first block to the end; `blockLen` is asked for, or granted.

double upload(ClientEnd &client, u16 fileId, u64 size, u16 blockLen);
double download(ClientEnd &client, u64 size, u16 blockLen);

// The same through the bridge, from announcement to file.
double uploadThrough(BridgeRun &bridge, u64 size, u16 blockLen);
double downloadThrough(BridgeRun &bridge, const std::string &source, u64 size, u16 blockLen);

// Writes a file of bytes by chance.
void makeSource(const std::string &path, u64 size);

} // namespace LumoBench
