// The index of received files, whatever it holds and whatever stands beside it, through two starts of the engine.
// Never: a listed file that is lost; a file named by a number that is lost while the index is damaged; a second start that
// changes what the first one left.
#include "fuzz/Fuzz.h"

#include "LTProto/LTProto/LTProto.h"
#include "tests/LTProto/LTProto/ScriptedDevice.h"
#include "tests/TempFolder.h"

#include <map>

namespace fs = std::filesystem;

namespace
{

const std::string FOLDER = "BridgeTemp/";

// Name and content of all that stands in the folder after a start.
std::map<std::string, std::string> entriesAfterStart()
{
    OSWaitableGrp group;
    LTProtocol::LTProto engine;
    engine.Init(group, 1, 2, LTProtocol::eComType::SOCKET_MAIN, std::make_unique<ScriptedDevice>(), 100);
    engine.ReceiveFilesRestore();
    std::map<std::string, std::string> found;
    for (const auto &entry : fs::directory_iterator(FOLDER))
        found[entry.path().filename()] = entry.is_regular_file() ? readFile(entry.path()) : "";
    return found;
}

} // namespace

// Number of entries; each one's kind and number; the index, which is missing when nothing is left for it.
extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    Input input{{data, size}};
    fs::create_directory(FOLDER);
    for (u32 count = input.number() % 32; count > 0; --count)
    {
        static constexpr const char *OTHERS[] = {"index.bad", "index.dat.new", "stray.tmp", "0.tmp", "stray", ".tmp"};
        const u32 kind = input.number() % 16;
        const std::string name = FOLDER + LTProtocol::RcvFile{0, input.number(4), true}.FileNameAsString();
        std::error_code ignored;
        if (kind == 1)
            fs::create_symlink("/dev/null", name, ignored);
        else if (kind == 2)
            fs::create_directory(name, ignored);
        else
            std::ofstream(kind < 10 ? name : FOLDER + OTHERS[kind - 10]) << "file";
    }
    const std::vector<u8> index = input.bytes(size);
    bool isDamaged = index.size() % 8 != 0;
    if (!index.empty())
        std::ofstream(FOLDER + "index.dat") << std::string(index.begin(), index.end());
    else // one that was set aside counts, for no new one could be written
        isDamaged = fs::exists(FOLDER + "index.bad");
    std::vector<u32> listed;
    for (Input records{index}; records.rest.size() >= 8;)
    {
        isDamaged |= records.number(4) > 0xFFFF;
        listed.push_back(records.number(4));
        isDamaged |= listed.back() == 0;
    }
    std::vector<std::string> staying;
    for (const auto &entry : fs::directory_iterator(FOLDER))
    {
        const u32 number = LTProtocol::RcvFile::FileNameFromString(entry.path().filename().string());
        if (number != 0 && entry.path().filename().string().size() == 12 && !entry.is_symlink() &&
            (isDamaged || std::count(listed.begin(), listed.end(), number) != 0))
            staying.push_back(entry.path().filename());
    }
    const auto first = entriesAfterStart();
    for (const std::string &name : staying)
        mustHold(first.contains(name), "a file that is or may be listed stays");
    mustHold(entriesAfterStart() == first, "a second start changes nothing");
    fs::remove_all(FOLDER);
    return 0;
}
