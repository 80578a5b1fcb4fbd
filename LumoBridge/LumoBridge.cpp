// The bridge daemon.
#include "LumoBridge/LumoBridge.h"

#include "LumoBridge/Core.h"
#include "LumoBridge/Options.h"
#include "toviCommonLib/OS/linux/linuxOSTermination.h"
#include "toviCommonLib/tovi.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cxxabi.h>
#include <exception>
#include <fcntl.h>
#include <new>
#include <span>
#include <string_view>
#include <typeinfo>
#include <unistd.h>

namespace
{

constexpr int EXIT_FAILED = 255;

bool isGiven(std::span<char *const> arguments, std::string_view wanted)
{
    return std::any_of(arguments.begin(), arguments.end(), [=](const char *argument) { return wanted == argument; });
}

// Whatever thread finds no memory ends the process at once, saying why. Nothing is lost by it that an acknowledgement
// promised: that is with the system already. Any other exception that nobody catches is a fault of the program.
[[noreturn]] void onTerminate()
{
    static constexpr char TEXT[] = "ERR: out of memory\n";
    const std::type_info *thrown = abi::__cxa_current_exception_type();
    if (thrown == nullptr || *thrown != typeid(std::bad_alloc))
        std::abort();
    while (write(STDERR_FILENO, TEXT, sizeof TEXT - 1) < 0 && errno == EINTR)
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

} // namespace

int main(int argc, char **argv)
{
    openStandardDescriptors();
    std::set_terminate(onTerminate);
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ); // a trace is there when it happened, even in a pipe or a file
    const std::span<char *const> arguments(argv, static_cast<size_t>(argc));
    if (isGiven(arguments, "--version"))
    {
        std::printf("\n%s\n\n", versionLine(argv[0]).c_str());
        return 0;
    }
    if (isGiven(arguments, "--help"))
    {
        std::printf("%s", optionsHelp());
        return 0;
    }
    if (!platform::termination_trap())
    {
        std::printf("ERR: unable to start: no descriptor is left\n");
        return EXIT_FAILED;
    }
    if (!tovi::init("LumoBridge", nullptr))
    {
        std::printf("ERR: unable to start: the current folder is missing or its path is too long\n");
        return EXIT_FAILED;
    }
    const int status = Core(argc, argv);
    tovi::deinit();
    platform::termination_release();
    std::printf("Program end\n\n");
    return status;
}
