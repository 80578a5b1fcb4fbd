// Files on the client's side of a transfer. Each owns its descriptor and is used by one thread at a time.
#pragma once

#include "toviCommonLib/OS/linux/linuxOSFile.h"

#include <optional>
#include <span>
#include <string>

#include <sys/stat.h>

namespace LumoClient
{

// A regular file that is read once, from its start.
class SourceFile
{
  public:
    // Nothing when it cannot be read.
    static std::optional<SourceFile> open(const std::string &path);

    u64 size() const { return static_cast<u64>(m_atOpen.st_size); } // when it was opened

    // Fills `into`, less only at the end of the file. Returns the count, -1 on an error.
    i64 read(std::span<u8> into);

    // Whether anything was written to it since it was opened.
    bool hasChanged() const;

  private:
    platform::FileDescriptor m_file;
    struct stat m_atOpen = {};
};

// A file that appears under its name when it is complete. Until then it grows under a name of its own beside it, which
// is gone when this object ends.
class TargetFile
{
  public:
    TargetFile() = default; // writes nowhere
    ~TargetFile();
    TargetFile(const TargetFile &) = delete;
    TargetFile &operator=(const TargetFile &) = delete;

    // False when it cannot be created, or the name belongs to anything but a regular file.
    bool create(const std::string &path);

    bool write(std::span<const u8> bytes);

    // Replaces what was there under the name. False when not all that was written is with the system.
    bool complete();

  private:
    std::string m_path; // empty: writes nowhere
    std::string m_partPath;
    platform::FileDescriptor m_file;
};

} // namespace LumoClient
