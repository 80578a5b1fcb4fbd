// The world of a fuzz run: a scratch folder of its own, a calendar that stands still, and no sleep; names, keys and waits
// of the product so depend on the input alone. Without libFuzzer the program runs every file of its argument, a folder by
// its full name, once.
#include "fuzz/Fuzz.h"
#include "tests/TempFolder.h"
#include "toviCommonLib/tovi.h"

#include <csignal>
#include <ctime>

extern "C" time_t time(time_t *) noexcept
{
    return 1700000000;
}

extern "C" int nanosleep(const timespec *, timespec *)
{
    return 0;
}

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    static const TempFolder scratch;
    std::filesystem::current_path(scratch.path());
    std::signal(SIGPIPE, SIG_IGN);
    mustHold(tovi::init("fuzz", nullptr), "the library starts");
    return 0;
}

#ifndef LUMO_FUZZ
int main(int argc, char *argv[])
{
    LLVMFuzzerInitialize(&argc, &argv);
    mustHold(argc == 2 && std::freopen("/dev/null", "w", stdout) != nullptr, "there is a folder of inputs");
    for (const auto &entry : std::filesystem::directory_iterator(argv[1]))
    {
        std::fprintf(stderr, "%s\n", entry.path().c_str());
        const std::string input = readFile(entry.path());
        LLVMFuzzerTestOneInput(reinterpret_cast<const u8 *>(input.data()), input.size());
    }
}
#endif
