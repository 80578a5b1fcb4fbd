// What was measured: series of values, one value a round, and the bars that some of them are held against.
// Used by one thread.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace LumoBench
{

// The value that the share `rank` of `values`, 0 to 1, does not exceed.
double percentile(std::vector<double> values, double rank);
double median(const std::vector<double> &values);

class Results
{
  public:
    void add(const std::string &name, const std::string &unit, double value);

    // The bridge's value, that of the bare program from the same round, and how many times as much it is.
    void addPair(const std::string &name, const std::string &unit, double bridge, double bare);

    std::string figuresTable() const; // as Markdown: each figure that has a bar, its bar, whether it holds
    std::string valuesTable() const;  // as Markdown: every series
    bool writeCsv(const std::string &path) const;

  private:
    struct sSeries
    {
        std::string name;
        std::string unit;
        std::vector<double> values;
    };

    const sSeries *find(const std::string &name) const;

    std::vector<sSeries> m_series; // as they came
};

} // namespace LumoBench
