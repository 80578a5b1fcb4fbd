#include "tools/Faults/FileContent.h"

#include "LTProto/Tools/Hex.h"
#include "toviCommonLib/OS/linux/linuxOSFile.h"

#include <vector>

namespace LumoFaults
{

namespace
{
constexpr u32 READ_LEN = 65536;
}

std::string FileContent::md5() const
{
    return Tools::ToHex(digest.data(), static_cast<u32>(digest.size()), 0);
}

std::optional<FileContent> contentOf(const std::string &path)
{
    const platform::FileDescriptor file = platform::file_openForRead(path.c_str());
    FileContent content;
    tovi::MD5 md5;
    std::vector<u8> bytes(READ_LEN);
    i64 count = file.isOpen() ? platform::file_read(file, bytes.data(), READ_LEN) : -1;
    for (; count > 0; count = platform::file_read(file, bytes.data(), READ_LEN))
    {
        md5.update(bytes.data(), static_cast<u32>(count));
        content.size += static_cast<u64>(count);
    }
    if (count < 0)
        return std::nullopt;
    content.digest = md5.finish();
    return content;
}

} // namespace LumoFaults
