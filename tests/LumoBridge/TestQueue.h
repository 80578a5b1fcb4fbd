// A queue between threads with its load, and what arrives on it as text: "what parameter [bytes]".
#pragma once

#include "LTProto/Tools/Hex.h"
#include "LumoBridge/QueueLoad.h"
#include "tests/Descriptor.h"
#include "toviCommonLib/OS/linux/linuxOSWaitableGrp.h"

struct TestQueue
{
    TestQueue() { tovi::thread::createMsgQ(&read, &write) && group.addMsgQ(read, 1U); }
    ~TestQueue() { tovi::thread::deleteMsgQ(read, write); }
    std::string next()
    {
        tovi::thread::sMsg msg;
        while (!load.Pop(read, &msg) && group.wait(PATIENCE_MSEC) != 0)
            continue;
        const std::string bytes = Tools::ToHex(msg.buffer, msg.bufferSize, ' ');
        tovi::thread::deleteMsg(msg);
        return std::to_string(msg.what) + " " + std::to_string(msg.paramU32) + " [" + bytes + "]";
    }
    sHThreadMsgR read;
    sHThreadMsgW write;
    LT_Proto::QueueLoad load;
    OSWaitableGrp group;
};
