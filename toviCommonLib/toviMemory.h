// The library's allocators: the interface, the one heap allocator, and owners for what comes from them.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <atomic>
#include <memory>
#include <new>
#include <utility>

namespace tovi
{

class Allocator
{
  public:
    // Keeps at most 15 characters of the name and takes the next allocator id.
    explicit Allocator(const char *allocatorName);
    virtual ~Allocator() = default;
    Allocator(const Allocator &) = delete;
    Allocator &operator=(const Allocator &) = delete;

    virtual bool isThreadSafe() const = 0;

    // Bytes that the block takes from the system, its header included.
    virtual u32 getAllocatedSize(const void *p) const = 0;

    // `file` and `line` name the caller and may be empty and 0; `flag` is kept with the block. Null for a size that
    // no block can have; without memory std::bad_alloc.
    virtual void *virt_do_alloc(size_t sizeInBytes, u32 align, const char *file, u32 line, bool flag) = 0;
    virtual void virt_do_dealloc(void *p, bool flag) = 0;

    void *alloc(size_t sizeInBytes, u32 align) { return virt_do_alloc(sizeInBytes, align, "", 0, false); }
    void dealloc(void *p) { virt_do_dealloc(p, false); }

    const char *getName() const { return name; }
    u16 getID() const { return myID; }

  private:
    char name[16] = {};
    u16 myID;
};

// Counts what an allocator gave out. Shared by threads, so every count is atomic.
struct AllocatorTrackingPolicy_simple
{
    std::atomic<u32> nalloc{0};         // live blocks
    std::atomic<size_t> curMemAlloc{0}; // bytes in use, headers included
    std::atomic<size_t> maxMemalloc{0}; // the most that curMemAlloc ever was

    void onAlloc(size_t totalSize);
    void onDealloc(size_t totalSize);
};

// Memory of the system heap with a header of 8 bytes in front of each block:
//   0..1 not written | 2..3 allocator id | 4..7 size word      (numbers most significant byte first)
// Size word: bits 0-29 whole size in bytes, bit 30 the caller's flag, bit 31 set when aligned to 8, else to 4.
template <class TTrackingPolicy>
class AllocatorSimple : public Allocator
{
  public:
    static constexpr u32 NUM_OF_RESERVED_BYTES = 8;

    using Allocator::Allocator;
    bool isThreadSafe() const override { return true; }
    u32 getAllocatedSize(const void *p) const override;
    void *virt_do_alloc(size_t sizeInBytes, u32 align, const char *file, u32 line, bool flag) override;
    void virt_do_dealloc(void *p, bool flag) override;

    const TTrackingPolicy &getTracking() const { return m_tracking; }

  private:
    TTrackingPolicy m_tracking;
};

// An object that lives in an allocator's memory, and its owner. The allocator must outlive both.
template <class T>
struct AllocatorDelete
{
    Allocator *allocator = nullptr;

    void operator()(T *p) const
    {
        p->~T();
        allocator->dealloc(p);
    }
};

template <class T>
using AllocatorPtr = std::unique_ptr<T, AllocatorDelete<T>>;

template <class T, class... TArgs>
AllocatorPtr<T> allocatorNew(Allocator &allocator, TArgs &&...args)
{
    static_assert(alignof(T) <= 8, "blocks are aligned to 8 at the most");
    void *memory = allocator.alloc(sizeof(T), alignof(T));
    if (memory == nullptr)
        throw std::bad_alloc();
    return AllocatorPtr<T>(new (memory) T(std::forward<TArgs>(args)...), {&allocator});
}

// Creates and destroys the default allocator "defaultA"; called by the library's start and end. The memory tracker, if
// one was asked for, goes after it.
void memory_init();
void memory_deinit();

// Both are the default allocator; null before `memory_init` and after `memory_deinit`.
Allocator *memory_getSysHeapAllocator();
Allocator *memory_getScrapAllocator2();

// The pointer size of the target board, 4 bytes, on every machine.
u32 memory_getSizeOfAPointer();

} // namespace tovi
