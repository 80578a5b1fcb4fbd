#include "LumoClient/Shell.h"

#include "LTProto/LTProto/ValueText.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

namespace LumoClient
{

namespace
{

using LTProtocol::HexParse;

constexpr std::string_view FORCE = "--force";

// Cuts the first word off `text`, and the blanks around it.
std::string takeWord(std::string_view &text)
{
    const auto skipBlanks = [&text] { text.remove_prefix(std::min(text.find_first_not_of(' '), text.size())); };
    skipBlanks();
    const std::string word(text.substr(0, text.find(' ')));
    text.remove_prefix(word.size());
    skipBlanks();
    return word;
}

class Shell
{
  public:
    Shell(const ShellSetup &setup, const volatile std::sig_atomic_t &stop) : m_setup(setup), m_stop(stop) {}

    // Returns the exit status of the command.
    int run(std::string_view line);

  private:
    int runNumbered(const std::string &name, u32 number, std::string_view rest);
    int runSetOf(u32 varId, std::string_view rest);
    template <typename Command>
    int overLink(const std::string &name, Command command);

    const ShellSetup &m_setup;
    const volatile std::sig_atomic_t &m_stop;
    ClientLink m_link;
};

int misused(const std::string &name, const std::string &why)
{
    std::fprintf(stderr, "LumoClient: %s: %s\n", name.c_str(), why.c_str());
    return EXIT_USAGE;
}

template <typename Command>
int Shell::overLink(const std::string &name, Command command)
{
    if (!m_link.isOpen())
    {
        std::unique_ptr<ByteChannel> channel = m_setup.open();
        if (!channel)
            return reportFailure(name + ": " + m_setup.bridge, eResult::unreachable);
        m_link.attach(std::move(channel));
    }
    const int status = command();
    if (status != EXIT_DONE && m_link.lacksReply())
        m_link.detach();
    return status;
}

int Shell::run(std::string_view line)
{
    const std::string name = takeWord(line);
    const u32 timeoutMSec = m_setup.transfer.timeoutMSec;
    if (name.empty())
        return EXIT_DONE;
    if (name == "help")
        return std::puts(shellHelp().c_str()) >= 0 ? EXIT_DONE : EXIT_REFUSED_OR_LOST;
    if (name == "fault")
        return m_setup.plan.order(line) ? EXIT_DONE : misused(name, "no fault of a client; try help");
    if (name == "poll")
        return overLink(name, [&] { return runPoll(m_link, timeoutMSec); });
    if (name == "buffer")
    {
        const std::optional<Bytes> bytes = HexParse(line);
        if (!bytes)
            return misused(name, "not hexadecimal");
        return overLink(name, [&] { return runBuffer(m_link, *bytes, timeoutMSec); });
    }
    constexpr std::string_view NUMBERED[] = {"get", "set", "upload", "download", "watch"};
    if (std::ranges::find(NUMBERED, name) == std::end(NUMBERED))
        return misused(name, "unknown command; try help");
    const std::string word = takeWord(line);
    u32 number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc{} || end != word.data() + word.size())
        return misused(name, "a number must follow");
    return runNumbered(name, number, line);
}

int Shell::runNumbered(const std::string &name, u32 number, std::string_view rest)
{
    const TransferSettings &transfer = m_setup.transfer;
    if (name == "get")
        return overLink(name, [&] { return runGet(m_link, {number}, transfer.timeoutMSec); });
    if (name == "set")
        return runSetOf(number, rest);
    if (name == "watch")
        return overLink(name, [&] { return runWatch(m_link, number, "", transfer, m_stop, transfer.timeoutMSec); });
    if (number == 0 || number > FILE_ID_MAX || rest.empty())
        return misused(name, "the id and the name of a file must follow");
    const u16 fileId = static_cast<u16>(number);
    const std::string path(rest);
    if (name == "upload")
        return overLink(name, [&] { return runUpload(m_link, fileId, path, transfer, m_stop); });
    return overLink(name, [&] { return runDownload(m_link, fileId, path, transfer, m_stop); });
}

int Shell::runSetOf(u32 varId, std::string_view rest)
{
    std::string typeName = takeWord(rest);
    const bool isForced = typeName == FORCE;
    if (isForced)
        typeName = takeWord(rest);
    const std::string text(rest);
    const std::optional<Value> value = LTProtocol::ValueParse(typeName, text);
    if (!value)
        return misused("set", "'" + text + "' is no value of type '" + typeName + "'");
    if (const std::string why = whyNotSet(*value); !isForced && !why.empty())
        return misused("set", why);
    return overLink("set", [&] { return runSet(m_link, varId, *value, m_setup.transfer.timeoutMSec); });
}

} // namespace

int runShell(std::istream &in, const ShellSetup &setup, const volatile std::sig_atomic_t &stop)
{
    Shell shell(setup, stop);
    int status = EXIT_DONE;
    for (std::string line; stop == 0 && std::getline(in, line) && line != "quit";)
        if (shell.run(line) != EXIT_DONE)
            status = EXIT_REFUSED_OR_LOST;
    return status;
}

std::string shellHelp()
{
    return "get ID             ask for a variable\n"
           "set ID TYPE VALUE  give a variable a value; --force in front of TYPE also sends what does not arrive\n"
           "buffer HEX         send raw bytes to the machine and show its answer\n"
           "poll               show the values that the bridge has queued\n"
           "upload ID FILE     send a file to the machine\n"
           "download ID FILE   ask the machine for a file\n"
           "watch N            show N values and files that arrive\n"
           "fault VERB [N]     hit the next packet\n"
           "quit               end\n"
           "Faults:\n" +
           LumoFaults::faultHelp(LumoFaults::eSide::client);
}

} // namespace LumoClient
