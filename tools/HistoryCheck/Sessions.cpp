#include "tools/HistoryCheck/Sessions.h"

#include <algorithm>

namespace HistoryCheck
{

std::vector<Session> sessionsOf(const Lines &machine)
{
    std::vector<Session> found;
    const auto endAt = [&found](u64 timeMSec, eEnd end)
    {
        if (!found.empty() && found.back().end == eEnd::none)
            found.back() = {found.back().fromMSec, timeMSec, end};
    };
    for (const JournalLine &line : machine)
    {
        if (line.event == "down")
            endAt(line.timeMSec, line.type == "left" ? eEnd::said : eEnd::sudden);
        if (line.event != "up")
            continue;
        endAt(line.timeMSec, eEnd::sudden);
        found.push_back({line.timeMSec});
    }
    return found;
}

const Session *sessionAt(const std::vector<Session> &sessions, u64 timeMSec)
{
    const auto next = std::ranges::upper_bound(sessions, timeMSec, {}, &Session::fromMSec);
    return next == sessions.begin() ? nullptr : &*std::prev(next);
}

Heard::Heard(const Items &said)
{
    for (const Item &item : said)
        if (item.heard)
            m_marks.push_back({item.heard->timeMSec, item.line->timeMSec});
    std::ranges::stable_sort(m_marks, {}, &Mark::heardMSec);
    u64 latestMSec = 0;
    for (Mark &mark : m_marks)
        mark.saidMSec = latestMSec = std::max(latestMSec, mark.saidMSec);
}

u64 Heard::saidUntil(u64 heardUntilMSec) const
{
    const auto next = std::ranges::upper_bound(m_marks, heardUntilMSec, {}, &Mark::heardMSec);
    return next == m_marks.begin() ? 0 : std::prev(next)->saidMSec;
}

} // namespace HistoryCheck
