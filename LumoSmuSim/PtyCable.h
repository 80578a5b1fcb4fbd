// Serial lines made of pseudo-terminals: a port whose far end the test holds, and a cable between two ports.
#pragma once

#include "tests/Descriptor.h"

#include <string>
#include <thread>

// A serial device for the program under test. Its settings are raw from the start, and it is kept open, so that a
// program that closes it hangs nothing up; destroying the port does.
class PtyPort
{
  public:
    PtyPort();

    const Descriptor &farEnd() const { return m_farEnd; }
    const std::string &device() const { return m_device; }
    Descriptor takeFarEnd() { return std::move(m_farEnd); }

  private:
    Descriptor m_farEnd;
    std::string m_device;
    Descriptor m_keptOpen;
};

// What one port sends, the other receives: as fast as it is read, or at so many bytes per second.
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
    Descriptor m_stop;
    std::thread m_thread;
};
