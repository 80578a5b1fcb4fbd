// LumoSmuSim: a coffee machine to run the bridge against.
#include "LumoSmuSim/Simulator.h"

#include "tools/Faults/FaultOptions.h"
#include "toviCommonLib/OS/linux/linuxOSTermination.h"
#include "toviCommonLib/tovi.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace
{

using namespace LumoSmuSim;

constexpr int EXIT_DONE = 0;
constexpr int EXIT_CANNOT_START = 1;
constexpr int EXIT_USAGE = 2;

struct Options
{
    Settings settings;
    std::string listen = "127.0.0.1:2283";
    std::string atInputEnd = "keep";
    LumoFaults::FaultOptions faults;
};

// "address:port".
bool parseListen(const std::string &text, Settings &settings)
{
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0)
        return false;
    settings.address = text.substr(0, colon);
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + colon + 1, end, settings.port);
    return error == std::errc{} && stop == end;
}

void describe(CLI::App &app, Options &options)
{
    app.add_option("--listen", options.listen, "Where bridges connect; port 0 takes any free one, the first line tells")
        ->option_text("ADDRESS:PORT (127.0.0.1:2283)");
    app.add_option("--drift", options.settings.driftMSec, "As the command drift, from the start")->option_text("MS");
    app.add_option("--files", options.settings.filesFolder,
                   "Answer requests for files from this folder: a file's name begins with its id, such as 7.bin")
        ->check(CLI::ExistingDirectory)
        ->option_text("DIR");
    app.add_option("--command", options.settings.commands,
                   "A command as typed, given once when the first bridge is at work; repeatable")
        ->allow_extra_args(false)
        ->option_text("LINE");
    app.add_option("--exec-on-stdin-eof", options.atInputEnd, "What the end of standard input does")
        ->check(CLI::IsMember({"keep", "quit"}))
        ->option_text("keep|quit (keep)");
    LumoFaults::describeFaults(app, options.faults, LumoFaults::eSide::machine);
    app.footer(
        std::string("Commands on standard input, one on each line:\n") + Machine::helpText() +
        "\n\nA variable message of the bridge counts as a request, unless it carries a value of the kind that a\n"
        "writable variable (ids from 100) has. The answer to a ticketed buffer is its bytes in reverse order.\n"
        "The bridge deletes a file whose transfer its client cuts off, so it gets copies only, from a temporary "
        "folder\n"
        "that is deleted when the simulator ends; nothing happens to the files themselves.");
}

int run(const Options &options, const LumoFaults::Journal &journal)
{
    const Settings &settings = options.settings;
    if (fcntl(STDIN_FILENO, F_GETFD) < 0)
        open("/dev/null", O_RDONLY); // descriptor 0 is standard input, never a socket
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    if (!platform::termination_trap() || !tovi::init("LumoSmuSim", nullptr))
    {
        std::fprintf(stderr, "LumoSmuSim: cannot start: no descriptor or no current folder\n");
        return EXIT_CANNOT_START;
    }
    int status = EXIT_DONE;
    {
        Simulator simulator(settings, journal);
        if (!simulator.listen())
            status = EXIT_CANNOT_START;
        else
        {
            if (options.faults.percent != 0)
                std::printf("seed %u\n", *options.faults.seed);
            simulator.run();
        }
    }
    tovi::deinit();
    if (status != EXIT_DONE)
        std::fprintf(stderr, "LumoSmuSim: cannot listen on %s:%u\n", settings.address.c_str(), unsigned{settings.port});
    return status;
}

} // namespace

int main(int argc, char *argv[])
{
    Options options;
    CLI::App app("Simulates the machine control unit of the coffee machine.", "LumoSmuSim");
    describe(app, options);
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError &error)
    {
        return app.exit(error) == 0 ? EXIT_DONE : EXIT_USAGE;
    }
    if (!parseListen(options.listen, options.settings))
    {
        std::fprintf(stderr, "LumoSmuSim: --listen: '%s' is not address:port\n", options.listen.c_str());
        return EXIT_USAGE;
    }
    options.settings.quitsAtInputEnd = options.atInputEnd == "quit";
    LumoFaults::Journal journal;
    const std::string wrong = applyFaults(options.faults, options.settings.plan, journal, LumoFaults::eSide::machine);
    if (!wrong.empty())
    {
        std::fprintf(stderr, "LumoSmuSim: %s\n", wrong.c_str());
        return EXIT_USAGE;
    }
    return run(options, journal);
}
