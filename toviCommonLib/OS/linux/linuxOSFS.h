// Files and folders of the operating system.
// Free functions without shared state: any thread; one listing or one FILE is used by one thread at a time.
// Paths are UTF-8 with '/' as separator and are taken as they stand: a path that comes from outside is first put into
// canonical form by its owner (toviFSPath.h), a name that a listing returned must not be.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <cstdio>
#include <dirent.h>
#include <memory>
#include <string>

namespace platform
{

// Creates every folder along the path; '/' and '\' separate its levels. A folder that is already there is a success.
// Stops at the first level that fails: false, the levels before it stay. False for an empty path.
bool FS_DirectoryCreate(const u8 *path);

// A symbolic link to a folder counts as a folder.
bool FS_DirectoryExists(const u8 *path);

// Deletes a file or an empty folder.
bool FS_fileDelete(const u8 *fullPathAndName);

// Renames within a folder; a file of the new name is replaced. Puts both full names into canonical form itself.
// False, with nothing done, when a full name with its NUL takes more than 512 bytes.
bool FS_fileRename(const u8 *path, const u8 *oldFileName, const u8 *newFileName);

// As they stand, wherever both are; a file of the new name is replaced.
bool FS_fileMove(const u8 *oldFullName, const u8 *newFullName);

// What a name stands for, a symbolic link followed: nothing, a regular file, or something that is not to be written to as
// one: a folder, a pipe, a device, a link to nothing. `other` leaves the reason in errno.
enum class eFileKind
{
    none,
    regular,
    other
};
eFileKind FS_fileKind(const u8 *fullPathAndName);

struct CloseDir
{
    void operator()(DIR *dir) const { closedir(dir); }
};

// A directory listing in progress. Closes itself at the latest when it is destroyed.
struct sOSFileFind
{
    std::unique_ptr<DIR, CloseDir> dirp; // the open directory stream; null when no listing runs
    const dirent *dp = nullptr;          // the current entry, owned by dirp; null before the first and after the last
    std::string strJolly;                // the wildcard patterns
};

// Opens the folder and goes to its first entry. Every folder in it is an entry, "." and ".." too, and every file whose
// name matches `jolly` (doesFileNameMatchJolly). False when the folder does not open or holds no entry; nothing is left
// open then. A listing that was in progress is closed first.
bool FS_findFirst(sOSFileFind *find, const u8 *folder, const u8 *jolly);

// Goes to the next entry. False at the end, and when no listing runs.
bool FS_findNext(sOSFileFind &find);

// Closing twice, or what was never opened, does nothing.
void FS_findClose(sOSFileFind &find);

// Of the current entry; false when there is none. A symbolic link to a folder counts as a folder.
bool FS_findIsDirectory(const sOSFileFind &find);

// Name of the current entry, without its folder; "" when there is none. Valid until the next FS_find call on `find`.
const u8 *FS_findGetFileName(const sOSFileFind &find);

// Null on failure. The caller owns the file and gives it back with FS_fileClose, or holds it in an OwnedFile.
FILE *FS_fileOpenForReadBinary(const u8 *path);
FILE *FS_fileOpenForWriteBinary(const u8 *path);
FILE *FS_fileOpenForReadText(const u8 *path);
FILE *FS_fileOpenForWriteText(const u8 *path);
FILE *FS_fileOpenForAppendText(const u8 *path);

// Null is allowed.
void FS_fileClose(FILE *file);

struct CloseFile
{
    void operator()(FILE *file) const { FS_fileClose(file); }
};
using OwnedFile = std::unique_ptr<FILE, CloseFile>;

// Has the command "sync" write all cached file data to the disk, and waits for its end. Prints on standard output.
void FS_sync();

} // namespace platform
