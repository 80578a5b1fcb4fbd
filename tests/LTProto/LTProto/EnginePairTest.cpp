// Two engines face to face, over a serial line and over TCP.
#include "LTProto/LTProto/LTProto.h"
#include "LumoSmuSim/PtyCable.h"
#include "tests/Descriptor.h"
#include "tests/LTProto/LTProto/EngineFixture.h"
#include "tests/TempFolder.h"

namespace
{

using namespace LTProtocol;

constexpr u32 PEER = 18, NEWCOMER = 19;

struct Station
{
    OSWaitableGrp group;
    LTProto engine;
    std::string delivered; // the last that the engine gave to its user, as hexadecimal

    void step()
    {
        const u8 n = group.wait(std::min(engine.IdleIn(), 2u));
        for (u8 i = 0; i < n; ++i)
        {
            Tools::MemoryBuffer payload;
            const eReceiveResult result =
                group.getEventUserParamAsU32(i) == PEER ? engine.OnReceive(payload) : engine.OnReceiveServer();
            if (result == eReceiveResult::DataBuffer || result == eReceiveResult::VarRequest)
                delivered = payload.ToHex(0, ' ');
            else if (result == eReceiveResult::FileReceive)
                delivered = readFile(payload.ToStringFromPos(2));
        }
        if (engine.IdleIn() == 0)
            engine.OnEventTimeout();
    }
};

// Each engine has a folder for received files of its own.
class EnginePair : public testing::Test
{
  protected:
    ~EnginePair() override { WorkIn(m_before); }
    static void WorkIn(const std::filesystem::path &folder)
    {
        std::filesystem::current_path(folder);
        platform::internal_init("tests");
    }

    void Open(eComType mainType, const std::string &mainDevice, eComType subscriberType,
              const std::string &subscriberDevice)
    {
        WorkIn(m_mainFolder.path());
        ASSERT_TRUE(m_main.engine.Init(m_main.group, PEER, NEWCOMER, mainType, mainDevice.c_str(), 1000));
        WorkIn(m_subscriberFolder.path());
        ASSERT_TRUE(m_subscriber.engine.Init(m_subscriber.group, PEER, NEWCOMER, subscriberType,
                                             subscriberDevice.c_str(), 1000));
        while (!m_main.engine.DeviceHasPeer())
            m_main.step();
    }

    // Runs both until the last that `receiver` delivered is `expected`.
    bool Delivers(const Station &receiver, const std::string &expected)
    {
        const u64 start = platform::getTimeNowMSec();
        while (receiver.delivered != expected && platform::getTimeNowMSec() < start + PATIENCE_MSEC)
        {
            m_main.step();
            m_subscriber.step();
        }
        return receiver.delivered == expected;
    }

    void ExpectTalk()
    {
        for (auto [sender, receiver] : {std::pair{&m_main, &m_subscriber}, {&m_subscriber, &m_main}})
        {
            const eDataType types[] = {eDataType::INTEGER_POSITIVE, eDataType::DECIMAL_NEGATIVE,
                                       eDataType::DATA_BUFFER};
            const char *values[] = {"00 00 00 07 01 00 00 00 19", "00 00 00 07 04 00 00 00 19 02",
                                    "00 00 00 07 10 ca fe"};
            for (size_t i = 0; i < std::size(types); ++i)
            {
                ASSERT_TRUE(sender->engine.DataEnqueue(eDataType::VARIABLE_ID, 7, types[i], 25, 2, {2, "\xCA\xFE"}));
                ASSERT_TRUE(Delivers(*receiver, values[i])) << values[i];
            }
            ASSERT_TRUE(sender->engine.RequestEnqueue(eDataType::VARIABLE_ID, 4));
            ASSERT_TRUE(Delivers(*receiver, "00 00 00 04"));
            // The ticket that it was given: requests of both directions are numbered together.
            ASSERT_TRUE(Delivers(*sender, std::string("00 00 00 04 80 00 00 00 0") + (sender == &m_main ? '0' : '1')));
        }
    }

    // A file each way; over TCP nobody polls, so whoever is to receive it tells that it is ready.
    void ExpectFiles()
    {
        for (auto [sender, receiver] : {std::pair{&m_main, &m_subscriber}, {&m_subscriber, &m_main}})
        {
            const std::string content(5000, sender == &m_main ? 'm' : 's'); // five whole blocks and an empty one
            m_folder.write("file", content);
            ASSERT_TRUE(sender->engine.FileSend(u16{9}, u8{0}, Tools::MemoryBuffer(m_folder.path("file"))));
            if (receiver->engine.IsSocket())
                receiver->engine.CommandSend(eCommandCode::POLLING, 0);
            ASSERT_TRUE(Delivers(*receiver, content));
        }
    }

    TempFolder m_folder;
    const std::filesystem::path m_before = std::filesystem::current_path();
    TempFolder m_mainFolder, m_subscriberFolder;
    Station m_main;
    Station m_subscriber;
};

TEST_F(EnginePair, TalksOverASerialLine)
{
    LumoSmuSim::PtyCable cable;
    Open(eComType::UART_MAIN, cable.deviceA(), eComType::UART_SUBSCRIBER, cable.deviceB());
    ExpectTalk();
    ExpectFiles();
}

TEST_F(EnginePair, TalksOverTcp)
{
    const std::string address = ownLoopback() + ":8283";
    Open(eComType::SOCKET_MAIN, "@" + address, eComType::SOCKET_SUBSCRIBER, address);
    ExpectTalk();
    ExpectFiles();
}

} // namespace
