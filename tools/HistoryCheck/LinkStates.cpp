#include "tools/HistoryCheck/LinkStates.h"

#include <algorithm>

namespace HistoryCheck
{

namespace
{

// A connection is made before its line is written, and a client that leaves is seen a little later.
constexpr u64 CLOCK_SLACK_MSEC = 1000;

struct Connection
{
    const JournalLine *up = nullptr;
    const JournalLine *heard = nullptr; // the first packet of the bridge
    const JournalLine *down = nullptr;
    const JournalLine *last = nullptr; // what came behind it, if anything, the client did not live to write

    bool isSerial() const { return up->type == "serial"; }
    bool mayHaveBegunBy(u64 timeMSec) const { return up->timeMSec <= timeMSec + CLOCK_SLACK_MSEC; }
};
using Connections = std::vector<Connection>;

Connections connectionsOf(const Lines &client)
{
    Connections found;
    for (const JournalLine &line : client)
    {
        if (line.event == "up")
            found.push_back({&line});
        if (found.empty())
            continue;
        Connection &one = found.back();
        one.last = &line;
        if (line.event == "down")
            one.down = &line;
        else if (line.way == '<' && !line.event.starts_with("file-") && one.heard == nullptr)
            one.heard = &line;
    }
    return found;
}

// One bridge: its connections, and the link states that the machine was told. A machine that stalls hears them late,
// however late; their order and their number hold all the same.
class LinkStates
{
  public:
    LinkStates(const Session &session, const Heard &heard, u32 &left, std::vector<Violation> &violations)
        : m_session(session), m_heard(heard), m_left(left), m_violations(violations)
    {
    }

    void add(const Connection &connection) { m_connections.push_back(connection); }
    void addSerial(const Connection &connection) { m_serial.push_back(connection); }
    void add(const JournalLine &linkState) { m_told.push_back(&linkState); }

    void check();

  private:
    bool hasCauseUp(const JournalLine &line) const;
    bool hasCauseDown(const JournalLine &line) const;
    void checkAllTold();
    void checkLastState();
    void violated(const char *text, const JournalLine *line, const JournalLine *other = nullptr)
    {
        m_violations.push_back({text, line, other});
    }
    void missing(const char *text, const JournalLine *line, const JournalLine *other)
    {
        if (m_session.end == eEnd::said && m_left > 0)
            --m_left;
        else
            violated(text, line, other);
    }

    const Session &m_session;
    const Heard &m_heard;
    u32 &m_left;
    std::vector<Violation> &m_violations;
    Connections m_connections;
    Connections m_serial;                    // all that there ever were: one goes on from bridge to bridge
    std::vector<const JournalLine *> m_told; // link states
    std::vector<u64> m_upsMSec;
    const JournalLine *m_up = nullptr; // of the link that is up
};

void LinkStates::check()
{
    for (const JournalLine *line : m_told)
    {
        const bool isUp = line->event == "link-up";
        if (isUp && m_up != nullptr)
            violated("is a link up without a link down before it", line, m_up);
        else if (!isUp && m_up == nullptr)
            violated("is a link down of no link", line);
        else if (!isUp && !hasCauseDown(*line))
            violated("is a link down while the client was there", line, m_up);
        if (isUp)
            m_upsMSec.push_back(line->timeMSec);
        if (isUp && !hasCauseUp(*line))
            violated("is a link up without a client", line);
        m_up = isUp ? line : nullptr;
    }
    if (m_serial.empty())
    {
        checkAllTold();
        checkLastState();
    }
}

// On TCP each connection is told once; a serial line comes and goes while the client keeps it open.
bool LinkStates::hasCauseUp(const JournalLine &line) const
{
    const auto mayHaveBegun = [&line](const Connection &one) { return one.mayHaveBegunBy(line.timeMSec); };
    return std::ranges::any_of(m_serial, mayHaveBegun) ||
           std::ranges::count_if(m_connections, mayHaveBegun) >= std::ssize(m_upsMSec);
}

// A client that left, another that took its place, or one that was killed; the silence of a serial line is not in the
// journal. What the machine heard before was said while the client was there.
bool LinkStates::hasCauseDown(const JournalLine &line) const
{
    const u64 fromMSec = m_heard.saidUntil(line.timeMSec);
    const auto hasLeft = [&](const Connection &one)
    {
        const bool isInTime = one.down == nullptr || one.down->timeMSec + CLOCK_SLACK_MSEC >= fromMSec;
        return isInTime && one.last->timeMSec <= line.timeMSec + CLOCK_SLACK_MSEC;
    };
    const auto mayHaveBegun = [&line](const Connection &one) { return one.mayHaveBegunBy(line.timeMSec); };
    return !m_serial.empty() || std::ranges::any_of(m_connections, hasLeft) ||
           std::ranges::count_if(m_connections, mayHaveBegun) > std::ssize(m_upsMSec);
}

// Behind the beginning of each connection there are as many link ups as clients that the machine must have heard of. Of
// a bridge that ended suddenly those are the ones that said something later that it heard. One that heard nothing was
// refused, maybe.
void LinkStates::checkAllTold()
{
    const u64 provenMSec =
        m_session.end == eEnd::sudden ? m_heard.saidUntil(m_session.untilMSec) : std::numeric_limits<u64>::max();
    std::ptrdiff_t due = 0;
    for (auto one = m_connections.rbegin(); one != m_connections.rend(); ++one)
    {
        if (one->heard == nullptr || one->heard->timeMSec > provenMSec)
            continue;
        const u64 fromMSec = one->up->timeMSec - std::min(one->up->timeMSec, CLOCK_SLACK_MSEC);
        const auto told = m_upsMSec.end() - std::ranges::lower_bound(m_upsMSec, fromMSec);
        if (++due <= told)
            continue;
        missing("is a client that the machine was not told of", one->up, one->heard);
        --due;
    }
}

// What the machine hears last is what is. A client that vanished is seen when its system says so.
void LinkStates::checkLastState()
{
    if (m_up == nullptr || m_connections.empty() || m_session.end == eEnd::sudden)
        return;
    const auto hasLeft = [this](const Connection &one)
    {
        return one.down != nullptr && one.down->type != "vanished" &&
               one.down->timeMSec < m_session.untilMSec - CLOCK_SLACK_MSEC;
    };
    const Connection &last = m_connections.back();
    if (std::ranges::all_of(m_connections, hasLeft))
        missing("left, and the machine was not told", last.down, last.up);
}

} // namespace

void checkLinks(const Lines &client, const Lines &machine, const Heard &heard, u32 &left,
                std::vector<Violation> &violations)
{
    const std::vector<Session> sessions = sessionsOf(machine);
    std::vector<LinkStates> links;
    for (const Session &session : sessions)
        links.emplace_back(session, heard, left, violations);
    const auto linksAt = [&](u64 timeMSec) -> LinkStates *
    {
        const Session *session = sessionAt(sessions, timeMSec);
        return session != nullptr ? &links[static_cast<size_t>(session - sessions.data())] : nullptr;
    };
    for (const Connection &connection : connectionsOf(client))
    {
        if (connection.isSerial())
            for (LinkStates &one : links)
                one.addSerial(connection);
        else if (LinkStates *one = linksAt(connection.up->timeMSec))
            one->add(connection);
    }
    for (const JournalLine &line : machine)
        if (LinkStates *one = line.event.starts_with("link-") ? linksAt(line.timeMSec) : nullptr)
            one->add(line);
    for (LinkStates &one : links)
        one.check();
}

} // namespace HistoryCheck
