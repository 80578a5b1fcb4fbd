// MemoryTracker: writes what allocators give out and take back to "memoryTracker.txt" in the application path, for
// finding leaks. The default allocator does not call it. Any thread: it locks itself.
// Addresses are written as 32 bits, on a wider machine their lowest. Each line is flushed; a file that does not open
// gets none.
#pragma once

#include "toviCommonLib/OS/linux/linuxOSCriticalSection.h"
#include "toviCommonLib/OS/linux/linuxOSFS.h"
#include "toviCommonLib/toviTypes.h"

#include <forward_list>

namespace tovi
{

class MemoryTracker
{
  public:
    MemoryTracker();
    ~MemoryTracker();
    MemoryTracker(const MemoryTracker &) = delete;
    MemoryTracker &operator=(const MemoryTracker &) = delete;

    // `p`, borrowed, is tracked under the next number, from 0. A null or empty `file` is written as "?".
    void onAlloc(u32 allocatorID, const char *allocatorName, const void *p, u32 size, const char *file, u32 line);

    // An address that is not tracked, or was freed already, is ignored.
    void onDealloc(u32 allocatorID, const char *allocatorName, const void *p, u32 size);

    // The addresses of this allocator that were not freed, the newest first.
    void finalReport(u32 allocatorID, const char *allocatorName);

  private:
    // Of the system heap, never of an allocator that may be tracked.
    struct sRecord
    {
        const void *p;
        u32 allocID; // bit 31 set once freed
        u32 allocatorID;

        bool isFreed() const;
    };

    [[gnu::format(printf, 2, 3)]] void write(const char *format, ...);

    platform::OwnedFile f;           // null when it did not open
    OSCriticalSection cs;            // guards all that follows, and the lines of the file
    std::forward_list<sRecord> root; // newest first: an address given out again finds its newest use
    u32 allocID = 0;
};

// Created at the first request, which any thread may make, and destroyed by the library's end.
MemoryTracker &internal_getMemoryTracker();
void internal_destroyMemoryTracker();

} // namespace tovi
