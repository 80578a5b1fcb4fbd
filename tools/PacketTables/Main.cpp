// PacketTables TREE: writes tests/endToEnd/tables, fuzz/corpus and fuzz/lumo.dict below the folder TREE.
#include "tools/PacketTables/Rules.h"

#include <cstdio>
#include <filesystem>

int main(int argc, char *argv[])
{
    if (argc != 2)
    {
        std::fprintf(stderr, "PacketTables TREE\n");
        return 2;
    }
    std::filesystem::create_directories(std::string(argv[1]) + "/tests/endToEnd/tables");
    PacketTables::writeTables(argv[1]);
    PacketTables::writeSeeds(argv[1]);
}
