// The preloaded library: stands in front of libc for the calls of FailNth.h. Its hooks allocate nothing. A hook has a name
// of its own and the symbol of the call, so that no header's declaration of the call is in the way.
#include "tools/Torture/FailNth.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

using namespace LumoTorture;

// The memory functions of glibc under their second names: no look-up is needed, which could allocate.
extern "C" void *__libc_malloc(size_t size);
extern "C" void *__libc_calloc(size_t count, size_t size);
extern "C" void *__libc_realloc(void *p, size_t size);
extern "C" void *__libc_memalign(size_t alignment, size_t size);

namespace
{

sControl unused;
sControl *control = &unused;        // set once, before the program's threads
const void *programBase = nullptr;  // where the program was loaded
std::atomic<bool> isAtWork{false};  // from the start of the program's `main` to its end
std::atomic<u32> interruptCount{0}; // calls that might have been interrupted

// Numbers by chance for one seed: the n-th is the same in every run.
u32 draw(u32 seed, u32 n)
{
    u64 x = (u64{seed} << 32 | n) + 0x9E3779B97F4A7C15;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EB;
    return static_cast<u32>((x ^ (x >> 31)) >> 32);
}

void noteCallers()
{
    if (control->failed++ != 0)
        return;
    void *frames[CALLERS_MAX];
    u32 noted = 0;
    for (int i = 0, n = backtrace(frames, CALLERS_MAX); i < n; ++i)
    {
        Dl_info where;
        if (dladdr(frames[i], &where) != 0 && where.dli_fbase == programBase)
            control->callers[noted++] =
                static_cast<u64>(static_cast<const char *>(frames[i]) - static_cast<const char *>(programBase));
    }
}

bool isInterrupted(eCall call)
{
    return control->interruptPercent != 0 && static_cast<u32>(call) >= LASTING_COUNT &&
           draw(control->seed, interruptCount++) % 100 < control->interruptPercent;
}

// Counts the call; true when it fails, the error number being set.
bool fails(eCall call)
{
    if (!isAtWork)
        return false;
    const u32 nr = ++control->counts[static_cast<u32>(call)];
    if (isInterrupted(call))
    {
        errno = EINTR;
        return true;
    }
    if (call != control->call || nr < control->first || nr > control->last)
        return false;
    noteCallers();
    errno = CALLS[static_cast<u32>(call)].error;
    return true;
}

// The function that this library stands in front of, looked up once into `slot`.
template <class TFunction>
TFunction *next(std::atomic<TFunction *> &slot, const char *name)
{
    TFunction *found = slot;
    if (found == nullptr)
        slot = found = reinterpret_cast<TFunction *>(dlsym(RTLD_NEXT, name));
    return found;
}

} // namespace

#define DECLARE_HOOK(result, name, parameters) extern "C" result hook_##name parameters __asm__(#name);

