// The real daemon as a child process: its arguments, its keyboard, what it prints and how it ends.
#pragma once

#include "tests/Descriptor.h"
#include "tests/TempFolder.h"

#include <condition_variable>
#include <csignal>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

// How the daemon is started here: its path, behind the emulator's words when it is built for another machine.
inline const std::vector<std::string> BRIDGE_COMMAND = {LUMO_BRIDGE_COMMAND};

constexpr long PEAK_MEMORY_KB = 16 * 1024; // whoever floods, whoever stalls

class BridgeProcess
{
  public:
    enum class eKeyboard
    {
        pipe,
        closed // descriptor 0 is not open
    };

    // Starts the daemon in a folder of its own, or in `folder`. `prepare` runs in the child, as the last thing before it is
    // the daemon; SIGPIPE kills it there, unless `prepare` says otherwise.
    explicit BridgeProcess(std::vector<std::string> arguments, eKeyboard keyboard = eKeyboard::pipe,
                           const std::string &folder = "", const std::function<void()> &prepare = {});
    ~BridgeProcess(); // ends what still runs
    BridgeProcess(const BridgeProcess &) = delete;
    BridgeProcess &operator=(const BridgeProcess &) = delete;

    void type(const std::string &keys) const { m_keyboard.write({keys.begin(), keys.end()}); }
    void signal(int number) const { kill(m_pid, number); }
    pid_t pid() const { return m_pid; }
    std::string folder() const { return m_folder.path(); }

    // Waits until its output brings `text`, from where the last call found its own; false when it ended, or was silent
    // for too long, before.
    bool prints(const std::string &text);

    // The most memory that it ever had resident, in KB; 0 where it cannot be told: under an emulator or a sanitizer.
    long peakMemoryKb() const;

    // Waits for its end: its exit status, or -1 when a signal killed it.
    int status();

    // All that it printed until its end.
    const std::string &output();

  private:
    static void runChild(char *const argv[], eKeyboard keyboard, const char *folder, int input, int output,
                         const std::function<void()> &prepare);
    void readOutput();

    TempFolder m_folder;
    Descriptor m_keyboard;
    Descriptor m_printed;
    std::mutex m_mutex;
    std::condition_variable m_hasPrinted;
    std::string m_output; // guarded by m_mutex, as m_hasEnded
    bool m_hasEnded = false;
    size_t m_seen = 0; // of m_output, by `prints`
    pid_t m_pid = -1;
    std::optional<int> m_status;
    std::jthread m_reader; // so that the daemon never waits for a reader of its trace
};
