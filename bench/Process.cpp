#include "bench/Process.h"

#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace LumoBench
{
namespace
{

u64 read(clockid_t clock)
{
    timespec time{};
    if (clock_gettime(clock, &time) != 0)
        throw std::runtime_error("no such clock");
    return static_cast<u64>(time.tv_sec) * 1000000000 + static_cast<u64>(time.tv_nsec);
}

std::string folderOf(pid_t pid)
{
    return "/proc/" + std::to_string(pid);
}

} // namespace

u64 nowNSec()
{
    return read(CLOCK_MONOTONIC);
}

void pinTo(int processor)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<size_t>(processor), &set);
    if (sched_setaffinity(0, sizeof set, &set) != 0)
        throw std::runtime_error("processor " + std::to_string(processor) + " cannot be had");
}

Process::Process(const std::vector<std::string> &command, const std::string &folder, int channel)
{
    std::vector<char *> argv;
    for (const std::string &word : command)
        argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO})
        if (channel >= 0)
            posix_spawn_file_actions_adddup2(&actions, channel, standard);
        else
            posix_spawn_file_actions_addopen(&actions, standard, "/dev/null", O_RDWR, 0);
    posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    const int error = posix_spawn(&m_pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::runtime_error(command[0] + " cannot be started");
}

Process::~Process()
{
    if (m_pid < 0)
        return;
    kill(m_pid, SIGTERM);
    waitpid(m_pid, nullptr, 0);
}

int Process::awaitEnd()
{
    int status = 0;
    waitpid(std::exchange(m_pid, -1), &status, 0);
    return status;
}

u64 Process::processorNSec() const
{
    clockid_t clock;
    if (clock_getcpuclockid(m_pid, &clock) != 0)
        throw std::runtime_error("the program under measurement is gone");
    return read(clock);
}

u64 Process::wakeUps() const
{
    u64 sum = 0;
    for (const auto &thread : std::filesystem::directory_iterator(folderOf(m_pid) + "/task"))
        sum += statusNumber(thread.path() / "status", "voluntary_ctxt_switches:");
    return sum;
}

double Process::residentMB() const
{
    return static_cast<double>(statusNumber(folderOf(m_pid) + "/status", "VmRSS:")) / 1024;
}

double Process::peakMB() const
{
    return static_cast<double>(statusNumber(folderOf(m_pid) + "/status", "VmHWM:")) / 1024;
}

u64 Process::statusNumber(const std::string &file, const std::string &key) const
{
    std::ifstream status(file);
    for (std::string word; status >> word;)
    {
        u64 number = 0;
        if (word == key && status >> number)
            return number;
    }
    throw std::runtime_error("no " + key + " in " + file);
}

} // namespace LumoBench
