#include "toviCommonLib/toviMemoryTracker.h"

#include "toviCommonLib/OS/linux/linuxOS.h"
#include "toviCommonLib/toviDateTime.h"
#include "toviCommonLib/toviUtils.h"

#include <algorithm>
#include <cstdarg>
#include <memory>
#include <string>

namespace tovi
{
namespace
{

constexpr u32 FREED_BIT = 0x80000000;

u32 low32Bits(const void *p)
{
    return static_cast<u32>(reinterpret_cast<std::uintptr_t>(p));
}

OSCriticalSection trackerLock;
std::unique_ptr<MemoryTracker> tracker;

} // namespace

bool MemoryTracker::sRecord::isFreed() const
{
    return (allocID & FREED_BIT) != 0;
}

MemoryTracker::MemoryTracker()
{
    const std::string name = std::string(utils::asChars(platform::getAppPathNoSlash())) + "/memoryTracker.txt";
    f.reset(platform::FS_fileOpenForWriteText(utils::asBytes(name.c_str())));
    DateTime now;
    now.setNow();
    char nowAsText[32] = "";
    now.formatAs_YYYYMMDDHHMMSS(nowAsText, sizeof nowAsText, ' ', '-', ':');
    write("%s\n", nowAsText);
    write("---ID -WHAT --ALLOCATOR NAME --PTR FROM --------TO --------SIZE FILENAME AND LINE\n");
}

MemoryTracker::~MemoryTracker()
{
    platform::criticalsection_close(cs);
}

void MemoryTracker::onAlloc(u32 allocatorID, const char *allocatorName, const void *p, u32 size, const char *file,
                            u32 line)
{
    const platform::CriticalSectionLock lock(cs);
    const sRecord &record = root.emplace_front(sRecord{p, allocID, allocatorID});
    allocID = (allocID + 1) & ~FREED_BIT;
    write("%05d ALLOC %16.16s 0x%08X 0x%08X %12d ", static_cast<int>(record.allocID), allocatorName, low32Bits(p),
          low32Bits(p) + size, static_cast<int>(size));
    const bool hasFile = file != nullptr && *file != '\0';
    write("%s [line:%d]\n", hasFile ? file : "?", static_cast<int>(line));
}

void MemoryTracker::onDealloc(u32, const char *allocatorName, const void *p, u32 size)
{
    const platform::CriticalSectionLock lock(cs);
    const auto record = std::ranges::find_if(root, [p](const sRecord &r) { return r.p == p && !r.isFreed(); });
    if (record == root.end())
        return;
    write("%05d DEALL %16.16s 0x%08X 0x%08X %12d\n", static_cast<int>(record->allocID), allocatorName, low32Bits(p),
          low32Bits(p) + size, static_cast<int>(size));
    record->allocID |= FREED_BIT;
}

void MemoryTracker::finalReport(u32 allocatorID, const char *allocatorName)
{
    const platform::CriticalSectionLock lock(cs);
    const int id = static_cast<int>(allocatorID);
    write("\n\n================= FINAL REPORT FOR allocator [%d][%s]===============\n", id, allocatorName);
    write("    List of undeleted pointer:\n");
    write("    ALLOC.ID PTR-FROM\n");
    for (const sRecord &record : root)
    {
        if (record.allocatorID == allocatorID && !record.isFreed())
            write("    %08d 0x%08X\n", static_cast<int>(record.allocID), low32Bits(record.p));
    }
    write("================= END OF FINAL REPORT FOR allocator [%d][%s]===============\n\n", id, allocatorName);
}

void MemoryTracker::write(const char *format, ...)
{
    if (!f)
        return;
    std::va_list args;
    va_start(args, format);
    std::vfprintf(f.get(), format, args);
    va_end(args);
    std::fflush(f.get());
}

MemoryTracker &internal_getMemoryTracker()
{
    const platform::CriticalSectionLock lock(trackerLock);
    if (!tracker)
        tracker = std::make_unique<MemoryTracker>();
    return *tracker;
}

void internal_destroyMemoryTracker()
{
    const platform::CriticalSectionLock lock(trackerLock);
    tracker.reset();
}

} // namespace tovi
