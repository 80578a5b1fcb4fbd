// LoadBench: the real daemon under load, between a machine and a client of this process, in turn with bare programs that do
// no more than they must. All of it on one processor.
#include "bench/BareRelay.h"
#include "bench/BareTransfer.h"
#include "bench/Scenarios.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <tuple>

namespace
{

using namespace LumoBench;

struct sTopic
{
    const char *name;
    void (*measure)(sContext &);
};

constexpr sTopic TOPICS[] = {
    {"roundtrips", measureRoundTrips}, {"tickets", measureTickets},   {"transfers", measureTransfers},
    {"growth", measureGrowth},         {"serial", measureSerialLine}, {"footprint", measureFootprint},
    {"flood", measureFlood},
};

struct sOptions
{
    sContext context;
    int processor = 0;
    std::vector<std::string> only;
    std::vector<std::tuple<std::string, std::string, double>> more; // series, unit, value
};

bool isWanted(const sOptions &options, const std::string &topic)
{
    return options.only.empty() || std::find(options.only.begin(), options.only.end(), topic) != options.only.end();
}

int measure(sOptions &options)
{
    sContext &context = options.context;
    context.self = std::filesystem::read_symlink("/proc/self/exe");
    context.bridge = std::filesystem::absolute(context.bridge);
    std::filesystem::create_directories(context.out);
    pinTo(options.processor);
    for (const sTopic &topic : TOPICS)
    {
        if (!isWanted(options, topic.name))
            continue;
        std::printf("==> Measuring %s\n", topic.name);
        std::fflush(stdout);
        topic.measure(context);
    }
    for (const auto &[series, unit, value] : options.more)
        context.results.add(series, unit, value);
    const std::string figures = context.results.figuresTable();
    std::ofstream(context.out + "/figures.md") << figures;
    std::ofstream(context.out + "/values.md") << context.results.valuesTable();
    std::printf("%s", figures.c_str());
    return context.results.writeCsv(context.out + "/results.csv") ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    std::signal(SIGPIPE, SIG_IGN);
    CLI::App app("Measures LumoBridge against bare programs that do the same work without its protocol");
    sOptions options;
    sContext &context = options.context;
    app.add_option("--bridge", context.bridge, "the daemon's program");
    app.add_option("--folder", context.folder, "existing folder for files on their way");
    app.add_option("--out", context.out, "folder for the results");
    app.add_option("--cpu", options.processor, "the processor that all of it shares");
    app.add_option("--only", options.only, "topics: roundtrips, tickets, transfers, growth, serial, footprint, flood")
        ->delimiter(',');
    app.add_flag("--quick", context.quick, "one short round of everything");
    app.add_option("--add", options.more, "SERIES UNIT VALUE that was measured elsewhere");

    u16 machinePort = 0;
    u16 clientPort = 0;
    std::string clientIp, received, source;
    CLI::App *relay = app.add_subcommand("relay", "the bare relay");
    relay->add_option("machine-port", machinePort)->required();
    relay->add_option("client-address", clientIp)->required();
    relay->add_option("client-port", clientPort)->required();
    CLI::App *transfer = app.add_subcommand("transfer", "the bare transfer");
    transfer->add_option("client-address", clientIp)->required();
    transfer->add_option("client-port", clientPort)->required();
    transfer->add_option("received", received)->required();
    transfer->add_option("source", source)->required();
    CLI11_PARSE(app, argc, argv);
    try
    {
        if (relay->parsed())
            runBareRelay(machinePort, clientIp, clientPort);
        else if (transfer->parsed())
            runBareTransfer(clientIp, clientPort, received, source);
        else
            return measure(options);
    }
    catch (const std::exception &error)
    {
        std::fprintf(stderr, "LoadBench: %s\n", error.what());
        return 1;
    }
    return 0;
}
