// One run of the real daemon with the preloaded library in front of libc, and what the kernel tells about it.
#pragma once

#include "tools/Torture/FailNth.h"
#include "toviCommonLib/OS/linux/linuxOSFile.h"

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace LumoTorture
{

// What the daemon is to meet.
struct sTorment
{
    eCall call = eCall::NONE;
    u32 first = 0;
    u32 last = 0;
    u32 interruptPercent = 0;
    u32 seed = 0;
    i64 clockShiftSec = 0; // once the scenario is under way
};

// How it came to its end.
struct sEnd
{
    int signal = 0; // that killed it, 0 for none
    int status = 0;
    u64 processorNSec = 0;
};

// The control file mapped into this process.
class ControlFile
{
  public:
    // Makes the file anew. Throws std::runtime_error.
    ControlFile(const std::string &path, const sTorment &torment);
    ~ControlFile();
    ControlFile(const ControlFile &) = delete;
    ControlFile &operator=(const ControlFile &) = delete;

    sControl *operator->() const { return m_control; }

  private:
    sControl *m_control = nullptr;
};

class Daemon
{
  public:
    // Starts `command` in `folder` with the libraries of `preload` (separated by blanks). What it prints goes to the file
    // "printed" there. Throws std::runtime_error.
    Daemon(const std::vector<std::string> &command, const std::string &preload, const std::string &folder,
           const sTorment &torment);
    ~Daemon(); // kills what still runs
    Daemon(const Daemon &) = delete;
    Daemon &operator=(const Daemon &) = delete;

    int descriptor() const { return m_pidDescriptor.get(); } // becomes readable with its end
    void signal(int number) const;
    std::optional<sEnd> end(); // nothing while it runs
    std::string printed() const;

    u32 openDescriptors() const;
    u64 processorNSec() const;

    ControlFile control;

  private:
    std::string m_folder;
    pid_t m_pid = -1;
    platform::FileDescriptor m_pidDescriptor;
    std::optional<sEnd> m_end;
};

} // namespace LumoTorture
