// The packet engine on a device that plays a script. The language of its tests: Feed bytes as one read, take the packets
// that were Sent, FramedHex("2A 01") is the whole ACK packet as text.
#pragma once

#include "LTProto/LTProto/LTProto.h"
#include "LTProto/Tools/Hex.h"
#include "tests/WirePacket.h"

#include <deque>
#include <functional>
#include <gtest/gtest.h>

inline std::string HexText(const std::vector<u8> &bytes)
{
    return Tools::ToHex(bytes.data(), static_cast<u32>(bytes.size()), ' ');
}

inline std::string HexText(const Tools::MemoryBuffer &bytes)
{
    return bytes.ToHex(0, ' ');
}

inline std::string FramedHex(const std::string &content)
{
    return HexText(Framed(content));
}

class ScriptedDevice : public tovi::ComDevice
{
  public:
    ScriptedDevice() : ComDevice(nullptr) {}

    bool Send(u32 size, void *buffer) override
    {
        if (m_connected)
            m_sent.emplace_back(static_cast<u8 *>(buffer), static_cast<u8 *>(buffer) + size);
        return m_connected;
    }
    int Receive(u32 size, void *buffer) override
    {
        if (m_reads.empty())
            return m_resultWithoutBytes;
        std::vector<u8> &read = m_reads.front();
        const size_t count = std::min<size_t>(size, read.size());
        std::copy_n(read.begin(), count, static_cast<u8 *>(buffer));
        read.erase(read.begin(), read.begin() + static_cast<std::ptrdiff_t>(count));
        if (read.empty())
            m_reads.pop_front();
        return static_cast<int>(count);
    }
    int ReceiveServer() override
    {
        m_connected = m_connectedByServer;
        return m_serverResult;
    }
    bool IsConnected() const override { return m_connected; }
    bool Set(const char *, int) override { return m_connected = m_opens; }
    u32 SendingMSec() const override { return m_sendingMSec; }

    bool m_connected = true;
    bool m_opens = false; // whether it can be opened again
    u32 m_sendingMSec = 0;
    int m_serverResult = SERVER_CLIENT_TAKEN;
    bool m_connectedByServer = true; // whether there is a peer after ReceiveServer
    int m_resultWithoutBytes = 0;
    std::deque<std::vector<u8>> m_reads;
    std::vector<std::vector<u8>> m_sent;
};

class EngineTest : public testing::Test
{
  protected:
    using eReceiveResult = LTProtocol::eReceiveResult;
    using eDataType = LTProtocol::eDataType;
    using eComType = LTProtocol::eComType;
    using eCommandCode = LTProtocol::eCommandCode;
    using eTicketType = LTProtocol::eTicketType;

    EngineTest() { Start(eComType::SOCKET_MAIN); }

    void Start(eComType comType, u16 payloadSize = 100)
    {
        auto device = std::make_unique<ScriptedDevice>();
        m_device = device.get();
        m_engine = std::make_unique<LTProtocol::LTProto>([] { return s_nowMSec; });
        ASSERT_TRUE(m_engine->Init(m_group, 1, 2, comType, std::move(device), payloadSize));
    }

    // One read of these bytes; the payload that the engine leaves is in m_payload.
    eReceiveResult FeedBytes(std::vector<u8> bytes)
    {
        m_device->m_reads.push_back(std::move(bytes));
        m_payload.Clear();
        return m_engine->OnReceive(m_payload);
    }
    eReceiveResult Feed(const std::string &content) { return FeedBytes(Framed(content)); }
    eReceiveResult FeedAck() { return Feed("2A 01"); }

    // The packets sent since the last call, one line each.
    std::string Sent()
    {
        std::string text;
        for (const std::vector<u8> &packet : m_device->m_sent)
        {
            text += text.empty() ? "" : "\n";
            text += HexText(packet);
        }
        m_device->m_sent.clear();
        return text;
    }

    // A spontaneous positive integer of variable `id`.
    bool Value(u32 id, u32 value = 0)
    {
        return m_engine->DataEnqueue(eDataType::VARIABLE_ID, id, eDataType::INTEGER_POSITIVE, value, 0, {});
    }

    static inline u64 s_nowMSec = 1000;
    OSWaitableGrp m_group;
    std::unique_ptr<LTProtocol::LTProto> m_engine;
    ScriptedDevice *m_device = nullptr; // owned by the engine
    Tools::MemoryBuffer m_payload;
};
