// Files on TCP, in turn through the bridge and by bare stop and wait.
#include "bench/Scenarios.h"

#include "LTProto/LTProto/FileToSend.h"
#include "toviCommonLib/toviByteOrder.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <thread>

namespace LumoBench
{

using namespace LTProtocol;

namespace
{

constexpr u16 FILE_ID = 7;
constexpr u16 BLOCK_LEN = 50000;
constexpr u16 BLOCK_LENGTHS[] = {500, 1000, 2000, 5000, 10000, 20000, 50000};
constexpr u64 MEGABYTE = 1000000;
constexpr u64 PIECE = 10 * MEGABYTE; // of each program, then the next has its turn
constexpr int OFFER_WAIT_MSEC = 20;  // after a POLLING, which draws no answer before the file is queued
constexpr int OFFER_TRIES = 500;
constexpr size_t PATTERN_LEN = 65536;

// The bare program and its client.
struct sBareRun
{
    u16 port = freshPort();
    std::string folder;
    Process process;
    ClientEnd client;

    sBareRun(const sContext &context, const std::string &source)
        : folder(context.folder),
          process({context.self, "transfer", ownLoopback(), std::to_string(port), context.folder + "/bare.bin", source},
                  context.folder),
          client(ClientEnd::onTcp(ownLoopback(), port))
    {
    }
};

std::string sourceOf(const sContext &context)
{
    return context.folder + "/source.bin";
}

const Bytes &pattern()
{
    static const Bytes bytes = []
    {
        std::mt19937 generator(1);
        Bytes made(PATTERN_LEN);
        for (u8 &byte : made)
            byte = static_cast<u8>(generator());
        return made;
    }();
    return bytes;
}

[[noreturn]] void fail(const char *why)
{
    throw std::runtime_error(std::string("file: ") + why);
}

// The head of a negotiation: block 0 and a length.
Bytes negotiation(u16 blockLen)
{
    Bytes payload(BLOCK_NR_LEN);
    addNumber(payload, blockLen, 2);
    return payload;
}

void awaitOffer(ClientEnd &client)
{
    if (client.isLine())
    {
        client.receive(eCommandType::DATABLOCK);
        return;
    }
    for (int i = 0; i < OFFER_TRIES; ++i)
    {
        client.poll();
        if (const auto offer = client.receiveWithin(OFFER_WAIT_MSEC))
        {
            if (offer->type == eCommandType::DATABLOCK)
                return;
            fail("something else was offered");
        }
        client.awaitRead();
    }
    fail("not offered");
}

double seconds(u64 sinceNSec)
{
    return static_cast<double>(nowNSec() - sinceNSec) / 1e9;
}

double rate(u64 size, double spent)
{
    return static_cast<double>(size) / 1e6 / spent;
}

struct sMove
{
    double megabytes = 0;
    double seconds = 0;
    double processorNSec = 0;

    double rate() const { return megabytes / seconds; }
    double processorMSecOf1GB() const { return processorNSec / 1e3 / megabytes; }
};

// Adds one file to `sum`; `move` returns its seconds.
template <typename Move>
void add(sMove &sum, const Process &process, u64 size, Move move)
{
    const u64 before = process.processorNSec();
    sum.seconds += move();
    sum.processorNSec += static_cast<double>(process.processorNSec() - before);
    sum.megabytes += static_cast<double>(size) / 1e6;
}

// What a file that arrives is about to fill. A virtual machine hands free memory back, and its first use is slow.
void touchMemory(const std::string &folder, u64 size)
{
    const std::string path = folder + "/touched.bin";
    makeSource(path, size);
    std::filesystem::remove(path);
}

double uploadBare(sBareRun &bare, u64 size, u16 blockLen)
{
    touchMemory(bare.folder, size);
    const double spent = upload(bare.client, FILE_ID, size, blockLen);
    std::filesystem::remove(bare.folder + "/bare.bin");
    return spent;
}

void compare(Results &results, const std::string &way, const sMove &bridge, const sMove &bare)
{
    results.addPair(way, "MB/s", bridge.rate(), bare.rate());
    results.addPair("processor time of 1 GB, " + way, "ms", bridge.processorMSecOf1GB(), bare.processorMSecOf1GB());
}

// For the plot: block length, then MB/s of uploads and downloads, each through the bridge and bare.
void writeRates(const sContext &context, BridgeRun &bridge, sBareRun &bare, const std::string &source)
{
    std::ofstream file(context.out + "/blocks.dat");
    for (const u16 blockLen : BLOCK_LENGTHS)
    {
        const u64 size = u64{blockLen} * context.scaled(400, 50);
        makeSource(source, size);
        std::vector<double> rates[4];
        for (u32 round = 0; round < context.rounds(); ++round)
        {
            rates[0].push_back(rate(size, uploadThrough(bridge, size, blockLen)));
            rates[1].push_back(rate(size, uploadBare(bare, size, blockLen)));
            rates[2].push_back(rate(size, downloadThrough(bridge, source, size, blockLen)));
            rates[3].push_back(rate(size, download(bare.client, size, blockLen)));
        }
        file << blockLen;
        for (const std::vector<double> &way : rates)
            file << ' ' << median(way);
        file << '\n';
    }
}

// Resident memory while it lives, for the plot: seconds, MB.
class MemoryWatch
{
  public:
    MemoryWatch(const Process &process, const std::string &path)
        : m_thread([this, &process, path] { run(process, path); })
    {
    }
    ~MemoryWatch() { m_ended = true; }

