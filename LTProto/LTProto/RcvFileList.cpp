#include "LTProto/LTProto/RcvFileList.h"

#include "toviCommonLib/OS/linux/linuxOSFile.h"

#include <algorithm>

namespace LTProtocol
{

void RcvFileList::Add(const RcvFile &entry)
{
    if (m_numbers.insert(entry.m_fileName).second)
        m_entries.push_back(entry);
}

void RcvFileList::Remove(u32 number)
{
    if (m_numbers.erase(number) != 0)
        std::erase_if(m_entries, [number](const RcvFile &entry) { return entry.m_fileName == number; });
}

void RcvFileList::PresenceCheck(const Tools::StringUtf8 &folder)
{
    for (RcvFile &entry : m_entries)
        entry.m_filePresence = platform::file_isRegular(entry.FileNameWithPath(folder).ToStdString().c_str(), true);
}

bool RcvFileList::HasMissing() const
{
    return std::any_of(begin(), end(), [](const RcvFile &entry) { return !entry.m_filePresence; });
}

void RcvFileList::RemoveMissing()
{
    for (const RcvFile &entry : m_entries)
        if (!entry.m_filePresence)
            m_numbers.erase(entry.m_fileName);
    std::erase_if(m_entries, [](const RcvFile &entry) { return !entry.m_filePresence; });
}

u32 RcvFileList::FreeNumber(u32 from, const Tools::StringUtf8 &folder) const
{
    const auto isOnDisk = [&folder](u32 number) {
        return platform::file_exists(RcvFile{0, number, false}.FileNameWithPath(folder).ToStdString().c_str());
    };
    while (from == 0 || Holds(from) || isOnDisk(from))
        ++from;
    return from;
}

} // namespace LTProtocol
