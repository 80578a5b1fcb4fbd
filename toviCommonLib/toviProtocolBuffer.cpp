#include "toviCommonLib/toviProtocolBuffer.h"

#include <algorithm>
#include <cstring>

namespace tovi
{
namespace
{
constexpr u32 ALIGNMENT = 4;
}

ProtocolBuffer::~ProtocolBuffer()
{
    priv_release();
}

void ProtocolBuffer::priv_release()
{
    if (bFreeMemBlock != 0)
        allocator->dealloc(mem);
    mem = nullptr;
    allocatedSize = 0;
    bFreeMemBlock = 0;
}

void ProtocolBuffer::setup(Allocator *allocatorToUse, u32 size)
{
    priv_release();
    allocator = allocatorToUse;
    cursor = 0;
    if (size != 0)
        priv_moveTo(allocator, size);
}

void ProtocolBuffer::setupWithBase(u8 *baseMem, u32 size, Allocator *allocatorToUse)
{
    priv_release();
    allocator = allocatorToUse;
    mem = baseMem;
    allocatedSize = size;
    cursor = 0;
}

bool ProtocolBuffer::priv_moveTo(Allocator *newAllocator, u32 newSize)
{
    u8 *newMem = static_cast<u8 *>(newAllocator->alloc(newSize, ALIGNMENT));
    if (newMem == nullptr)
        return false;
    if (mem != nullptr)
        std::memcpy(newMem, mem, std::min(allocatedSize, newSize));
    priv_release();
    allocator = newAllocator;
    mem = newMem;
    allocatedSize = newSize;
    cursor = std::min(cursor, newSize);
    bFreeMemBlock = 1;
    return true;
}

bool ProtocolBuffer::growIncremental(u32 n)
{
    return n <= 0xFFFFFFFF - allocatedSize && priv_moveTo(allocator, allocatedSize + n);
}

bool ProtocolBuffer::growUpTo(u32 n)
{
    return allocatedSize >= n || priv_moveTo(allocator, n);
}

bool ProtocolBuffer::append(const u8 *bytes, u32 n)
{
    if (n > 0xFFFFFFFF - cursor || !growUpTo(cursor + n))
        return false;
    if (n != 0)
        std::memcpy(mem + cursor, bytes, n);
    cursor += n;
    return true;
}

bool ProtocolBuffer::shrink(u32 size, Allocator *other)
{
    return priv_moveTo(other != nullptr ? other : allocator, size);
}

void ProtocolBuffer::removeFirstNByte(u32 n)
{
    const u32 removed = std::min(n, cursor);
    if (removed != 0)
        std::memmove(mem, mem + removed, cursor - removed);
    cursor -= removed;
}

} // namespace tovi
