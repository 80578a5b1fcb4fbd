#include "toviCommonLib/OS/linux/linuxOS.h"

#include "toviCommonLib/OS/linux/linuxOSConsole.h"
#include "toviCommonLib/toviFS.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <unistd.h>

namespace platform
{
namespace
{

struct FreeDeleter
{
    void operator()(char *p) const { std::free(p); }
};

struct sLinuxPlatformData
{
    std::unique_ptr<char, FreeDeleter> appPathNoSlash;
    u8 writableFolder[256] = {};
};

sLinuxPlatformData linuxPlatformData;

// Long files and late years on the 32-bit board too.
static_assert(sizeof(off_t) == 8 && sizeof(std::time_t) == 8);

constexpr u32 UP_TO_THE_TERMINATOR = 0xFFFFFFFF;

u64 rawMonotonicMSec()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &now);
    return static_cast<u64>(now.tv_sec) * 1000 + static_cast<u64>(now.tv_nsec) / 1000000;
}

} // namespace

bool internal_init(const char *appName)
{
    sLinuxPlatformData &data = linuxPlatformData;
    data.appPathNoSlash.reset(get_current_dir_name());
    if (!data.appPathNoSlash)
        return false;
    tovi::fs::sanitizePathInPlace(reinterpret_cast<u8 *>(data.appPathNoSlash.get()), UP_TO_THE_TERMINATOR);

    const int len = std::snprintf(reinterpret_cast<char *>(data.writableFolder), sizeof data.writableFolder, "%s/%s",
                                  data.appPathNoSlash.get(), appName);
    if (len < 0 || static_cast<size_t>(len) >= sizeof data.writableFolder)
    {
        internal_deinit();
        return false;
    }
    tovi::fs::sanitizePathInPlace(data.writableFolder, UP_TO_THE_TERMINATOR);
    console_internal_init();
    return true;
}

void internal_deinit()
{
    console_internal_deinit();
    linuxPlatformData.appPathNoSlash.reset();
    linuxPlatformData.writableFolder[0] = 0;
}

const u8 *getAppPathNoSlash()
{
    const char *path = linuxPlatformData.appPathNoSlash.get();
    return reinterpret_cast<const u8 *>(path != nullptr ? path : "");
}

const u8 *getPhysicalPathToWritableFolder()
{
    return linuxPlatformData.writableFolder;
}

void *alignedAlloc(u32 alignment, u32 size)
{
    return std::aligned_alloc(alignment, size);
}

void alignedFree(void *p)
{
    std::free(p);
}

u64 getTimeNowMSec()
{
    const u64 now = rawMonotonicMSec();
    static const u64 firstCall = now;
    return now > firstCall ? now - firstCall : 0; // two first calls at once: the later one may have been noted
}

void sleepMSec(u32 msec)
{
    timespec left{};
    left.tv_sec = static_cast<time_t>(msec / 1000);
    left.tv_nsec = static_cast<long>(msec % 1000) * 1000000;
    while (nanosleep(&left, &left) != 0 && errno == EINTR)
    {
    }
}

} // namespace platform
