#include "tools/HistoryCheck/History.h"

#include "LTProto/LTProto/WireFormat.h"
#include "tools/HistoryCheck/Matching.h"

#include <algorithm>
#include <deque>
#include <map>

namespace HistoryCheck
{

namespace
{

// A connection is made before its line is written, and a link state may be read late.
constexpr u64 CLOCK_SLACK_MSEC = 1000;

// How long what was acknowledged may be under way; a machine that stalls makes it long.
constexpr u64 PATIENCE_MSEC = 5000;

// How long the bridge may answer a packet more than once.
constexpr u64 DOUBT_MSEC = 2000;

bool isRepeated(const JournalLine &line)
{
    return line.fault == "twice" || line.fault == "flood";
}

// An answer of the bridge does not say what it is for: one more of them passes for that of the next packet.
bool drawsMoreAnswers(const JournalLine &line)
{
    constexpr std::string_view VERBS[] = {"twice", "flood", "late", "half", "before", "after", "double"};
    return line.way == '>' && std::ranges::find(VERBS, line.fault) != std::end(VERBS);
}

bool isSaidAgain(const JournalLine &line, const JournalLine &before)
{
    return line.event == before.event && line.ticket == before.ticket && line.id == before.id &&
           line.type == before.type && line.content == before.content;
}

class History
{
  public:
    History(const Lines &client, const Lines &machine) : m_client(client), m_machine(machine) {}

    std::vector<Violation> check()
    {
        readRepeats();
        readTickets();
        checkToMachine();
        checkToClient();
        checkUploads();
        checkDownloads();
        checkLinks();
        return std::move(m_violations);
    }

  private:
    struct Acknowledged
    {
        const JournalLine *said;
        const JournalLine *by;
    };
    struct Tickets
    {
        std::deque<const JournalLine *> unanswered; // requests and buffers without their notice
        u32 lastId = 0;                             // of the one that had its notice last
        u64 doubtUntilMSec = 0;                     // an answer may be for an earlier packet
        std::map<u32, std::set<u32>> idsOf;         // what each ticket may be for
        std::map<u32, const JournalLine *> answers;
    };
    struct Connection
    {
        const JournalLine *up = nullptr;
        const JournalLine *heard = nullptr; // the first packet of the bridge
        const JournalLine *down = nullptr;
        bool isTold = false; // a link up is its
    };

    void readRepeats();
    void readTickets();
    void acknowledge(const Tickets &tickets, const JournalLine &said, const JournalLine &by);
    void readNotice(Tickets &tickets, const JournalLine &line);
    void readAnswer(Tickets &tickets, const JournalLine &line);
    void checkToMachine();
    void checkToClient();
    void checkUploads();
    void checkDownloads();
    void checkLinks();
    void checkLinkUp(const JournalLine &line);
    void checkLinkDown(const JournalLine &line, const JournalLine &up);
    void checkTold(const Connection &connection);
    std::vector<Connection> connections() const;
    bool lostBridge(u64 fromMSec, u64 untilMSec) const;
    bool isToldOf(const char *event, u64 fromMSec, u64 untilMSec) const;
    Item heardByClient(const JournalLine &line) const;
    void violated(const char *text, const JournalLine *line, const JournalLine *other = nullptr)
    {
        m_violations.push_back({text, line, other});
    }

