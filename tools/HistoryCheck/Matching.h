// Holds what one side heard against what the other said.
#pragma once

#include "tools/HistoryCheck/History.h"

#include <functional>
#include <set>

namespace HistoryCheck
{

// A value, a request, a buffer or a file that was said or heard.
struct Item
{
    const JournalLine *line = nullptr;
    std::set<u32> ids; // of an answer all that it may belong to
    std::string type;
    std::string content;
    bool mayChange = false;             // a fault hit its bytes
    const JournalLine *heard = nullptr; // of what was said: where it arrived
};
using Items = std::vector<Item>;

Item itemOf(const JournalLine &line);
bool haveCommonId(const Item &first, const Item &second);

// Finds for each item heard, in order, what was said: unchanged, in the same order, no more often. Both are sorted by
// time; what is heard was said before.
void matchInOrder(Items &said, const Items &heard, const std::function<bool(const Item &, const Item &)> &isSame,
                  std::vector<Violation> &violations);

} // namespace HistoryCheck
