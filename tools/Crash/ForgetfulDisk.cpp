// Preloaded into the daemon: notes what its folder of received files would hold after a power cut, if a disk kept nothing but
// what was flushed. The folder that FORGETFUL_DISK names then holds
//   KEY       the content of a file at its last flush; none for a file that was never flushed
//   entries   "KEY name" for each file, at the last flush of the folder
// A key stands for one file, whatever its name. What is there at the start was flushed.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

const std::string FOLDER = "BridgeTemp";

fs::path onDisk(const std::string &name)
{
    return fs::path(std::getenv("FORGETFUL_DISK")) / name;
}

// The number of a file is given again when the file is gone; its birth tells them apart.
std::string keyOf(const fs::path &file)
{
    struct statx info = {};
    statx(AT_FDCWD, file.c_str(), AT_SYMLINK_NOFOLLOW, STATX_INO | STATX_BTIME, &info);
    return std::to_string(info.stx_ino) + "-" + std::to_string(info.stx_btime.tv_sec) + "-" +
           std::to_string(info.stx_btime.tv_nsec);
}

// In one step: the process may be killed at any moment.
void noteContent(const fs::path &file)
{
    std::error_code ignored;
    fs::copy_file(file, onDisk("fresh"), fs::copy_options::overwrite_existing, ignored);
    fs::rename(onDisk("fresh"), onDisk(keyOf(file)), ignored);
}

void noteEntries(const fs::path &folder)
{
    std::error_code ignored;
    std::ofstream list(onDisk("fresh"));
    for (const fs::directory_entry &entry : fs::directory_iterator(folder, ignored))
        list << keyOf(entry.path()) << ' ' << entry.path().filename().string() << '\n';
    list.close();
    fs::rename(onDisk("fresh"), onDisk("entries"), ignored);
}

void noteFlush(int fd)
{
    std::error_code ignored;
    const fs::path path = fs::read_symlink("/proc/self/fd/" + std::to_string(fd), ignored);
    if (path.filename() == FOLDER)
        noteEntries(path);
    else if (path.parent_path().filename() == FOLDER)
        noteContent(path);
}

using Flush = int (*)(int);

int flushAndNote(Flush flush, int fd)
{
    const int result = flush(fd);
    const int error = errno;
    noteFlush(fd);
    errno = error;
    return result;
}

[[gnu::constructor]] void noteStart()
{
    std::error_code ignored;
    for (const fs::directory_entry &entry : fs::directory_iterator(FOLDER, ignored))
        noteContent(entry.path());
    noteEntries(FOLDER);
}

} // namespace

extern "C" int fsync(int fd)
{
    static const auto next = reinterpret_cast<Flush>(dlsym(RTLD_NEXT, "fsync"));
    return flushAndNote(next, fd);
}

extern "C" int fdatasync(int fd)
{
    static const auto next = reinterpret_cast<Flush>(dlsym(RTLD_NEXT, "fdatasync"));
    return flushAndNote(next, fd);
}
