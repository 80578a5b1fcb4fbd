// The client's thread between two queues and a raw client.
#include "LumoBridge/Protocol.h"

#include "LTProto/ComDevice/ComDevSocket.h"
#include "tests/LumoBridge/TestQueue.h"
#include "tests/WirePacket.h"

#include <gtest/gtest.h>

using namespace LT_Proto;
using enum eMqCommand;

class ProtocolTest : public testing::Test
{
  protected:
    static int Init(Protocol &thread, const sHThreadMsgR &read, const sHThreadMsgW &write, u8 kind = 1,
                    const std::string &ip = ownLoopback())
    {
        return thread.Init(read, write, eComType{kind}, std::string("@").append(ip).c_str(), 0);
    }
    void SetUp() override
    {
        ASSERT_EQ(Init(m_thread, m_in.read, m_out.write), 0);
        ASSERT_TRUE(m_thread.Start());
    }
    void Exchange(const std::vector<eMqCommand> &commands, const std::vector<eMqCommand> &replies)
    {
        for (eMqCommand command : commands)
            LTData::SendCommand(m_in.write, command);
        for (eMqCommand reply : replies)
            EXPECT_EQ(m_out.next(), "65535 " + std::to_string(static_cast<u32>(reply)) + " []");
    }
    TestQueue m_in, m_out;
    Tools::LogTracer m_tracer;
    Protocol m_thread{&m_tracer, m_in.load, m_out.load};
};

TEST_F(ProtocolTest, RepliesTellTheTracer)
{
    m_tracer.m_traceOnConsole = true;
    Exchange({LOG_ENABLE, LOG_ENABLE, TRACE_ENABLE, TRACE_DISABLE}, {LOG_ENABLE, TRACE_ENABLE, TRACE_ENABLE});
    m_tracer.m_traceOnConsole = false;
    Exchange({LOG_STATUS, TRACE_STATUS, TEMPORARY_PATH, LOG_CHANGE, LOG_DISABLE, TRACE_CHANGE, TRACE_ENABLE,
              LOG_WRITE_CHANGE, LOG_WRITE_ENABLE, LOG_WRITE_CHANGE, LOG_CHANGE, LOG_WRITE_DISABLE, LOG_DISABLE},
             {LOG_DISABLE, TRACE_DISABLE, LOG_WRITE_DISABLE, LOG_WRITE_ENABLE, LOG_ENABLE, LOG_DISABLE});
    LTData::SendCommand(m_in.write, LIB_VERSION);
    EXPECT_EQ(m_out.next(), "65535 4294967295 [30 30 2e 30 30 2e 30 30 30 30]");
}

TEST_F(ProtocolTest, AClientThatClosedIsHeardToItsEndBeforeTheNextOneIsTakenOn)
{
    ASSERT_TRUE(m_thread.Stop()); // the test takes the steps
    Descriptor client = connectTo(ownLoopback(), 8283);
    m_thread.HandleEvent(Protocol::EVENT_FROM_PROTOCOL_SERVER);
    client.write(Framed("33 06 00 00 00 2A"));
    client.reset();
    const Descriptor next = connectTo(ownLoopback(), 8283);
    m_thread.HandleEvent(Protocol::EVENT_FROM_PROTOCOL_SERVER);
    for (const char *message : {"65534 1 []", "1 42 []", "65534 0 []", "65534 1 []"})
        EXPECT_EQ(m_out.next(), message);
}

TEST_F(ProtocolTest, AClientThatIsReplacedIsToldAsDownThenUp)
{
    static double now = 1000000; // seconds
    auto device = std::make_unique<tovi::ComDevSocket>(nullptr, [] { return Tools::DateTime(now); });
    ASSERT_TRUE(device->Set(std::string("@").append(ownLoopback()).c_str(), 8284));
    TestQueue in, out;
    Protocol thread(nullptr, in.load, out.load);
    ASSERT_EQ(thread.Init(in.read, out.write, eComType::SOCKET_MAIN, std::move(device), 0), 0);
    const Descriptor first = connectTo(ownLoopback(), 8284);
    thread.HandleEvent(Protocol::EVENT_FROM_PROTOCOL_SERVER);
    now += 61;
    const Descriptor second = connectTo(ownLoopback(), 8284);
    thread.HandleEvent(Protocol::EVENT_FROM_PROTOCOL_SERVER);
    for (const char *message : {"65534 1 []", "65534 0 []", "65534 1 []"})
        EXPECT_EQ(out.next(), message);
}

TEST_F(ProtocolTest, ASubscriberComesBackToItsMainStationUntilItIsStopped)
{
    u16 port = 0;
    Descriptor station = listenAnywhere(&port);
    const auto accepted = [&]
    {
        pollfd source{station.get(), POLLIN, 0};
        return Descriptor(poll(&source, 1, PATIENCE_MSEC) == 1 ? accept(station.get(), nullptr, nullptr) : -1);
    };
    TestQueue in, out;
    Protocol thread(nullptr, in.load, out.load);
    const std::string address = "127.0.0.1:" + std::to_string(port);
    ASSERT_EQ(thread.Init(in.read, out.write, eComType::SOCKET_SUBSCRIBER, address.c_str(), 0), 0);
    ASSERT_TRUE(thread.Start());
    accepted().reset();
    Descriptor again = accepted();
    EXPECT_EQ(out.next(), "65534 1 []");
    again.write(Framed("33 06 00 00 00 2A"));
    EXPECT_EQ(again.readExactly(15), Framed("66 FF FF FF FF 80 00 00 00 00"));
    EXPECT_EQ(out.next(), "1 42 []");
    station.reset();
    again.reset();
    EXPECT_EQ(out.next(), "65534 0 []");
    EXPECT_TRUE(thread.Stop());
}

TEST_F(ProtocolTest, StartsAfterAGoodInitAloneAndStopsOnce)
{
    EXPECT_TRUE(m_thread.Stop());
    EXPECT_FALSE(m_thread.Stop());
    // even before its first step
    Protocol noLink(nullptr, m_in.load, m_out.load), noRead(nullptr, m_in.load, m_out.load),
        noWrite(nullptr, m_in.load, m_out.load);
    const std::string near = ownLoopback().substr(0, ownLoopback().rfind('.'));
    EXPECT_EQ(Init(noLink, m_in.read, m_out.write, 0), 1);
    EXPECT_EQ(Init(noRead, {}, m_out.write, 1, near + ".253"), 2);
    EXPECT_EQ(Init(noWrite, m_in.read, {}, 1, near + ".252"), 2);
    for (Protocol *thread : {&noLink, &noRead, &noWrite})
        EXPECT_FALSE(thread->Start());
}
