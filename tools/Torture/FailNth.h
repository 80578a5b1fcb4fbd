// FailNth: calls of a program that can fail, counted and failed by a preloaded library. The program that torments another
// one sets what is to fail in a file that both map, and finds the counts there whatever end the other one came to.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <atomic>
#include <cerrno>
#include <iterator>

namespace LumoTorture
{

// Path of the mapped file, in the environment of the program that is tormented.
constexpr char CONTROL_VARIABLE[] = "FAILNTH_CONTROL";

// CALL(name, error number of its failure); those of the second list may be interrupted by a signal as well.
#define FAILNTH_LASTING_CALLS(CALL)                                                                                    \
    CALL(malloc, ENOMEM)                                                                                               \
    CALL(calloc, ENOMEM)                                                                                               \
    CALL(realloc, ENOMEM)                                                                                              \
    CALL(aligned_alloc, ENOMEM)                                                                                        \
    CALL(open64, EMFILE)                                                                                               \
    CALL(fopen64, EMFILE)                                                                                              \
    CALL(fread, EIO)                                                                                                   \
    CALL(fwrite, ENOSPC)                                                                                               \
    CALL(fflush, ENOSPC)                                                                                               \
    CALL(fclose, ENOSPC)                                                                                               \
    CALL(printf, ENOSPC)                                                                                               \
    CALL(puts, ENOSPC)                                                                                                 \
    CALL(close, EIO)                                                                                                   \
    CALL(fsync, EIO)                                                                                                   \
    CALL(fdatasync, EIO)                                                                                               \
    CALL(ftruncate64, EIO)                                                                                             \
    CALL(lseek64, EIO)                                                                                                 \
    CALL(stat64, ENOMEM)                                                                                               \
    CALL(lstat64, ENOMEM)                                                                                              \
    CALL(fstat64, ENOMEM)                                                                                              \
    CALL(fstatat64, ENOMEM)                                                                                            \
    CALL(rename, ENOSPC)                                                                                               \
    CALL(remove, EIO)                                                                                                  \
    CALL(unlink, EIO)                                                                                                  \
    CALL(mkdir, ENOSPC)                                                                                                \
    CALL(opendir, EMFILE)                                                                                              \
    CALL(readdir64, EIO)                                                                                               \
    CALL(get_current_dir_name, ENOENT)                                                                                 \
    CALL(epoll_create1, EMFILE)                                                                                        \
    CALL(epoll_ctl, ENOMEM)                                                                                            \
    CALL(eventfd, EMFILE)                                                                                              \
    CALL(socket, EMFILE)                                                                                               \
    CALL(bind, EADDRINUSE)                                                                                             \
    CALL(listen, EADDRINUSE)                                                                                           \
    CALL(setsockopt, ENOBUFS)                                                                                          \
    CALL(getsockopt, ENOBUFS)                                                                                          \
    CALL(gethostbyname, ENOMEM)                                                                                        \
    CALL(fcntl64, EINVAL)                                                                                              \
    CALL(ioctl, EIO)                                                                                                   \
    CALL(tcgetattr, EIO)                                                                                               \
    CALL(tcsetattr, EIO)                                                                                               \
    CALL(tcflush, EIO)                                                                                                 \
    CALL(tcgetpgrp, EIO)                                                                                               \
    CALL(localtime_r, EOVERFLOW)                                                                                       \
    CALL(pthread_create, EAGAIN)                                                                                       \
    CALL(pthread_attr_init, ENOMEM)                                                                                    \
    CALL(pthread_attr_setstacksize, EINVAL)

#define FAILNTH_INTERRUPTIBLE_CALLS(CALL)                                                                              \
    CALL(read, EIO)                                                                                                    \
    CALL(write, ENOSPC)                                                                                                \
    CALL(recv, ECONNRESET)                                                                                             \
    CALL(send, EPIPE)                                                                                                  \
    CALL(accept4, EMFILE)                                                                                              \
    CALL(connect, ECONNREFUSED)                                                                                        \
    CALL(poll, ENOMEM)                                                                                                 \
    CALL(epoll_wait, EINTR)                                                                                            \
    CALL(epoll_pwait, EINTR)                                                                                           \
    CALL(nanosleep, EINTR)

enum class eCall : u32
{
#define FAILNTH_NAME(name, error) name,
    FAILNTH_LASTING_CALLS(FAILNTH_NAME) FAILNTH_INTERRUPTIBLE_CALLS(FAILNTH_NAME) NONE
#undef FAILNTH_NAME
};

struct sCall
{
    const char *name;
    int error;
};

constexpr sCall CALLS[] = {
#define FAILNTH_ENTRY(name, error) {#name, error},
    FAILNTH_LASTING_CALLS(FAILNTH_ENTRY) FAILNTH_INTERRUPTIBLE_CALLS(FAILNTH_ENTRY)
#undef FAILNTH_ENTRY
};

constexpr u32 CALLS_COUNT = static_cast<u32>(std::size(CALLS));
constexpr u32 LASTING_COUNT = static_cast<u32>(eCall::read);
constexpr u32 EVER_AFTER = 0xFFFFFFFF;
constexpr u32 CALLERS_MAX = 32;

// The mapped file. What the library does from the start of `main` on, and what came of it.
struct sControl
{
    // Set before the start.
    eCall call = eCall::NONE;
    u32 first = 0; // the calls from the first to the last fail, counted from 1
    u32 last = 0;
    u32 interruptPercent = 0; // of the calls that a signal may interrupt
    u32 seed = 0;             // of those

    std::atomic<i64> clockShiftSec{0}; // of the clock of day; may be changed at any time

    std::atomic<u32> counts[CALLS_COUNT] = {};
    std::atomic<u32> failed{0};                 // calls that failed by this library
    std::atomic<u64> callers[CALLERS_MAX] = {}; // of the first of them: addresses in the program, innermost first
};
static_assert(std::atomic<i64>::is_always_lock_free, "two processes share it");

} // namespace LumoTorture
