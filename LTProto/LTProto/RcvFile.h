// LTProtocol::RcvFile: one file received from the client, as the index remembers it.
#pragma once

#include "LTProto/Tools/MemoryBuffer.h"
#include "LTProto/Tools/StringUtf8.h"

#include <string>

namespace LTProtocol
{

class RcvFile
{
  public:
    static constexpr char EXTENSION[] = ".tmp";

    u32 m_key = 0;               // file id; 0 when it is not known any more
    u32 m_fileName = 0;          // the number that names the file
    bool m_filePresence = false; // whether the file is on disk

    // The number as 8 lower-case hexadecimal digits and ".tmp".
    std::string FileNameAsString() const;

    // The name behind its folder, which ends in a slash. The first form fails, writing nothing, when name and
    // terminator do not fit into `size` bytes; the second appends no terminator.
    bool FileNameWithPath(const Tools::StringUtf8 &folder, u8 *out, u32 size) const;
    void FileNameWithPath(const Tools::StringUtf8 &folder, Tools::MemoryBuffer &out) const;
    Tools::StringUtf8 FileNameWithPath(const Tools::StringUtf8 &folder) const;

    // The number that a name stands for, 0 for none.
    static u32 FileNameFromString(const std::string &name);
    static u32 FileNameFromString(const Tools::StringUtf8 &name);

    // As above, but of the one spelling alone that FileNameAsString gives.
    static u32 NumberOf(const std::string &name);

    // The folder of received files, below the program's, without a trailing slash.
    static std::string Folder();
};

} // namespace LTProtocol
