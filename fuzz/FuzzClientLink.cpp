// The client's bytes through the engine and the thread's dispatch, with the machine's messages among them.
// Never: anything written that is no whole packet; a link state told twice; a file that the machine was told of and that
// is gone at the end.
#include "fuzz/Fuzz.h"

#include "LumoBridge/Protocol.h"
#include "tests/LTProto/LTProto/ScriptedDevice.h"
#include "tests/LumoBridge/TestQueue.h"
#include "tests/TempFolder.h"
#include "tests/WirePacket.h"

using namespace LT_Proto;

namespace
{

u64 s_nowMSec;

bool isWholePacket(const std::vector<u8> &packet)
{
    return packet.size() >= 6 && packet[0] == 0x60 && size_t{packet[1]} * 256 + packet[2] + 2 == packet.size() &&
           tovi::Crc16(packet.data(), static_cast<u32>(packet.size())) == 0; // a CRC over itself
}

// A file is one of ours, for the bridge may delete it.
void machineSends(const TestQueue &queue, u32 amount, Input &input)
{
    static constexpr u16 KINDS[] = {2, 2, 4, 4, 1, 3, 5, 65535}; // eMqMessage
    const u32 param = input.number(4);
    std::vector<u8> bytes = input.bytes(input.number());
    if (KINDS[amount % 8] == 4 && !bytes.empty())
    {
        bytes = {'o', 'f', 'f', 'e', 'r', static_cast<u8>('0' + amount)};
        std::ofstream(std::string(bytes.begin(), bytes.end())) << std::string(amount * 4, 'x');
    }
    tovi::thread::pushMsg(queue.write, KINDS[amount % 8], param, bytes.data(), static_cast<u32>(bytes.size()));
}

} // namespace

// Role and payload size; then steps: a byte whose two upper bits say what comes and whose lower six say how much.
extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    static constexpr u32 PAYLOADS[] = {50000, 65535, 100, 5000, 1, 16, 300, 4};
    Input input{{data, size}};
    TestQueue toBridge, fromBridge;
    Tools::LogTracer tracer;
    tracer.Init(u8{10});
    auto bridge = std::make_unique<Protocol>(&tracer, toBridge.load, fromBridge.load, [] { return s_nowMSec; });
    auto *device = new ScriptedDevice; // owned by the bridge
    const u8 start = static_cast<u8>(input.number());
    bridge->Init(toBridge.read, fromBridge.write, eComType{static_cast<u8>(1 + start % 4)},
                 std::unique_ptr<tovi::ComDevice>(device), PAYLOADS[start / 4 % 8]);
    std::vector<std::string> announced;
    for (bool isUp = false; !input.rest.empty();)
    {
        const u32 step = input.number(), kind = step / 64, amount = step % 64;
        device->m_resultWithoutBytes = step == 0 ? tovi::ComDevice::RECEIVE_PEER_CLOSED : 0;
        if (kind < 2 && step != 0)
            device->m_reads.push_back(kind == 0 ? input.bytes(amount) : Framed(input.bytes(amount)));
        else if (kind == 2)
            machineSends(toBridge, amount, input);
        else // time passes, a line is lost, is slow, or can be opened again
        {
            s_nowMSec += amount * 100;
            device->m_opens = device->m_connectedByServer = amount % 2 == 0;
            device->m_connected &= amount % 8 != 5;
            device->m_sendingMSec = amount % 8 == 6 ? 600 : 0;
        }
        bridge->HandleEvent(kind < 2 ? Protocol::EVENT_FROM_PROTOCOL : Protocol::EVENT_FROM_MQ);
        if (kind == 3 && amount % 4 == 3)
            bridge->HandleEvent(Protocol::EVENT_FROM_PROTOCOL_SERVER);
        bridge->OwnStep();
        bridge->IdleStep();
        mustHold(std::all_of(device->m_sent.begin(), device->m_sent.end(), isWholePacket), "whole packets go out");
        device->m_sent.clear();
        tovi::thread::sMsg msg;
        for (; fromBridge.load.Pop(fromBridge.read, &msg); tovi::thread::deleteMsg(msg))
            if (msg.what == 65534) // LINK_STATE
                mustHold((isUp = !isUp) == (msg.paramU32 == 1), "link states alternate, up comes first");
            else if (msg.what == 4) // FILE_DATA
                announced.emplace_back(msg.buffer, msg.buffer + msg.bufferSize);
    }
    bridge.reset();
    for (const std::string &name : announced)
        mustHold(std::filesystem::is_regular_file(name), "an announced file is there at the end");
    std::filesystem::remove_all("BridgeTemp");
    return 0;
}
