// The tables: name; bytes; what the client gets; what the machine gets. "|" in the bytes: the rest is sent once the bridge
// has read so far. "tt": a byte of the next ticket's number.
#include "tools/PacketTables/Rules.h"

#include <fstream>

namespace PacketTables
{
namespace
{

constexpr u32 LENGTH_MAX = 0xC358; // more is no packet to the daemon as it starts

class Table
{
  public:
    Table(const std::string &tree, const std::string &name) : m_file(tree + "/tests/endToEnd/tables/" + name)
    {
        restartIds();
    }
    void line(const std::string &name, const std::string &bytes, const sOutcome &outcome)
    {
        m_file << name << "; " << bytes << "; " << outcome.client << "; " << outcome.machine << "\n";
    }

  private:
    std::ofstream m_file;
};

std::string split(const Bytes &bytes, size_t at)
{
    const auto middle = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    return text({bytes.begin(), middle}) + " | " + text({middle, bytes.end()});
}

Bytes damaged(Bytes bytes)
{
    bytes.back() ^= 1;
    return bytes;
}

Bytes whole(const sKind &kind)
{
    return clientContent(kind, kind.payloadLen);
}

Bytes wholeMessage(const sKind &kind)
{
    return machineContent(kind, kind.payloadLen);
}

void clientTable(const std::string &tree)
{
    Table table(tree, "client.txt");
    for (size_t len = 0; len <= CLIENT_PAYLOAD_MAX; ++len)
        for (const sKind &kind : clientKinds())
        {
            const Bytes content = clientContent(kind, len);
            const std::string name = kind.name + ", length " + std::to_string(len);
            table.line(name, text(Framed(content)), outcomeOfClient(content));
            table.line(name + ", wrong CRC", text(damaged(Framed(content))), {NACK_CRC, SILENCE});
        }
    // A length that no packet can have is refused at once: below the header, or above the daemon's 50000 and 4 bytes.
    for (const char *length : {"00 00", "00 01", "00 02", "00 03", "C3 59", "FF FF"})
        table.line(std::string("length field ") + length, std::string("60 ") + length + " 2A 01 59 E2",
                   {NACK_CRC, SILENCE});
}

// The first packet of a read is handled, what follows it is dropped.
void clientPairs(const std::string &tree)
{
    Table table(tree, "client-pairs.txt");
    const size_t count = clientDozen().size();
    for (size_t i = 0; i < count; ++i)
        for (size_t j = 0; j < count; ++j)
        {
            const sKind first = clientDozen()[i], second = clientDozen()[j];
            table.line(first.name + ", " + second.name, text(joined(Framed(whole(first)), Framed(whole(second)))),
                       outcomeOfClient(whole(first)));
        }
}

// The first read must bring at least 3 bytes: after fewer, what follows counts as the packet's beginning, and behind its
// first byte stands the length.
sOutcome outcomeOfCut(const Bytes &packet, size_t at)
{
    const u32 length = u32{packet[at + 1]} << 8 | packet[at + 2];
    return length > LENGTH_MAX ? sOutcome{NACK_CRC, SILENCE} : sOutcome{LOST, SILENCE};
}

void clientSplits(const std::string &tree)
{
    Table table(tree, "client-splits.txt");
    const std::vector<sKind> dozen = clientDozen();
    for (size_t i = 0; i < dozen.size(); ++i)
        for (size_t at = 1; at < Framed(whole(dozen[i])).size(); ++at)
        {
            const Bytes content = whole(clientDozen()[i]);
            table.line(dozen[i].name + ", split at " + std::to_string(at), split(Framed(content), at),
                       at < 3 ? outcomeOfCut(Framed(content), at) : outcomeOfClient(content));
        }
}

void machineTable(const std::string &tree)
{
    Table table(tree, "machine.txt");
    for (size_t len = 0; len <= MACHINE_PAYLOAD_MAX; ++len)
        for (const sKind &kind : machineKinds())
        {
            const Bytes message = machineContent(kind, len);
            const std::string name = kind.name + ", length " + std::to_string(len);
            table.line(name, text(consoleFrame(message)), {outcomeOfMachine({message}), SILENCE});
            table.line(name + ", wrong sum", text(damaged(consoleFrame(message))), {});
        }
    for (const Bytes &message : {Hex(""), Hex("90"), Hex("90 01"), Hex("90 01 00")})
        table.line("message of " + std::to_string(message.size()) + " bytes", text(consoleFrame(message)), {});
}

void machinePairs(const std::string &tree)
{
    Table table(tree, "machine-pairs.txt");
    const size_t count = machineDozen().size();
    for (size_t i = 0; i < count; ++i)
        for (size_t j = 0; j < count; ++j)
        {
            const sKind first = machineDozen()[i], second = machineDozen()[j];
            const std::vector<Bytes> messages = {wholeMessage(first), wholeMessage(second)};
            table.line(first.name + ", " + second.name,
                       text(joined(consoleFrame(messages[0]), consoleFrame(messages[1]))),
                       {outcomeOfMachine(messages), SILENCE});
        }
}

void machineSplits(const std::string &tree)
{
    Table table(tree, "machine-splits.txt");
    const std::vector<sKind> dozen = machineDozen();
    for (size_t i = 0; i < dozen.size(); ++i)
        for (size_t at = 1; at < consoleFrame(wholeMessage(dozen[i])).size(); ++at)
        {
            const Bytes message = wholeMessage(machineDozen()[i]);
            table.line(dozen[i].name + ", split at " + std::to_string(at), split(consoleFrame(message), at),
                       {outcomeOfMachine({message}), SILENCE});
        }
}

} // namespace

void writeTables(const std::string &tree)
{
    for (const auto write : {clientTable, clientPairs, clientSplits, machineTable, machinePairs, machineSplits})
        write(tree);
}

} // namespace PacketTables
