// The bridge daemon.
#include "LumoBridge/LumoBridge.h"

#include "LumoBridge/Core.h"
#include "LumoBridge/Options.h"
#include "toviCommonLib/OS/linux/linuxOSConsole.h"
#include "toviCommonLib/OS/linux/linuxOSTermination.h"
#include "toviCommonLib/tovi.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cxxabi.h>
#include <exception>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <span>
#include <string_view>
#include <sys/stat.h>
#include <typeinfo>
#include <unistd.h>

namespace
{

constexpr int EXIT_FAILED = 255;
constexpr int LAST_WORD_MSEC = 200;
constexpr mode_t KEPT_FROM_OTHERS = 027; // files and folders are for owner and group; the group does not write

bool isGiven(std::span<char *const> arguments, std::string_view wanted)
{
    return std::any_of(arguments.begin(), arguments.end(), [=](const char *argument) { return wanted == argument; });
}

// Whatever thread finds no memory ends the process at once, saying why. Nothing is lost by it that an acknowledgement
// promised: that is with the system already. Any other exception that nobody catches is a fault of the program.
[[noreturn]] void onTerminate()
{
    static constexpr char TEXT[] = "ERR: out of memory\n";
    static std::atomic_flag hasFlushed; // which may itself find no memory, and come here again
    if (!hasFlushed.test_and_set())
        platform::console_flush();
    const std::type_info *thrown = abi::__cxa_current_exception_type();
    if (thrown == nullptr || *thrown != typeid(std::bad_alloc))
        std::abort();
    pollfd output{STDERR_FILENO, POLLOUT, 0};
    const bool hasRoom = poll(&output, 1, LAST_WORD_MSEC) == 1; // an end that waits for nobody
    while (hasRoom && write(STDERR_FILENO, TEXT, sizeof TEXT - 1) < 0 && errno == EINTR)
    {
    }
    _exit(EXIT_FAILED);
}

// Descriptors 0 to 2 are standard input and output, even when the caller closed them: never a socket.
void openStandardDescriptors()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
    {
        if (fcntl(descriptor, F_GETFD) < 0 && errno == EBADF)
            open("/dev/null", O_RDWR); // takes the lowest free number: this one
    }
}

// What the caller keeps back stays back.
void restrictNewFiles()
{
    umask(umask(KEPT_FROM_OTHERS) | KEPT_FROM_OTHERS);
}

} // namespace

int main(int argc, char **argv)
{
    openStandardDescriptors();
    restrictNewFiles();
    std::set_terminate(onTerminate);
    const bool trapped = platform::termination_trap();
    const std::span<char *const> arguments(argv, static_cast<size_t>(argc));
    if (isGiven(arguments, "--version"))
    {
        platform::console_write(std::string("\n").append(versionLine(argv[0])).append("\n\n"));
        return 0;
    }
    if (isGiven(arguments, "--help"))
    {
        platform::console_write(optionsHelp());
        return 0;
    }
    if (!trapped)
    {
        platform::console_write("ERR: unable to start: no descriptor is left\n");
        return EXIT_FAILED;
    }
    if (!tovi::init("LumoBridge", nullptr))
    {
        platform::console_write("ERR: unable to start: the current folder is missing or its path is too long\n");
        return EXIT_FAILED;
    }
    const int status = Core(argc, argv);
    tovi::deinit();
    platform::console_write("Program end\n\n");
    return status;
}
