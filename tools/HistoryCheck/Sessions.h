// The bridges that the machine had, one after the other, and what each must have brought it.
#pragma once

#include "tools/HistoryCheck/Matching.h"

#include <limits>

namespace HistoryCheck
{

enum class eEnd
{
    none,  // it is there to the end of the journal
    said,  // the bridge said its end: what it acknowledged is with the machine, but what it traced as left
    sudden // the machine ended the link itself, or the bridge was killed: what was under way is gone
};

struct Session
{
    u64 fromMSec = 0;
    u64 untilMSec = std::numeric_limits<u64>::max();
    eEnd end = eEnd::none;
};

// In order. A machine that was killed leaves no line of its end: the next bridge shows it.
std::vector<Session> sessionsOf(const Lines &machine);

// The last one that had begun by then; null when there was none.
const Session *sessionAt(const std::vector<Session> &sessions, u64 timeMSec);

// What the machine has heard proves that it was told all that came before: nothing overtakes anything on the way.
class Heard
{
  public:
    explicit Heard(const Items &said);

    // When the latest of all that it had heard by then was said; 0 for nothing.
    u64 saidUntil(u64 heardUntilMSec) const;

  private:
    struct Mark
    {
        u64 heardMSec, saidMSec;
    };
    std::vector<Mark> m_marks; // both rise
};

} // namespace HistoryCheck
