// docs/client-link.md as a function.
#include "tools/PacketTables/Rules.h"

#include "toviCommonLib/toviByteOrder.h"

namespace PacketTables
{
namespace
{

using tovi::utils::readMsbLsbU16;
using tovi::utils::readMsbLsbU32;

constexpr u32 RAW_BUFFER = 0xF0000000;
constexpr u16 BLOCK_LEN_MAX = 50000; // the daemon's own payload, when none is asked for
const std::string NOTICE = "66 FF FF FF FF 80 tt tt tt tt";
const std::string ACK = "2A 01";

Bytes from(const Bytes &bytes, size_t at)
{
    return {bytes.begin() + static_cast<std::ptrdiff_t>(std::min(at, bytes.size())), bytes.end()};
}

std::string number(u32 value)
{
    u8 bytes[4];
    tovi::utils::writeMsbLsbU32(bytes, value);
    return text({std::begin(bytes), std::end(bytes)});
}

// A request has exactly one length.
sOutcome request(const Bytes &payload)
{
    if (payload.size() == 3 && payload[0] == 0x05)
        return {NOTICE, row({"90 02 00 00 00 00", text(from(payload, 1))})};
    if (payload.size() == 5 && payload[0] == 0x06)
        return {NOTICE, row({"90 01 00 00", text(from(payload, 1)), "00 00 00 00 00"})};
    if (payload.size() == 5 && payload[0] == 0x80)
        return {"66 FF FF FF FF 11", SILENCE}; // no such ticket
    return {};
}

// Numbers and bytes alone reach the machine; of another type only that there was something.
std::string forwarded(u32 id, u8 type, const Bytes &value)
{
    if (type == 0x10)
        return row({"90 01 00 00", number(id), "10", text(value)});
    if (type == 0x01)
        return row({"90 01 00 00", number(id), "01", number(value.size() < 4 ? 0 : readMsbLsbU32(value.data()))});
    return "90 01 00 00 FF FF FF FF 00 00 00 00 00";
}

sOutcome value(const Bytes &payload)
{
    if (payload.size() < 9)
        return {};
    const u8 kind = payload[4];
    const u32 id = readMsbLsbU32(payload.data() + 5);
    const bool isAnswer = readMsbLsbU32(payload.data()) == 0xFFFFFFFF; // to nothing that was asked
    if (isAnswer || (kind != 0x06 && kind != 0x10))
        return {ACK, SILENCE};
    const Bytes data = from(payload, 10);
    if (id == RAW_BUFFER)
        return {NOTICE, row({"90 01 00 00 F0 00 00 00 10 tt tt tt tt", text(data)})};
    return {ACK, forwarded(id, payload.size() > 9 ? payload[9] : 0, data)};
}

// No file is being received or sent.
sOutcome block(const Bytes &payload)
{
    if (payload.size() < 3)
        return {};
    const Bytes data = from(payload, 3);
    if (from(payload, 0)[0] != 0 || payload[1] != 0 || payload[2] != 0)
        return {"2A 02 00 04", SILENCE};
    if (data.size() < 5)
        return {"2A 02 00 06", SILENCE}; // the answer to a negotiation
    const u16 asked = readMsbLsbU16(data.data());
    if (asked == 0 || data[2] != 0x05 || readMsbLsbU16(data.data() + 3) == 0)
        return {"2A 02 00 03", SILENCE}; // nor is there a ticket for one
    const u16 granted = std::min(asked, BLOCK_LEN_MAX);
    return {row({"AA 00 00 00", text({data[0], data[1], static_cast<u8>(granted >> 8), static_cast<u8>(granted)})}),
            SILENCE};
}

} // namespace

sOutcome outcomeOfClient(const Bytes &content)
{
    const Bytes payload = from(content, 1);
    switch (content[0])
    {
    case 0x33: return request(payload);
    case 0x66: return value(payload);
    case 0xAA: return block(payload);
    default: return {}; // CMD: nothing is queued and nothing can be repeated; no other type is known
    }
}

} // namespace PacketTables
