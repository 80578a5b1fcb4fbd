#include "toviCommonLib/toviFS.h"

#include "toviCommonLib/toviUtils.h"

#include <algorithm>
#include <string>

namespace tovi::fs
{

namespace
{

using utils::asBytes;
using utils::asChars;

constexpr size_t FOLDER_SIZE_MAX = 2048; // with its NUL
constexpr u32 PIECE_LEN = 1024;          // most bytes of one read or write

// True as well when the path has no folder part.
bool createFolderOf(const u8 *path)
{
    const std::string_view whole = asChars(path);
    const size_t length = whole.rfind('/');
    if (length == std::string_view::npos || length == 0)
        return true;
    if (length >= FOLDER_SIZE_MAX)
        return false;
    return platform::FS_DirectoryCreate(asBytes(std::string(whole.substr(0, length)).c_str()));
}

} // namespace

void findComposeFullFilePathAndName(const platform::sOSFileFind &find, const u8 *folder, u8 *out, u32 sizeOfOut)
{
    const u8 *name = platform::FS_findGetFileName(find);
    std::snprintf(reinterpret_cast<char *>(out), sizeOfOut, "%s/%s", asChars(folder), asChars(name));
}

FILE *fileOpenForWriteBinary(const u8 *path, bool bCreateFolderIfNeeded)
{
    if (bCreateFolderIfNeeded && !createFolderOf(path))
        return nullptr;
    return platform::FS_fileOpenForWriteBinary(path);
}

FILE *fileOpenForWriteText(const u8 *path, bool bCreateFolderIfNeeded)
{
    if (bCreateFolderIfNeeded && !createFolderOf(path))
        return nullptr;
    return platform::FS_fileOpenForWriteText(path);
}

u64 fileSize(FILE *file)
{
    const off_t position = ftello(file);
    if (position < 0 || fseeko(file, 0, SEEK_END) != 0)
        return 0;
    const off_t end = ftello(file);
    fseeko(file, position, SEEK_SET);
    return (end < 0) ? 0 : static_cast<u64>(end);
}

u32 fileRead(FILE *file, void *out, u32 size)
{
    u8 *to = static_cast<u8 *>(out);
    u32 done = 0;
    while (done < size)
    {
        const u32 wanted = std::min(PIECE_LEN, size - done);
        const u32 got = static_cast<u32>(std::fread(to + done, 1, wanted, file));
        done += got;
        if (got < wanted)
            break;
    }
    return done;
}

u32 fileWrite(FILE *file, const void *data, u32 size)
{
    const u8 *from = static_cast<const u8 *>(data);
    u32 done = 0;
    while (done < size)
    {
        const u32 wanted = std::min(PIECE_LEN, size - done);
        const u32 written = static_cast<u32>(std::fwrite(from + done, 1, wanted, file));
        if (written == 0)
            break;
        done += written;
    }
    return done;
}

} // namespace tovi::fs
