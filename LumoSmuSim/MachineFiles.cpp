#include "LumoSmuSim/MachineFiles.h"

#include "LTProto/LTProto/ValueText.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <vector>

namespace LumoSmuSim
{

namespace fs = std::filesystem;

namespace
{

bool beginsWithId(const std::string &name, u32 fileId)
{
    u32 number = 0;
    const auto [stop, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    return error == std::errc{} && number == fileId;
}

} // namespace

MachineFiles::~MachineFiles()
{
    std::error_code ignored;
    if (!m_copyFolder.empty())
        fs::remove_all(m_copyFolder, ignored);
}

std::optional<std::string> MachineFiles::copyOf(u32 fileId)
{
    if (m_folder.empty())
        return std::nullopt;
    std::error_code ignored;
    std::vector<fs::path> found;
    for (const fs::directory_entry &entry : fs::directory_iterator(m_folder, ignored))
        if (entry.is_regular_file(ignored) && beginsWithId(entry.path().filename().string(), fileId))
            found.push_back(entry.path());
    return found.empty() ? std::nullopt : copyOf(*std::ranges::min_element(found));
}

std::optional<std::string> MachineFiles::copyOf(const fs::path &file)
{
    std::error_code error;
    if (!fs::is_regular_file(file, error) || !makeCopyFolder())
        return std::nullopt;
    const fs::path copy = m_copyFolder / (std::to_string(++m_copyCount) + "-" + file.filename().string());
    return fs::copy_file(file, copy, error) ? std::optional(copy.string()) : std::nullopt;
}

// The bridge may run as somebody else, and has to find and read the copies.
bool MachineFiles::makeCopyFolder()
{
    if (!m_copyFolder.empty())
        return true;
    std::error_code error;
    std::string name = (fs::absolute(fs::temp_directory_path(error), error) / "LumoSmuSim.XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
        return false;
    m_copyFolder = name;
    fs::permissions(m_copyFolder,
                    fs::perms::group_read | fs::perms::group_exec | fs::perms::others_read | fs::perms::others_exec,
                    fs::perm_options::add, error);
    return true;
}

std::string shownFile(const std::string &path)
{
    return shownFile(path, LumoFaults::contentOf(path));
}

std::string shownFile(const std::string &path, const std::optional<LumoFaults::FileContent> &content)
{
    using LTProtocol::eDataType;
    const std::string name = LTProtocol::ValueText({eDataType::STRING_UTF, 0, 0, {path.begin(), path.end()}});
    if (!content)
        return name + " (cannot be read)";
    return name + " (" + std::to_string(content->size) + " bytes, MD5 " + content->md5() + ")";
}

} // namespace LumoSmuSim
