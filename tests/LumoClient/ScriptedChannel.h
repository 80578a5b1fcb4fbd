// A ByteChannel that plays a bridge by a script and moves its clock instead of waiting.
// The script is worked off in order: `expect` is the next packet the client must write, `arrive` is one read,
// `pass` lets time go by, `hangUp` ends the connection. Packets are given as command type and payload.
#pragma once

#include "LumoClient/ClientLink.h"

#include "tests/WirePacket.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <initializer_list>

class ScriptedChannel final : public LumoClient::ByteChannel
{
  public:
    ScriptedChannel &expect(const std::string &content) { return add(eStep::EXPECT, Framed(content)); }
    ScriptedChannel &arriveRaw(const std::vector<u8> &bytes) { return add(eStep::ARRIVE, bytes); }
    ScriptedChannel &pass(u32 msec) // nothing comes for so long
    {
        add(eStep::PASS, {});
        m_steps.back().msec = msec;
        return *this;
    }
    ScriptedChannel &hangUp() { return add(eStep::HANG_UP, {}); }
    ScriptedChannel &arrive(std::initializer_list<std::string> contents)
    {
        std::vector<u8> bytes;
        for (const std::string &content : contents)
        {
            const std::vector<u8> packet = Framed(content);
            bytes.insert(bytes.end(), packet.begin(), packet.end());
        }
        return add(eStep::ARRIVE, bytes);
    }

    ScriptedChannel &polled()
    {
        m_isPolled = true;
        return *this;
    }

    bool isPlayed() const { return m_steps.empty(); }
    const std::vector<u64> &writtenAtMSec() const { return m_writtenAtMSec; }

    std::optional<size_t> read(std::span<u8> into, u32 timeoutMSec) override
    {
        if (!m_steps.empty() && m_steps.front().kind == eStep::HANG_UP)
        {
            m_steps.pop_front();
            m_isClosed = true;
        }
        if (m_isClosed)
            return std::nullopt;
        if (!m_steps.empty() && m_steps.front().kind == eStep::PASS)
        {
            const u32 passed = std::min(timeoutMSec, m_steps.front().msec);
            m_nowMSec += passed;
            m_steps.front().msec -= passed;
            if (m_steps.front().msec == 0)
                m_steps.pop_front();
            return 0;
        }
        if (m_steps.empty() || m_steps.front().kind == eStep::EXPECT)
        {
            m_nowMSec += timeoutMSec;
            return 0;
        }
        const std::vector<u8> bytes = std::move(m_steps.front().bytes);
        m_steps.pop_front();
        std::ranges::copy(bytes, into.begin());
        return bytes.size();
    }

    bool write(std::span<const u8> bytes) override
    {
        const std::vector<u8> written(bytes.begin(), bytes.end());
        const bool isExpected =
            !m_steps.empty() && m_steps.front().kind == eStep::EXPECT && m_steps.front().bytes == written;
        EXPECT_TRUE(isExpected) << "unexpected packet " << testing::PrintToString(written);
        if (isExpected)
            m_steps.pop_front();
        m_writtenAtMSec.push_back(m_nowMSec);
        return !m_isClosed;
    }

    void close() override { m_isClosed = true; }
    void pause(u32 msec) override { m_nowMSec += msec; }
    bool isPolled() const override { return m_isPolled; }
    u64 nowMSec() const override { return m_nowMSec; }

  private:
    enum class eStep
    {
        EXPECT,
        ARRIVE,
        PASS,
        HANG_UP
    };
    struct Step
    {
        eStep kind;
        std::vector<u8> bytes;
        u32 msec = 0;
    };

    ScriptedChannel &add(eStep kind, const std::vector<u8> &bytes)
    {
        m_steps.push_back({kind, bytes, 0});
        return *this;
    }

    std::deque<Step> m_steps;
    std::vector<u64> m_writtenAtMSec;
    u64 m_nowMSec = 1'000'000;
    bool m_isClosed = false;
    bool m_isPolled = false;
};

inline const std::string ACK = "2A 01";
inline const std::string POLLING = "2A 00";
inline const std::string CHECKSUM_NACK = "2A 02 00 02";

// A link that plays its script to the end.
class ScriptedLinkTest : public testing::Test
{
  protected:
    ScriptedLinkTest()
    {
        auto channel = std::make_unique<ScriptedChannel>();
        m_bridge = channel.get();
        m_link.attach(std::move(channel));
    }
    ~ScriptedLinkTest() override { EXPECT_TRUE(m_bridge->isPlayed()) << "the script was not played to its end"; }

    u64 GapBeforeWrite(size_t index) const
    {
        return m_bridge->writtenAtMSec().at(index) - m_bridge->writtenAtMSec().at(index - 1);
    }

    ScriptedChannel *m_bridge; // owned by m_link
    LumoClient::ClientLink m_link;
};
