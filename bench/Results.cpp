#include "bench/Results.h"

#include "LTProto/Tools/PrintfText.h"

#include <algorithm>
#include <cmath>
#include <fstream>

namespace LumoBench
{

using Tools::PrintfToString;

namespace
{

enum class eBar
{
    atMost,
    atLeast,
    stated // no bar
};

struct sBar
{
    const char *figure;
    const char *series;
    eBar kind;
    double limit;
};

constexpr sBar BARS[] = {
    {"Round trip, median, against the bare relay; aim 1.25", "round trip, median: ratio", eBar::atMost, 1.5},
    {"Round trip, 99th percentile, against the bare relay", "round trip, 99 %: ratio", eBar::atMost, 1.6},
    {"Round trip with Nagle's algorithm on, 99th percentile", "round trip with Nagle, 99 %: bridge", eBar::atMost, 10},
    {"Processor time of a request, against the bare relay", "processor time of 1000 requests: ratio", eBar::atMost,
     1.8},
    {"Upload, against bare stop and wait", "upload: ratio", eBar::atLeast, 0.85},
    {"Download, against bare stop and wait with hexadecimal trace", "download: ratio", eBar::atLeast, 0.85},
    {"Download with a log file, against the same", "download with a log file: ratio", eBar::stated, 0},
    {"Upload at 115200 baud, of 11520 bytes/s; aim 98.5", "serial upload", eBar::atLeast, 98},
    {"Download at 115200 baud, of 11520 bytes/s; aim 98.5", "serial download", eBar::atLeast, 98},
    {"Round trip with 4096 open tickets, against 1", "round trip with 4096 tickets: ratio", eBar::atMost, 1.1},
    {"Upload from 1 MB to 1 GB: share of the bare rate, least against most", "upload, slowest size: ratio",
     eBar::atLeast, 0.9},
    {"Download from 1 MB to 1 GB: share of the bare rate, least against most", "download, slowest size: ratio",
     eBar::atLeast, 0.9},
    {"Resident memory, growth from 1 MB moved to 1 GB", "resident memory, growth", eBar::atMost, 0.25},
    {"Idle, client connected: wake-ups", "idle, wake-ups: bridge", eBar::atMost, 16},
    {"Idle, client connected: share of a processor", "idle, processor share: bridge", eBar::atMost, 0.2},
    {"Resident memory, ready", "resident memory, ready", eBar::atMost, 4.5},
    {"Resident memory after 1 GB", "resident memory, after 1 GB", eBar::atMost, 6},
    {"Resident memory, most in a flood from both sides", "resident memory, flood from both sides", eBar::atMost, 16},
    {"Answer in a flood of the machine, most", "answer in a flood of the machine, most", eBar::atMost, 1000},
    {"Start to SMU connection", "start to SMU connection", eBar::atMost, 5},
    {"Daemon for the board, stripped", "armhf daemon, stripped", eBar::atMost, 400},
    {"Checksum on the board", "armhf checksum", eBar::atMost, 5.5},
    {"Hexadecimal text on the board", "armhf hexadecimal text", eBar::atMost, 4},
};

// Three digits that count.
std::string shown(double value)
{
    const double size = std::fabs(value);
    const int decimals = size >= 100 ? 0 : size >= 10 ? 1 : size >= 1 ? 2 : 3;
    return PrintfToString("%.*f", decimals, value);
}

std::string spread(const std::vector<double> &values)
{
    const auto [least, most] = std::minmax_element(values.begin(), values.end());
    return shown(*least) + " | **" + shown(median(values)) + "** | " + shown(*most);
}

std::string verdict(const sBar &bar, double value)
{
    const bool holds = bar.kind == eBar::atMost ? value <= bar.limit : value >= bar.limit;
    return bar.kind == eBar::stated ? "stated" : holds ? "holds" : "falls short";
}

std::string barText(const sBar &bar)
{
    if (bar.kind == eBar::stated)
        return "none";
    return std::string(bar.kind == eBar::atMost ? "at most " : "at least ") + PrintfToString("%g", bar.limit);
}

} // namespace

double percentile(std::vector<double> values, double rank)
{
    const auto place = static_cast<std::ptrdiff_t>(rank * static_cast<double>(values.size() - 1) + 0.5);
    std::nth_element(values.begin(), values.begin() + place, values.end());
    return values[static_cast<size_t>(place)];
}

double median(const std::vector<double> &values)
{
    return percentile(values, 0.5);
}

void Results::add(const std::string &name, const std::string &unit, double value)
{
    auto series = std::find_if(m_series.begin(), m_series.end(), [&](const sSeries &s) { return s.name == name; });
    if (series == m_series.end())
        series = m_series.insert(series, {name, unit, {}});
    series->values.push_back(value);
}

void Results::addPair(const std::string &name, const std::string &unit, double bridge, double bare)
{
    add(name + ": bridge", unit, bridge);
    add(name + ": bare", unit, bare);
    add(name + ": ratio", "times", bridge / bare);
}

const Results::sSeries *Results::find(const std::string &name) const
{
    const auto series =
        std::find_if(m_series.begin(), m_series.end(), [&](const sSeries &s) { return s.name == name; });
    return series == m_series.end() ? nullptr : &*series;
}

std::string Results::figuresTable() const
{
    std::string table = "| Figure | Unit | Bar | Least | Median | Most | Verdict |\n|---|---|---|---|---|---|---|\n";
    for (const sBar &bar : BARS)
    {
        table += std::string("| ") + bar.figure + " | ";
        if (const sSeries *series = find(bar.series))
            table += series->unit + " | " + barText(bar) + " | " + spread(series->values) + " | " +
                     verdict(bar, median(series->values));
        else
            table += " | " + barText(bar) + " | | | | not measured";
        table += " |\n";
    }
    return table;
}

std::string Results::valuesTable() const
{
    std::string table = "| Value | Unit | Least | Median | Most | Rounds |\n|---|---|---|---|---|---|\n";
    for (const sSeries &series : m_series)
        table += "| " + series.name + " | " + series.unit + " | " + spread(series.values) + " | " +
                 std::to_string(series.values.size()) + " |\n";
    return table;
}

bool Results::writeCsv(const std::string &path) const
{
    std::ofstream file(path);
    file << "series,unit,round,value\n";
    for (const sSeries &series : m_series)
        for (size_t round = 0; round < series.values.size(); ++round)
            file << '"' << series.name << "\"," << series.unit << ',' << round + 1 << ',' << series.values[round]
                 << '\n';
    return file.good();
}

} // namespace LumoBench
