// HistoryCheck CLIENT MACHINE: whether the journals of both peers of the bridge fit together.
#include "tools/HistoryCheck/History.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <fstream>

namespace
{

using namespace HistoryCheck;

constexpr int EXIT_FITS = 0;
constexpr int EXIT_VIOLATED = 1;
constexpr int EXIT_USAGE = 2;

// Nothing when a line is none of a journal; it is shown.
std::optional<Lines> readJournal(const std::string &path)
{
    Lines lines;
    std::ifstream file(path);
    for (std::string text; std::getline(file, text);)
    {
        std::optional<JournalLine> line = LumoFaults::parseJournalLine(text);
        if (!line)
        {
            std::fprintf(stderr, "HistoryCheck: %s: no line of a journal: %s\n", path.c_str(), text.c_str());
            return std::nullopt;
        }
        lines.push_back(std::move(*line));
    }
    return lines;
}

int judge(const Lines &client, const Lines &machine, u32 left)
{
    const std::vector<Violation> violations = checkHistory(client, machine, left);
    for (const Violation &violation : violations)
    {
        std::printf("%s\n  this %s\n", violation.line->text.c_str(), violation.text.c_str());
        if (violation.other != nullptr)
            std::printf("%s\n", violation.other->text.c_str());
    }
    std::printf("%zu lines of the client, %zu of the machine: ", client.size(), machine.size());
    if (violations.empty())
        std::puts("they fit together");
    else
        std::printf("%zu violations\n", violations.size());
    return violations.empty() ? EXIT_FITS : EXIT_VIOLATED;
}

} // namespace

int main(int argc, char *argv[])
{
    std::string clientPath;
    std::string machinePath;
    u32 left = 0;
    CLI::App app("Checks the journals of LumoClient and LumoSmuSim, written in one run, against each other.",
                 "HistoryCheck");
    app.add_option("CLIENT", clientPath, "Journal of the client")->required()->check(CLI::ExistingFile);
    app.add_option("MACHINE", machinePath, "Journal of the machine")->required()->check(CLI::ExistingFile);
    app.add_option("--left", left, "Messages for the machine that the bridge says it left at its ends")
        ->option_text("N (0)");
    app.footer("Exit status: 0 they fit together, 1 they do not, 2 wrong usage or no journal.");
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError &error)
    {
        return app.exit(error) == 0 ? EXIT_FITS : EXIT_USAGE;
    }
    const std::optional<Lines> client = readJournal(clientPath);
    const std::optional<Lines> machine = readJournal(machinePath);
    return client && machine ? judge(*client, *machine, left) : EXIT_USAGE;
}
