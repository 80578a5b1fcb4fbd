// LT_Proto::QueueLoad: how much waits in one queue between the threads. The queue takes whatever is pushed; who fills it asks
// here before taking more from its peer, and stops above one mark until what waits has fallen to a lower one.
// Used by both threads: the producer pushes and asks, the consumer pops.
#pragma once

#include "LumoBridge/LTData.h"

#include <atomic>

namespace LT_Proto
{

class QueueLoad
{
  public:
    static constexpr i64 STOP_ABOVE = 1024 * 1024; // bytes
    static constexpr i64 GO_ON_AT = 512 * 1024;    // bytes
    static constexpr i64 MESSAGE_BYTES = 256;      // of each message, beside its payload

    QueueLoad();
    ~QueueLoad();
    QueueLoad(const QueueLoad &) = delete;
    QueueLoad &operator=(const QueueLoad &) = delete;

    // Fired when the producer was told to stop and may go on; for its wait. Not open when the system had no descriptor.
    const sOSEvent &RoomEvent() const { return m_roomEvent; }

    // ---- Producer.

    void Push(const sHThreadMsgW &queue, eMqMessage what, u32 param, const void *bytes = nullptr, u32 size = 0);

    // To be asked before each message that is taken from the peer, and again before a wait.
    bool MustStop();

    // ---- Consumer.

    // False when the queue is empty; else the message goes to tovi::thread::deleteMsg once.
    bool Pop(const sHThreadMsgR &queue, tovi::thread::sMsg *out);

  private:
    std::atomic<i64> m_bytes{0};
    std::atomic<bool> m_stopped{false}; // set by the producer; cleared by whoever sees first that it may go on
    sOSEvent m_roomEvent;
};

} // namespace LT_Proto
