// The real daemon between a raw machine and a raw client.
#pragma once

#include "tests/endToEnd/BridgeProcess.h"
#include "tests/endToEnd/RawPeers.h"

constexpr char LINK_UP[] = "90 00 00 00 00 00 80 00 01";
constexpr char LINK_DOWN[] = "90 00 00 00 00 00 80 00 00";
constexpr u16 CLIENT_PORT = 8283;

class BridgeTest : public testing::Test
{
  protected:
    std::vector<std::string> arguments(const std::vector<std::string> &more = {}) const
    {
        std::vector<std::string> all = {"-server", "127.0.0.1:" + std::to_string(m_smu.port()), "-socket", m_ip};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }

    void launch(const std::vector<std::string> &more = {},
                BridgeProcess::eKeyboard keyboard = BridgeProcess::eKeyboard::pipe,
                const std::function<void()> &prepare = {})
    {
        m_bridge = std::make_unique<BridgeProcess>(arguments(more), keyboard, "", prepare);
    }

    // Launches the daemon up to where it listens for its client.
    void start(const std::vector<std::string> &more = {})
    {
        launch(more);
        m_smu.take();
        ASSERT_TRUE(m_bridge->prints("Max payload lenght"));
    }

    void connectClient()
    {
        m_client = std::make_unique<RawClient>(m_ip, CLIENT_PORT);
        ASSERT_EQ(m_smu.receive(), LINK_UP);
        awaitFreshRecord();
    }

    // Until the main thread took its hands off the client's queue: what comes next is not of the same drain.
    void awaitFreshRecord()
    {
        m_smu.send("00 01 00 00");
        ASSERT_TRUE(m_bridge->prints("Incoming msg from SMU: what=1, userValue=0, payloadlLen=0\n"));
    }

    void startWithClient(const std::vector<std::string> &more = {})
    {
        ASSERT_NO_FATAL_FAILURE(start(more));
        ASSERT_NO_FATAL_FAILURE(connectClient());
    }

    // Ends the daemon by its keyboard and checks that all went well.
    void stop()
    {
        m_bridge->type("x");
        EXPECT_EQ(m_bridge->status(), 0);
        EXPECT_NE(m_bridge->output().find("Program exit"), std::string::npos);
        EXPECT_NE(m_bridge->output().find("Program end\n\n"), std::string::npos);
    }

    // The client acknowledges, and the bridge has nothing more for it: the link is at rest.
    void acknowledge() { m_client->send("2A 01"); }

    const std::string m_ip = ownLoopback();
    RawSmu m_smu;
    std::unique_ptr<BridgeProcess> m_bridge;
    std::unique_ptr<RawClient> m_client;
};
