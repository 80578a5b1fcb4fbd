// Files of the simulated machine: what it offers and what it says of files it is given. Used by one thread.
//
// The bridge deletes a file that its client did not take to the end. So each file is handed over as a copy of its own, in
// a temporary folder that lasts as long as this object.
#pragma once

#include "tools/Faults/FileContent.h"

#include <filesystem>
#include <optional>
#include <string>

namespace LumoSmuSim
{

class MachineFiles
{
  public:
    // Offers the files of `folder` whose name begins with their id in decimal, such as "7.bin"; none when it is empty.
    explicit MachineFiles(std::filesystem::path folder) : m_folder(std::move(folder)) {}
    ~MachineFiles(); // deletes the copies
    MachineFiles(const MachineFiles &) = delete;
    MachineFiles &operator=(const MachineFiles &) = delete;

    // The full name of a new copy of the file with that id, the first by name; nothing when there is none.
    std::optional<std::string> copyOf(u32 fileId);

    // The full name of a new copy of any regular file; nothing when it cannot be copied.
    std::optional<std::string> copyOf(const std::filesystem::path &file);

  private:
    bool makeCopyFolder();

    std::filesystem::path m_folder;
    std::filesystem::path m_copyFolder; // empty before the first copy
    u32 m_copyCount = 0;
};

// "/a/b.bin (60000 bytes, MD5 0cc1..)" or "/a/b.bin (cannot be read)", safe on a terminal.
std::string shownFile(const std::string &path);
std::string shownFile(const std::string &path, const std::optional<LumoFaults::FileContent> &content);

} // namespace LumoSmuSim
