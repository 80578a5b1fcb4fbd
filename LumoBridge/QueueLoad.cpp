#include "LumoBridge/QueueLoad.h"

namespace LT_Proto
{

QueueLoad::QueueLoad()
{
    platform::event_open(&m_roomEvent);
}

QueueLoad::~QueueLoad()
{
    platform::event_close(m_roomEvent);
}

// Counted first, so that the consumer never takes off what is not there yet.
void QueueLoad::Push(const sHThreadMsgW &queue, eMqMessage what, u32 param, const void *bytes, u32 size)
{
    m_bytes += MESSAGE_BYTES + i64{size};
    tovi::thread::pushMsg(queue, static_cast<u16>(what), param, bytes, size);
}

// The producer stops, then looks again; the consumer takes off, then looks whether it stopped. So one of both sees the other,
// and no stop outlives its reason.
bool QueueLoad::MustStop()
{
    if (!m_stopped)
    {
        if (m_bytes <= STOP_ABOVE)
            return false;
        m_stopped = true;
    }
    if (m_bytes <= GO_ON_AT)
        m_stopped = false;
    return m_stopped;
}

bool QueueLoad::Pop(const sHThreadMsgR &queue, tovi::thread::sMsg *out)
{
    if (!tovi::thread::popMsg(queue, out))
        return false;
    const i64 left = m_bytes -= MESSAGE_BYTES + i64{out->bufferSize};
    if (left <= GO_ON_AT && m_stopped.exchange(false))
        platform::event_fire(m_roomEvent);
    return true;
}

} // namespace LT_Proto
