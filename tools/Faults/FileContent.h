// Size and MD5 of a file: what two peers compare to know that it arrived as it was.
#pragma once

#include "toviCommonLib/tovimd5.h"

#include <optional>
#include <string>

namespace LumoFaults
{

struct FileContent
{
    u64 size = 0;
    tovi::MD5::Digest digest{};

    std::string md5() const;                                                // hexadecimal
    std::string text() const { return std::to_string(size) + ":" + md5(); } // as a journal has it
};

// Of a regular file; nothing when it cannot be read.
std::optional<FileContent> contentOf(const std::string &path);

} // namespace LumoFaults
