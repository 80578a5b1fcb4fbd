// A program under measurement as a child process, and what the kernel counts about it.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace LumoBench
{

// Nanoseconds of a clock that is never set back.
u64 nowNSec();

// Keeps this process, and all that it starts from then on, on one processor. Throws std::runtime_error.
void pinTo(int processor);

// Functions without effect on the child throw std::runtime_error when it is gone.
class Process
{
  public:
    // Starts `command` in `folder`; its input and its output are `channel`, /dev/null for -1. Throws std::runtime_error.
    Process(const std::vector<std::string> &command, const std::string &folder, int channel = -1);
    ~Process(); // ends it by SIGTERM and waits for its end
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    int awaitEnd(); // its status as waitpid gives it; afterwards it is gone

    u64 processorNSec() const; // of all its threads
    u64 wakeUps() const;       // voluntary context switches of all its threads
    double residentMB() const; // 1 MB being 1024 KB
    double peakMB() const;

  private:
    u64 statusNumber(const std::string &file, const std::string &key) const;

    pid_t m_pid = -1;
};

} // namespace LumoBench