  private:
    void run(const Process &process, const std::string &path) const
    {
        std::ofstream file(path);
        for (const u64 begin = nowNSec(); !m_ended; std::this_thread::sleep_for(std::chrono::milliseconds(50)))
            file << seconds(begin) << ' ' << process.residentMB() << '\n';
    }

    std::atomic<bool> m_ended = false;
    std::jthread m_thread;
};

} // namespace

double upload(ClientEnd &client, u16 fileId, u64 size, u16 blockLen)
{
    Bytes asked = negotiation(blockLen);
    asked.push_back(static_cast<u8>(eDataType::FILE_ID));
    addNumber(asked, fileId, 2);
    client.send(eCommandType::DATABLOCK, asked);
    const ClientEnd::Packet answer = client.receive(eCommandType::DATABLOCK);
    const u16 granted = tovi::utils::readMsbLsbU16(&answer.payload[BLOCK_NR_LEN + 2]);
    const u64 begin = nowNSec();
    u64 left = size;
    for (u32 blockNr = 1; blockNr != BLOCK_NR_LAST + 1; ++blockNr)
    {
        const bool isLast = left < granted;
        const size_t len = isLast ? static_cast<size_t>(left) : granted;
        blockNr = isLast ? BLOCK_NR_LAST : blockNr;
        u8 number[BLOCK_NR_LEN];
        NumberToBufferMsbLsb(number, blockNr, BLOCK_NR_LEN);
        client.send(eCommandType::DATABLOCK, number, std::span(pattern()).first(len));
        if (client.receive(eCommandType::CMD).payload[0] != ACK_BYTE)
            fail("a block was refused");
        left -= len;
    }
    return seconds(begin);
}

double download(ClientEnd &client, u64 size, u16 blockLen)
{
    awaitOffer(client);
    Bytes granted = negotiation(blockLen);
    addNumber(granted, blockLen, 2);
    const u64 begin = nowNSec();
    client.send(eCommandType::DATABLOCK, granted);
    for (u64 taken = 0;;)
    {
        const std::span<const u8> block = client.receive(eCommandType::DATABLOCK).payload;
        taken += block.size() - BLOCK_NR_LEN;
        if (block[0] == 0xFF && tovi::utils::readMsbLsbU16(&block[1]) == 0xFFFF)
        {
            const double spent = seconds(begin);
            if (taken != size)
                fail("of another length");
            client.rest();
            return spent;
        }
        client.acknowledge();
    }
}

double uploadThrough(BridgeRun &bridge, u64 size, u16 blockLen)
{
    touchMemory(bridge.folder, size);
    const double spent = upload(*bridge.client, FILE_ID, size, blockLen);
    const std::string path = bridge.machine.awaitFile();
    if (std::filesystem::file_size(path) != size)
        fail("of another length");
    std::filesystem::remove(path);
    return spent;
}

double downloadThrough(BridgeRun &bridge, const std::string &source, u64 size, u16 blockLen)
{
    bridge.machine.announceFile(FILE_ID, source);
    return download(*bridge.client, size, blockLen);
}

void makeSource(const std::string &path, u64 size)
{
    std::ofstream file(path, std::ios::binary);
    for (u64 left = size; left > 0;)
    {
        const u64 len = std::min<u64>(left, PATTERN_LEN);
        file.write(reinterpret_cast<const char *>(pattern().data()), static_cast<std::streamsize>(len));
        left -= len;
    }
}

void measureTransfers(sContext &context)
{
    const std::string source = sourceOf(context);
    makeSource(source, PIECE);
    BridgeRun bridge(context);
    bridge.connectClient();
    BridgeRun logging(context, {"-logfile", "bridge.log", "-logdim", "10000000"});
    logging.connectClient();
    sBareRun bare(context, source);
    const auto downloadBy = [&](BridgeRun &run) { return downloadThrough(run, source, PIECE, BLOCK_LEN); };
    Results &results = context.results;
    for (u32 round = 0; round < context.rounds(); ++round)
    {
        sMove up, bareUp, down, bareDown, logged;
        for (u32 i = 0; i < context.scaled(10, 1); ++i)
        {
            add(up, bridge.process, PIECE, [&] { return uploadThrough(bridge, PIECE, BLOCK_LEN); });
            add(bareUp, bare.process, PIECE, [&] { return uploadBare(bare, PIECE, BLOCK_LEN); });
            add(down, bridge.process, PIECE, [&] { return downloadBy(bridge); });
            add(bareDown, bare.process, PIECE, [&] { return download(bare.client, PIECE, BLOCK_LEN); });
            add(logged, logging.process, PIECE, [&] { return downloadBy(logging); });
        }
        compare(results, "upload", up, bareUp);
        compare(results, "download", down, bareDown);
        results.add("download with a log file: bridge", "MB/s", logged.rate());
        results.add("download with a log file: ratio", "times", logged.rate() / bareDown.rate());
    }
    writeRates(context, bridge, bare, source);
}

namespace
{

// Files of one size both ways, in turn through the bridge and bare. Returns how much of the bare rates the bridge reaches.
std::pair<double, double> compareSize(sContext &context, BridgeRun &bridge, sBareRun &bare, u64 megabytes)
{
    const u64 size = megabytes * MEGABYTE;
    const std::string source = sourceOf(context);
    makeSource(source, size);
    std::vector<double> up, bareUp, down, bareDown;
    for (u64 moved = 0; moved < context.scaled(50, 10); moved += megabytes)
    {
        up.push_back(rate(size, uploadThrough(bridge, size, BLOCK_LEN)));
        bareUp.push_back(rate(size, uploadBare(bare, size, BLOCK_LEN)));
        down.push_back(rate(size, downloadThrough(bridge, source, size, BLOCK_LEN)));
        bareDown.push_back(rate(size, download(bare.client, size, BLOCK_LEN)));
    }
    const std::string name = std::to_string(megabytes) + " MB";
    context.results.addPair("upload of " + name, "MB/s", median(up), median(bareUp));
    context.results.addPair("download of " + name, "MB/s", median(down), median(bareDown));
    return {median(up) / median(bareUp), median(down) / median(bareDown)};
}

} // namespace

// Files of growing size through a bridge that did nothing before.
void measureGrowth(sContext &context)
{
    const std::vector<u64> sizes = context.quick ? std::vector<u64>{1, 10} : std::vector<u64>{1, 10, 100, 1000};
    Results &results = context.results;
    for (u32 round = 0; round < context.rounds(); ++round)
    {
        BridgeRun bridge(context);
        bridge.connectClient();
        sBareRun bare(context, sourceOf(context));
        const MemoryWatch watch(bridge.process, context.out + "/memory.dat");
        std::vector<double> up, down, resident;
        for (const u64 megabytes : sizes)
        {
            const auto [upShare, downShare] = compareSize(context, bridge, bare, megabytes);
            up.push_back(upShare);
            down.push_back(downShare);
            resident.push_back(bridge.process.residentMB());
        }
        results.add("upload, slowest size: ratio", "times", percentile(up, 0) / percentile(up, 1));
        results.add("download, slowest size: ratio", "times", percentile(down, 0) / percentile(down, 1));
        results.add("resident memory, growth", "MB", resident.back() - resident.front());
        results.add("resident memory, after 1 GB", "MB", resident.back());
        results.add("resident memory, peak", "MB", bridge.process.peakMB());
    }
}

} // namespace LumoBench
