// Fails each fallible call of the daemon once, some from one call on, interrupts it at random and shifts its clock; judges
// each run and writes the tables.
#include "LTProto/Tools/PrintfText.h"
#include "tools/Torture/Scenario.h"
#include "toviCommonLib/tovi.h"

#include <CLI/CLI.hpp>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>
#include <unistd.h>

using namespace LumoTorture;

namespace
{

constexpr u32 PERSISTENT_POINTS = 8;
constexpr u32 INTERRUPT_PERCENT = 30;
constexpr u32 REACH_TRIES = 4; // the threads take turns: a call that did not come may come in the next run
constexpr i64 DAY_SEC = 86400;

struct sOptions
{
    sSettings settings;
    std::string out;
    std::string only;
    u32 step = 1;
    u32 most = 0xFFFFFFFF;
    u32 jobs = 2;
    u32 seeds = 20;
};

struct sJob
{
    eLink link;
    u32 row;
    sTorment torment;
};

struct sRow
{
    std::string name;
    u32 calls = 0; // 0 for what is no count
    std::array<u32, OUTCOMES_COUNT> outcomes{};
};

const char *nameOf(eLink link)
{
    return link == eLink::TCP ? "TCP" : "serial line";
}

// All runs of one link.
class Campaign
{
  public:
    Campaign(const sOptions &options, eLink link) : m_options(options), m_link(link) {}

    void plan();
    void play();
    bool isClean() const { return m_faults == 0; }
    std::string table() const;

  private:
    void planCalls();
    void planOthers();
    void work(u32 worker);
    sResult attempt(const sSettings &settings, const sTorment &torment) const;
    void note(const sJob &job, const sResult &result, const std::string &folder);
    std::string callersOf(const sResult &result) const;
    u32 addRow(const std::string &name, u32 calls);

    const sOptions &m_options;
    eLink m_link;
    sMeasure m_usual;
    std::vector<sJob> m_jobs;
    std::vector<sRow> m_rows;
    std::atomic<size_t> m_next{0};
    std::mutex m_mutex; // guards the rows and the faults while work is done
    u32 m_faults = 0;
};

sSettings settingsOf(const sOptions &options, u32 worker)
{
    sSettings settings = options.settings;
    settings.folder += "/" + std::to_string(worker);
    settings.ip = "127.77." + std::to_string(1 + getpid() % 250) + "." + std::to_string(1 + worker);
    return settings;
}

u32 Campaign::addRow(const std::string &name, u32 calls)
{
    m_rows.push_back({name, calls});
    return static_cast<u32>(m_rows.size() - 1);
}

// The undisturbed run comes first: what it counts is what is failed.
void Campaign::plan()
{
    const sResult usual = run(settingsOf(m_options, 0), m_link, {}, nullptr);
    if (usual.outcome != eOutcome::SERVED)
        throw std::runtime_error("the undisturbed daemon does not go through: " + usual.why);
    m_usual = usual.measure;
    planCalls();
    if (m_options.only.empty() || m_options.only == "others")
        planOthers();
}

void Campaign::planCalls()
{
    for (u32 i = 0; i < CALLS_COUNT; ++i)
    {
        const u32 count = m_usual.counts[i];
        if (count == 0 || (!m_options.only.empty() && m_options.only != CALLS[i].name))
            continue;
        const u32 row = addRow(std::string("`") + CALLS[i].name + "`", count);
        for (u32 nr = 1; nr <= std::min(count, m_options.most); nr += m_options.step)
            m_jobs.push_back({m_link, row, {.call = eCall{i}, .first = nr, .last = nr}});
    }
}

void Campaign::planOthers()
{
    for (u32 i = 0; i < CALLS_COUNT; ++i)
    {
        const u32 count = m_usual.counts[i];
        if (count == 0 || CALLS[i].error == EINTR)
            continue;
        const u32 row = addRow(std::string("`") + CALLS[i].name + "` ever after", 0);
        const u32 points = std::max(1u, PERSISTENT_POINTS / m_options.step);
        for (u32 point = 0; point < std::min(points, count); ++point)
            m_jobs.push_back(
                {m_link, row, {.call = eCall{i}, .first = 1 + count * point / points, .last = EVER_AFTER}});
    }
    const u32 storm = addRow("a signal interrupts 30 % of the calls", 0);
    for (u32 seed = 1; seed <= std::max(2u, m_options.seeds / m_options.step); ++seed)
        m_jobs.push_back({m_link, storm, {.interruptPercent = INTERRUPT_PERCENT, .seed = seed}});
    for (const i64 shift : {-DAY_SEC, DAY_SEC})
        m_jobs.push_back({m_link,
                          addRow(shift < 0 ? "clock set back a day" : "clock set forward a day", 0),
                          {.clockShiftSec = shift}});
}

void Campaign::play()
{
    std::vector<std::jthread> workers;
    for (u32 i = 0; i < m_options.jobs; ++i)
        workers.emplace_back(&Campaign::work, this, i);
}

void Campaign::work(u32 worker)
{
    const sSettings settings = settingsOf(m_options, worker);
    for (size_t i = m_next++; i < m_jobs.size(); i = m_next++)
        note(m_jobs[i], attempt(settings, m_jobs[i].torment), settings.folder);
}

sResult Campaign::attempt(const sSettings &settings, const sTorment &torment) const
{
    sResult result;
    for (u32 i = 0; i < REACH_TRIES && (i == 0 || result.outcome == eOutcome::NOT_REACHED); ++i)
        result = run(settings, m_link, torment, &m_usual);
    // Nothing that happens there costs anything.
    if (torment.call == eCall::NONE && result.outcome != eOutcome::SERVED && result.outcome != eOutcome::FAULT)
        result = {eOutcome::FAULT, "does not go through whole", result.measure, {}};
    return result;
}

std::string Campaign::callersOf(const sResult &result) const
{
    if (result.callers.empty())
        return {};
    std::string command = "addr2line -Cfpse " + m_options.settings.bridge;
    for (const u64 caller : result.callers)
        command += Tools::PrintfToString(" %llx", static_cast<unsigned long long>(caller - 1)); // the call is before it
    std::string text;
    FILE *lines = popen(command.c_str(), "r");
    for (char line[512]; lines != nullptr && std::fgets(line, sizeof line, lines) != nullptr;)
        text += std::string("    ") + line;
    if (lines != nullptr)
        pclose(lines);
    return text;
}

// The files of a run that went wrong stay.
void Campaign::note(const sJob &job, const sResult &result, const std::string &folder)
{
    const std::lock_guard lock(m_mutex);
    sRow &row = m_rows[job.row];
    ++row.outcomes[static_cast<u32>(result.outcome)];
    if (result.outcome != eOutcome::FAULT)
        return;
    const std::string kept = m_options.settings.folder + (m_link == eLink::TCP ? "/fault-tcp-" : "/fault-serial-") +
                             std::to_string(++m_faults);
    std::filesystem::rename(folder, kept);
    std::printf("FAULT on %s: %s, call %u, seed %u: %s; see %s\n%s", nameOf(m_link), row.name.c_str(),
                job.torment.first, job.torment.seed, result.why.c_str(), kept.c_str(), callersOf(result).c_str());
    std::fflush(stdout);
}

std::string Campaign::table() const
{
    std::string text = std::string("| On ") + nameOf(m_link) +
                       " | Calls | Runs | Served on | Lost a link or a transfer | Ended | Not reached | Fault |\n"
                       "|---|---|---|---|---|---|---|---|\n";
    sRow sum{"all", 0, {}};
    const auto add = [&text](const sRow &row)
    {
        u32 runs = 0;
        std::string cells;
        for (u32 count : row.outcomes)
        {
            runs += count;
            cells += " " + (count != 0 ? std::to_string(count) : "") + " |";
        }
        text += "| " + row.name + " | " + (row.calls != 0 ? std::to_string(row.calls) : "") + " | " +
                std::to_string(runs) + " |" + cells + "\n";
    };
    for (const sRow &row : m_rows)
    {
        add(row);
        sum.calls += row.calls;
        for (u32 i = 0; i < OUTCOMES_COUNT; ++i)
            sum.outcomes[i] += row.outcomes[i];
    }
    add(sum);
    return text;
}

} // namespace

