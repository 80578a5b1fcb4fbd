// A connection to a machine whose handshake is done, and of which little stands unread on the link.
#pragma once

#include "LumoBridge/ToviConn.h"
#include "tests/endToEnd/RawPeers.h"

#include <thread>

struct GreetedMachine
{
    GreetedMachine()
    {
        smu.receiveLittle();
        std::jthread machine([this] { smu.take(); });
        EXPECT_TRUE(conn.Connect("127.0.0.1", smu.port(), nullptr));
    }

    RawSmu smu;
    ToviConn conn;
};
