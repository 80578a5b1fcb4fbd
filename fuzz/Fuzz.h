// What the fuzz targets share: the input as a script, and the rules that must hold.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <utility>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size);

// The input, read from its front. What is taken at the end is shorter.
struct Input
{
    std::span<const u8> rest;

    // A copy with nothing behind it, so that reading on is seen.
    std::vector<u8> bytes(size_t count)
    {
        const std::span<const u8> taken = rest.first(std::min(count, rest.size()));
        rest = rest.subspan(taken.size());
        return {taken.begin(), taken.end()};
    }
    u32 number(size_t width = 1) // least significant byte first
    {
        u32 value = 0, shift = 0;
        for (u8 byte : bytes(width))
            value |= u32{byte} << std::exchange(shift, shift + 8);
        return value;
    }
};

inline void mustHold(bool holds, const char *rule)
{
    if (!holds)
        std::fprintf(stderr, "BROKEN: %s\n", rule), std::abort();
}
