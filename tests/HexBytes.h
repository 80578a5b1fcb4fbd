// Bytes as tests write them: Hex("60 00 05 2A 01").
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <sstream>
#include <string>
#include <vector>

inline std::vector<u8> Hex(const std::string &hex)
{
    std::vector<u8> bytes;
    std::istringstream pairs(hex);
    pairs >> std::hex;
    for (unsigned byte; pairs >> byte;)
        bytes.push_back(static_cast<u8>(byte));
    return bytes;
}