int main(int argc, char **argv)
{
    std::signal(SIGPIPE, SIG_IGN);
    CLI::App app("Fails each call of LumoBridge that can fail, one run for each, and judges what becomes of it");
    sOptions options;
    std::string links = "tcp,serial";
    app.add_option("--bridge", options.settings.bridge, "the daemon's program")->required();
    app.add_option("--preload", options.settings.preload, "the library FailNth, behind others that must come first")
        ->required();
    app.add_option("--folder", options.settings.folder, "existing folder for the files of the runs")->required();
    app.add_option("--out", options.out, "file for the tables");
    app.add_option("--only", options.only, "one call by its name");
    app.add_option("--links", links, "tcp, serial or both")->capture_default_str();
    app.add_option("--step", options.step, "fail each so many-th call")->capture_default_str();
    app.add_option("--most", options.most, "of each kind of call the first so many");
    app.add_option("--jobs", options.jobs, "runs at once")->capture_default_str();
    app.add_option("--seeds", options.seeds, "storms of signals")->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    bool isClean = tovi::init("Torture", nullptr);
    try
    {
        std::string tables;
        for (const eLink link : {eLink::TCP, eLink::LINE})
        {
            if (links.find(link == eLink::TCP ? "tcp" : "serial") == std::string::npos)
                continue;
            Campaign campaign(options, link);
            campaign.plan();
            campaign.play();
            isClean = isClean && campaign.isClean();
            tables += campaign.table() + "\n";
        }
        std::printf("%s%s\n", tables.c_str(), isClean ? "no fault" : "FAULTS FOUND");
        if (!options.out.empty())
            std::ofstream(options.out) << tables;
    }
    catch (const std::exception &error)
    {
        std::fprintf(stderr, "Torture: %s\n", error.what());
        isClean = false;
    }
    return isClean ? 0 : 1;
}
