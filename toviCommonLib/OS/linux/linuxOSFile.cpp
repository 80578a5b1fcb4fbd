#include "toviCommonLib/OS/linux/linuxOSFile.h"

#include <cerrno>
#include <cstdio>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform
{
namespace
{

constexpr mode_t FILE_MODE = S_IRUSR | S_IWUSR | S_IRGRP;

bool isAbsence(int error)
{
    return error == ENOENT || error == ENOTDIR;
}

// A file system that knows no flush is not at fault.
bool isFlushed(long result)
{
    return result == 0 || errno == EINVAL;
}

} // namespace

bool FileDescriptor::close()
{
    const int fd = std::exchange(m_fd, -1);
    return fd < 0 || ::close(fd) == 0;
}

FileDescriptor file_openForRead(const char *path)
{
    FileDescriptor file(open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat info;
    if (!file.isOpen() || fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode))
        return FileDescriptor();
    return file;
}

FileDescriptor file_create(const char *path)
{
    return FileDescriptor(open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, FILE_MODE));
}

bool file_size(const FileDescriptor &file, u64 *out)
{
    struct stat info;
    if (fstat(file.get(), &info) != 0)
        return false;
    *out = static_cast<u64>(info.st_size);
    return true;
}

i64 file_read(const FileDescriptor &file, void *out, u32 size)
{
    u32 done = 0;
    while (done < size)
    {
        const ssize_t n = read(file.get(), static_cast<u8 *>(out) + done, size - done);
        if (n > 0)
            done += static_cast<u32>(n);
        else if (n == 0)
            break;
        else if (errno != EINTR)
            return -1;
    }
    return done;
}

bool file_goTo(const FileDescriptor &file, u64 offset)
{
    return lseek(file.get(), static_cast<off_t>(offset), SEEK_SET) == static_cast<off_t>(offset);
}

bool file_write(const FileDescriptor &file, const void *data, u32 size)
{
    u32 done = 0;
    while (done < size)
    {
        const ssize_t n = write(file.get(), static_cast<const u8 *>(data) + done, size - done);
        if (n > 0)
            done += static_cast<u32>(n);
        else if (n == 0 || errno != EINTR)
            return false;
    }
    return true;
}

void file_beginWriteOut(const FileDescriptor &file, u64 offset, u64 size)
{
    sync_file_range(file.get(), static_cast<off64_t>(offset), static_cast<off64_t>(size), SYNC_FILE_RANGE_WRITE);
}

bool file_flush(const FileDescriptor &file)
{
    return isFlushed(TEMP_FAILURE_RETRY(fdatasync(file.get())));
}

bool file_flushFolderOf(const char *path)
{
    const std::string name = path;
    const size_t slash = name.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : name.substr(0, slash + 1);
    const FileDescriptor descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return descriptor.isOpen() && isFlushed(TEMP_FAILURE_RETRY(fsync(descriptor.get())));
}

bool file_cutBack(const FileDescriptor &file, u64 size)
{
    const off_t end = static_cast<off_t>(size);
    return ftruncate(file.get(), end) == 0 && lseek(file.get(), end, SEEK_SET) == end;
}

bool file_exists(const char *path, bool unsure)
{
    struct stat info;
    return lstat(path, &info) == 0 || (unsure && !isAbsence(errno));
}

bool file_isRegular(const char *path, bool unsure)
{
    struct stat info;
    return lstat(path, &info) == 0 ? S_ISREG(info.st_mode) : unsure && !isAbsence(errno);
}

bool file_isSame(const char *path, const char *other)
{
    struct stat first;
    struct stat second;
    return lstat(path, &first) == 0 && lstat(other, &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

bool file_rename(const char *path, const char *newPath)
{
    return std::rename(path, newPath) == 0;
}

bool file_delete(const char *path)
{
    return file_isRegular(path) && unlink(path) == 0;
}

bool file_replace(const char *path, const void *data, u32 size)
{
    const std::string fresh = std::string(path) + ".new";
    unlink(fresh.c_str()); // of a crash; of a link the name alone
    FileDescriptor file = file_create(fresh.c_str());
    if (!file.isOpen())
        return false;
    const bool written = file_write(file, data, size) && fsync(file.get()) == 0;
    if (!file.close() || !written || !file_rename(fresh.c_str(), path))
    {
        file_delete(fresh.c_str());
        return false;
    }
    file_flushFolderOf(path); // what makes the rename last
    return true;
}

} // namespace platform
