// CountBench crc|hex BYTES: does one of the daemon's inner loops once over so many bytes, for a counter of instructions.
// The difference of two lengths is free of what the program needs to start.
#include "LTProto/ComDevice/Crc16.h"
#include "LTProto/Tools/Hex.h"

#include <cstdlib>
#include <string_view>

namespace
{

constexpr u32 LEN_MAX = 65536;
u8 bytes[LEN_MAX];
char text[Tools::HexLen(LEN_MAX, ' ')];

} // namespace

int main(int argc, char *argv[])
{
    const u32 len = argc == 3 ? static_cast<u32>(std::strtoul(argv[2], nullptr, 10)) : 0;
    if (len == 0 || len > LEN_MAX)
        return 2;
    if (std::string_view(argv[1]) == "crc")
        return tovi::Crc16(bytes, len) == 1 ? 1 : 0; // the result is used, so the loop stays
    return *(Tools::HexWrite(text, bytes, len, ' ') - 1) == 1 ? 1 : 0;
}
