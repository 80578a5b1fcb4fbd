#include "tests/endToEnd/BridgeProcess.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sys/wait.h>
#include <utility>

namespace
{

struct sPipe
{
    Descriptor readEnd;
    Descriptor writeEnd;

    sPipe()
    {
        int ends[2] = {-1, -1};
        if (pipe2(ends, O_CLOEXEC) != 0)
            std::abort();
        readEnd = Descriptor(ends[0]);
        writeEnd = Descriptor(ends[1]);
    }
};

} // namespace

BridgeProcess::BridgeProcess(std::vector<std::string> arguments, eKeyboard keyboard, const std::string &folder,
                             const std::function<void()> &prepare)
{
    sPipe input;
    sPipe output;
    const std::string workFolder = folder.empty() ? m_folder.path() : folder;
    std::vector<char *> argv;
    for (const std::vector<std::string> *words : {&BRIDGE_COMMAND, &std::as_const(arguments)})
        for (const std::string &word : *words)
            argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);
    m_pid = fork();
    if (m_pid == 0)
        runChild(argv.data(), keyboard, workFolder.c_str(), input.readEnd.get(), output.writeEnd.get(), prepare);
    m_keyboard = std::move(input.writeEnd);
    m_printed = std::move(output.readEnd);
    m_reader = std::jthread(&BridgeProcess::readOutput, this);
}

void BridgeProcess::runChild(char *const argv[], eKeyboard keyboard, const char *folder, int input, int output,
                             const std::function<void()> &prepare)
{
    dup2(output, STDOUT_FILENO);
    dup2(input, STDIN_FILENO);
    if (keyboard == eKeyboard::closed)
        close(STDIN_FILENO);
    std::signal(SIGPIPE, SIG_DFL);
    if (chdir(folder) != 0)
        _exit(127);
    if (prepare)
        prepare();
    execvp(argv[0], argv);
    _exit(127);
}

void BridgeProcess::readOutput()
{
    char part[4096];
    ssize_t n;
    do
    {
        n = read(m_printed.get(), part, sizeof part);
        const std::lock_guard lock(m_mutex);
        m_output.append(part, static_cast<size_t>(std::max<ssize_t>(n, 0)));
        m_hasEnded = n <= 0;
        m_hasPrinted.notify_all();
    } while (n > 0);
}

BridgeProcess::~BridgeProcess()
{
    if (m_status)
        return;
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
}

bool BridgeProcess::prints(const std::string &text)
{
    std::unique_lock lock(m_mutex);
    for (size_t from = m_seen;;)
    {
        const size_t found = m_output.find(text, from);
        if (found != std::string::npos)
        {
            m_seen = found + text.size();
            return true;
        }
        const size_t searched = m_output.size();
        from = std::max(m_seen, searched - std::min(searched, text.size()));
        const auto hasMore = [&] { return m_hasEnded || m_output.size() > searched; };
        if (!m_hasPrinted.wait_for(lock, std::chrono::milliseconds(PATIENCE_MSEC), hasMore) ||
            m_output.size() == searched)
            return false;
    }
}

long BridgeProcess::peakMemoryKb() const
{
    if (BRIDGE_COMMAND.size() > 1 || LUMO_SANITIZED)
        return 0;
    std::ifstream status("/proc/" + std::to_string(m_pid) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmHWM:"))
            return std::atol(line.c_str() + 6);
    return PEAK_MEMORY_KB; // it has ended
}

int BridgeProcess::status()
{
    if (!m_status)
    {
        output();
        int status = 0;
        waitpid(m_pid, &status, 0);
        m_status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    return *m_status;
}

const std::string &BridgeProcess::output()
{
    std::unique_lock lock(m_mutex);
    m_hasPrinted.wait_for(lock, std::chrono::milliseconds(PATIENCE_MSEC), [this] { return m_hasEnded; });
    return m_output;
}
