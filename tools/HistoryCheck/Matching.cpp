#include "tools/HistoryCheck/Matching.h"

#include <algorithm>

namespace HistoryCheck
{

namespace
{

constexpr std::string_view CHANGING[] = {"half", "checksum", "length", "block", "before", "after"};

} // namespace

Item itemOf(const JournalLine &line)
{
    Item item{&line, {}, line.type, line.content};
    if (line.id)
        item.ids = {*line.id};
    item.mayChange = std::ranges::find(CHANGING, line.fault) != std::end(CHANGING);
    return item;
}

bool haveCommonId(const Item &first, const Item &second)
{
    return std::ranges::any_of(first.ids, [&second](u32 id) { return second.ids.contains(id); });
}

void matchInOrder(Items &said, const Items &heard, const std::function<bool(const Item &, const Item &)> &isSame,
                  std::vector<Violation> &violations)
{
    auto next = said.begin();
    for (const Item &item : heard)
    {
        const auto end = std::upper_bound(next, said.end(), item.line->timeMSec,
                                          [](u64 time, const Item &one) { return time < one.line->timeMSec; });
        const auto matches = [&](const Item &one) { return isSame(one, item); };
        const auto isRelated = [&](const Item &one) { return !one.heard && haveCommonId(one, item); };
        if (const auto found = std::find_if(next, end, matches); found != end)
        {
            found->heard = item.line;
            next = found + 1;
            continue;
        }
        const auto excuse =
            std::find_if(said.begin(), end, [&](const Item &one) { return isRelated(one) && one.mayChange; });
        if (excuse != end)
        {
            excuse->heard = item.line;
            continue;
        }
        const auto before = std::find_if(said.begin(), next, matches);
        const auto related = std::find_if(next, end, isRelated);
        if (before != next)
            violations.push_back({before->heard ? "came twice" : "came out of order", item.line, before->line});
        else if (related != end)
            violations.push_back({"changed on the way", item.line, related->line});
        else
            violations.push_back({"was never said", item.line, nullptr});
    }
}

} // namespace HistoryCheck
