// A device of the client link that plays a script.
#pragma once

#include "LTProto/ComDevice/ComDevice.h"

#include <algorithm>
#include <deque>
#include <vector>

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
    void ReceivePause(bool peer, bool newcomers) override
    {
        m_peerPaused = peer;
        m_newcomersPaused = newcomers;
    }
    bool Reconnect(bool anew) override
    {
        m_attempts += anew ? 1U : 0U;
        return m_connected = m_opens;
    }
    u32 SendingMSec() const override { return m_sendingMSec; }

    bool m_connected = true;
    bool m_opens = false; // whether it can be opened again
    u32 m_attempts = 0;   // to connect again
    u32 m_sendingMSec = 0;
    bool m_peerPaused = false;
    bool m_newcomersPaused = false;
    int m_serverResult = SERVER_CLIENT_TAKEN;
    bool m_connectedByServer = true; // whether there is a peer after ReceiveServer
    int m_resultWithoutBytes = 0;
    std::deque<std::vector<u8>> m_reads;
    std::vector<std::vector<u8>> m_sent;
};
