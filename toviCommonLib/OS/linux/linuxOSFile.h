// Regular files by descriptor: what is written is with the system at once, and nothing but a regular file is read or
// deleted. Free functions over an owned descriptor; any thread, one file by one thread at a time. Paths are not sanitized.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <utility>

namespace platform
{

// The owner of an open descriptor.
class FileDescriptor
{
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    ~FileDescriptor() { close(); }
    FileDescriptor(FileDescriptor &&other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    FileDescriptor &operator=(FileDescriptor &&other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }

    bool isOpen() const { return m_fd >= 0; }
    int get() const { return m_fd; }
    int release() { return std::exchange(m_fd, -1); } // no longer owned

    // False when the system reports that something written before was lost; closed in any case.
    bool close();

  private:
    int m_fd = -1;
};

// Without waiting for the other end of a pipe. Not open for anything but a regular file, or a link to one.
FileDescriptor file_openForRead(const char *path);

// A new file, readable by owner and group only. Not open when anything of that name is there already, a link included.
FileDescriptor file_create(const char *path);

// False when it cannot be told.
bool file_size(const FileDescriptor &file, u64 *out);

// Reads `size` bytes, fewer only at the end of the file. Returns the count, -1 on an error.
i64 file_read(const FileDescriptor &file, void *out, u32 size);

// The next read begins behind the first `offset` bytes.
bool file_goTo(const FileDescriptor &file, u64 offset);

// True when all bytes are with the system; otherwise some of them may be.
bool file_write(const FileDescriptor &file, const void *data, u32 size);

// Has the system begin to write these bytes to the disk, without waiting; a hint that not every file system takes.
void file_beginWriteOut(const FileDescriptor &file, u64 offset, u64 size);

// True when the content is on the disk, where the file system can tell.
bool file_flush(const FileDescriptor &file);

// True when the entries of the folder that `path` is in are on the disk, where the file system can tell.
bool file_flushFolderOf(const char *path);

// Drops what stands behind the first `size` bytes; the next write goes there.
bool file_cutBack(const FileDescriptor &file, u64 size);

// Whether anything of that name is there. `unsure` is the answer when the system cannot tell.
bool file_exists(const char *path, bool unsure = false);

// Whether a regular file of that name is there; a link is none. `unsure` as above.
bool file_isRegular(const char *path, bool unsure = false);

// Whether both names stand for one file that is there, however they are spelled; a link is not what it points to.
bool file_isSame(const char *path, const char *other);

// What has the new name already is replaced.
bool file_rename(const char *path, const char *newPath);

// Deletes a regular file, nothing else.
bool file_delete(const char *path);

// Gives the file `path` a new content in one step: after a crash it has the old one or the new one, on the disk. Goes
// over "<path>.new"; what has that name goes, a link too, but no folder.
bool file_replace(const char *path, const void *data, u32 size);

} // namespace platform
