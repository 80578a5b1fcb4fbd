// What the marks of received files ask for at a start, and what they keep from being deleted.
#include "LTProto/LTProto/LTProto.h"

#include "toviCommonLib/OS/linux/linuxOSFS.h"
#include "toviCommonLib/toviUtils.h"

#include <algorithm>
#include <iterator>

namespace LTProtocol
{

using tovi::utils::asBytes;

// The numbers of the files that have such a mark.
std::set<u32> LTProto::MarkedFiles(eFileMark mark) const
{
    const std::string folder = m_fileReceivePath.ToStdString();
    const std::string pattern = std::string("*").append(FileMarkExtension(mark));
    std::set<u32> numbers;
    platform::sOSFileFind find;
    for (bool more = platform::FS_findFirst(&find, asBytes(folder.c_str()), asBytes(pattern.c_str())); more;
         more = platform::FS_findNext(find))
        numbers.insert(FileMarkNumber(reinterpret_cast<const char *>(platform::FS_findGetFileName(find)), mark));
    numbers.erase(0);
    return numbers;
}

// What was cut off goes: the file first, which must not be without its mark.
void LTProto::PartialFilesRemove()
{
    for (const u32 number : MarkedFiles(eFileMark::PARTIAL))
    {
        const std::string name = RcvFile{0, number, true}.FileNameWithPath(m_fileReceivePath).ToStdString();
        m_fileReceiveList.Remove(number);
        if (platform::file_delete(name.c_str()) || !platform::file_exists(name.c_str()))
            FileMarkRemove(name, eFileMark::PARTIAL);
    }
}

// A mark goes that has no file. One whose file has lost its id stays: nobody can be told of it.
std::vector<LTProto::ReceivedFile> LTProto::UntoldFiles()
{
    std::vector<ReceivedFile> files;
    std::set<u32> untold = MarkedFiles(eFileMark::UNTOLD);
    for (const RcvFile &entry : m_fileReceiveList)
    {
        if (untold.erase(entry.m_fileName) == 0)
            continue;
        const std::string name = entry.FileNameWithPath(m_fileReceivePath).ToStdString();
        if (entry.m_key != 0)
            files.push_back({entry.m_key, name});
        else
            Trace("Received file %s is kept, but not announced: its id is lost", name.c_str());
    }
    for (const u32 number : untold)
        FileMarkRemove(RcvFile{0, number, true}.FileNameWithPath(m_fileReceivePath).ToStdString(), eFileMark::UNTOLD);
    return files;
}

// Whether a name, however it is spelled, stands for the index, its new or its bad copy, a mark, or a received file that the
// machine was not told of.
bool LTProto::IsOwnFile(const std::string &name) const
{
    const std::string folder = m_fileReceivePath.ToStdString();
    for (const char *own : {FILE_INDEX_NAME, FILE_INDEX_NEW_NAME, FILE_INDEX_BAD_NAME})
        if (platform::file_isSame(name.c_str(), (folder + own).c_str()))
            return true;
    const std::string leaf = name.substr(name.rfind('/') + 1);
    const std::string path = folder + leaf;
    const auto isMarkOrMarked = [&](eFileMark mark)
    { return FileMarkNumber(leaf, mark) != 0 || FileMarkIsSet(path, mark); };
    return platform::file_isSame(name.c_str(), path.c_str()) &&
           std::any_of(std::begin(FILE_MARKS), std::end(FILE_MARKS), isMarkOrMarked);
}

} // namespace LTProtocol
