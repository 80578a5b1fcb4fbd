#include "LTProto/LTProto/RcvFile.h"

#include "LTProto/Tools/PrintfText.h"
#include "toviCommonLib/OS/linux/linuxOS.h"

#include <algorithm>
#include <charconv>

namespace LTProtocol
{

std::string RcvFile::FileNameAsString() const
{
    return Tools::PrintfToString("%08x%s", m_fileName, EXTENSION);
}

bool RcvFile::FileNameWithPath(const Tools::StringUtf8 &folder, u8 *out, u32 size) const
{
    const std::string path = folder.ToStdString() + FileNameAsString();
    if (path.size() >= size)
        return false;
    std::copy_n(path.c_str(), path.size() + 1, out);
    return true;
}

void RcvFile::FileNameWithPath(const Tools::StringUtf8 &folder, Tools::MemoryBuffer &out) const
{
    out.Set(folder.ToStdString() + FileNameAsString());
}

Tools::StringUtf8 RcvFile::FileNameWithPath(const Tools::StringUtf8 &folder) const
{
    return folder + FileNameAsString();
}

u32 RcvFile::FileNameFromString(const std::string &name)
{
    u32 number = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number, 16);
    const std::string rest(end, name.data() + name.size());
    return error == std::errc{} && rest == EXTENSION ? number : 0;
}

u32 RcvFile::FileNameFromString(const Tools::StringUtf8 &name)
{
    return FileNameFromString(name.ToStdString());
}

u32 RcvFile::NumberOf(const std::string &name)
{
    const u32 number = FileNameFromString(name);
    return RcvFile{0, number, true}.FileNameAsString() == name ? number : 0;
}

std::string RcvFile::Folder()
{
    return reinterpret_cast<const char *>(platform::getAppPathNoSlash()) + std::string("/BridgeTemp");
}

} // namespace LTProtocol
