// Serial lines made of pseudo-terminals: a port whose far end its user holds, and a cable between two ports.
#pragma once

#include "toviCommonLib/OS/linux/linuxOSEvent.h"
#include "toviCommonLib/OS/linux/linuxOSFile.h"

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

// What one port sends, the other receives: as fast as it is read, or at so many bytes per second. Runs on a thread of its
// own.
class PtyCable
{
  public:
    explicit PtyCable(u32 bytesPerSecond = 0);
    ~PtyCable();

    const std::string &deviceA() const { return m_a.device(); }
    const std::string &deviceB() const { return m_b.device(); }

  private:
    void carry(u32 bytesPerSecond) const;

    PtyPort m_a;
    PtyPort m_b;
    sOSEvent m_stop;
    std::thread m_thread;
};

} // namespace LumoSmuSim
