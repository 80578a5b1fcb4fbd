#include "toviCommonLib/toviThread.h"

#include "toviCommonLib/OS/linux/linuxOS.h"
#include "toviCommonLib/toviMemory.h"

namespace tovi::thread
{
namespace
{

void *runMainFunction(void *arg)
{
    ThreadInfo &info = *static_cast<ThreadInfo *>(arg);
    info.threadMainFn(info.userParam);
    platform::killThread(info.osThreadHandle);
    return nullptr;
}

} // namespace

eThreadError create(HThread *out, ThMainFunction fn, void *userParam, u16 stackSizeInKb)
{
    AllocatorPtr<ThreadInfo> info = allocatorNew<ThreadInfo>(*memory_getSysHeapAllocator());
    info->threadMainFn = fn;
    info->userParam = userParam;
    const eThreadError result =
        platform::createThread(info->osThreadHandle, runMainFunction, stackSizeInKb, info.get());
    if (result == eThreadError::none)
        *out = info.release();
    return result;
}

void waitEnd(HThread thread)
{
    const AllocatorPtr<ThreadInfo> info(thread, {memory_getSysHeapAllocator()});
    platform::waitThreadEnd(info->osThreadHandle);
}

void sleepMSec(u32 msec)
{
    platform::sleepMSec(msec);
}

} // namespace tovi::thread
