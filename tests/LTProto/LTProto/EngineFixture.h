// The packet engine on a device that plays a script. The language of its tests: Feed bytes as one read, take the packets
// that were Sent, FramedHex("2A 01") is the whole ACK packet as text.
#pragma once

#include "LTProto/LTProto/LTProto.h"
#include "LTProto/Tools/Hex.h"
#include "tests/LTProto/LTProto/ScriptedDevice.h"
#include "tests/WirePacket.h"

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
