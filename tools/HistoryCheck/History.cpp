#include "tools/HistoryCheck/History.h"

#include "LTProto/LTProto/WireFormat.h"
#include "tools/HistoryCheck/LinkStates.h"
#include "tools/HistoryCheck/Matching.h"

#include <algorithm>
#include <deque>
#include <map>
#include <utility>

namespace HistoryCheck
{

namespace
{

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
    return line.is('>', "refused") || (line.way == '>' && std::ranges::find(VERBS, line.fault) != std::end(VERBS));
}

bool isSaidAgain(const JournalLine &line, const JournalLine &before)
{
    return line.event == before.event && line.ticket == before.ticket && line.id == before.id &&
           line.type == before.type && line.content == before.content;
}

class History
{
  public:
    History(const Lines &client, const Lines &machine, u32 left)
        : m_client(client), m_machine(machine), m_sessions(sessionsOf(machine)), m_left(left)
    {
    }

    std::vector<Violation> check()
    {
        readRepeats();
        readTickets();
        checkToMachine();
        checkToClient();
        checkUploads();
        checkDownloads();
        checkLinks(m_client, m_machine, Heard(m_said), m_left, m_violations);
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
        bool maySwallow = false;                    // a serial line swallows packets, notices too
        std::map<u32, std::set<u32>> idsOf;         // what each ticket may be for
        std::map<u32, const JournalLine *> answers;
    };

    void readRepeats();
    void readTickets();
    void acknowledge(const Tickets &tickets, const JournalLine &said, const JournalLine &by);
    static void openTicket(Tickets &tickets, u32 ticket);
    void readNotice(Tickets &tickets, const JournalLine &line);
    void readAnswer(Tickets &tickets, const JournalLine &line);
    void checkToMachine();
    void checkToClient();
    void checkUploads();
    void checkDownloads();
    bool isToldAgain(const Items &before, const Item &file) const;
    bool mayBeLost(const JournalLine &said, const JournalLine &by);
    Item heardByClient(const JournalLine &line) const;
    void violated(const char *text, const JournalLine *line, const JournalLine *other = nullptr)
    {
        m_violations.push_back({text, line, other});
    }

