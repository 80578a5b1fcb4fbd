// How far a transfer is, on standard error when that is a terminal. Used by one thread.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <optional>
#include <string>

namespace LumoClient
{

struct Progress
{
    u64 bytes = 0;
    std::optional<u64> total; // of the whole file, when it is known
    u64 elapsedMSec = 0;
};

// "[#####...............]  25 %  5000 of 20000 bytes, 2.5 kB/s, 6 s left"; without a total the bytes and the rate.
std::string progressText(const Progress &progress);

class ProgressBar
{
  public:
    ProgressBar(std::string label, std::optional<u64> total);
    ~ProgressBar(); // takes the bar off the terminal
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    // `nowMSec` of any clock, always the same.
    void show(u64 bytes, u64 nowMSec);

  private:
    std::string m_label;
    Progress m_progress;
    bool m_isTerminal;
    std::optional<u64> m_startMSec; // of the first call
    std::optional<u64> m_drawnMSec;
};

} // namespace LumoClient
