#include "tools/Torture/Daemon.h"

#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <new>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace LumoTorture
{
namespace
{

constexpr char PRINTED_NAME[] = "/printed";
constexpr char CONTROL_NAME[] = "/control";

u64 nanoSeconds(const timeval &time)
{
    return static_cast<u64>(time.tv_sec) * 1000000000 + static_cast<u64>(time.tv_usec) * 1000;
}

std::vector<char *> pointersTo(std::vector<std::string> &words)
{
    std::vector<char *> pointers;
    for (std::string &word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> environmentWith(const std::string &preload, const std::string &folder)
{
    std::vector<std::string> all{"LD_PRELOAD=" + preload, std::string(CONTROL_VARIABLE) + "=" + folder + CONTROL_NAME};
    for (char **entry = environ; *entry != nullptr; ++entry)
        all.emplace_back(*entry);
    return all;
}

} // namespace

ControlFile::ControlFile(const std::string &path, const sTorment &torment)
{
    const platform::FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    void *map = MAP_FAILED;
    if (file.isOpen() && ftruncate(file.get(), sizeof(sControl)) == 0)
        map = mmap(nullptr, sizeof(sControl), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (map == MAP_FAILED)
        throw std::runtime_error("no control file");
    m_control = new (map) sControl;
    m_control->call = torment.call;
    m_control->first = torment.first;
    m_control->last = torment.last;
    m_control->interruptPercent = torment.interruptPercent;
    m_control->seed = torment.seed;
}

ControlFile::~ControlFile()
{
    munmap(m_control, sizeof(sControl));
}

Daemon::Daemon(const std::vector<std::string> &command, const std::string &preload, const std::string &folder,
               const sTorment &torment)
    : control(folder + CONTROL_NAME, torment), m_folder(folder)
{
    std::vector<std::string> words = command;
    std::vector<std::string> environment = environmentWith(preload, folder);
    const std::string printedPath = folder + PRINTED_NAME;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, printedPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    const int error = posix_spawn(&m_pid, words[0].c_str(), &actions, nullptr, pointersTo(words).data(),
                                  pointersTo(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::runtime_error(command[0] + " cannot be started");
    m_pidDescriptor = platform::FileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, m_pid, 0)));
}

Daemon::~Daemon()
{
    if (m_end)
        return;
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
}

void Daemon::signal(int number) const
{
    if (!m_end)
        kill(m_pid, number);
}

std::optional<sEnd> Daemon::end()
{
    int status = 0;
    rusage used{};
    if (!m_end && wait4(m_pid, &status, WNOHANG, &used) == m_pid)
        m_end = {WIFSIGNALED(status) ? WTERMSIG(status) : 0, WEXITSTATUS(status),
                 nanoSeconds(used.ru_utime) + nanoSeconds(used.ru_stime)};
    return m_end;
}

std::string Daemon::printed() const
{
    std::stringstream text;
    text << std::ifstream(m_folder + PRINTED_NAME).rdbuf();
    return text.str();
}

u32 Daemon::openDescriptors() const
{
    std::error_code gone;
    const std::filesystem::directory_iterator list("/proc/" + std::to_string(m_pid) + "/fd", gone);
    return static_cast<u32>(std::distance(list, std::filesystem::directory_iterator{}));
}

u64 Daemon::processorNSec() const
{
    clockid_t clock;
    timespec used{};
    if (clock_getcpuclockid(m_pid, &clock) != 0 || clock_gettime(clock, &used) != 0)
        return 0;
    return static_cast<u64>(used.tv_sec) * 1000000000 + static_cast<u64>(used.tv_nsec);
}

} // namespace LumoTorture
