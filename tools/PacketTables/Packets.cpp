#include "tools/PacketTables/Rules.h"

#include <set>

namespace PacketTables
{
namespace
{

const std::string NUMBERS = "00 00 00 5F 02 61 62 63 64 65 66 67 68 69 6A 6B 6C 6D 6E 6F";

u32 s_lastId;

// `pattern` in hexadecimal, "vvvvvvvv" being an id of 4 bytes and "ffff" one of 2 with its upper bits as in `base`.
sKind kindOf(const std::string &name, std::string pattern, size_t payloadLen, u32 base = 0)
{
    char id[16];
    for (const auto &[mark, format] : {std::pair("vvvvvvvv", "%08X"), std::pair("ffff", "%04X")})
        if (const size_t at = pattern.find(mark); at != std::string::npos)
        {
            std::snprintf(id, sizeof id, format, base + ++s_lastId);
            pattern.replace(at, std::string(mark).size(), id);
        }
    std::string pairs;
    for (const char c : pattern + NUMBERS)
        if (c != ' ')
            pairs += pairs.size() % 3 == 2 ? std::string(" ") + c : std::string(1, c);
    return {name, Hex(pairs), payloadLen};
}

Bytes firstOf(const Bytes &content, size_t count)
{
    return {content.begin(), content.begin() + static_cast<std::ptrdiff_t>(count)};
}

std::vector<sKind> kindsNamed(const std::set<std::string> &names, std::vector<sKind> kinds)
{
    std::erase_if(kinds, [&](const sKind &kind) { return !names.contains(kind.name); });
    return kinds;
}

} // namespace

void restartIds()
{
    s_lastId = 0x100;
}

std::vector<sKind> clientKinds()
{
    return {
        kindOf("POLLING", "2A 00", 1),
        kindOf("ACK", "2A 01", 1),
        kindOf("NACK", "2A 02 0002", 3),
        kindOf("CMD 03", "2A 03", 1),
        kindOf("REQUEST file", "33 05 ffff", 3, 0x4000),
        kindOf("REQUEST variable", "33 06 vvvvvvvv", 5),
        kindOf("REQUEST ticket", "33 80 77770000", 5),
        kindOf("REQUEST 07", "33 07 00000004", 5),
        kindOf("DATA number", "66 FFFFFFFE 06 vvvvvvvv 01", 14),
        kindOf("DATA bytes", "66 FFFFFFFE 06 vvvvvvvv 10", 14),
        kindOf("DATA text", "66 FFFFFFFE 06 vvvvvvvv 07", 14),
        kindOf("DATA of kind buffer", "66 FFFFFFFE 10 vvvvvvvv 01", 14),
        kindOf("DATA under a ticket", "66 00000000 06 vvvvvvvv 10", 14),
        kindOf("DATA unasked answer", "66 FFFFFFFF 06 vvvvvvvv 01", 14),
        kindOf("DATA raw buffer", "66 FFFFFFFE 10 F0000000 10", 14),
        kindOf("DATA raw buffer of kind variable", "66 FFFFFFFE 06 F0000000 10", 14),
        kindOf("DATA file", "66 FFFFFFFE 05 0000 ffff 01", 14, 0x8000),
        kindOf("DATA ticket", "66 FFFFFFFE 80 vvvvvvvv 01", 14),
        kindOf("DATA of kind 11", "66 FFFFFFFE 11 vvvvvvvv 01", 14),
        kindOf("DATABLOCK negotiation of a file", "AA 000000 0400 05 ffff", 8, 0x2000),
        kindOf("DATABLOCK negotiation of a long block", "AA 000000 FFFF 05 ffff", 8, 0x2000),
        kindOf("DATABLOCK negotiation of a ticket", "AA 000000 0400 80 77770000", 10),
        kindOf("DATABLOCK negotiation of length 0", "AA 000000 0000 05 ffff", 8, 0x2000),
        kindOf("DATABLOCK negotiation of file 0", "AA 000000 0400 05 0000", 8),
        kindOf("DATABLOCK negotiation of kind 06", "AA 000000 0400 06 ffff", 8, 0x2000),
        kindOf("DATABLOCK 1", "AA 000001", 7),
        kindOf("DATABLOCK last", "AA FFFFFF", 3),
        kindOf("type 00", "00", 4),
        kindOf("type 60", "60", 4),
        kindOf("type FF", "FF", 4),
    };
}

std::vector<sKind> clientDozen()
{
    return kindsNamed({"POLLING", "ACK", "NACK", "REQUEST file", "REQUEST variable", "REQUEST ticket", "DATA number",
                       "DATA raw buffer", "DATA file", "DATABLOCK negotiation of a file", "DATABLOCK 1",
                       "DATABLOCK last", "type FF"},
                      clientKinds());
}

std::vector<sKind> machineKinds()
{
    std::vector<sKind> kinds;
    for (const char *kind : {"0000", "0001", "0002", "0003", "0004", "0005", "9000", "9003", "9010", "FFFF"})
        kinds.push_back(kindOf(std::string("kind ") + kind, std::string(kind) + " 0007", 0));
    for (const char *type : {"00", "01", "02", "03", "04", "05", "06", "07", "10", "11", "80", "FF"})
        kinds.push_back(kindOf(std::string("VARIABLE of type ") + type, std::string("9001 0000 vvvvvvvv ") + type, 10));
    kinds.push_back(kindOf("VARIABLE raw buffer", "9001 0000 F0000000 10 77770000", 14));
    kinds.push_back(kindOf("FILE", "9002 0000 0000 ffff 6E 6F 6E 65", 8, 0x3000));
    return kinds;
}

std::vector<sKind> machineDozen()
{
    std::vector<sKind> dozen =
        kindsNamed({"kind 0001", "kind 9000", "VARIABLE of type 00", "VARIABLE of type 01", "VARIABLE of type 03",
                    "VARIABLE of type 07", "VARIABLE of type 10", "VARIABLE of type 11", "VARIABLE raw buffer"},
                   machineKinds());
    dozen.push_back(kindOf("VARIABLE request", "9001 0000 vvvvvvvv", 4));
    dozen.push_back(kindOf("FILE request", "9002 0000 ffff 0000", 4));
    dozen.push_back(kindOf("FILE that is none", "9002 0000 0000 ffff 00", 5, 0x3000));
    return dozen;
}

Bytes clientContent(const sKind &kind, size_t payloadLen)
{
    return firstOf(kind.content, 1 + payloadLen);
}

Bytes machineContent(const sKind &kind, size_t payloadLen)
{
    return firstOf(kind.content, 4 + payloadLen);
}

std::string text(const Bytes &bytes)
{
    std::string hex;
    char pair[4];
    for (const u8 byte : bytes)
    {
        std::snprintf(pair, sizeof pair, "%s%02X", hex.empty() ? "" : " ", byte);
        hex += pair;
    }
    return hex;
}

std::string row(const std::vector<std::string> &parts)
{
    std::string all;
    for (const std::string &part : parts)
        all.append(all.empty() || part.empty() ? "" : " ").append(part);
    return all;
}

Bytes joined(const Bytes &first, const Bytes &second)
{
    Bytes all = first;
    all.insert(all.end(), second.begin(), second.end());
    return all;
}

} // namespace PacketTables
