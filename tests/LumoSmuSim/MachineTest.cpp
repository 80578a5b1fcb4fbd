#include "LumoSmuSim/Machine.h"

#include "tests/HexBytes.h"
#include "tests/TempFolder.h"

#include <gtest/gtest.h>

namespace
{

using namespace LumoSmuSim;

struct Case
{
    const char *name;
    const char *received; // payload of the bridge's message, or the typed command
    const char *sent;     // payload of the one answer, null when there is none
    const char *line;
    u16 what = 0x9001; // of the message received and of its answer
};

void ExpectReaction(const Reaction &reaction, const Case &c)
{
    EXPECT_EQ(reaction.lines, std::vector<std::string>{c.line});
    ASSERT_EQ(reaction.messages.size(), c.sent != nullptr ? 1u : 0u);
    for (const Message &message : reaction.messages)
        EXPECT_EQ(message, (Message{c.what, 0, Hex(c.sent)}));
}

Reaction Take(Machine &machine, u16 what, const std::vector<u8> &payload)
{
    return machine.take({what, 0, payload.data(), static_cast<u32>(payload.size())});
}

const Case MESSAGES[] = {
    {"RequestOfTypeUndefined", "00 00 00 04 00 00 00 00 00", "00 00 00 04 03 00 00 03 9D 01",
     "request 4 Express Temp -> 92.5"},
    {"RequestForTheMachinesOwn", "00 00 00 06 01 00 00 00 01", "00 00 00 06 01 00 00 00 5E",
     "request 6 Coffee Temp -> 94"},
    {"RequestOfAnotherKind", "00 00 00 68 01 00 00 00 01", "00 00 00 68 10 0A 14 1E", "request 104 Recipe -> 0a 14 1e"},
    {"RequestForNull", "00 00 00 16 00 00 00 00 00", "00 00 00 16 11", "request 22 Last error -> null"},
    {"RequestForTheUnknown", "FF FF FF FF 00 00 00 00 00", nullptr,
     "request 4294967295 -> unknown variable, not answered"},
    {"Integer", "00 00 00 64 01 00 00 00 07", nullptr, "value 100 Cup size = 7"},
    {"Decimal", "00 00 00 66 03 00 00 00 4B 02", nullptr, "value 102 Price = 0.75"},
    {"Text", "00 00 00 67 07 43 69 1B", nullptr, "value 103 Welcome text = Ci\\x1b"},
    {"Bytes", "00 00 00 68 10 01", nullptr, "value 104 Recipe = 01"},
    {"TicketedBuffer", "F0 00 00 00 10 00 00 00 05 01 02 03", "F0 00 00 00 10 00 00 00 05 03 02 01",
     "buffer ticket 5 data 01 02 03 -> 03 02 01"},
    {"BufferWithoutTicket", "F0 00 00 00 10 00 00", nullptr, "buffer without ticket f0 00 00 00 10 00 00"},
    {"LinkUp", "00 00 80 00 01", nullptr, "link up", 0x9000},
    {"FileRequest", "00 00 00 07", "00 00 00 07 00", "file request 7 -> no such file", 0x9002},
    {"FileRequestWithBytesLeftOver", "00 00 00 07 61", "00 00 00 07 00", "file request 7 -> no such file", 0x9002},
};
TEST(Machine, AnswersAndShowsMessages)
{
    for (const Case &c : MESSAGES)
    {
        SCOPED_TRACE(c.name);
        Machine machine;
        ExpectReaction(Take(machine, c.what, Hex(c.received)), c);
    }
}

const Case COMMANDS[] = {
    {"Set", "set 4 -0.5", "00 00 00 04 04 00 00 00 05 01", "set 4 Express Temp = -0.5"},
    {"SetOfAnotherKind", "set 6 1.5", nullptr, "set: no value for 6 Coffee Temp, which is INTEGER_POSITIVE"},
    {"Request", "request 258", "02 01 00 00", "requested 258"},
    {"Buffer", "buffer 11 0aff", "00 00 00 0B 10 0A FF", "buffer 11 = 0a ff"},
    {"NumberMissing", "set", nullptr, "set: a number must follow"},
    {"NumberTooLarge", "request 4294967296", nullptr, "request: a number must follow"},
    {"FileMissing", "send-file 7 /no/such", nullptr, "send-file: no file /no/such"},
    {"UnknownCommand", "brew", nullptr, "brew: unknown command, try help"},
    {"Die", "die", "", "die sent", 5},
};
TEST(Machine, DoesAndShowsCommands)
{
    for (const Case &c : COMMANDS)
    {
        SCOPED_TRACE(c.name);
        Machine machine;
        ExpectReaction(machine.command(c.received), c);
    }
}

TEST(Machine, HandsOverCopiesOfItsFilesAndDeletesThem)
{
    TempFolder folder;
    folder.write("7 a.bin", "abc");
    folder.write("70.bin", "no");
    std::string copy;
    {
        Machine machine(folder.path());
        const Reaction asked = Take(machine, 0x9002, Hex("00 00 00 07"));
        copy = {asked.messages.at(0).payload.begin() + 4, asked.messages.at(0).payload.end()};
        EXPECT_EQ(asked.lines[0], "file request 7 -> " + copy + " (3 bytes, MD5 900150983cd24fb0d6963f7d28e17f72)");
        EXPECT_TRUE(std::filesystem::remove(copy)) << "as the bridge does";
        EXPECT_EQ(machine.command("send-file 9 " + folder.path("7 a.bin")).messages.at(0).what, 0x9002);
    }
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::path(copy).parent_path()));
    EXPECT_EQ(folder.read("7 a.bin"), "abc");
}

// A bridge gives a name again that the machine has taken the file of.
TEST(Machine, TakesAFileMessageWithANameForAnAnnouncement)
{
    Machine machine;
    for (const char *fileId : {"7", "8"})
        EXPECT_EQ(Take(machine, 0x9002, Hex(std::string("00 00 00 0").append(fileId).append(" 2F 1B"))).lines[0],
                  std::string("file ").append(fileId).append(" received: /\\x1b (cannot be read)"));
    EXPECT_EQ(Take(machine, 0x9002, Hex("00 00 00 08")).lines[0], "file request 8 -> no such file");
}

TEST(Machine, AnswersIdentificationAndPing)
{
    Machine machine;
    EXPECT_EQ(Take(machine, 3, Hex("5E 17 C0 DA")).messages, (std::vector<Message>{{4, 0, {}}}));
    EXPECT_EQ(machine.take({1, 9, nullptr, 0}).messages, (std::vector<Message>{{2, 9, {}}}));
}

TEST(Machine, DriftChangesTheLastDigitAndPassesZero)
{
    Machine machine;
    machine.command("set 7 -0.1");
    machine.drift();
    const Reaction second = machine.drift();
    ASSERT_EQ(second.messages.size(), 5u);
    EXPECT_EQ(second.messages[0].payload, Hex("00 00 00 04 03 00 00 03 9F 01")); // 92.5 and two steps
    EXPECT_EQ(second.lines[3], "drift 7 Ice Temp = 0.1");
}

} // namespace
