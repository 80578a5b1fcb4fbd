#include "toviCommonLib/OS/linux/linuxOSSocketPeer.h"

#include <gtest/gtest.h>

TEST(SocketPeer, IsGoneWhenItsSystemLeavesQuestionsUnanswered)
{
    const struct
    {
        const char *name;
        platform::sPeerSigns signs;
        bool isGone;
    } rows[] = {
        {"it has just spoken", {0, 0, 0}, false},
        {"idle, and keep-alive is not asked for", {3600000, 0, 0}, false},
        {"idle for two keep-alive probes", {8000, 0, 2}, false},
        {"idle for three", {9000, 0, 3}, true},
        {"bytes went out again at once", {2000, 4, 0}, false},
        {"bytes in an interruption of 2 s after 4 s of rest", {7000, 5, 0}, false},
        {"bytes, and silence a little below the limit", {8999, 6, 0}, false},
        {"bytes, and silence", {9000, 6, 0}, true},
        {"bytes on a line of long ways, sent again the first time", {9000, 1, 0}, false},
        {"sent again twice", {9000, 2, 0}, true},
        {"does not read: probed every 2 minutes, one is under way", {120000, 0, 1}, false},
        {"does not read: one was lost in an interruption, one is under way", {240000, 0, 2}, false},
        {"did not read and left", {360000, 0, 3}, true},
    };
    for (const auto &[name, signs, isGone] : rows)
        EXPECT_EQ(platform::peer_isGone(signs), isGone) << name;
}

TEST(SocketPeer, IsNotGoneWithoutASocket)
{
    const sOSSocket none;
    platform::socket_watchPeer(none);
    EXPECT_FALSE(platform::socket_peerIsGone(none));
}
