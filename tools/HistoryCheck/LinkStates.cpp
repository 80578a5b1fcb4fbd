#include "tools/HistoryCheck/LinkStates.h"

#include <algorithm>

namespace HistoryCheck
{

namespace
{

// A connection is made before its line is written, and a link state may be read late.
constexpr u64 CLOCK_SLACK_MSEC = 1000;

class LinkStates
{
  public:
    LinkStates(const Lines &client, const Lines &machine, std::vector<Violation> &violations)
        : m_client(client), m_machine(machine), m_violations(violations)
    {
    }

    void check();

  private:
    struct Connection
    {
        const JournalLine *up = nullptr;
        const JournalLine *heard = nullptr; // the first packet of the bridge
        const JournalLine *down = nullptr;
        bool isTold = false; // a link up is its
    };

    void checkLinkUp(const JournalLine &line);
    void checkLinkDown(const JournalLine &line, const JournalLine &up);
    void checkTold(const Connection &connection);
    std::vector<Connection> connections() const;
    bool isToldOf(const char *event, u64 fromMSec, u64 untilMSec) const;
    void violated(const char *text, const JournalLine *line, const JournalLine *other = nullptr)
    {
        m_violations.push_back({text, line, other});
    }

    const Lines &m_client;
    const Lines &m_machine;
    std::vector<Violation> &m_violations;
    std::vector<Connection> m_connections;
};

std::vector<LinkStates::Connection> LinkStates::connections() const
{
    std::vector<Connection> found;
    for (const JournalLine &line : m_client)
    {
        if (line.event == "up")
            found.push_back({&line});
        else if (line.event == "down" && !found.empty())
            found.back().down = &line;
        else if (line.way == '<' && !line.event.starts_with("file-") && !found.empty() && !found.back().heard)
            found.back().heard = &line;
    }
    return found;
}

void LinkStates::check()
{
    m_connections = connections();
    const JournalLine *up = nullptr; // of the link that is up
    for (const JournalLine &line : m_machine)
    {
        if (line.event == "up")
            up = nullptr;
        else if (line.event == "link-up")
        {
            if (up != nullptr)
                violated("is a link up without a link down before it", &line, up);
            up = &line;
            checkLinkUp(line);
        }
        else if (line.event == "link-down")
        {
            if (up == nullptr)
                violated("is a link down of no link", &line);
            else
                checkLinkDown(line, *up);
            up = nullptr;
        }
    }
    for (const Connection &connection : m_connections)
        checkTold(connection);
}

// On TCP each connection is told once; a serial line comes and goes while the client keeps it open.
void LinkStates::checkLinkUp(const JournalLine &line)
{
    const auto isCause = [&line](const Connection &one)
    {
        const bool isOver =
            one.up->type == "serial" ? one.down && one.down->timeMSec + PATIENCE_MSEC < line.timeMSec : one.isTold;
        return one.up->timeMSec <= line.timeMSec + CLOCK_SLACK_MSEC && !isOver;
    };
    const auto cause = std::ranges::find_if(m_connections, isCause);
    if (cause == m_connections.end())
        return violated("is a link up without a client", &line);
    cause->isTold = true;
}

// A client that leaves, and on TCP another that takes its place; the silence of a serial line is not in the journal.
void LinkStates::checkLinkDown(const JournalLine &line, const JournalLine &up)
{
    const auto isCause = [&](const Connection &one)
    {
        const u64 untilMSec = line.timeMSec + CLOCK_SLACK_MSEC;
        const bool hasLeft =
            one.down && one.down->timeMSec <= untilMSec && one.down->timeMSec + CLOCK_SLACK_MSEC >= up.timeMSec;
        const bool isReplacement = one.up->timeMSec > up.timeMSec && one.up->timeMSec <= untilMSec;
        const bool wasKilled = !one.down && m_client.back().timeMSec <= untilMSec;
        return one.up->type == "serial" || hasLeft || isReplacement || wasKilled;
    };
    if (std::ranges::none_of(m_connections, isCause))
        violated("is a link down while the client was there", &line, &up);
}

void LinkStates::checkTold(const Connection &connection)
{
    if (connection.up->type == "serial" || !connection.heard)
        return; // refused, maybe
    const u64 fromMSec = connection.up->timeMSec - std::min(connection.up->timeMSec, CLOCK_SLACK_MSEC);
    const u64 upUntilMSec = connection.heard->timeMSec + PATIENCE_MSEC;
    if (!isToldOf("link-up", fromMSec, upUntilMSec) && !lostBridge(m_machine, fromMSec, upUntilMSec))
        violated("is a client that the machine was not told of", connection.up, connection.heard);
    if (!connection.down || connection.down->type == "vanished")
        return;
    const u64 downUntilMSec = connection.down->timeMSec + PATIENCE_MSEC;
    if (!isToldOf("link-down", connection.up->timeMSec, downUntilMSec) &&
        !lostBridge(m_machine, fromMSec, downUntilMSec))
        violated("left, and the machine was not told", connection.down, connection.up);
}

bool LinkStates::isToldOf(const char *event, u64 fromMSec, u64 untilMSec) const
{
    return std::ranges::any_of(
        m_machine, [=](const JournalLine &line)
        { return line.event == event && line.timeMSec >= fromMSec && line.timeMSec <= untilMSec; });
}

} // namespace

void checkLinks(const Lines &client, const Lines &machine, std::vector<Violation> &violations)
{
    LinkStates(client, machine, violations).check();
}

bool lostBridge(const Lines &machine, u64 fromMSec, u64 untilMSec)
{
    bool isThere = false;
    for (const JournalLine &line : machine)
    {
        if (line.timeMSec > untilMSec)
            break;
        if (line.event == "up")
            isThere = true;
        else if (line.event == "down")
        {
            if (line.timeMSec >= fromMSec)
                return true;
            isThere = false;
        }
    }
    return !isThere;
}

} // namespace HistoryCheck