    const Lines &m_client;
    const Lines &m_machine;
    std::vector<Session> m_sessions;
    u32 m_left;   // messages that bridges traced as left at their ends, as far as none is accounted for
    Items m_said; // to the machine
    std::set<const JournalLine *> m_repeats; // of the packet before, for a NACK
    std::vector<Acknowledged> m_acknowledged;
    std::map<const JournalLine *, std::set<u32>> m_idsOfLine;           // of what came under a ticket
    std::map<const JournalLine *, const JournalLine *> m_secondAnswers; // each with the one before it
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
        if (line.event == "up")
            tickets.maySwallow = line.type == "serial";
        if (drawsMoreAnswers(line))
            tickets.doubtUntilMSec = line.timeMSec + DOUBT_MSEC;
        if (line.way == '>' && (line.event.starts_with("ask") || line.event == "buffer"))
            tickets.unanswered.push_back(&line);
        else if (line.is('>', "value"))
            value = &line;
        else if (line.is('<', "ack") && value != nullptr)
            acknowledge(tickets, *std::exchange(value, nullptr), line);
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

// A ticket may be for any request that waits for its notice, or for the one that had its notice last.
void History::openTicket(Tickets &tickets, u32 ticket)
{
    const auto [opened, isNew] = tickets.idsOf.try_emplace(ticket);
    if (!isNew)
        return;
    opened->second.insert(tickets.lastId);
    for (const JournalLine *asked : tickets.unanswered)
        opened->second.insert(asked->id.value_or(0));
}

void History::readNotice(Tickets &tickets, const JournalLine &line)
{
    auto &unanswered = tickets.unanswered;
    if (!line.ticket) // the answer to the last question; what was asked before will have none
    {
        tickets.doubtUntilMSec = 0;
        return unanswered.clear();
    }
    openTicket(tickets, *line.ticket);
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
    if (line.ticket && tickets.maySwallow && !tickets.unanswered.empty())
        openTicket(tickets, *line.ticket);
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

constexpr u32 NO_ID = 0xFFFFFFFF;

// What the machine hears of a request is its id alone; a value of a type that does not travel it hears as an empty record.
bool isSameAtMachine(const Item &said, const Item &heard)
{
    if (said.line->event == "ask-file" || heard.line->event == "ask-file")
        return said.line->event == heard.line->event && haveCommonId(said, heard) && heard.content.empty();
    const bool isEmpty = heard.type == "UNDEFINED" && heard.content == "00000000";
    if (said.line->event == "ask")
        return haveCommonId(said, heard) && isEmpty;
    if (said.type != "INTEGER_POSITIVE" && said.type != "DATA_BUFFER")
        return heard.ids.contains(NO_ID) && isEmpty;
    const bool isBuffer = said.line->event == "buffer";
    return haveCommonId(said, heard) && said.type == heard.type && said.content == heard.content &&
           isBuffer == (heard.line->event == "buffer");
}

void History::checkToMachine()
{
    const auto isOfInterest = [](const JournalLine &line, char way)
    {
        constexpr std::string_view EVENTS[] = {"ask", "ask-file", "value", "buffer"};
        return line.way == way && std::ranges::find(EVENTS, line.event) != std::end(EVENTS);
    };
    for (const JournalLine &line : m_client)
        if (isOfInterest(line, '>'))
            m_said.push_back(itemOf(line));
    Items heard;
    for (const JournalLine &line : m_machine)
        if (isOfInterest(line, '<'))
            heard.push_back(itemOf(line));
    matchInOrder(m_said, heard, isSameAtMachine, m_violations);

    for (const auto &[saidLine, by] : m_acknowledged)
    {
        const Item item = itemOf(*saidLine);
        const Session *session = sessionAt(m_sessions, saidLine->timeMSec);
        const u64 untilMSec = session != nullptr ? session->untilMSec : 0; // what comes later is another one
        const auto arrived = std::ranges::find_if(heard,
                                                  [&item, untilMSec](const Item &one)
                                                  {
                                                      return !one.heard && one.line->timeMSec >= item.line->timeMSec &&
                                                             one.line->timeMSec <= untilMSec &&
                                                             isSameAtMachine(item, one);
                                                  });
        if (arrived != heard.end())
            arrived->heard = by;
        else if (!mayBeLost(*saidLine, *by))
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
        if (line.is('<', "file-end") && !isToldAgain(heard, itemOf(line)))
            heard.push_back(itemOf(line));
    matchInOrder(said, heard, isSameFile, m_violations);
    for (size_t i = 0; i < said.size(); ++i)
    {
        const bool isDone = ends[i] != nullptr && ends[i]->type == "done";
        if (isDone && !said[i].heard && !said[i].mayChange && !mayBeLost(*said[i].line, *ends[i]))
            violated("was acknowledged and the machine never heard of it", ends[i], said[i].line);
    }
}

// A bridge that ended suddenly may not have noted that it told the machine of this file: the next one tells it once more.
bool History::isToldAgain(const Items &before, const Item &file) const
{
    const Session *session = sessionAt(m_sessions, file.line->timeMSec);
    const auto isSame = [&](const Item &earlier)
    {
        if (!isSameFile(earlier, file))
            return false;
        const Session *first = sessionAt(m_sessions, earlier.line->timeMSec);
        return first != nullptr && first != session && first->end == eEnd::sudden;
    };
    return std::ranges::any_of(before, isSame);
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

// The link to the machine ended before the machine could hear of it: suddenly, or some was left. It has heard of all that
// was acknowledged before what it hears. However long it stalls is no excuse.
bool History::mayBeLost(const JournalLine &said, const JournalLine &by)
{
    const Session *session = sessionAt(m_sessions, said.timeMSec);
    if (session == nullptr)
        return true;
    if (session->end == eEnd::said && m_left > 0)
        return m_left-- > 0;
    const auto isProof = [&](const Item &later)
    { return later.heard && later.line->timeMSec > by.timeMSec && later.heard->timeMSec < session->untilMSec; };
    return session->end == eEnd::sudden && std::ranges::none_of(m_said, isProof);
}

} // namespace

std::vector<Violation> checkHistory(const Lines &client, const Lines &machine, u32 left)
{
    return History(client, machine, left).check();
}

} // namespace HistoryCheck
