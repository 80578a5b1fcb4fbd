// The daemon's inner loops by themselves: checksum, hexadecimal text, record, frame of the machine link, queue.
#include "LTProto/ComDevice/Crc16.h"
#include "LTProto/Tools/Hex.h"
#include "LumoBridge/LTData.h"
#include "toviCommonLib/Protocol/ProtocolConsole.h"
#include "toviCommonLib/tovi.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <random>
#include <vector>

namespace
{

using LT_Proto::eDataType;
using LT_Proto::LTData;

constexpr i64 SMALL_LEN = 15;       // a packet of the client link that carries a number
constexpr i64 FRAME_LEN = 13;       // a message of the machine link that carries a number
constexpr i64 SERIAL_BLOCK = 5009;  // a block of a file on a serial line, with its frame
constexpr i64 SOCKET_BLOCK = 50009; // the same on TCP
constexpr i64 LONG_MESSAGE = 60000;
constexpr u32 VARIABLE = 10;

std::vector<u8> randomBytes(i64 len)
{
    std::mt19937 generator(1);
    std::vector<u8> bytes(static_cast<size_t>(len));
    for (u8 &byte : bytes)
        byte = static_cast<u8>(generator());
    return bytes;
}

void countBytes(benchmark::State &state, u32 perTurn)
{
    state.SetBytesProcessed(state.iterations() * static_cast<i64>(perTurn));
}

void crc16(benchmark::State &state)
{
    const std::vector<u8> bytes = randomBytes(state.range(0));
    const u32 len = static_cast<u32>(bytes.size());
    for (auto turn : state)
        benchmark::DoNotOptimize(tovi::Crc16(bytes.data(), len));
    countBytes(state, len);
}
BENCHMARK(crc16)->Arg(SMALL_LEN)->Arg(SERIAL_BLOCK)->Arg(SOCKET_BLOCK);

void hexText(benchmark::State &state)
{
    const std::vector<u8> bytes = randomBytes(state.range(0));
    const u32 len = static_cast<u32>(bytes.size());
    for (auto turn : state)
        benchmark::DoNotOptimize(Tools::ToHex(bytes.data(), len, ' '));
    countBytes(state, len);
}
BENCHMARK(hexText)->Arg(SMALL_LEN)->Arg(SERIAL_BLOCK)->Arg(SOCKET_BLOCK);

// ---- The record between the threads: a number for 0, else so many bytes.

LTData recordOf(i64 len)
{
    LTData record;
    if (len == 0)
        record.Set(eDataType::VARIABLE_ID, VARIABLE, eDataType::DECIMAL_POSITIVE, 1234, u8{2});
    else
        record.Set(eDataType::VARIABLE_ID, VARIABLE, eDataType::DATA_BUFFER, static_cast<u32>(len),
                   randomBytes(len).data());
    return record;
}

void recordEncode(benchmark::State &state)
{
    const LTData record = recordOf(state.range(0));
    Tools::MemoryBuffer encoded;
    for (auto turn : state)
    {
        record.Encode(encoded);
        benchmark::DoNotOptimize(encoded.m_ptr.get());
    }
    countBytes(state, encoded.m_len);
}
BENCHMARK(recordEncode)->Arg(0)->Arg(LONG_MESSAGE);

void recordDecode(benchmark::State &state)
{
    Tools::MemoryBuffer encoded;
    recordOf(state.range(0)).Encode(encoded);
    LTData record;
    for (auto turn : state)
        benchmark::DoNotOptimize(record.Decode(encoded.m_len, encoded.m_ptr.get()));
    countBytes(state, encoded.m_len);
}
BENCHMARK(recordDecode)->Arg(0)->Arg(LONG_MESSAGE);

// ---- A frame of the machine link.

struct sFrame
{
    tovi::ProtocolConsole protocol{tovi::memory_getSysHeapAllocator(), 1024};
    tovi::ProtocolBuffer frame;
    std::vector<u8> message;

    explicit sFrame(i64 len) : message(randomBytes(len))
    {
        frame.setup(tovi::memory_getSysHeapAllocator(), 1024);
        frame.advanceCursor(build());
    }
    u32 build() { return protocol.virt_encodeBuffer(message.data(), static_cast<u32>(message.size()), frame); }
};

void consoleFrameBuild(benchmark::State &state)
{
    sFrame example(state.range(0));
    for (auto turn : state)
    {
        example.frame.reset();
        benchmark::DoNotOptimize(example.build());
    }
    countBytes(state, static_cast<u32>(example.message.size()));
}
BENCHMARK(consoleFrameBuild)->Arg(FRAME_LEN)->Arg(LONG_MESSAGE);

void consoleFrameParse(benchmark::State &state)
{
    sFrame example(state.range(0));
    tovi::ProtocolBuffer message;
    message.setup(tovi::memory_getSysHeapAllocator(), static_cast<u32>(example.message.size()));
    for (auto turn : state)
    {
        u32 len = 0;
        message.reset();
        example.protocol.virt_decodeBuffer(nullptr, example.frame.data(), example.frame.getCursor(), message, &len);
        benchmark::DoNotOptimize(message.data());
        if (len != example.message.size())
            state.SkipWithError("the frame was not understood");
    }
    countBytes(state, static_cast<u32>(example.message.size()));
}
BENCHMARK(consoleFrameParse)->Arg(FRAME_LEN)->Arg(LONG_MESSAGE);

// ---- A queue between threads, here with both ends in one.

void queuePushPop(benchmark::State &state)
{
    sHThreadMsgR readEnd;
    sHThreadMsgW writeEnd;
    if (!tovi::thread::createMsgQ(&readEnd, &writeEnd))
        std::abort();
    const std::vector<u8> payload = randomBytes(state.range(0));
    tovi::thread::sMsg message;
    for (auto turn : state)
    {
        tovi::thread::pushMsg(writeEnd, 1, VARIABLE, payload.data(), static_cast<u32>(payload.size()));
        if (!tovi::thread::popMsg(readEnd, &message))
            state.SkipWithError("the message is lost");
        tovi::thread::deleteMsg(message);
    }
    tovi::thread::deleteMsgQ(readEnd, writeEnd);
}
BENCHMARK(queuePushPop)->Arg(0)->Arg(FRAME_LEN)->Arg(LONG_MESSAGE);

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv) || !tovi::init("MicroBench", nullptr))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    tovi::deinit();
    return 0;
}