#define HOOK(result, name, parameters, arguments, failure)                                                             \
    DECLARE_HOOK(result, name, parameters)                                                                             \
    result hook_##name parameters                                                                                      \
    {                                                                                                                  \
        static constinit std::atomic<result(*) parameters> slot{nullptr};                                              \
        return fails(eCall::name) ? failure : next(slot, #name) arguments;                                             \
    }

// The call takes place; its success is denied.
#define HOOK_BEHIND(result, name, parameters, arguments, failure)                                                      \
    DECLARE_HOOK(result, name, parameters)                                                                             \
    result hook_##name parameters                                                                                      \
    {                                                                                                                  \
        static constinit std::atomic<result(*) parameters> slot{nullptr};                                              \
        const result outcome = next(slot, #name) arguments;                                                            \
        return fails(eCall::name) ? failure : outcome;                                                                 \
    }

#define HOOK_MEMORY(name, replacement, parameters, arguments)                                                          \
    DECLARE_HOOK(void *, name, parameters)                                                                             \
    void *hook_##name parameters                                                                                       \
    {                                                                                                                  \
        return fails(eCall::name) ? nullptr : replacement arguments;                                                   \
    }

HOOK_MEMORY(malloc, __libc_malloc, (size_t size), (size))
HOOK_MEMORY(calloc, __libc_calloc, (size_t count, size_t size), (count, size))
HOOK_MEMORY(realloc, __libc_realloc, (void *p, size_t size), (p, size))
HOOK_MEMORY(aligned_alloc, __libc_memalign, (size_t alignment, size_t size), (alignment, size))

HOOK(FILE *, fopen64, (const char *path, const char *mode), (path, mode), nullptr)
HOOK(size_t, fread, (void *to, size_t size, size_t n, FILE *file), (to, size, n, file), 0)
HOOK(size_t, fwrite, (const void *from, size_t size, size_t n, FILE *file), (from, size, n, file), 0)
HOOK_BEHIND(int, fflush, (FILE * file), (file), EOF)
HOOK_BEHIND(int, fclose, (FILE * file), (file), EOF)
HOOK(int, puts, (const char *text), (text), EOF)

// The third argument of these is passed on whether it was given or not.
HOOK(int, open64, (const char *path, int flags, unsigned mode), (path, flags, mode), -1)
HOOK(int, fcntl64, (int fd, int command, void *argument), (fd, command, argument), -1)
HOOK(int, ioctl, (int fd, unsigned long request, void *argument), (fd, request, argument), -1)

HOOK(ssize_t, read, (int fd, void *to, size_t size), (fd, to, size), -1)
HOOK_BEHIND(int, close, (int fd), (fd), -1)
HOOK(int, fsync, (int fd), (fd), -1)
HOOK(int, fdatasync, (int fd), (fd), -1)
HOOK(int, ftruncate64, (int fd, i64 size), (fd, size), -1)
HOOK(i64, lseek64, (int fd, i64 offset, int whence), (fd, offset, whence), -1)
HOOK(int, stat64, (const char *path, void *out), (path, out), -1)
HOOK(int, lstat64, (const char *path, void *out), (path, out), -1)
HOOK(int, fstat64, (int fd, void *out), (fd, out), -1)
HOOK(int, fstatat64, (int fd, const char *path, void *out, int flags), (fd, path, out, flags), -1)
HOOK(int, rename, (const char *from, const char *to), (from, to), -1)
HOOK(int, remove, (const char *path), (path), -1)
HOOK(int, unlink, (const char *path), (path), -1)
HOOK(int, mkdir, (const char *path, unsigned mode), (path, mode), -1)
HOOK(void *, opendir, (const char *path), (path), nullptr)
HOOK(void *, readdir64, (void *folder), (folder), nullptr)
HOOK(char *, get_current_dir_name, (), (), nullptr)

HOOK(int, epoll_create1, (int flags), (flags), -1)
HOOK(int, epoll_ctl, (int epfd, int operation, int fd, epoll_event *event), (epfd, operation, fd, event), -1)
HOOK(int, epoll_wait, (int epfd, epoll_event *out, int most, int timeout), (epfd, out, most, timeout), -1)
HOOK(int, epoll_pwait, (int epfd, epoll_event *out, int most, int timeout, const void *mask),
     (epfd, out, most, timeout, mask), -1)
HOOK(int, eventfd, (unsigned count, int flags), (count, flags), -1)
HOOK(int, poll, (pollfd * sources, nfds_t n, int timeout), (sources, n, timeout), -1)
HOOK(int, nanosleep, (const timespec *wanted, timespec *left), (wanted, left), -1)

HOOK(int, socket, (int domain, int type, int protocol), (domain, type, protocol), -1)
HOOK(int, bind, (int fd, const void *address, socklen_t size), (fd, address, size), -1)
HOOK(int, listen, (int fd, int backlog), (fd, backlog), -1)
HOOK(int, accept4, (int fd, void *address, socklen_t *size, int flags), (fd, address, size, flags), -1)
HOOK(int, setsockopt, (int fd, int level, int name, const void *value, socklen_t size), (fd, level, name, value, size),
     -1)
HOOK(int, getsockopt, (int fd, int level, int name, void *value, socklen_t *size), (fd, level, name, value, size), -1)
HOOK(void *, gethostbyname, (const char *name), (name), nullptr)
HOOK(ssize_t, recv, (int fd, void *to, size_t size, int flags), (fd, to, size, flags), -1)
HOOK(ssize_t, send, (int fd, const void *from, size_t size, int flags), (fd, from, size, flags), -1)

HOOK(int, tcgetattr, (int fd, termios *out), (fd, out), -1)
HOOK(int, tcsetattr, (int fd, int when, const termios *settings), (fd, when, settings), -1)
HOOK(int, tcflush, (int fd, int queue), (fd, queue), -1)
HOOK(pid_t, tcgetpgrp, (int fd), (fd), -1)

HOOK(std::tm *, localtime_r, (const time_t *seconds, std::tm *out), (seconds, out), nullptr)
HOOK(int, pthread_create, (void *out, const void *attributes, void *(*run)(void *), void *argument),
     (out, attributes, run, argument), errno)
HOOK(int, pthread_attr_init, (void *attributes), (attributes), errno)
HOOK(int, pthread_attr_setstacksize, (void *attributes, size_t size), (attributes, size), errno)

// An interrupted connection goes on being made.
DECLARE_HOOK(int, connect, (int fd, const void *address, socklen_t size))
int hook_connect(int fd, const void *address, socklen_t size)
{
    static constinit std::atomic<int (*)(int, const void *, socklen_t)> slot{nullptr};
    const bool refused = fails(eCall::connect);
    if (refused && errno != EINTR)
        return -1;
    const int result = next(slot, "connect")(fd, address, size);
    if (!refused || (result != 0 && errno != EINPROGRESS))
        return result;
    errno = EINTR;
    return -1;
}

// An event's counter never fills up, so a write to it cannot fail.
DECLARE_HOOK(ssize_t, write, (int fd, const void *from, size_t size))
ssize_t hook_write(int fd, const void *from, size_t size)
{
    static constinit std::atomic<ssize_t (*)(int, const void *, size_t)> slot{nullptr};
    static constinit std::atomic<int (*)(int, int, void *)> fcntlSlot{nullptr};
    const bool isEvent = size == sizeof(u64) && (next(fcntlSlot, "fcntl64")(fd, F_GETFL, nullptr) & O_NONBLOCK) != 0;
    return !isEvent && fails(eCall::write) ? -1 : next(slot, "write")(fd, from, size);
}

extern "C" int hook_printf(const char *format, ...) __asm__("printf");
int hook_printf(const char *format, ...)
{
    if (fails(eCall::printf))
        return -1;
    va_list args;
    va_start(args, format);
    const int n = std::vprintf(format, args);
    va_end(args);
    return n;
}

// ---- The clock of day.

DECLARE_HOOK(int, clock_gettime, (clockid_t clock, timespec *out))
int hook_clock_gettime(clockid_t clock, timespec *out)
{
    static constinit std::atomic<int (*)(clockid_t, timespec *)> slot{nullptr};
    const int result = next(slot, "clock_gettime")(clock, out);
    if (clock == CLOCK_REALTIME)
        out->tv_sec += control->clockShiftSec;
    return result;
}

DECLARE_HOOK(time_t, time, (time_t * out))
time_t hook_time(time_t *out)
{
    timespec now{};
    hook_clock_gettime(CLOCK_REALTIME, &now);
    if (out != nullptr)
        *out = now.tv_sec;
    return now.tv_sec;
}

// ---- The program's start.

namespace
{

using MainFunction = int(int, char **, char **);
MainFunction *programMain = nullptr;

void mapControl()
{
    const char *path = std::getenv(CONTROL_VARIABLE);
    const int fd = path != nullptr ? open(path, O_RDWR | O_CLOEXEC) : -1;
    if (fd < 0)
        return;
    void *map = mmap(nullptr, sizeof(sControl), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (map != MAP_FAILED)
        control = static_cast<sControl *>(map);
}

int tormentedMain(int argc, char **argv, char **environment)
{
    void *frames[1];
    backtrace(frames, 1); // the first one allocates
    Dl_info where;
    if (dladdr(reinterpret_cast<void *>(programMain), &where) != 0)
        programBase = where.dli_fbase;
    mapControl();
    isAtWork = true;
    const int status = programMain(argc, argv, environment);
    isAtWork = false;
    return status;
}

} // namespace

DECLARE_HOOK(int, __libc_start_main,
             (MainFunction * run, int argc, char **argv, void (*init)(), void (*fini)(), void (*rtldFini)(),
              void *stack))
int hook___libc_start_main(MainFunction *run, int argc, char **argv, void (*init)(), void (*fini)(), void (*rtldFini)(),
                           void *stack)
{
    static constinit std::atomic<decltype(&hook___libc_start_main)> slot{nullptr};
    programMain = run;
    return next(slot, "__libc_start_main")(tormentedMain, argc, argv, init, fini, rtldFini, stack);
}
