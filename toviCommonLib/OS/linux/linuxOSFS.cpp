#include "toviCommonLib/OS/linux/linuxOSFS.h"

#include "toviCommonLib/OS/linux/linuxOSConsole.h"
#include "toviCommonLib/toviFSPath.h"
#include "toviCommonLib/toviUtils.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace platform
{

namespace
{

using tovi::utils::asBytes;
using tovi::utils::asChars;

constexpr mode_t FOLDER_MODE = 0777; // less what the process mask takes away

using FullName = std::array<u8, 512>; // with its NUL

bool createOneFolder(const std::string &path)
{
    return mkdir(path.c_str(), FOLDER_MODE) == 0 || FS_DirectoryExists(asBytes(path.c_str()));
}

bool composeCanonical(FullName &out, const u8 *folder, const u8 *name)
{
    char *text = reinterpret_cast<char *>(out.data());
    const int length = std::snprintf(text, out.size(), "%s/%s", asChars(folder), asChars(name));
    if (length < 0 || static_cast<size_t>(length) >= out.size())
        return false;
    tovi::fs::sanitizePathInPlace(out.data());
    return true;
}

bool isWanted(const sOSFileFind &find)
{
    return FS_findIsDirectory(find) ||
           tovi::fs::doesFileNameMatchJolly(FS_findGetFileName(find), asBytes(find.strJolly.c_str()));
}

struct ClosePipe
{
    void operator()(FILE *pipe) const { pclose(pipe); }
};

void readToTheEnd(FILE *pipe)
{
    std::array<u8, 256> output;
    for (;;)
    {
        if (std::fread(output.data(), 1, output.size(), pipe) > 0)
            continue;
        if (!std::ferror(pipe) || errno != EINTR)
            return;
        std::clearerr(pipe);
    }
}

void syncOnce()
{
    console_write("*** LINUX::FS_sync");
    const std::unique_ptr<FILE, ClosePipe> command(popen("sync", "r"));
    if (command)
        readToTheEnd(command.get());
}

} // namespace

bool FS_DirectoryCreate(const u8 *path)
{
    const std::string whole = asChars(path);
    if (whole.empty())
        return false;
    for (size_t at = whole.find_first_of("/\\", 1); at != std::string::npos; at = whole.find_first_of("/\\", at + 1))
        if (!createOneFolder(whole.substr(0, at)))
            return false;
    return createOneFolder(whole);
}

bool FS_DirectoryExists(const u8 *path)
{
    struct stat entry;
    return stat(asChars(path), &entry) == 0 && S_ISDIR(entry.st_mode);
}

bool FS_fileDelete(const u8 *fullPathAndName)
{
    return std::remove(asChars(fullPathAndName)) == 0;
}

bool FS_fileRename(const u8 *path, const u8 *oldFileName, const u8 *newFileName)
{
    FullName oldName;
    FullName newName;
    return composeCanonical(oldName, path, oldFileName) && composeCanonical(newName, path, newFileName) &&
           std::rename(asChars(oldName.data()), asChars(newName.data())) == 0;
}

bool FS_fileMove(const u8 *oldFullName, const u8 *newFullName)
{
    return std::rename(asChars(oldFullName), asChars(newFullName)) == 0;
}

eFileKind FS_fileKind(const u8 *fullPathAndName)
{
    struct stat entry;
    if (stat(asChars(fullPathAndName), &entry) == 0)
    {
        errno = S_ISDIR(entry.st_mode) ? EISDIR : EINVAL;
        return S_ISREG(entry.st_mode) ? eFileKind::regular : eFileKind::other;
    }
    if (errno != ENOENT)
        return eFileKind::other;
    const bool leadsNowhere = lstat(asChars(fullPathAndName), &entry) == 0;
    errno = ENOENT;
    return leadsNowhere ? eFileKind::other : eFileKind::none;
}

bool FS_findFirst(sOSFileFind *find, const u8 *folder, const u8 *jolly)
{
    FS_findClose(*find);
    find->dirp.reset(opendir(asChars(folder)));
    find->strJolly = asChars(jolly);
    if (FS_findNext(*find))
        return true;
    FS_findClose(*find);
    return false;
}

bool FS_findNext(sOSFileFind &find)
{
    if (!find.dirp)
        return false;
    do
        find.dp = readdir(find.dirp.get());
    while (find.dp != nullptr && !isWanted(find));
    return find.dp != nullptr;
}

void FS_findClose(sOSFileFind &find)
{
    find.dp = nullptr;
    find.dirp.reset();
}

bool FS_findIsDirectory(const sOSFileFind &find)
{
    if (find.dp == nullptr)
        return false;
    if (find.dp->d_type != DT_UNKNOWN && find.dp->d_type != DT_LNK)
        return find.dp->d_type == DT_DIR;
    struct stat entry; // not every file system tells the type in the listing
    return fstatat(dirfd(find.dirp.get()), find.dp->d_name, &entry, 0) == 0 && S_ISDIR(entry.st_mode);
}

const u8 *FS_findGetFileName(const sOSFileFind &find)
{
    return asBytes((find.dp != nullptr) ? find.dp->d_name : "");
}

FILE *FS_fileOpenForReadBinary(const u8 *path)
{
    return std::fopen(asChars(path), "rb");
}
FILE *FS_fileOpenForWriteBinary(const u8 *path)
{
    return std::fopen(asChars(path), "wb");
}
FILE *FS_fileOpenForReadText(const u8 *path)
{
    return std::fopen(asChars(path), "rt");
}
FILE *FS_fileOpenForWriteText(const u8 *path)
{
    return std::fopen(asChars(path), "wt");
}
FILE *FS_fileOpenForAppendText(const u8 *path)
{
    return std::fopen(asChars(path), "at");
}

void FS_fileClose(FILE *file)
{
    if (file != nullptr)
        std::fclose(file);
}

void FS_sync()
{
    syncOnce();
    syncOnce(); // always twice in a row
}

} // namespace platform
