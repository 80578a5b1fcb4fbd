// What the simulated machine does: with the bridge's messages, with typed commands and as time passes.
// It holds no socket: it takes one thing at a time and returns what is to be sent and shown. Used by one thread.
#pragma once

#include "LumoSmuSim/MachineFiles.h"
#include "LumoSmuSim/Variables.h"
#include "tools/Faults/Journal.h"
#include "toviCommonLib/toviSMUConn.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace LumoSmuSim
{

struct Message
{
    u16 what = 0;
    u16 userValue = 0;
    std::vector<u8> payload;

    bool operator==(const Message &) const = default;
};

struct Reaction
{
    std::vector<Message> messages;                      // for the bridge, in order
    std::vector<std::string> lines;                     // for people, one event each, safe on a terminal
    std::optional<LumoFaults::JournalEvent> event = {}; // what came, for the journal
};

class Machine
{
  public:
    // Offers the files of `filesFolder`, as MachineFiles says.
    explicit Machine(std::filesystem::path filesFolder = {}) : m_files(std::move(filesFolder)) {}

    // A message of the bridge. A variable message is a request unless it carries a value that the variable accepts; a file
    // message that carries a full name announces a file.
    Reaction take(const tovi::SMUConn::sDecodedMsg &message);

    // A typed line, such as "set 4 95"; `helpText` names them all.
    Reaction command(std::string_view line);

    // One step of the temperatures; their values are pushed.
    Reaction drift();

    u32 driftMSec() const { return m_driftMSec; } // time between two steps, 0 for none
    bool isToQuit() const { return m_isToQuit; }

    static const char *helpText();

  private:
    using Payload = std::span<const u8>;

    Reaction takeCommand(Payload payload) const;
    Reaction takeVariable(Payload payload);
    Reaction takeBuffer(Payload payload) const;
    Reaction takeFile(Payload payload);
    Reaction answerFileRequest(u32 fileId);
    Reaction answerRequest(u32 varId);

    Reaction commandSet(u32 varId, std::string_view text);
    Reaction commandRequest(u32 varId);
    Reaction commandBuffer(u32 varId, std::string_view hex) const;
    Reaction commandSendFile(u32 fileId, std::string_view path);
    Reaction commandDrift(u32 msec);
    Reaction commandList() const;

    Variables m_variables;
    MachineFiles m_files;
    u32 m_driftMSec = 0;
    u16 m_pingCount = 0;
    bool m_isToQuit = false;
};

} // namespace LumoSmuSim
