// The commands that a person types or a script gives.
#include "LumoSmuSim/Machine.h"

#include "LTProto/LTProto/ValueText.h"
#include "LTProto/LTProto/VariableNames.h"
#include "LumoSmuSim/MachineText.h"
#include "toviCommonLib/toviByteOrder.h"

#include <algorithm>
#include <charconv>

namespace LumoSmuSim
{

using namespace LTProtocol;
using namespace tovi::smu;

namespace
{

Reaction failed(std::string_view command, const std::string &why)
{
    return {{}, {std::string(command) + ": " + why}};
}

// Cuts the first word off `text` and the blanks around it.
std::string_view takeWord(std::string_view &text)
{
    const auto skipBlanks = [](std::string_view &rest)
    { rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size())); };

    skipBlanks(text);
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(word.size());
    skipBlanks(text);
    return word;
}

std::optional<u32> parseNumber(std::string_view word)
{
    u32 number = 0;
    const char *const end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, number);
    return error == std::errc{} && stop == end ? std::optional(number) : std::nullopt;
}

} // namespace

const char *Machine::helpText()
{
    return "set ID VALUE       change a variable and push it to the bridge\n"
           "request ID         ask the bridge for a variable\n"
           "buffer ID HEX      push raw bytes under a variable id\n"
           "send-file ID PATH  announce a copy of a file to the client\n"
           "ping               send a ping\n"
           "die                tell the bridge to end\n"
           "drift MS           let the temperatures change every MS milliseconds and push them; 0 to stop\n"
           "fault VERB [N]     hit the next message to the bridge\n"
           "list               show all variables\n"
           "help               show this\n"
           "quit               end the simulator";
}

Reaction Machine::command(std::string_view line)
{
    const std::string_view name = takeWord(line);
    if (name.empty())
        return {};
    if (name == "list")
        return commandList();
    if (name == "help")
        return {{}, {helpText()}};
    if (name == "ping")
        return {{{WHAT_PING, ++m_pingCount, {}}}, {"ping sent " + std::to_string(m_pingCount)}};
    if (name == "die")
        return {{{WHAT_DIE, 0, {}}}, {"die sent"}};
    if (name == "quit")
    {
        m_isToQuit = true;
        return {};
    }

    constexpr std::string_view NUMBERED[] = {"set", "request", "buffer", "send-file", "drift"};
    if (std::ranges::find(NUMBERED, name) == std::end(NUMBERED))
        return failed(name, "unknown command, try help");
    const std::optional<u32> number = parseNumber(takeWord(line));
    if (!number)
        return failed(name, "a number must follow");
    if (name == "set")
        return commandSet(*number, line);
    if (name == "request")
        return commandRequest(*number);
    if (name == "send-file")
        return commandSendFile(*number, line);
    return name == "buffer" ? commandBuffer(*number, line) : commandDrift(*number);
}

Reaction Machine::commandSet(u32 varId, std::string_view text)
{
    Variable *variable = m_variables.find(varId);
    if (variable == nullptr)
        return failed("set", "unknown variable " + std::to_string(varId));
    std::optional<Value> value = variable->parse(text);
    if (!value)
        return failed("set",
                      "no value for " + variable->label() + ", which is " + DataTypeName(variable->value.dataType));
    variable->value = std::move(*value);
    return {{valueMessage(varId, variable->value)}, {"set " + variable->label() + " = " + shownValue(variable->value)}};
}

// The id of a request, unlike every other, goes least significant byte first.
Reaction Machine::commandRequest(u32 varId)
{
    Message request{WHAT_VARIABLE, 0, std::vector<u8>(sizeof varId)};
    tovi::utils::writeLsbMsbU32(request.payload.data(), varId);
    return {{std::move(request)}, {"requested " + std::to_string(varId)}};
}

Reaction Machine::commandBuffer(u32 varId, std::string_view hex) const
{
    std::optional<std::vector<u8>> bytes = HexParse(hex);
    if (!bytes)
        return failed("buffer", "not hexadecimal");
    const std::string line = "buffer " + std::to_string(varId) + " = " + shownBytes(*bytes);
    return {{valueMessage(varId, {eDataType::DATA_BUFFER, 0, 0, std::move(*bytes)})}, {line}};
}

Reaction Machine::commandSendFile(u32 fileId, std::string_view path)
{
    const std::optional<std::string> copy = m_files.copyOf(std::filesystem::path(path));
    if (!copy)
        return failed("send-file", "no file " + std::string(path));
    return {{fileMessage(fileId, *copy)}, {"file " + std::to_string(fileId) + " announced: " + shownFile(*copy)}};
}

Reaction Machine::commandDrift(u32 msec)
{
    m_driftMSec = msec;
    return {{}, {msec != 0 ? "drift every " + std::to_string(msec) + " ms" : "drift stopped"}};
}

Reaction Machine::commandList() const
{
    Reaction reaction;
    for (const Variable &variable : m_variables.all())
        reaction.lines.push_back(variable.label() + " " + DataTypeName(variable.value.dataType) + " " +
                                 shownValue(variable.value) + (variable.isWritable ? " (writable)" : ""));
    return reaction;
}

} // namespace LumoSmuSim
