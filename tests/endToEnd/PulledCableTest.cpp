// Peers that vanish without a word, and others that only look as if they had.
#include "tests/endToEnd/BridgeFixture.h"
#include "tests/endToEnd/Cable.h"

#include <chrono>

namespace
{

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds SEEN_WITHIN(12000);
constexpr milliseconds INTERRUPTION(2000);
constexpr milliseconds NOT_READING(20000);

constexpr char VALUE_OF_MACHINE[] = "90 01 00 00 00 00 00 0A 01 00 00 00 19";
constexpr char VALUE_AT_CLIENT[] = "66 FF FF FF FE 06 00 00 00 0A 01 00 00 00 19";
constexpr char VALUE_OF_CLIENT[] = "66 FF FF FF FE 06 00 00 00 0B 01 00 00 00 5F";
constexpr char VALUE_AT_MACHINE[] = "90 01 00 00 00 00 00 0b 01 00 00 00 5f";

enum class eBeyond
{
    client,
    machine
};

// The daemon and both of its peers, one of them at the far end of the cable.
struct Rig
{
    explicit Rig(eBeyond peer) : beyond(peer)
    {
        const std::string machineIp = beyond == eBeyond::machine ? Cable::BEYOND : "127.0.0.1";
        smu = there(eBeyond::machine, [&] { return std::make_unique<RawSmu>(machineIp); });
        smu->receiveLittle();
        bridge = std::make_unique<BridgeProcess>(
            std::vector<std::string>{"-server", machineIp + ':' + std::to_string(smu->port()), "-socket", "0"});
        smu->take();
        EXPECT_TRUE(bridge->prints("Max payload lenght"));
        connectClient();
    }

    void connectClient()
    {
        const std::string bridgeIp = beyond == eBeyond::client ? Cable::HERE : "127.0.0.1";
        client = there(eBeyond::client, [&] { return std::make_unique<RawClient>(bridgeIp, CLIENT_PORT); });
        EXPECT_EQ(smu->receive(), LINK_UP);
        smu->send("00 01 00 00"); // takes the acknowledgement of the link state along: now nothing is on its way
        EXPECT_TRUE(bridge->prints("Incoming msg from SMU: what=1, userValue=0, payloadlLen=0\n"));
    }

    // What `make` gives, made where that peer is.
    template <typename Make>
    auto there(eBeyond peer, Make make) const -> decltype(make())
    {
        return peer == beyond ? cable.beyond(make) : make();
    }

    void pull()
    {
        EXPECT_TRUE(cable.pull());
        pulledAt = steady_clock::now();
    }
    void expectSeen() const { EXPECT_LT(steady_clock::now() - pulledAt, SEEN_WITHIN); }
    void interrupt() const
    {
        std::this_thread::sleep_for(INTERRUPTION);
        EXPECT_TRUE(cable.plug());
    }

    void machineSays() const { smu->send(VALUE_OF_MACHINE); }
    void clientHears() const
    {
        EXPECT_EQ(client->receive(), framed(VALUE_AT_CLIENT));
        client->send("2A 01");
        EXPECT_TRUE(bridge->prints("M Recv:(len=7) 60 00 05 2A 01"));
    }
    void clientSays(const char *value = VALUE_OF_CLIENT) const
    {
        client->send(value);
        EXPECT_EQ(client->receive(), framed("2A 01"));
    }
    void expectServes() const
    {
        machineSays();
        clientHears();
        clientSays();
        EXPECT_EQ(smu->receive(), VALUE_AT_MACHINE);
    }

    eBeyond beyond;
    Cable cable;
    std::unique_ptr<RawSmu> smu;
    std::unique_ptr<BridgeProcess> bridge;
    std::unique_ptr<RawClient> client;
    steady_clock::time_point pulledAt;
};

// The next client finds the place free.
void machineHearsOfIt(Rig &rig)
{
    EXPECT_EQ(rig.smu->receive(), LINK_DOWN);
    rig.expectSeen();
    EXPECT_TRUE(rig.cable.plug());
    rig.connectClient();
    rig.expectServes();
}

void programEnds(Rig &rig)
{
    ASSERT_TRUE(rig.bridge->prints("Program end\n\n"));
    rig.expectSeen();
    EXPECT_EQ(rig.bridge->status(), 0);
}

void idleClient(Rig &rig)
{
    rig.pull();
    machineHearsOfIt(rig);
}

void clientWithBytesOnTheirWay(Rig &rig)
{
    rig.pull();
    rig.machineSays();
    machineHearsOfIt(rig);
}

void idleMachine(Rig &rig)
{
    rig.pull();
    programEnds(rig);
}

void machineWithBytesOnTheirWay(Rig &rig)
{
    rig.pull();
    rig.clientSays();
    programEnds(rig);
}

void clientIsBackAfter2Seconds(Rig &rig)
{
    rig.pull();
    rig.machineSays();
    rig.interrupt();
    rig.clientHears();
    rig.expectServes();
}

void machineIsBackAfter2Seconds(Rig &rig)
{
    rig.pull();
    rig.clientSays();
    rig.interrupt();
    EXPECT_EQ(rig.smu->receive(), VALUE_AT_MACHINE);
    rig.expectServes();
}

// More than all buffers on the way hold, and small packets as well as large ones: each fills them in its own way.
void machineDoesNotRead(Rig &rig)
{
    std::string large = "66 FF FF FF FE 06 00 00 00 0C 10";
    for (int i = 0; i < 10000; ++i)
        large += " 5C";
    for (int i = 0; i < 500; ++i)
        rig.clientSays("66 FF FF FF FE 06 00 00 00 0C 10 5C");
    for (int i = 0; i < 30; ++i)
        rig.clientSays(large.c_str());
    std::this_thread::sleep_for(NOT_READING);
    rig.clientSays();
    std::string heard;
    do
        heard = rig.smu->receive();
    while (heard.starts_with("90 01 00 00 00 00 00 0c"));
    EXPECT_EQ(heard, VALUE_AT_MACHINE);
    rig.expectServes();
}

bool cableCanBeLaid()
{
    bool isLaid = false;
    std::jthread([&isLaid] { isLaid = Cable().isLaid(); }).join();
    return isLaid;
}

} // namespace

TEST(PulledCable, IsSeenAndNothingElseIsTakenForIt)
{
    const struct
    {
        const char *name;
        eBeyond beyond;
        void (*run)(Rig &rig);
    } rows[] = {
        {"idle client", eBeyond::client, idleClient},
        {"client with bytes on their way", eBeyond::client, clientWithBytesOnTheirWay},
        {"idle machine", eBeyond::machine, idleMachine},
        {"machine with bytes on their way", eBeyond::machine, machineWithBytesOnTheirWay},
        {"client is back after 2 s", eBeyond::client, clientIsBackAfter2Seconds},
        {"machine is back after 2 s", eBeyond::machine, machineIsBackAfter2Seconds},
        {"machine does not read for 20 s", eBeyond::machine, machineDoesNotRead},
    };
    if (BRIDGE_COMMAND.size() > 1)
        GTEST_SKIP() << "the emulator does not hand on what the system knows of a connection";
    if (!cableCanBeLaid())
        GTEST_SKIP() << "no rights for a network of its own, or no program ip";
    std::vector<std::jthread> runs;
    for (const auto &row : rows)
        runs.emplace_back(
            [&row]
            {
                SCOPED_TRACE(row.name);
                Rig rig(row.beyond);
                row.run(rig);
            });
}
