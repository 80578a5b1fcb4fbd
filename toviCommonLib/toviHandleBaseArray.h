// Slots in one block, handed out from a chain of free ones and found again by handle in constant time.
// Not locked: the owner guards `alloc` and `release`.
#pragma once

#include "toviCommonLib/toviMemory.h"

#include <memory>

namespace tovi
{

// Chain of the free slots of a block. `T` has the field `nextFree`, the index of the free slot behind it.
template <class T>
class IntrusiveFreeList
{
  public:
    static constexpr u32 NONE = 0xFFFFFFFF;

    // Chains all `n` slots of `slots`, which must outlive the list.
    void setup(T *slots, u32 n)
    {
        blob = slots;
        N = n;
        sizeOfAT = sizeof(T);
        nallocated = 0;
        freeIndex = n == 0 ? NONE : 0;
        for (u32 i = 0; i < n; ++i)
            blob[i].nextFree = i + 1 < n ? i + 1 : NONE;
    }

    // Null when every slot is in use.
    T *alloc()
    {
        if (freeIndex == NONE)
            return nullptr;
        T &slot = blob[freeIndex];
        freeIndex = slot.nextFree;
        slot.nextFree = NONE;
        ++nallocated;
        return &slot;
    }

    void release(T &slot)
    {
        slot.nextFree = freeIndex;
        freeIndex = static_cast<u32>(&slot - blob);
        --nallocated;
    }

    T *at(u32 index) { return index < N ? &blob[index] : nullptr; }
    u32 countAllocated() const { return nallocated; }

  private:
    u32 freeIndex = NONE;
    u32 nallocated = 0;
    u32 sizeOfAT = 0;
    u32 N = 0;
    T *blob = nullptr;
};

template <class TFreeList, class T, class THandle>
class BaseHandleArray
{
  public:
    BaseHandleArray(Allocator &slotAllocator, u32 nSlots)
        : allocator(&slotAllocator), memblock(static_cast<T *>(slotAllocator.alloc(sizeof(T) * nSlots, alignof(T))),
                                              SlotsDelete{&slotAllocator, nSlots})
    {
        std::uninitialized_value_construct_n(memblock.get(), nSlots);
        freelist.setup(memblock.get(), nSlots);
    }
    virtual ~BaseHandleArray() = default;
    BaseHandleArray(const BaseHandleArray &) = delete;
    BaseHandleArray &operator=(const BaseHandleArray &) = delete;

    T *alloc() { return freelist.alloc(); }
    void release(T &slot) { freelist.release(slot); }

    // The slot at the handle's index, in use or not; null for an invalid handle or an index out of range.
    T *at(const THandle &handle)
    {
        return handle.uid.isInvalid() ? nullptr : freelist.at(handle.uid.index() - indexOfFirstItem);
    }

  protected:
    struct SlotsDelete
    {
        Allocator *allocator;
        u32 count;

        void operator()(T *slots) const
        {
            std::destroy_n(slots, count);
            allocator->dealloc(slots);
        }
    };

    Allocator *allocator;
    TFreeList freelist;
    u32 indexOfFirstItem = 0;
    std::unique_ptr<T, SlotsDelete> memblock;
};

template <class T, class THandle>
class HandleArray : public BaseHandleArray<IntrusiveFreeList<T>, T, THandle>
{
  public:
    using BaseHandleArray<IntrusiveFreeList<T>, T, THandle>::BaseHandleArray;
};

} // namespace tovi
