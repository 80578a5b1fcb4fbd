#include "LumoClient/Commands.h"

#include "LTProto/LTProto/ValueText.h"
#include "LTProto/LTProto/VariableNames.h"

#include <cstdio>

namespace LumoClient
{

using namespace LTProtocol;

namespace
{

constexpr u32 WATCH_SLICE_MSEC = 200; // a signal ends the watch within this time

// False when standard output is gone.
bool printLine(const std::string &line)
{
    return std::puts(line.c_str()) >= 0 && std::fflush(stdout) == 0;
}

bool printValue(u32 varId, const Value &value)
{
    const std::string name = VariableName(varId);
    return printLine(std::to_string(varId) + '\t' + (name.empty() ? "-" : name) + '\t' + DataTypeName(value.dataType) +
                     '\t' + ValueText(value));
}

} // namespace

int exitStatus(eResult result)
{
    switch (result)
    {
    case eResult::done: return EXIT_DONE;
    case eResult::refused:
    case eResult::unreachable:
    case eResult::linkLost:
    case eResult::badAnswer: return EXIT_REFUSED_OR_LOST;
    case eResult::noAnswer: return EXIT_NO_ANSWER;
    case eResult::badArgument: return EXIT_USAGE;
    }
    return EXIT_REFUSED_OR_LOST;
}

int reportFailure(const std::string &what, eResult result)
{
    std::fprintf(stderr, "LumoClient: %s: %s\n", what.c_str(), resultText(result));
    return exitStatus(result);
}

int runGet(ClientLink &link, const std::vector<u32> &varIds, u32 timeoutMSec)
{
    int status = EXIT_DONE;
    for (u32 varId : varIds)
    {
        Value value;
        const eResult result = link.get(varId, timeoutMSec, value);
        if (result == eResult::done)
            printValue(varId, value);
        else
            status = reportFailure("get " + std::to_string(varId), result);
        if (status != EXIT_DONE && status != EXIT_NO_ANSWER)
            break;
    }
    return status;
}

int runSet(ClientLink &link, u32 varId, const Value &value, u32 timeoutMSec)
{
    const eResult result = link.set(varId, value, timeoutMSec);
    if (result != eResult::done)
        return reportFailure("set " + std::to_string(varId), result);
    printLine("set " + std::to_string(varId) + " done");
    return EXIT_DONE;
}

int runBuffer(ClientLink &link, const Bytes &bytes, u32 timeoutMSec)
{
    Bytes answer;
    const eResult result = link.exchangeBuffer(bytes, timeoutMSec, answer);
    if (result != eResult::done)
        return reportFailure("buffer", result);
    printLine(HexText(answer));
    return EXIT_DONE;
}

int runWatch(ClientLink &link, u32 count, const volatile std::sig_atomic_t &stop)
{
    for (u32 shown = 0; stop == 0 && (count == 0 || shown < count);)
    {
        SpontaneousValue arrived;
        const eResult result = link.waitValue(WATCH_SLICE_MSEC, arrived);
        if (result == eResult::noAnswer)
            continue;
        if (result != eResult::done)
            return reportFailure("watch", result);
        if (!printValue(arrived.id, arrived.value))
            break; // nobody reads on
        ++shown;
    }
    return EXIT_DONE;
}

int runPoll(ClientLink &link, u32 timeoutMSec)
{
    std::vector<SpontaneousValue> values;
    const eResult result = link.poll(timeoutMSec, values);
    for (const SpontaneousValue &arrived : values)
        printValue(arrived.id, arrived.value);
    return result == eResult::done ? EXIT_DONE : reportFailure("poll", result);
}

} // namespace LumoClient
