// LTProtocol::RcvFileList: the files received from the client, in the order of their negotiations; a number names one of
// them at most. Used by the engine's thread alone.
#pragma once

#include "LTProto/LTProto/RcvFile.h"

#include <unordered_set>
#include <vector>

namespace LTProtocol
{

class RcvFileList
{
  public:
    // One whose number is listed already is left out.
    void Add(const RcvFile &entry);
    void Remove(u32 number);

    // Marks the entries whose file is in `folder`. An entry goes with its file, not with a question that the system could not
    // answer.
    void PresenceCheck(const Tools::StringUtf8 &folder);
    bool HasMissing() const;
    void RemoveMissing();

    bool Holds(u32 number) const { return m_numbers.contains(number); }

    // The first number from `from` on that names neither an entry nor anything in `folder`; never 0, which stands for no file.
    u32 FreeNumber(u32 from, const Tools::StringUtf8 &folder) const;

    size_t Size() const { return m_entries.size(); }
    const RcvFile &Newest() const { return m_entries.back(); }
    auto begin() const { return m_entries.begin(); }
    auto end() const { return m_entries.end(); }

  private:
    std::vector<RcvFile> m_entries;
    std::unordered_set<u32> m_numbers; // of m_entries
};

} // namespace LTProtocol
