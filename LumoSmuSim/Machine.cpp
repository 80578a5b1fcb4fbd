// The machine's answers to the bridge's messages. The typed commands are in MachineCommands.cpp.
#include "LumoSmuSim/Machine.h"

#include "LTProto/LTProto/ValueText.h"
#include "LTProto/Tools/Hex.h"
#include "LumoSmuSim/MachineText.h"
#include "toviCommonLib/toviByteOrder.h"

#include <algorithm>

namespace LumoSmuSim
{

using namespace LTProtocol;
using namespace tovi::smu;
using tovi::utils::readMsbLsbU32;

namespace
{

constexpr size_t NUMBER_LEN = 4;
constexpr size_t TYPE_OFFSET = NUMBER_LEN;
constexpr size_t BUFFER_TICKET_OFFSET = TYPE_OFFSET + 1;
constexpr size_t BUFFER_DATA_OFFSET = BUFFER_TICKET_OFFSET + NUMBER_LEN;

Reaction shown(std::string line)
{
    return {{}, {std::move(line)}};
}

} // namespace

Message valueMessage(u32 varId, const Value &value)
{
    Message message{WHAT_VARIABLE, 0, {}};
    AppendMsbLsb(message.payload, varId);
    const std::vector<u8> encoded = ValueEncode(value);
    message.payload.insert(message.payload.end(), encoded.begin(), encoded.end());
    return message;
}

Message fileMessage(u32 fileId, std::string_view name)
{
    Message message{WHAT_FILE, 0, {}};
    AppendMsbLsb(message.payload, fileId);
    message.payload.insert(message.payload.end(), name.begin(), name.end());
    return message;
}

std::string shownBytes(std::span<const u8> bytes)
{
    std::string text = HexText(bytes.first(std::min(bytes.size(), SHOWN_BYTES_MAX)));
    if (bytes.size() > SHOWN_BYTES_MAX)
        text += " .. (" + std::to_string(bytes.size()) + " bytes)";
    return text;
}

std::string shownValue(const Value &value)
{
    return value.dataType == eDataType::DATA_BUFFER ? shownBytes(value.bytes) : ValueText(value);
}

Reaction Machine::take(const tovi::SMUConn::sDecodedMsg &message)
{
    const Payload payload(message.payload, message.payloadLen);
    switch (message.what)
    {
    case WHAT_IDENTIFY: return {{{WHAT_IDENTIFY_ANSW, 0, {}}}, {"bridge identified " + shownBytes(payload)}};
    case WHAT_PING: return {{{WHAT_PONG, message.userValue, {}}}, {"ping " + std::to_string(message.userValue)}};
    case WHAT_PONG: return shown("pong " + std::to_string(message.userValue));
    case WHAT_COMMAND: return takeCommand(payload);
    case WHAT_VARIABLE: return takeVariable(payload);
    case WHAT_FILE: return takeFile(payload);
    default: return shown("unknown message " + std::to_string(message.what) + " " + shownBytes(payload));
    }
}

Reaction Machine::takeCommand(Payload payload) const
{
    const bool isLink = payload.size() == NUMBER_LEN + 1 && readMsbLsbU32(payload.data()) == COMMAND_LINK;
    if (!isLink)
        return shown("unknown command " + shownBytes(payload));
    const bool isUp = payload.back() != 0;
    Reaction reaction = shown(isUp ? "link up" : "link down");
    reaction.event = {'<', isUp ? "link-up" : "link-down"};
    return reaction;
}

Reaction Machine::takeVariable(Payload payload)
{
    if (payload.size() <= NUMBER_LEN)
        return shown("damaged variable message " + shownBytes(payload));
    const u32 varId = readMsbLsbU32(payload.data());
    const eDataType dataType{payload[TYPE_OFFSET]};
    if (varId == TICKETED_BUFFER_ID && dataType == eDataType::DATA_BUFFER)
        return takeBuffer(payload);

    Variable *variable = m_variables.find(varId);
    std::optional<Value> value = ValueDecode(payload.subspan(TYPE_OFFSET));
    const bool isValue = variable != nullptr && value && variable->accepts(*value);
    if (isValue)
        variable->value = std::move(*value);
    Reaction reaction =
        isValue ? shown("value " + variable->label() + " = " + shownValue(variable->value)) : answerRequest(varId);
    reaction.event = variableEvent('<', isValue ? "value" : "ask", payload);
    return reaction;
}

// The ticket goes back in front of the bytes in reverse order.
Reaction Machine::takeBuffer(Payload payload) const
{
    if (payload.size() < BUFFER_DATA_OFFSET)
        return shown("buffer without ticket " + shownBytes(payload));
    Message answer{WHAT_VARIABLE, 0, {payload.begin(), payload.end()}};
    const auto answerData = answer.payload.begin() + BUFFER_DATA_OFFSET;
    std::reverse(answerData, answer.payload.end());

    const u32 ticket = readMsbLsbU32(&payload[BUFFER_TICKET_OFFSET]);
    const std::string line = "buffer ticket " + std::to_string(ticket) + " data " +
                             shownBytes(payload.subspan(BUFFER_DATA_OFFSET)) + " -> " +
                             shownBytes({answerData, answer.payload.end()});
    return {{std::move(answer)}, {line}, variableEvent('<', "buffer", payload)};
}

Reaction Machine::takeFile(Payload payload)
{
    if (payload.size() < NUMBER_LEN)
        return shown("damaged file message " + shownBytes(payload));
    const u32 fileId = readMsbLsbU32(payload.data());
    const std::string name(payload.begin() + NUMBER_LEN, payload.end());
    Reaction reaction;
    if (!name.starts_with('/'))
    {
        reaction = answerFileRequest(fileId);
        const std::string carried = Tools::ToHex(payload.data() + NUMBER_LEN, static_cast<u32>(name.size()), 0);
        reaction.event = {'<', "ask-file", {}, fileId, "", carried};
        return reaction;
    }
    const std::optional<LumoFaults::FileContent> content = LumoFaults::contentOf(name);
    reaction = shown("file " + std::to_string(fileId) + " received: " + shownFile(name, content));
    reaction.event = {'<', "file-end", {}, fileId, "done", content ? content->text() : ""};
    return reaction;
}

// A name of one byte counts as none.
Reaction Machine::answerFileRequest(u32 fileId)
{
    const std::string request = "file request " + std::to_string(fileId) + " -> ";
    const std::optional<std::string> copy = m_files.copyOf(fileId);
    if (!copy)
        return {{fileMessage(fileId, std::string(1, '\0'))}, {request + "no such file"}};
    return {{fileMessage(fileId, *copy)}, {request + shownFile(*copy)}};
}

Reaction Machine::answerRequest(u32 varId)
{
    const Variable *variable = m_variables.find(varId);
    if (variable == nullptr)
        return shown("request " + std::to_string(varId) + " -> unknown variable, not answered");
    return {{valueMessage(varId, variable->value)},
            {"request " + variable->label() + " -> " + shownValue(variable->value)}};
}

Reaction Machine::drift()
{
    Reaction reaction;
    for (u32 varId : m_variables.drift())
    {
        const Variable &variable = *m_variables.find(varId);
        reaction.messages.push_back(valueMessage(varId, variable.value));
        reaction.lines.push_back("drift " + variable.label() + " = " + shownValue(variable.value));
    }
    return reaction;
}

} // namespace LumoSmuSim
