// PtyCable LINK_A LINK_B [BYTES_PER_SECOND]: joins two serial devices under these names until it is ended by a signal or
// its standard input closes.
#include "LumoSmuSim/PtyCable.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

int main(int argc, char *argv[])
{
    if (argc < 3)
    {
        std::fprintf(stderr, "PtyCable LINK_A LINK_B [BYTES_PER_SECOND]\n");
        return 2;
    }
    const LumoSmuSim::PtyCable cable(argc > 3 ? static_cast<u32>(std::strtoul(argv[3], nullptr, 10)) : 0);
    if (symlink(cable.deviceA().c_str(), argv[1]) != 0 || symlink(cable.deviceB().c_str(), argv[2]) != 0)
    {
        std::perror("PtyCable");
        return 1;
    }
    std::printf("PtyCable joins %s and %s\n", argv[1], argv[2]);
    std::fflush(stdout);
    while (std::getchar() != EOF)
    {
    }
    return 0;
}
