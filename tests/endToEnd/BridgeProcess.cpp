#include "tests/endToEnd/BridgeProcess.h"

#include <cstdlib>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>

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

// Both ends of a new terminal: the tester's and the program's.
sPipe makeTerminal()
{
    sPipe ends;
    ends.writeEnd = Descriptor(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    grantpt(ends.writeEnd.get());
    unlockpt(ends.writeEnd.get());
    ends.readEnd = Descriptor(open(ptsname(ends.writeEnd.get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
    return ends;
}

} // namespace

BridgeProcess::BridgeProcess(std::vector<std::string> arguments, eKeyboard keyboard, const std::string &folder)
{
    sPipe input = keyboard == eKeyboard::terminal ? makeTerminal() : sPipe();
    sPipe output;
    m_pid = fork();
    if (m_pid == 0)
        runChild(arguments, keyboard, folder.empty() ? m_folder.path() : folder, input.readEnd.get(),
                 output.writeEnd.get());
    m_keyboard = std::move(input.writeEnd);
    m_printed = std::move(output.readEnd);
}

void BridgeProcess::runChild(const std::vector<std::string> &arguments, eKeyboard keyboard, const std::string &folder,
                             int input, int output) const
{
    dup2(output, STDOUT_FILENO);
    dup2(input, STDIN_FILENO);
    if (keyboard == eKeyboard::closed)
        close(STDIN_FILENO);
    if (keyboard == eKeyboard::terminal)
    {
        setsid();
        ioctl(STDIN_FILENO, TIOCSCTTY, 0);
    }
    std::vector<char *> argv;
    for (const std::vector<std::string> *words : {&BRIDGE_COMMAND, &arguments})
        for (const std::string &word : *words)
            argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);
    if (chdir(folder.c_str()) == 0)
        execvp(argv[0], argv.data());
    _exit(127);
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
    for (;;)
    {
        const size_t found = m_output.find(text, m_seen);
        if (found != std::string::npos)
        {
            m_seen = found + text.size();
            return true;
        }
        std::vector<u8> more;
        if (!m_printed.readInto(more))
            return false;
        m_output.append(more.begin(), more.end());
    }
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
    std::vector<u8> more;
    while (m_printed.readInto(more))
    {
    }
    m_output.append(more.begin(), more.end());
    return m_output;
}
