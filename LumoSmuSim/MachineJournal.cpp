// Messages of the machine link as events of the journal.
#include "LTProto/LTProto/VariableNames.h"
#include "LTProto/Tools/Hex.h"
#include "LumoSmuSim/MachineText.h"
#include "toviCommonLib/toviByteOrder.h"

#include <algorithm>

namespace LumoSmuSim
{

using namespace LTProtocol;
using namespace tovi::smu;
using LumoFaults::JournalEvent;

namespace
{

constexpr size_t NUMBER_LEN = 4;
constexpr size_t VALUE_OFFSET = NUMBER_LEN + 1;
constexpr size_t SHOWN_LEN = 16;

std::string hex(std::span<const u8> bytes)
{
    return Tools::ToHex(bytes.data(), static_cast<u32>(bytes.size()), 0);
}

JournalEvent eventOfFile(std::span<const u8> payload)
{
    JournalEvent event{'>', "refused", {}, tovi::utils::readMsbLsbU32(payload.data())};
    if (payload.size() == NUMBER_LEN + 1) // a name of one byte counts as none
        return event;
    const std::string path(payload.begin() + NUMBER_LEN, payload.end());
    event.event = "file-begin";
    event.content = LumoFaults::contentOf(path).value_or(LumoFaults::FileContent{}).text();
    return event;
}

JournalEvent eventOf(const Message &message)
{
    const std::span<const u8> payload = message.payload;
    if (message.what == WHAT_FILE)
        return eventOfFile(payload);
    if (message.what == WHAT_VARIABLE && payload.size() == NUMBER_LEN)
        return {'>', "ask", {}, tovi::utils::readLsbMsbU32(payload.data())};
    if (message.what == WHAT_VARIABLE)
        return variableEvent('>', "value", payload);
    return {
        '>', "packet", {}, {}, std::to_string(message.what), hex(payload.first(std::min(payload.size(), SHOWN_LEN)))};
}

} // namespace

JournalEvent variableEvent(char way, const char *event, std::span<const u8> payload)
{
    JournalEvent out{way, event, {}, tovi::utils::readMsbLsbU32(payload.data())};
    const eDataType type{payload[NUMBER_LEN]};
    out.type = DataTypeName(type);
    std::span<const u8> content = payload.subspan(VALUE_OFFSET);
    if (*out.id == TICKETED_BUFFER_ID && type == eDataType::DATA_BUFFER && content.size() >= NUMBER_LEN)
    {
        out.event = "buffer";
        out.ticket = tovi::utils::readMsbLsbU32(content.data());
        content = content.subspan(NUMBER_LEN);
    }
    out.content = hex(content);
    return out;
}

void journalSent(const LumoFaults::Journal &journal, const Message &message, LumoFaults::eVerb fault)
{
    const bool isOfInterest = message.what == WHAT_VARIABLE || message.what == WHAT_FILE;
    if (!journal.isOpen() || (!isOfInterest && fault == LumoFaults::eVerb::none))
        return;
    JournalEvent event = eventOf(message);
    event.fault = LumoFaults::verbName(fault);
    journal.write(event);
}

} // namespace LumoSmuSim
