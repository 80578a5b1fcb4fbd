#include "LumoClient/LocalFile.h"

#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace LumoClient
{

std::optional<SourceFile> SourceFile::open(const std::string &path)
{
    SourceFile source;
    source.m_file = platform::file_openForRead(path.c_str());
    if (!source.m_file.isOpen() || fstat(source.m_file.get(), &source.m_atOpen) != 0)
        return std::nullopt;
    return source;
}

i64 SourceFile::read(std::span<u8> into)
{
    return platform::file_read(m_file, into.data(), static_cast<u32>(into.size()));
}

bool SourceFile::hasChanged() const
{
    struct stat now;
    return fstat(m_file.get(), &now) != 0 || now.st_size != m_atOpen.st_size ||
           now.st_mtim.tv_sec != m_atOpen.st_mtim.tv_sec || now.st_mtim.tv_nsec != m_atOpen.st_mtim.tv_nsec;
}

TargetFile::~TargetFile()
{
    if (!m_partPath.empty())
        unlink(m_partPath.c_str());
}

bool TargetFile::create(const std::string &path)
{
    struct stat there;
    if (stat(path.c_str(), &there) == 0 && !S_ISREG(there.st_mode))
        return false;
    const std::string partPath = path + ".part" + std::to_string(getpid());
    platform::file_delete(partPath.c_str()); // of a crash
    m_file = platform::FileDescriptor(
        ::open(partPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode_t{0666}));
    if (!m_file.isOpen())
        return false;
    m_path = path;
    m_partPath = partPath;
    return true;
}

bool TargetFile::write(std::span<const u8> bytes)
{
    return m_path.empty() || platform::file_write(m_file, bytes.data(), static_cast<u32>(bytes.size()));
}

bool TargetFile::complete()
{
    if (m_path.empty())
        return true;
    const bool isWritten = fsync(m_file.get()) == 0;
    if (!m_file.close() || !isWritten || std::rename(m_partPath.c_str(), m_path.c_str()) != 0)
        return false;
    m_partPath.clear();
    return true;
}

} // namespace LumoClient
