// The real daemon on a serial line, as its main station; a raw client at the far end.
#pragma once

#include "LumoSmuSim/PtyCable.h"
#include "tests/endToEnd/BridgeFixture.h"

#include <filesystem>

inline const std::string POLLING = framed("2A 00");
constexpr char ACK[] = "2A 01";
constexpr char NACK[] = "2A 02 00 02";

class UartTest : public BridgeTest
{
  protected:
    // Launches the bridge on `device`.
    void startOn(const std::string &device, std::vector<std::string> more = {})
    {
        more.insert(more.end(), {"-server", "127.0.0.1:" + std::to_string(m_smu.port()), "-uart", device});
        m_bridge = std::make_unique<BridgeProcess>(more);
        m_smu.take();
        ASSERT_TRUE(m_bridge->prints("Max payload lenght"));
    }

    // Puts a new line behind the device name that the bridge knows, with the client at its far end.
    void plugIn()
    {
        m_port.emplace();
        std::filesystem::remove(device());
        std::filesystem::create_symlink(m_port->device(), device());
        m_client = std::make_unique<RawClient>(Descriptor(m_port->takeFarEnd()));
    }
    void unplug()
    {
        m_client.reset();
        m_port.reset();
    }
    std::string device() const { return m_folder.path("line"); }

    // Answers the first poll; the machine hears of the client and the link is at rest, the bridge polling.
    void answerPoll()
    {
        ASSERT_EQ(m_client->receive(), POLLING);
        m_client->send(ACK);
        ASSERT_EQ(m_smu.receive(), LINK_UP);
        ASSERT_EQ(m_client->receive(), POLLING);
    }

    void startWithClient(const std::vector<std::string> &more = {})
    {
        plugIn();
        ASSERT_NO_FATAL_FAILURE(startOn(device(), more));
        ASSERT_NO_FATAL_FAILURE(answerPoll());
        awaitFreshRecord();
    }

    // Shows that the line is free until a packet other than a poll comes, which is returned.
    std::string receiveBeyondPolls()
    {
        for (;;)
        {
            std::string packet = m_client->receive();
            if (packet != POLLING)
                return packet;
            m_client->send(ACK);
        }
    }

    // The value that the machine sends goes out at the next ready signal, here that of `signal`.
    std::string valueAt(const std::string &value, const char *signal = ACK)
    {
        m_smu.send("90 01 00 00 00 00 00 0A " + value);
        EXPECT_TRUE(m_bridge->prints("Push packet"));
        m_client->send(signal);
        std::string packet = m_client->receive();
        if (packet == POLLING) // it crossed the signal
            packet = m_client->receive();
        return packet;
    }

    TempFolder m_folder;
    std::optional<LumoSmuSim::PtyPort> m_port;
};
