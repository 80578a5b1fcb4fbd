#include "LumoSmuSim/BridgeLink.h"

#include "LumoSmuSim/MachineText.h"
#include "toviCommonLib/OS/linux/linuxOS.h"
#include "toviCommonLib/OS/linux/linuxOSTermination.h"

#include <algorithm>

#include <poll.h>
#include <sys/socket.h>

namespace LumoSmuSim
{

using namespace tovi;
using LumoFaults::eVerb;
using LumoFaults::Fault;

namespace
{

constexpr u32 READ_BUFFER_START = 8192;
constexpr u32 READ_BUFFER_MAX = 65535;
constexpr u32 WRITE_BUFFER_START = 8192;
constexpr u32 MESSAGE_BUFFER_START = 1024;
constexpr u32 WRITE_TIMEOUT_MSEC = 10000; // longer than the bridge may wait for a client that does not read
constexpr size_t MARK_LEN = 3;
constexpr u8 LONG_FRAME = static_cast<u8>(ProtocolConsole::eOpcode::internal_extendedMsg);

const Message HARMLESS{SMUConn::WHAT_PING, 0, {}};

// The wish to end does not wait.
void pauseMSec(u32 msec)
{
    pollfd termination{platform::termination_event().evfd, POLLIN, 0};
    poll(&termination, 1, static_cast<int>(msec));
}

} // namespace

BridgeLink::BridgeLink(OSSocket accepted, LumoFaults::FaultPlan &plan, const LumoFaults::Journal &journal)
    : m_channel(memory_getSysHeapAllocator(), READ_BUFFER_START, READ_BUFFER_MAX),
      m_protocol(memory_getSysHeapAllocator(), WRITE_BUFFER_START), m_plan(plan), m_journal(journal)
{
    platform::socket_setWriteTimeoutMSec(accepted, WRITE_TIMEOUT_MSEC);
    platform::socket_setNoDelay(accepted);
    m_channel.setSocket(accepted);
    m_received.setup(memory_getSysHeapAllocator(), MESSAGE_BUFFER_START);
}

BridgeLink::~BridgeLink()
{
    if (m_isGreeted && isOpen() && !m_hasVanished)
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
            return len == RES_PROTOCOL_CLOSED ? eReceived::LEFT : eReceived::LOST;
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
    Frame frame;
    if (!isOpen() || m_hasVanished || !frameOf(message, frame))
        return false;
    const bool isIdentification = message.what == SMUConn::WHAT_IDENTIFY_ANSW;
    return sendHit(message, frame, isIdentification ? Fault{} : m_plan.next(false));
}

bool BridgeLink::frameOf(const Message &message, Frame &out)
{
    std::vector<u8> encoded(smu::MESSAGE_HEADER_LEN + message.payload.size());
    const u16 len =
        SMUConn::encodeMsg(message.what, message.userValue, message.payload.data(),
                           static_cast<u32>(message.payload.size()), encoded.data(), static_cast<u32>(encoded.size()));
    ProtocolBuffer frame;
    frame.setup(memory_getSysHeapAllocator(), WRITE_BUFFER_START);
    const u32 frameLen = len != 0 ? m_protocol.virt_encodeBuffer(encoded.data(), len, frame) : 0;
    if (frameLen == 0 || isFailure(frameLen))
        return false;
    out.assign(frame.data(), frame.data() + frameLen);
    return true;
}

bool BridgeLink::sendHit(const Message &message, const Frame &frame, const Fault &fault)
{
    const auto journalHit = [&] { journalSent(m_journal, message, fault.verb); };
    switch (fault.verb)
    {
    case eVerb::vanish:
        journalHit();
        m_hasVanished = true;
        return true;
    case eVerb::reset:
    {
        journalHit();
        const linger atOnce{1, 0};
        setsockopt(descriptor(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        m_channel.virt_close();
        return true;
    }
    case eVerb::close:
        journalHit();
        m_protocol.close(&m_channel);
        return true;
    case eVerb::late:
        m_late.push_back({platform::getTimeNowMSec() + fault.number, message, frame});
        std::ranges::stable_sort(m_late, {}, &Late::atMSec);
        return true;
    case eVerb::stall: pauseMSec(fault.number); return put(message, frame, fault);
    case eVerb::half:
        if (!put(message, frame, fault))
            return false;
        pauseMSec(fault.number);
        return true;
    default: return put(message, frame, fault);
    }
}

bool BridgeLink::put(const Message &message, const Frame &frame, const Fault &fault)
{
    LumoFaults::PacketShape shape{MARK_LEN, frame[MARK_LEN - 1] == LONG_FRAME ? sizeof(u16) : sizeof(u8), {}};
    if (fault.verb == eVerb::joined)
        frameOf(HARMLESS, shape.neighbour);
    const LumoFaults::Distorted out = m_plan.distort(fault, frame, shape);
    for (u32 i = 0; i < out.times; ++i)
    {
        journalSent(m_journal, message, fault.verb);
        for (size_t done = 0; done < out.bytes.size(); done += out.pieceLen)
        {
            const u32 len = static_cast<u32>(std::min(out.pieceLen, out.bytes.size() - done));
            if (m_channel.write(&out.bytes[done], len, WRITE_TIMEOUT_MSEC) == len)
                continue;
            m_channel.virt_close();
            return false;
        }
    }
    return true;
}

std::optional<u64> BridgeLink::lateAtMSec() const
{
    return m_late.empty() ? std::nullopt : std::optional(m_late.front().atMSec);
}

void BridgeLink::sendLate()
{
    while (isOpen() && !m_late.empty() && m_late.front().atMSec <= platform::getTimeNowMSec())
    {
        const Late late = std::move(m_late.front());
        m_late.pop_front();
        put(late.message, late.frame, {eVerb::late, 0});
    }
}

} // namespace LumoSmuSim
