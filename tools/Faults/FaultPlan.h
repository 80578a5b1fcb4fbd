// Misbehaviour on order: the fault verbs, and the plan that says which packet is hit by which.
// A plan is used by one thread. The same seed and the same packets give the same faults.
#pragma once

#include "toviCommonLib/mtrand.h"

#include <deque>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace LumoFaults
{

using Bytes = std::vector<u8>;

enum class eSide
{
    client,
    machine
};

enum class eVerb
{
    none,
    stall,
    vanish,
    reset,
    half,
    checksum,
    length,
    block,
    twice,
    late,
    flood,
    before,
    after,
    close,
    split,
    joined // typed "double"
};

struct Fault
{
    eVerb verb = eVerb::none;
    u32 number = 0; // milliseconds, bytes or packets, as the verb says
};

// As it is typed; empty for none.
const char *verbName(eVerb verb);

// "checksum", "stall:500" or "stall 500"; without a number the verb's own. Nothing for what is no fault of that side.
std::optional<Fault> parseFault(std::string_view text, eSide side);

// One line for each verb of the side.
std::string faultHelp(eSide side);

// What a packet of one link looks like, so that it can be damaged.
struct PacketShape
{
    size_t lengthOffset;
    size_t lengthLen; // bytes, most significant first
    Bytes neighbour;  // a whole packet that does no harm
};

struct Distorted
{
    Bytes bytes;
    u32 times = 1;   // all of it
    size_t pieceLen; // in writes of so many bytes
};

class FaultPlan
{
  public:
    explicit FaultPlan(eSide side) : m_side(side) {}

    // For the next packet that nothing is ordered for yet. False for what is no fault of this side.
    bool order(std::string_view text);

    // From here on each packet is hit with this chance, by one of the faults ordered so far, or of all when there are
    // none. What is ordered later goes first.
    void draw(u32 percent, u32 seed);

    // The fault of the packet that is to go out. A fault `block` waits for a packet that carries a block of a file.
    Fault next(bool carriesBlock);

    // What is written instead of the packet. The faults of time and of the connection, and `block`, leave it as it is.
    Distorted distort(const Fault &fault, std::span<const u8> packet, const PacketShape &shape);

  private:
    Bytes garbage(u32 len);

    eSide m_side;
    std::deque<Fault> m_ordered;
    std::vector<Fault> m_drawn; // from these
    u32 m_percent = 0;
    tovi::MTRand_int32 m_random;
};

} // namespace LumoFaults
