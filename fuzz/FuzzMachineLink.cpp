// The machine's bytes through channel, handshake, framing, adapter and the main thread's loop, with the client's messages.
// Never: a loop that outlives its link; anything written that is no greeting and no whole frame.
#include "fuzz/Fuzz.h"

#include "LumoBridge/MachineSide.h"
#include "tests/LumoBridge/TestQueue.h"
#include "tests/WirePacket.h"

#include <thread>

namespace
{

constexpr size_t PIECE_MAX = 1000;

// As it is at the moment at which the calendar stands: TOVICONSOLE, the key of the greeting or its complement.
const std::vector<u8> GREETING = Hex("54 4F 56 49 43 4F 4E 53 4F 4C 45 3B");
const std::vector<u8> GREETING_ANSWER = Hex("54 4F 56 49 43 4F 4E 53 4F 4C 45 C4");
const std::vector<u8> IDENTIFY_ANSWER = Hex("C8 A6 FD 04 00 04 00 00 04");

bool isWhole(const std::vector<u8> &sent)
{
    const std::ptrdiff_t width = sent[2] - 252; // of length and checksum
    return sent == GREETING || sent == Hex("C8 A6 02") ||
           sent == consoleFrame(std::vector<u8>(sent.begin() + 3 + width, sent.end() - width));
}

} // namespace

// Whether greeting (1) and answer (2) come by themselves; then steps as for the client link.
extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    static constexpr u16 KINDS[] = {1, 2, 3, 4, 5, 65534, 65535, 2}; // eMqMessage
    int ends[2];
    mustHold(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == 0, "two ends"); // pieces stay apart
    const Descriptor link(ends[0]);
    const auto machineSends = [&](const std::vector<u8> &bytes)
    {
        for (size_t at = 0; at < bytes.size(); at += PIECE_MAX)
            send(link.get(), bytes.data() + at, std::min(PIECE_MAX, bytes.size() - at), MSG_DONTWAIT);
    };
    Input input{{data, size}};
    TestQueue fromClient, toClient;
    const u32 start = input.number();
    machineSends((start & 1) != 0 ? GREETING_ANSWER : std::vector<u8>{});
    machineSends((start & 2) != 0 ? IDENTIFY_ANSWER : std::vector<u8>{});
    while (!input.rest.empty())
    {
        const u32 step = input.number(), kind = step / 64, amount = step % 64;
        const u32 param = kind == 3 ? input.number(4) : 0;
        std::vector<u8> bytes = input.bytes(kind == 2 ? 12 : amount);
        bytes.resize(bytes.size() + (kind == 2 ? amount * 1024 : 0), 'x'); // a long message
        if (kind != 3)
            machineSends(kind == 0 ? bytes : consoleFrame(bytes));
        else if (size < 10000) // more would fill the link
            tovi::thread::pushMsg(fromClient.write, KINDS[param % 8], param / 8, bytes.data(), u32(bytes.size()));
    }
    shutdown(link.get(), SHUT_WR);
    // Read while the daemon writes, or a full link would hold it up. An end with bytes unread is told before they come.
    std::jthread machineReads(
        [&link]
        {
            std::vector<u8> sent;
            for (int told = 0; told < 2; sent.clear())
                if (link.readInto(sent))
                    mustHold(isWhole(sent), "whole frames go out");
                else
                    ++told;
        });

    Tools::LogTracer tracer;
    tracer.Init(u8{10});
    OSSocket bridgeEnd;
    bridgeEnd.socketID = ends[1];
    if (ToviConn machine; machine.Connect(bridgeEnd))
    {
        MachineSide side(tracer, machine, {fromClient.read, fromClient.load}, {toClient.write, toClient.load});
        side.run();
        side.finish();
    }
    return 0;
}
