#include "tools/Faults/FaultPlan.h"

#include <algorithm>
#include <charconv>

namespace LumoFaults
{

namespace
{

struct Verb
{
    eVerb verb;
    std::string_view name;
    u32 number; // when none is given
    bool isOfClient;
    bool isOfMachine;
    const char *usage;
    const char *meaning;
};

constexpr u32 NUMBER_MAX = 0xFFFFFF;

constexpr Verb VERBS[] = {
    {eVerb::stall, "stall", 1000, true, true, "stall[:MS]", "reads and writes nothing for MS milliseconds (1000)"},
    {eVerb::vanish, "vanish", 0, true, true, "vanish", "says and hears nothing more, without closing"},
    {eVerb::reset, "reset", 0, true, true, "reset", "resets the connection; closes a serial line"},
    {eVerb::half, "half", 1000, true, true, "half[:MS]", "writes half the packet, then nothing for MS (1000)"},
    {eVerb::checksum, "checksum", 0, true, true, "checksum", "wrong checksum; also typed crc"},
    {eVerb::checksum, "crc", 0, true, true, nullptr, nullptr},
    {eVerb::length, "length", 1, true, true, "length[:N]", "the length says N more than there is (1)"},
    {eVerb::block, "block", 0x800000, true, false, "block[:N]",
     "the next block has the number N, its checksum is right"},
    {eVerb::twice, "twice", 0, true, true, "twice", "written twice"},
    {eVerb::late, "late", 1000, true, true, "late[:MS]", "written MS later (1000); others overtake it"},
    {eVerb::flood, "flood", 100, true, true, "flood[:N]", "written N times (100), without waiting"},
    {eVerb::before, "before", 16, true, true, "before[:N]", "N bytes of garbage in front, in the same write (16)"},
    {eVerb::after, "after", 16, true, true, "after[:N]", "N bytes of garbage behind, in the same write (16)"},
    {eVerb::close, "close", 0, false, true, "close", "the close frame in its place"},
    {eVerb::split, "split", 0, true, true, "split", "one write for each byte"},
    {eVerb::joined, "double", 0, true, true, "double", "behind another packet in one write: client ACK, machine PING"},
};

bool isOf(const Verb &verb, eSide side)
{
    return side == eSide::client ? verb.isOfClient : verb.isOfMachine;
}

// Adds to a number of any length, as on a clock face.
void addMsbFirst(std::span<u8> field, u32 number)
{
    for (size_t i = field.size(); i-- > 0; number >>= 8)
    {
        number += field[i];
        field[i] = static_cast<u8>(number);
    }
}

Bytes joined(std::span<const u8> first, std::span<const u8> second)
{
    Bytes both(first.begin(), first.end());
    both.insert(both.end(), second.begin(), second.end());
    return both;
}

} // namespace

const char *verbName(eVerb verb)
{
    const auto found = std::ranges::find(VERBS, verb, &Verb::verb);
    return found != std::end(VERBS) ? found->name.data() : "";
}

std::optional<Fault> parseFault(std::string_view text, eSide side)
{
    const size_t end = text.find_first_of(": ");
    const auto found = std::ranges::find(VERBS, text.substr(0, end), &Verb::name);
    if (found == std::end(VERBS) || !isOf(*found, side))
        return std::nullopt;
    Fault fault{found->verb, found->number};
    if (end == std::string_view::npos)
        return fault;
    const char *const stop = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data() + end + 1, stop, fault.number);
    return error == std::errc{} && parsed == stop && fault.number <= NUMBER_MAX ? std::optional(fault) : std::nullopt;
}

std::string faultHelp(eSide side)
{
    constexpr size_t USAGE_WIDTH = 14;
    std::string text;
    for (const Verb &verb : VERBS)
        if (verb.usage != nullptr && isOf(verb, side))
        {
            const std::string usage = verb.usage;
            text += "  " + usage + std::string(USAGE_WIDTH - usage.size(), ' ') + verb.meaning + "\n";
        }
    return text;
}

bool FaultPlan::order(std::string_view text)
{
    const std::optional<Fault> fault = parseFault(text, m_side);
    if (fault)
        m_ordered.push_back(*fault);
    return fault.has_value();
}

void FaultPlan::draw(u32 percent, u32 seed)
{
    m_percent = percent;
    m_random.seed(seed);
    m_drawn.assign(m_ordered.begin(), m_ordered.end());
    m_ordered.clear();
    if (!m_drawn.empty())
        return;
    for (const Verb &verb : VERBS)
        if (verb.usage != nullptr && isOf(verb, m_side))
            m_drawn.push_back({verb.verb, verb.number});
}

Fault FaultPlan::next(bool carriesBlock)
{
    const auto fits = [carriesBlock](const Fault &fault) { return carriesBlock || fault.verb != eVerb::block; };
    Fault fault;
    if (!m_ordered.empty() && fits(m_ordered.front()))
    {
        fault = m_ordered.front();
        m_ordered.pop_front();
    }
    else if (m_random.next() % 100 < m_percent)
        fault = m_drawn[m_random.next() % m_drawn.size()];
    return fits(fault) ? fault : Fault{};
}

Distorted FaultPlan::distort(const Fault &fault, std::span<const u8> packet, const PacketShape &shape)
{
    Distorted out{Bytes(packet.begin(), packet.end()), 1, 0};
    Bytes &whole = out.bytes;
    switch (fault.verb)
    {
    case eVerb::half: whole.resize(whole.size() / 2); break;
    case eVerb::checksum: whole.back() ^= 0xFF; break;
    case eVerb::length: addMsbFirst(std::span(whole).subspan(shape.lengthOffset, shape.lengthLen), fault.number); break;
    case eVerb::before: whole = joined(garbage(fault.number), packet); break;
    case eVerb::after: whole = joined(packet, garbage(fault.number)); break;
    case eVerb::joined: whole = joined(shape.neighbour, packet); break;
    case eVerb::twice: out.times = 2; break;
    case eVerb::flood: out.times = fault.number; break;
    default: break;
    }
    out.pieceLen = fault.verb == eVerb::split ? 1 : whole.size();
    return out;
}

Bytes FaultPlan::garbage(u32 len)
{
    Bytes bytes(len);
    for (u8 &byte : bytes)
        byte = static_cast<u8>(m_random.next());
    return bytes;
}

} // namespace LumoFaults
