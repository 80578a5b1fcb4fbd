#include "bench/Packets.h"

#include "LTProto/ComDevice/Crc16.h"
#include "toviCommonLib/toviByteOrder.h"

#include <numeric>

namespace LumoBench
{

using namespace LTProtocol;

namespace
{

constexpr u8 MAGIC[] = {0xC8, 0xA6};
constexpr u8 FRAME_SHORT = 0xFD;
constexpr u8 FRAME_LONG = 0xFE;
constexpr size_t SHORT_MAX = 255;

void addType(Bytes &out, eDataType type)
{
    out.push_back(static_cast<u8>(type));
}

void addInteger(Bytes &out, u32 value)
{
    addType(out, eDataType::INTEGER_POSITIVE);
    addNumber(out, value, 4);
}

} // namespace

void addNumber(Bytes &out, u32 value, u32 len)
{
    for (u32 i = len; i > 0; --i)
        out.push_back(static_cast<u8>(value >> (8 * (i - 1))));
}

void makePacket(Bytes &out, eCommandType type, std::span<const u8> head, std::span<const u8> body)
{
    const u32 crcAt = static_cast<u32>(PACKET_HEADER_LEN + head.size() + body.size());
    out.clear();
    out.push_back(PACKET_START_MARK);
    addNumber(out, crcAt, 2);
    out.push_back(static_cast<u8>(type));
    out.insert(out.end(), head.begin(), head.end());
    out.insert(out.end(), body.begin(), body.end());
    addNumber(out, tovi::Crc16(out.data(), crcAt), 2);
}

void makeFrame(Bytes &out, u16 what, std::span<const u8> payload)
{
    const size_t len = 4 + payload.size();
    const u32 width = len > SHORT_MAX ? 2 : 1;
    out.assign(std::begin(MAGIC), std::end(MAGIC));
    out.push_back(width == 1 ? FRAME_SHORT : FRAME_LONG);
    addNumber(out, static_cast<u32>(len), width);
    const auto message = static_cast<std::ptrdiff_t>(out.size());
    addNumber(out, what, 2);
    addNumber(out, 0, 2); // user value
    out.insert(out.end(), payload.begin(), payload.end());
    addNumber(out, std::accumulate(out.begin() + message, out.end(), 0u), width);
}

Bytes requestOf(u32 variable)
{
    Bytes payload;
    addType(payload, eDataType::VARIABLE_ID);
    addNumber(payload, variable, 4);
    return payload;
}

Bytes noticeOf(u32 ticket)
{
    Bytes payload;
    addNumber(payload, TICKET_NONE, 4);
    addType(payload, eDataType::TICKET_ID);
    addNumber(payload, ticket, 4);
    return payload;
}

Bytes answerUnder(u32 ticket, u32 value)
{
    Bytes payload;
    addNumber(payload, ticket, 4);
    addInteger(payload, value);
    return payload;
}

Bytes spontaneousOf(u32 variable, u32 value)
{
    Bytes payload;
    addNumber(payload, TICKET_SPONTANEOUS, 4);
    addType(payload, eDataType::VARIABLE_ID);
    addNumber(payload, variable, 4);
    addInteger(payload, value);
    return payload;
}

Bytes machineValueOf(u32 variable, u32 value)
{
    Bytes payload;
    addNumber(payload, variable, 4);
    addInteger(payload, value);
    return payload;
}

} // namespace LumoBench
