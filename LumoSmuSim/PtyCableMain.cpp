// PtyCable: joins two serial devices under names of their own until it is ended by a signal or its standard input closes.
#include "LumoSmuSim/PtyCable.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>
#include <unistd.h>

namespace
{

constexpr int EXIT_CANNOT_START = 1;
constexpr int EXIT_USAGE = 2;

struct Options
{
    std::string linkA, linkB;
    u32 bytesPerSecond = 0;
    u32 swallowA = 0, swallowB = 0;
    bool isEvery = false;
};

void describe(CLI::App &app, Options &options)
{
    app.add_option("LINK_A", options.linkA, "name of the first device")->required();
    app.add_option("LINK_B", options.linkB, "name of the second device")->required();
    app.add_option("BYTES_PER_SECOND", options.bytesPerSecond, "speed, 11520 for a real line (0: no limit)");
    app.add_option("--swallow-a", options.swallowA, "swallow the N-th packet that A sends")->option_text("N");
    app.add_option("--swallow-b", options.swallowB, "swallow the N-th packet that B sends")->option_text("N");
    app.add_flag("--every", options.isEvery, "swallow every N-th packet, not just the first N-th");
    app.footer("Packets are those of the client link, found by their start mark and length.");
}

} // namespace

int main(int argc, char *argv[])
{
    Options options;
    CLI::App app("Joins two simulated serial devices until its standard input closes.", "PtyCable");
    describe(app, options);
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError &error)
    {
        return app.exit(error) == 0 ? 0 : EXIT_USAGE;
    }
    LumoSmuSim::PtyCable cable(options.bytesPerSecond);
    cable.swallow(LumoSmuSim::PtyCable::eEnd::A, options.swallowA, options.isEvery);
    cable.swallow(LumoSmuSim::PtyCable::eEnd::B, options.swallowB, options.isEvery);
    if (symlink(cable.deviceA().c_str(), options.linkA.c_str()) != 0 ||
        symlink(cable.deviceB().c_str(), options.linkB.c_str()) != 0)
    {
        std::perror("PtyCable");
        return EXIT_CANNOT_START;
    }
    std::printf("PtyCable joins %s and %s\n", options.linkA.c_str(), options.linkB.c_str());
    std::fflush(stdout);
    while (std::getchar() != EOF)
    {
    }
    return 0;
}
