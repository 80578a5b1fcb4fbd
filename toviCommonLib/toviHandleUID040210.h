// UID040210: a 16-bit handle of a slot. Bits, low to high: 10 slot index | 2 kind | 4 use counter of the slot.
#pragma once

#include "toviCommonLib/toviTypes.h"

namespace tovi
{

struct UID040210
{
    static constexpr u16 INVALID = 0xFFFF;
    static constexpr u16 INDEX_MASK = 0x03FF;
    static constexpr u16 KIND_MASK = 0x0C00;
    static constexpr u16 SAME_QUEUE_MASK = 0xF3FF; // index and counter
    static constexpr u16 COUNTER_ONE = 0x1000;
    static constexpr u16 KIND_READ = 0x0400;
    static constexpr u16 KIND_WRITE = 0x0800;

    volatile u16 _handle = INVALID;

    UID040210() = default;
    explicit UID040210(u16 handle) : _handle(handle) {}
    UID040210(const UID040210 &other) : _handle(other.value()) {}
    UID040210 &operator=(const UID040210 &other)
    {
        _handle = other.value();
        return *this;
    }

    u16 value() const { return _handle; }
    u32 index() const { return value() & INDEX_MASK; }
    bool isInvalid() const { return value() == INVALID; }
    void setInvalid() { _handle = INVALID; }
    UID040210 asKind(u16 kind) const { return UID040210(static_cast<u16>((value() & SAME_QUEUE_MASK) | kind)); }

    // The slot's handle after one more use; the counter wraps at 16.
    UID040210 nextUse() const { return UID040210(static_cast<u16>(value() + COUNTER_ONE)); }

    // Whether both name the same queue, whatever their kinds.
    bool isSameQueue(const UID040210 &other) const { return ((value() ^ other.value()) & SAME_QUEUE_MASK) == 0; }
};

} // namespace tovi
