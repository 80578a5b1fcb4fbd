#include "tools/Faults/FaultOptions.h"

#include <CLI/CLI.hpp>

#include <random>

namespace LumoFaults
{

void describeFaults(CLI::App &app, FaultOptions &options, eSide side)
{
    CLI::Option_group *group =
        app.add_option_group("Misbehaviour", "For trials of the bridge; docs/faults.md tells more");
    group
        ->add_option("--fault", options.faults, "Hit the next packet; repeatable, one packet each:\n" + faultHelp(side))
        ->allow_extra_args(false)
        ->option_text("VERB[:N]");
    group
        ->add_option("--fault-rate", options.percent,
                     "Hit each packet with this chance, by any of the faults given, without one by any at all")
        ->check(CLI::Range(0, 100))
        ->option_text("PERCENT");
    group->add_option("--seed", options.seed, "Repeat a run by chance; without it one is drawn and shown");
    group
        ->add_option("--journal", options.journal,
                     "Append what is sent and received to this file; HistoryCheck reads it")
        ->option_text("FILE");
}

std::string applyFaults(FaultOptions &options, FaultPlan &plan, Journal &journal, eSide side)
{
    for (const std::string &fault : options.faults)
        if (!plan.order(fault))
            return "--fault: '" + fault + "' is no fault of this side";
    if (options.percent != 0)
    {
        if (!options.seed)
            options.seed = std::random_device{}();
        plan.draw(options.percent, *options.seed);
    }
    const bool isOpen =
        options.journal.empty() || journal.open(options.journal, side == eSide::client ? "client" : "machine");
    return isOpen ? "" : "--journal: '" + options.journal + "' cannot be written";
}

} // namespace LumoFaults
