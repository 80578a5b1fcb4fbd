// docs/smu-link.md as a function.
#include "tools/PacketTables/Rules.h"

namespace PacketTables
{
namespace
{

// What the messages of one segment share: each one changes what it carries and leaves the rest as it was.
struct sRecord
{
    enum class eElement
    {
        none,
        variable,
        file
    } element = eElement::none;
    bool isRequest = false;
    Bytes id{0, 0, 0, 0};
    u8 type = 0; // of the value; 0 for none
    Bytes value;

    void set(eElement newElement, const Bytes &newId, u8 newType, const Bytes &newValue)
    {
        *this = {newElement, false, newId, newType, newValue};
    }
    void request(eElement newElement, const Bytes &payload)
    {
        element = newElement;
        isRequest = true;
        id.assign(payload.rbegin(), payload.rend()); // comes least significant byte first
    }
};

using eElement = sRecord::eElement;

Bytes part(const Bytes &bytes, size_t at, size_t count)
{
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    return {begin, begin + static_cast<std::ptrdiff_t>(std::min(count, bytes.size() - at))};
}

void variable(sRecord &record, const Bytes &payload)
{
    if (payload.size() == 4)
        record.request(eElement::variable, payload);
    if (payload.size() < 5)
        return;
    const u8 type = payload[4];
    const bool isText = type == 0x07 || type == 0x10;
    const size_t len = type == 1 || type == 2 ? 4 : type == 3 || type == 4 ? 5 : 0; // of a number
    if (isText || (len != 0 && payload.size() >= 5 + len))
        record.set(eElement::variable, part(payload, 0, 4), type, part(payload, 5, isText ? payload.size() : len));
}

void file(sRecord &record, const Bytes &payload)
{
    if (payload.size() == 4)
        record.request(eElement::file, payload);
    if (payload.size() < 5)
        return;
    const Bytes name = part(payload, 4, payload.size());
    record.set(eElement::file, part(payload, 0, 4), 0x07, name.size() == 1 ? Bytes{} : name);
}

// A value that nobody asked for. The ticket in front of a raw buffer's answer goes, open or not.
std::string valueForClient(const sRecord &record)
{
    const bool isText = record.type == 0x07 || record.type == 0x10;
    if (record.type == 0 || (record.element == eElement::file && isText && record.value.empty()))
        return "";
    const bool ticketed = record.id == Bytes{0xF0, 0, 0, 0} && record.value.size() >= 4 && isText;
    const Bytes value = ticketed ? part(record.value, 4, record.value.size()) : record.value;
    return row({"66 FF FF FF FE 06", text(record.id), text(joined({record.type}, value))});
}

// A file that does not exist comes as an empty one.
std::string fileForClient(const sRecord &record)
{
    if (record.value.empty())
        return "";
    return row({"AA 00 00 00 C3 50 05", text(part(record.id, 2, 2)), ", AA FF FF FF"});
}

} // namespace

std::string outcomeOfMachine(const std::vector<Bytes> &messages)
{
    sRecord record;
    std::string all;
    for (const Bytes &message : messages)
    {
        const bool isVariable = message.size() >= 4 && message[0] == 0x90 && message[1] == 0x01;
        const bool isFile = message.size() >= 4 && message[0] == 0x90 && message[1] == 0x02;
        if (message.size() >= 4 && message[0] == 0 && message[1] == 0x05)
            return END;
        if (isVariable)
            variable(record, part(message, 4, message.size()));
        if (isFile)
            file(record, part(message, 4, message.size()));
        std::string one;
        if ((isVariable || isFile) && record.element != eElement::none)
            one =
                record.element == eElement::file && !record.isRequest ? fileForClient(record) : valueForClient(record);
        all += (all.empty() || one.empty() ? "" : ", ") + one;
    }
    return all.empty() ? SILENCE : all;
}

} // namespace PacketTables
