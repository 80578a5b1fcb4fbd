// Preloaded into the daemon: it acknowledges files and never comes to tell its machine of one. Whoever is about to, waits until
// the process is killed.
#include <cstring>
#include <dlfcn.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

constexpr char FOLDER[] = "/BridgeTemp/";

} // namespace

extern "C" ssize_t send(int socket, const void *bytes, size_t size, int flags)
{
    while (memmem(bytes, size, FOLDER, sizeof FOLDER - 1) != nullptr)
        pause();
    static const auto next = reinterpret_cast<decltype(&send)>(dlsym(RTLD_NEXT, "send"));
    return next(socket, bytes, size, flags);
}
