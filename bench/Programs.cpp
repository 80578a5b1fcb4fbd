// The programs under measurement, each between its neighbours.
#include "bench/Scenarios.h"

#include <filesystem>

namespace LumoBench
{
namespace
{

constexpr u16 PORT_FIRST = 8283;

std::string freshFolder(const sContext &context)
{
    static int count = 0;
    const std::string folder = context.folder + "/" + std::to_string(++count);
    std::filesystem::create_directories(folder);
    return folder;
}

std::vector<std::string> bridgeCommand(const sContext &context, const MachineEnd &machine, u16 port,
                                       const std::vector<std::string> &more, const std::string &line)
{
    std::vector<std::string> command = {context.bridge, "-server", machine.address()};
    if (line.empty())
        command.insert(command.end(), {"-socket", ownLoopback() + ":" + std::to_string(port)});
    else
        command.insert(command.end(), {"-uart", line});
    command.insert(command.end(), more.begin(), more.end());
    return command;
}

// Until the connection stands.
double takeBridge(MachineEnd &machine, u64 startedNSec)
{
    machine.takeConnection();
    const double startMSec = static_cast<double>(nowNSec() - startedNSec) / 1e6;
    machine.greet();
    machine.serve();
    return startMSec;
}

} // namespace

u16 freshPort()
{
    static u16 next = PORT_FIRST;
    return next++;
}

BridgeRun::BridgeRun(const sContext &context, const std::vector<std::string> &more, const std::string &line)
    : port(freshPort()), folder(freshFolder(context)), startedNSec(nowNSec()),
      process(bridgeCommand(context, machine, port, more, line), folder), startMSec(takeBridge(machine, startedNSec))
{
}

void BridgeRun::connectClient()
{
    client = ClientEnd::onTcp(ownLoopback(), port);
    machine.awaitLinkUp();
}

void BridgeRun::openLine(const std::string &device)
{
    client = ClientEnd::onLine(device);
    client->awaitPoll();
    client->acknowledge();
    machine.awaitLinkUp();
    client->awaitPoll();
}

RelayRun::RelayRun(const sContext &context)
    : port(freshPort()),
      process({context.self, "relay", std::to_string(machine.port()), ownLoopback(), std::to_string(port)},
              context.folder)
{
    machine.takeConnection();
    machine.serve();
    client = ClientEnd::onTcp(ownLoopback(), port);
}

} // namespace LumoBench
