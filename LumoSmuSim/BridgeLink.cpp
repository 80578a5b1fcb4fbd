#include "LumoSmuSim/BridgeLink.h"

namespace LumoSmuSim
{

using namespace tovi;

namespace
{

constexpr u32 READ_BUFFER_START = 8192;
constexpr u32 READ_BUFFER_MAX = 65535;
constexpr u32 WRITE_BUFFER_START = 8192;
constexpr u32 MESSAGE_BUFFER_START = 1024;
constexpr u32 WRITE_TIMEOUT_MSEC = 1000;

} // namespace

BridgeLink::BridgeLink(OSSocket accepted)
    : m_channel(memory_getSysHeapAllocator(), READ_BUFFER_START, READ_BUFFER_MAX),
      m_protocol(memory_getSysHeapAllocator(), WRITE_BUFFER_START)
{
    platform::socket_setWriteTimeoutMSec(accepted, WRITE_TIMEOUT_MSEC);
    platform::socket_setNoDelay(accepted);
    m_channel.setSocket(accepted);
    m_received.setup(memory_getSysHeapAllocator(), MESSAGE_BUFFER_START);
}

BridgeLink::~BridgeLink()
{
    if (m_isGreeted && isOpen())
        m_protocol.close(&m_channel);
}

BridgeLink::eReceived BridgeLink::receive(SMUConn::sDecodedMsg &message)
{
    if (!isOpen())
        return eReceived::LOST;
    if (!m_isGreeted)
    {
        const eReceived greeting = shakeHands();
        if (!m_isGreeted)
            return greeting;
    }
    return readMessage(message);
}

BridgeLink::eReceived BridgeLink::shakeHands()
{
    if (isFailure(m_channel.read(0)))
        return eReceived::LOST;
    if (m_channel.bufferR.getCursor() < ProtocolConsole::HANDSHAKE_LEN)
        return eReceived::NOTHING;
    m_isGreeted = m_protocol.handshake_serverAnswer(&m_channel, nullptr);
    return m_isGreeted ? eReceived::NOTHING : eReceived::LOST;
}

BridgeLink::eReceived BridgeLink::readMessage(SMUConn::sDecodedMsg &message)
{
    while (true)
    {
        const u32 heldBefore = m_channel.bufferR.getCursor();
        m_received.reset();
        const u32 len = m_protocol.read(&m_channel, 0, m_received);
        if (isFailure(len))
        {
            m_channel.virt_close();
            return eReceived::LOST;
        }
        const bool isGarbageDropped = m_channel.bufferR.getCursor() < heldBefore;
        if (len == 0 && !isGarbageDropped)
            return eReceived::NOTHING;
        if (!SMUConn::decodeMsg(m_received, &message))
            continue;
        m_isIdentified = m_isIdentified || message.what == SMUConn::WHAT_IDENTIFY;
        return eReceived::MESSAGE;
    }
}

bool BridgeLink::send(const Message &message)
{
    std::vector<u8> encoded(smu::MESSAGE_HEADER_LEN + message.payload.size());
    const u16 len =
        SMUConn::encodeMsg(message.what, message.userValue, message.payload.data(),
                           static_cast<u32>(message.payload.size()), encoded.data(), static_cast<u32>(encoded.size()));
    if (len == 0 || !isOpen())
        return false;
    const u32 written = m_protocol.write(&m_channel, encoded.data(), len, WRITE_TIMEOUT_MSEC);
    const bool isSent = written >= len && !isFailure(written);
    if (!isSent)
        m_channel.virt_close();
    return isSent;
}

} // namespace LumoSmuSim
