// Whole-file reading and writing over FILE, and the names that a listing composes. Paths as text: toviFSPath.h.
// Free functions without state: any thread; one FILE is used by one thread at a time.
#pragma once

#include "toviCommonLib/OS/linux/linuxOSFS.h"
#include "toviCommonLib/toviFSPath.h"

namespace tovi::fs
{

// Folder, '/' and the name of the current entry; a text that does not fit into `sizeOfOut` bytes with its NUL is cut.
void findComposeFullFilePathAndName(const platform::sOSFileFind &find, const u8 *folder, u8 *out, u32 sizeOfOut);

// As platform::FS_fileOpenForWriteBinary and ...Text. With the flag set, the folder part of the path (up to its last
// '/') is created first; null when that fails or the folder part with its NUL takes more than 2048 bytes.
FILE *fileOpenForWriteBinary(const u8 *path, bool bCreateFolderIfNeeded);
FILE *fileOpenForWriteText(const u8 *path, bool bCreateFolderIfNeeded);

// Bytes in the file; the reading position stays where it was. 0 when the file has no end to go to, as a pipe has none.
u64 fileSize(FILE *file);

// Returns the bytes read: fewer than `size` at the end of the file or on failure.
u32 fileRead(FILE *file, void *out, u32 size);

// Returns the bytes written: fewer than `size` on failure.
u32 fileWrite(FILE *file, const void *data, u32 size);

} // namespace tovi::fs
