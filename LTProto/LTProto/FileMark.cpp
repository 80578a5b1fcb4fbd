#include "LTProto/LTProto/FileMark.h"

#include "LTProto/LTProto/RcvFile.h"
#include "toviCommonLib/OS/linux/linuxOSFile.h"

namespace LTProtocol
{
namespace
{

// Where the name begins behind its folder.
size_t nameStart(const std::string &path)
{
    return path.rfind('/') + 1; // npos + 1 is 0
}

} // namespace

std::string FileMarkExtension(eFileMark mark)
{
    switch (mark)
    {
    case eFileMark::PARTIAL: return ".partial";
    case eFileMark::UNTOLD: return ".untold";
    }
    return "";
}

std::string FileMarkPath(const std::string &file, eFileMark mark)
{
    if (RcvFile::NumberOf(file.substr(nameStart(file))) == 0)
        return "";
    return file.substr(0, file.rfind('.')) + FileMarkExtension(mark);
}

u32 FileMarkNumber(const std::string &name, eFileMark mark)
{
    const std::string extension = FileMarkExtension(mark);
    if (!name.ends_with(extension))
        return 0;
    return RcvFile::NumberOf(name.substr(0, name.size() - extension.size()).append(RcvFile::EXTENSION));
}

bool FileMarkIsSet(const std::string &file, eFileMark mark)
{
    return platform::file_exists(FileMarkPath(file, mark).c_str());
}

bool FileMarkAsPartial(const std::string &file)
{
    FileMarkRemove(file, eFileMark::PARTIAL); // of another file of that number, which is gone
    return platform::file_create(FileMarkPath(file, eFileMark::PARTIAL).c_str()).isOpen();
}

bool FileMarkAsUntold(const std::string &file)
{
    return platform::file_rename(FileMarkPath(file, eFileMark::PARTIAL).c_str(),
                                 FileMarkPath(file, eFileMark::UNTOLD).c_str()) &&
           platform::file_flushFolderOf(file.c_str());
}

void FileMarkRemove(const std::string &file, eFileMark mark)
{
    platform::file_delete(FileMarkPath(file, mark).c_str());
}

void FileMarkTold(const std::string &file)
{
    if (file.substr(0, nameStart(file)) == RcvFile::Folder() + "/")
        FileMarkRemove(file, eFileMark::UNTOLD);
}

} // namespace LTProtocol
