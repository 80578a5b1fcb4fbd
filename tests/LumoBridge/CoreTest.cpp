// A start that comes as far as the machine and no further.
#include "LumoBridge/Core.h"

#include "tests/endToEnd/RawPeers.h"
#include "toviCommonLib/toviThreadMsgQ.h"

#include <future>
#include <sys/resource.h>

namespace
{

// The last trace of a start that the machine lets in, and its status.
std::string startedInVain()
{
    RawSmu smu;
    std::string words[] = {"LumoBridge", "-server", "127.0.0.1:" + std::to_string(smu.port()), "-socket", "127.0.0.1"};
    char *const arguments[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(), words[4].data()};
    testing::internal::CaptureStdout();
    std::future<int> status = std::async(std::launch::async, [&] { return Core(5, arguments); });
    smu.take();
    const int ended = status.get();
    const std::string output = testing::internal::GetCapturedStdout();
    return output.substr(output.rfind(" - ") + 3) + std::to_string(ended);
}

} // namespace

TEST(Core, TellsWhyItCannotBegin)
{
    // Nothing has trapped the signals here, so there is no event of theirs to wait for.
    EXPECT_EQ(startedInVain(), "ERR: syncronization mechanism generation impossible\n0");
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max}; // the queues that take every place shall take no descriptors
    setrlimit(RLIMIT_NOFILE, &none);
    std::vector<std::pair<sHThreadMsgR, sHThreadMsgW>> queues(tovi::thread::MSGQ_MAX);
    for (auto &[read, write] : queues)
        tovi::thread::createMsgQ(&read, &write);
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(startedInVain(), "ERR: failed to create a internal Main link\n-1");
    for (auto &[read, write] : queues)
        tovi::thread::deleteMsgQ(read, write);
}
