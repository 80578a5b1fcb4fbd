// The bridge daemon.
#include "LumoBridge/LumoBridge.h"

#include "LumoBridge/Core.h"
#include "LumoBridge/Options.h"
#include "toviCommonLib/OS/linux/linuxOSTermination.h"
#include "toviCommonLib/tovi.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <span>
#include <string_view>
#include <unistd.h>

namespace
{

constexpr int EXIT_CANNOT_START = 255;

bool isGiven(std::span<char *const> arguments, std::string_view wanted)
{
    return std::any_of(arguments.begin(), arguments.end(), [=](const char *argument) { return wanted == argument; });
}

// Descriptors 0 to 2 are standard input and output, even when the caller closed them: never a socket.
void openStandardDescriptors()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
    {
        if (fcntl(descriptor, F_GETFD) < 0)
            open("/dev/null", O_RDWR); // takes the lowest free number: this one
    }
}

} // namespace

int main(int argc, char **argv)
{
    openStandardDescriptors();
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
    if (!platform::termination_trap() || !tovi::init("LumoBridge", nullptr))
    {
        std::printf("ERR: unable to start: the current folder is missing or its path is too long\n");
        return EXIT_CANNOT_START;
    }
    const int status = Core(argc, argv);
    tovi::deinit();
    platform::termination_release();
    std::printf("Program end\n\n");
    return status;
}