    const Lines &m_client;
    const Lines &m_machine;
    std::set<const JournalLine *> m_repeats; // of the packet before, for a NACK
    std::vector<Acknowledged> m_acknowledged;
    std::map<const JournalLine *, std::set<u32>> m_idsOfLine;           // of what came under a ticket
    std::map<const JournalLine *, const JournalLine *> m_secondAnswers; // each with the one before it
    std::vector<Connection> m_connections;
    std::vector<Violation> m_violations;
};

// ---- Tickets.

// A NACK brings the last packet again; it may be older than the packet that it hits.
void History::readRepeats()
{
    const JournalLine *before = nullptr;
    std::deque<u64> refusedMSec;
    for (const JournalLine &line : m_client)
    {
        if (line.is('>', "refused"))
            refusedMSec.push_back(line.timeMSec);
        if (!line.is('<', "answer") && !line.is('<', "value"))
            continue;
        while (!refusedMSec.empty() && refusedMSec.front() + DOUBT_MSEC < line.timeMSec)
            refusedMSec.pop_front();
        if (before != nullptr && !refusedMSec.empty() && isSaidAgain(line, *before))
        {
            m_repeats.insert(&line);
            refusedMSec.pop_front();
        }
        before = &line;
    }
}

// A notice does not say what it is for. Notices come in the order of the requests, but a request may get none: so a
// ticket may be for any that waits. Tickets end with the connection, and their numbers with the bridge; of a serial line it
// does not see who holds the other end.
void History::readTickets()
{
    Tickets tickets;
    const JournalLine *value = nullptr;
    auto machine = m_machine.begin();
    for (const JournalLine &line : m_client)
    {
        bool isAfresh = line.event == "up" && line.type != "serial";
        for (; machine != m_machine.end() && machine->timeMSec <= line.timeMSec; ++machine)
            isAfresh = isAfresh || machine->event == "up";
        if (isAfresh)
            tickets = {};
        if (drawsMoreAnswers(line))
            tickets.doubtUntilMSec = line.timeMSec + DOUBT_MSEC;
        if (line.way == '>' && (line.event.starts_with("ask") || line.event == "buffer"))
            tickets.unanswered.push_back(&line);
        else if (line.is('>', "value"))
            value = &line;
        else if (line.is('<', "ack") && value != nullptr)
            acknowledge(tickets, *value, line);
        else if (line.is('<', "ticket"))
            readNotice(tickets, line);
        else if (line.is('<', "answer") || line.is('<', "file-end"))
            readAnswer(tickets, line);
    }
}

void History::acknowledge(const Tickets &tickets, const JournalLine &said, const JournalLine &by)
{
    if (by.timeMSec > tickets.doubtUntilMSec)
        m_acknowledged.push_back({&said, &by});
}

void History::readNotice(Tickets &tickets, const JournalLine &line)
{
    auto &unanswered = tickets.unanswered;
    if (!line.ticket) // the answer to the last question; what was asked before will have none
    {
        tickets.doubtUntilMSec = 0;
        return unanswered.clear();
    }
    const auto [known, isNew] = tickets.idsOf.try_emplace(*line.ticket);
    if (isNew)
    {
        known->second.insert(tickets.lastId);
        for (const JournalLine *asked : unanswered)
            known->second.insert(asked->id.value_or(0));
    }
    if (unanswered.empty())
        return;
    const JournalLine &asked = *unanswered.front();
    if (unanswered.size() == 1 && (asked.event == "ask" || asked.event == "buffer"))
        acknowledge(tickets, asked, line);
    tickets.lastId = asked.id.value_or(0);
    do
        unanswered.pop_front();
    while (!unanswered.empty() && isRepeated(asked) && unanswered.front()->id == asked.id &&
           isRepeated(*unanswered.front()));
}

void History::readAnswer(Tickets &tickets, const JournalLine &line)
{
    const auto known = line.ticket ? tickets.idsOf.find(*line.ticket) : tickets.idsOf.end();
    if (known != tickets.idsOf.end())
        m_idsOfLine[&line] = known->second;
    if (line.event != "answer" || m_repeats.contains(&line))
        return;
    if (known == tickets.idsOf.end())
        return violated("is an answer to nothing that was asked", &line);
    const auto [answer, isFirst] = tickets.answers.try_emplace(*line.ticket, &line);
    if (!isFirst)
        m_secondAnswers[&line] = answer->second;
}

// ---- Values, requests and buffers.

// Values of other types reach the machine as an empty record under any id.
bool isCarried(const Item &said)
{
    return said.line->event == "ask" || said.type == "INTEGER_POSITIVE" || said.type == "DATA_BUFFER";
}

// What the machine hears of a request is its id alone.
bool isSameAtMachine(const Item &said, const Item &heard)
{
    if (said.line->event == "ask")
        return haveCommonId(said, heard) && heard.line->event != "buffer";
    if (!isCarried(said))
        return heard.type == "UNDEFINED";
    const bool isBuffer = said.line->event == "buffer";
    return haveCommonId(said, heard) && said.type == heard.type && said.content == heard.content &&
           isBuffer == (heard.line->event == "buffer");
}

void History::checkToMachine()
{
    const auto isOfInterest = [](const JournalLine &line, char way)
    { return line.is(way, "ask") || line.is(way, "value") || line.is(way, "buffer"); };
    Items said;
    for (const JournalLine &line : m_client)
        if (isOfInterest(line, '>'))
            said.push_back(itemOf(line));
    Items heard;
    for (const JournalLine &line : m_machine)
        if (isOfInterest(line, '<'))
            heard.push_back(itemOf(line));
    matchInOrder(said, heard, isSameAtMachine, m_violations);

    for (const auto &[saidLine, by] : m_acknowledged)
    {
        const Item item = itemOf(*saidLine);
        if (!isCarried(item))
            continue;
        const auto arrived = std::ranges::find_if(
            heard, [&item](const Item &one)
            { return !one.heard && one.line->timeMSec >= item.line->timeMSec && isSameAtMachine(item, one); });
        if (arrived != heard.end())
            arrived->heard = by;
        else if (!lostBridge(saidLine->timeMSec, by->timeMSec + PATIENCE_MSEC))
            violated("was acknowledged and never reached the machine", saidLine, by);
    }
}

bool isSameAtClient(const Item &said, const Item &heard)
{
    const bool isOfTicket = said.line->ticket && said.line->ticket == heard.line->ticket;
    return (isOfTicket || haveCommonId(said, heard)) && said.type == heard.type && said.content == heard.content;
}

Item History::heardByClient(const JournalLine &line) const
{
    Item item = itemOf(line);
    if (const auto ids = m_idsOfLine.find(&line); ids != m_idsOfLine.end())
        item.ids.insert(ids->second.begin(), ids->second.end());
    return item;
}

// A value of a type that does not travel, or a request of the machine, may bring the value before it once more; the
// latter under its own id.
void History::checkToClient()
{
    Items said;
    for (const JournalLine &line : m_machine)
    {
        if (line.way != '>' || (line.event != "value" && line.event != "buffer" && line.event != "ask"))
            continue;
        Item item = itemOf(line);
        if (!said.empty() && (line.event == "ask" || line.type == "NULL_DATA"))
        {
            item.type = said.back().type;
            item.content = said.back().content;
            if (line.event != "ask")
                item.ids = said.back().ids;
        }
        said.push_back(item);
    }
    Items heard;
    for (const JournalLine &line : m_client)
        if ((line.is('<', "value") || line.is('<', "answer")) && !m_repeats.contains(&line))
            heard.push_back(heardByClient(line));
    matchInOrder(said, heard, isSameAtClient, m_violations);

    // A ticket is open until its answer is sent: what the machine says until then comes under it, too.
    for (const auto &[second, first] : m_secondAnswers)
    {
        const auto source = std::ranges::find(said, second, &Item::heard);
        if (source == said.end() || source->line->timeMSec > first->timeMSec)
            violated("answers a ticket for the second time", second, first);
    }
}

// ---- Files.

bool isSameFile(const Item &said, const Item &heard)
{
    return haveCommonId(said, heard) && said.content == heard.content;
}

void History::checkUploads()
{
    Items said;
    std::vector<const JournalLine *> ends; // null while under way
    for (const JournalLine &line : m_client)
    {
        if (line.is('>', "file-begin"))
        {
            said.push_back(itemOf(line));
            ends.push_back(nullptr);
        }
        else if (line.is('>', "file-end") && !ends.empty())
            ends.back() = &line;
        else if (!ends.empty() && ends.back() == nullptr && (line.fault == "block" || drawsMoreAnswers(line)))
            said.back().mayChange = true; // an ACK for the block before passes for that of a lost one
    }
    Items heard;
    for (const JournalLine &line : m_machine)
        if (line.is('<', "file-end"))
            heard.push_back(itemOf(line));
    matchInOrder(said, heard, isSameFile, m_violations);
    for (size_t i = 0; i < said.size(); ++i)
    {
        const bool isDone = ends[i] != nullptr && ends[i]->type == "done";
        if (isDone && !said[i].heard && !said[i].mayChange &&
            !lostBridge(said[i].line->timeMSec, ends[i]->timeMSec + PATIENCE_MSEC))
            violated("was acknowledged and the machine never heard of it", ends[i], said[i].line);
    }
}

void History::checkDownloads()
{
    Items said;
    for (const JournalLine &line : m_machine)
        if (line.is('>', "file-begin"))
            said.push_back(itemOf(line));
    Items heard;
    for (const JournalLine &line : m_client)
        if (line.is('<', "file-end") && line.type == "done")
            heard.push_back(heardByClient(line));
    matchInOrder(said, heard, isSameFile, m_violations);
}

// ---- Link states.

std::vector<History::Connection> History::connections() const
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

void History::checkLinks()
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
void History::checkLinkUp(const JournalLine &line)
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
void History::checkLinkDown(const JournalLine &line, const JournalLine &up)
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

void History::checkTold(const Connection &connection)
{
    if (connection.up->type == "serial" || !connection.heard)
        return; // refused, maybe
    const u64 fromMSec = connection.up->timeMSec - std::min(connection.up->timeMSec, CLOCK_SLACK_MSEC);
    const u64 upUntilMSec = connection.heard->timeMSec + PATIENCE_MSEC;
    if (!isToldOf("link-up", fromMSec, upUntilMSec) && !lostBridge(fromMSec, upUntilMSec))
        violated("is a client that the machine was not told of", connection.up, connection.heard);
    if (!connection.down || connection.down->type == "vanished")
        return;
    const u64 downUntilMSec = connection.down->timeMSec + PATIENCE_MSEC;
    if (!isToldOf("link-down", connection.up->timeMSec, downUntilMSec) && !lostBridge(fromMSec, downUntilMSec))
        violated("left, and the machine was not told", connection.down, connection.up);
}

bool History::isToldOf(const char *event, u64 fromMSec, u64 untilMSec) const
{
    return std::ranges::any_of(
        m_machine, [=](const JournalLine &line)
        { return line.event == event && line.timeMSec >= fromMSec && line.timeMSec <= untilMSec; });
}

// The machine was without a bridge at some time from here to there.
bool History::lostBridge(u64 fromMSec, u64 untilMSec) const
{
    bool isThere = false;
    for (const JournalLine &line : m_machine)
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

} // namespace

std::vector<Violation> checkHistory(const Lines &client, const Lines &machine)
{
    return History(client, machine).check();
}

} // namespace HistoryCheck
