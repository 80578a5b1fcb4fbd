// The simulated machine's variables. Used by one thread.
#pragma once

#include "LTProto/LTProto/Value.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace LumoSmuSim
{

using LTProtocol::Value;

struct Variable
{
    u32 id;
    std::string name;
    Value value;
    bool isWritable; // the bridge's client may change it

    // "4 Express Temp".
    std::string label() const { return std::to_string(id) + ' ' + name; }

    // Whether the client may give it this value: it is writable, and the value is of its own kind with either sign.
    bool accepts(const Value &given) const;

    // The value that a typed text means for it; a text is read as the kind that the variable has.
    std::optional<Value> parse(std::string_view text) const;
};

class Variables
{
  public:
    // The table of a machine that was just switched on: every type of value, writable variables from id 100.
    Variables();

    // Null when the machine has no such variable; valid as long as the table.
    Variable *find(u32 id);
    const std::vector<Variable> &all() const { return m_variables; }

    // One step of the temperatures, up or down by the last digit shown. The ids of those that changed.
    std::vector<u32> drift();

  private:
    std::vector<Variable> m_variables;
    u32 m_driftStep = 0;
};

} // namespace LumoSmuSim
