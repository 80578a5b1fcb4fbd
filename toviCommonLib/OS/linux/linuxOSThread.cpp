#include "toviCommonLib/OS/linux/linuxOSThread.h"

#include <algorithm>
#include <cerrno>

namespace platform
{
namespace
{

constexpr size_t STACK_SIZE_MIN = 16384;

eThreadError createWith(pthread_attr_t &attributes, OSThread &out, void *(*fn)(void *), u32 stackSizeInKb, void *arg)
{
    const size_t stackSize = std::max(static_cast<size_t>(stackSizeInKb) * 1024, STACK_SIZE_MIN);
    if (pthread_attr_setstacksize(&attributes, stackSize) != 0)
        return eThreadError::invalidStackSize;
    switch (pthread_create(&out, &attributes, fn, arg))
    {
    case 0: return eThreadError::none;
    case EAGAIN: return eThreadError::tooMany;
    default: return eThreadError::unknown;
    }
}

} // namespace

eThreadError createThread(OSThread &out, void *(*fn)(void *), u32 stackSizeInKb, void *arg)
{
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0)
        return eThreadError::unknown;
    const eThreadError result = createWith(attributes, out, fn, stackSizeInKb, arg);
    pthread_attr_destroy(&attributes);
    return result;
}

void killThread(OSThread &) {}

void waitThreadEnd(OSThread &thread)
{
    pthread_join(thread, nullptr);
}

} // namespace platform
