// The packets of both links, by kind, and what the rules of docs/client-link.md and docs/smu-link.md say of each. Shares
// nothing with the daemon: what it says is held against the daemon.
#pragma once

#include "tests/WirePacket.h"

namespace PacketTables
{

using Bytes = std::vector<u8>;

constexpr size_t CLIENT_PAYLOAD_MAX = 20;
constexpr size_t MACHINE_PAYLOAD_MAX = 16;

// One kind of packet: its content, as long as it is ever wanted, and the length at which it is whole.
//   client: command type (1) | payload
//   machine: kind (2) | user value (2) | payload
struct sKind
{
    std::string name;
    Bytes content;
    size_t payloadLen;
};

// Each call gives ids that no call gave since the last restart, so no packet meets a ticket that an earlier one left open.
void restartIds();
std::vector<sKind> clientKinds();
std::vector<sKind> machineKinds();

// A dozen or so that stand for all, at their whole length: for pairs, splits and seeds.
std::vector<sKind> clientDozen();
std::vector<sKind> machineDozen();

// The first `payloadLen` bytes of payload, with what stands before it.
Bytes clientContent(const sKind &kind, size_t payloadLen);
Bytes machineContent(const sKind &kind, size_t payloadLen);

// What both neighbours get for a packet, as the columns of a table; "tt" stands for a byte of the next ticket's number.
struct sOutcome
{
    std::string client = "silence";
    std::string machine = "silence";
};

constexpr char SILENCE[] = "silence"; // nothing comes
constexpr char LOST[] = "lost";       // nothing comes, and the bridge waits for bytes that never will
constexpr char END[] = "end";         // the bridge ends

// For a packet of the client with a right CRC, on TCP, with nothing queued for it. `content` is type and payload.
sOutcome outcomeOfClient(const Bytes &content);
constexpr char NACK_CRC[] = "2A 02 00 02";

// What the client gets for messages of the machine that come in one segment: their values share one record.
std::string outcomeOfMachine(const std::vector<Bytes> &messages);

std::string text(const Bytes &bytes);
std::string row(const std::vector<std::string> &parts); // with a blank between those that are not empty
Bytes joined(const Bytes &first, const Bytes &second);

// What has the tables and the seeds written, below the tree's folder.
void writeTables(const std::string &tree);
void writeSeeds(const std::string &tree);

} // namespace PacketTables
