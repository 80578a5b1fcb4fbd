#include "toviCommonLib/toviMemory.h"

#include "toviCommonLib/OS/linux/linuxOS.h"
#include "toviCommonLib/toviByteOrder.h"
#include "toviCommonLib/toviMemoryTracker.h"

#include <cstring>

namespace tovi
{
namespace
{

constexpr u32 SIZE_MASK = 0x3FFFFFFF;
constexpr u32 FLAG_BIT = 0x40000000;
constexpr u32 ALIGNED_TO_8_BIT = 0x80000000;

std::atomic<u16> allocatorID{0};

using DefaultAllocator = AllocatorSimple<AllocatorTrackingPolicy_simple>;
std::unique_ptr<DefaultAllocator> defaultAllocator;

} // namespace

Allocator::Allocator(const char *allocatorName) : myID(allocatorID++)
{
    std::strncpy(name, allocatorName, sizeof name - 1);
}

void AllocatorTrackingPolicy_simple::onAlloc(size_t totalSize)
{
    ++nalloc;
    const size_t inUse = curMemAlloc += totalSize;
    size_t highest = maxMemalloc;
    while (inUse > highest && !maxMemalloc.compare_exchange_weak(highest, inUse))
    {
    }
}

void AllocatorTrackingPolicy_simple::onDealloc(size_t totalSize)
{
    --nalloc;
    curMemAlloc -= totalSize;
}

template <class TTrackingPolicy>
u32 AllocatorSimple<TTrackingPolicy>::getAllocatedSize(const void *p) const
{
    return utils::readMsbLsbU32(static_cast<const u8 *>(p) - NUM_OF_RESERVED_BYTES + 4) & SIZE_MASK;
}

template <class TTrackingPolicy>
void *AllocatorSimple<TTrackingPolicy>::virt_do_alloc(size_t sizeInBytes, u32 align, const char *, u32, bool flag)
{
    const u32 alignment = align < 5 ? 4 : 8;
    if (sizeInBytes > SIZE_MASK - NUM_OF_RESERVED_BYTES - alignment)
        return nullptr; // the size word could not hold it
    const u32 rounded = (static_cast<u32>(sizeInBytes) + alignment - 1) / alignment * alignment;
    const u32 total = rounded + NUM_OF_RESERVED_BYTES;
    u8 *block = static_cast<u8 *>(platform::alignedAlloc(alignment, total));
    if (block == nullptr)
        throw std::bad_alloc(); // nobody goes on without what the block was for: a message, a buffer
    m_tracking.onAlloc(total);
    utils::writeMsbLsbU16(block + 2, getID());
    utils::writeMsbLsbU32(block + 4, total | (flag ? FLAG_BIT : 0) | (alignment == 8 ? ALIGNED_TO_8_BIT : 0));
    return block + NUM_OF_RESERVED_BYTES;
}

template <class TTrackingPolicy>
void AllocatorSimple<TTrackingPolicy>::virt_do_dealloc(void *p, bool)
{
    if (p == nullptr)
        return;
    m_tracking.onDealloc(getAllocatedSize(p));
    platform::alignedFree(static_cast<u8 *>(p) - NUM_OF_RESERVED_BYTES);
}

template class AllocatorSimple<AllocatorTrackingPolicy_simple>;

void memory_init()
{
    defaultAllocator = std::make_unique<DefaultAllocator>("defaultA");
}

void memory_deinit()
{
    defaultAllocator.reset();
    internal_destroyMemoryTracker();
}

Allocator *memory_getSysHeapAllocator()
{
    return defaultAllocator.get();
}

Allocator *memory_getScrapAllocator2()
{
    return defaultAllocator.get();
}

u32 memory_getSizeOfAPointer()
{
    return 4;
}

} // namespace tovi
