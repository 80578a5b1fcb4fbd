// Serial lines made of pseudo-terminals: a port whose far end its user holds, and a cable between two ports.
#pragma once

#include "LumoSmuSim/PacketLoss.h"
#include "toviCommonLib/OS/linux/linuxOSEvent.h"
#include "toviCommonLib/OS/linux/linuxOSFile.h"

#include <mutex>
#include <string>
#include <thread>

namespace LumoSmuSim
{

// A serial device for another program. Its settings are raw from the start, and it is kept open, so that a program that
// closes it hangs nothing up; closing the far end does. Used by one thread at a time.
class PtyPort
{
  public:
    PtyPort();

    int farEnd() const { return m_farEnd.get(); }
    const std::string &device() const { return m_device; }
    int takeFarEnd() { return m_farEnd.release(); } // owned by the caller from then on

  private:
    platform::FileDescriptor m_farEnd;
    std::string m_device;
    platform::FileDescriptor m_keptOpen;
};

// What one port sends, the other receives: as fast as it is read, or at so many bytes per second, but for the packets that
// it is to swallow. Runs on a thread of its own; all calls are allowed from any thread.
class PtyCable
{
  public:
    enum class eEnd
    {
        A,
        B
    };

    explicit PtyCable(u32 bytesPerSecond = 0);
    ~PtyCable();

    const std::string &deviceA() const { return m_a.device(); }
    const std::string &deviceB() const { return m_b.device(); }

    // Swallows the `nth` packet of the client link that `from` sends from now on, or every nth one; 0: none. The line must
    // be at rest, or bytes of a packet may be taken for the begin of one.
    void swallow(eEnd from, u32 nth, bool isEvery = false);
    u32 swallowed(eEnd from) const; // packets since then

  private:
    void carry(u32 bytesPerSecond);
    std::vector<u8> pass(eEnd from, const std::vector<u8> &bytes);

    PtyPort m_a;
    PtyPort m_b;
    mutable std::mutex m_mutex;
    PacketLoss m_losses[2]; // by the end that sends; guarded by m_mutex
    sOSEvent m_stop;
    std::thread m_thread;
};

} // namespace LumoSmuSim
