#include "toviCommonLib/OS/linux/linuxOSSerialPort.h"

#include "LumoSmuSim/PtyCable.h"
#include "tests/Descriptor.h"
#include "toviCommonLib/OS/linux/linuxOSWaitableGrp.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <thread>

namespace
{

class SerialPort : public testing::Test
{
  protected:
    bool Open(eRS232BaudRate rate = eRS232BaudRate::b115200, eRS232Mode mode = eRS232Mode::waitable)
    {
        return platform::serialPort_open(&m_port, m_pty.device().c_str(), rate, false, false, eRS232DataBits::b8,
                                         eRS232Parity::no, eRS232StopBits::one, eRS232FlowControl::no, mode);
    }
    ~SerialPort() override { platform::serialPort_close(m_port); }

    // As a port is before anybody has set it up: lines, echo, signals, flow control, other line ends.
    void Cook() const
    {
        const Descriptor line(open(m_pty.device().c_str(), O_RDWR | O_NOCTTY));
        termios cooked{};
        tcgetattr(line.get(), &cooked);
        cooked.c_iflag |= BRKINT | ISTRIP | ICRNL | IXON | IXOFF;
        cooked.c_oflag |= OPOST | ONLCR;
        cooked.c_lflag |= ISIG | ICANON | ECHO | IEXTEN;
        tcsetattr(line.get(), TCSANOW, &cooked);
    }

    LumoSmuSim::PtyPort m_pty;
    Descriptor m_farEnd{m_pty.takeFarEnd()};
    OSSerialPort m_port;
    u8 m_bytes[300] = {};
};

} // namespace

TEST_F(SerialPort, PassesEveryByteAndReportsAHangUp)
{
    Cook();
    ASSERT_TRUE(Open());
    OSWaitableGrp group;
    ASSERT_TRUE(group.addSerialPort(m_port, 5u));
    ASSERT_EQ(group.wait(0), 0);
    EXPECT_EQ(platform::serialPort_readNoWait(m_port, m_bytes, 1), -1);
    std::vector<u8> all(256);
    for (size_t i = 0; i < all.size(); ++i)
        all[i] = static_cast<u8>(i);
    m_farEnd.write(all);
    ASSERT_EQ(group.wait(PATIENCE_MSEC), 1);
    ASSERT_EQ(group.getEventUserParamAsU32(0), 5);
    EXPECT_EQ(group.getEventSrcAsOSSerialPort(0)->fd, m_port.fd);
    ASSERT_EQ(platform::serialPort_readBuffer(m_port, m_bytes, sizeof m_bytes), all.size());
    EXPECT_TRUE(std::equal(all.begin(), all.end(), m_bytes));
    EXPECT_EQ(platform::serialPort_writeBuffer(m_port, all.data(), 256), 256);
    EXPECT_EQ(m_farEnd.readExactly(256), all);
    m_farEnd.reset();
    EXPECT_EQ(group.wait(PATIENCE_MSEC), 1);
    EXPECT_EQ(platform::serialPort_readNoWait(m_port, m_bytes, 1), 0);
    group.removeSerialPort(m_port);
    EXPECT_EQ(group.wait(0), 0);
}

TEST_F(SerialPort, OpensWithTheSettingsAskedForAndRefusesOtherRates)
{
    EXPECT_FALSE(Open(eRS232BaudRate{9601}));
    EXPECT_FALSE(platform::serialPort_isInvalid(m_port)); // left to the caller
    platform::serialPort_close(m_port);
    // A pseudo-terminal has neither parity nor fewer than 8 data bits.
    ASSERT_TRUE(platform::serialPort_open(&m_port, m_pty.device().c_str(), eRS232BaudRate::b9600, true, true,
                                          eRS232DataBits::b8, eRS232Parity::no, eRS232StopBits::two,
                                          eRS232FlowControl::HW, eRS232Mode::nonBlocking));
    EXPECT_EQ(m_port.config.c_cflag & (CSIZE | PARENB | CSTOPB | CRTSCTS),
              static_cast<tcflag_t>(CS8 | CSTOPB | CRTSCTS));
    EXPECT_EQ(cfgetospeed(&m_port.config), static_cast<speed_t>(B9600));
    EXPECT_EQ(m_port.config.c_cc[VMIN], 0);
    EXPECT_EQ(platform::serialPort_readNoWait(m_port, m_bytes, 1), -1);
    ASSERT_TRUE(platform::serialPort_setAsBlocking(m_port, 3));
    EXPECT_EQ(platform::serialPort_getMode(m_port), eRS232Mode::blocking);
    termios applied{};
    tcgetattr(m_port.fd, &applied);
    EXPECT_EQ(applied.c_cc[VMIN], 3);
    EXPECT_EQ(applied.c_cc[VTIME], 0);
    EXPECT_EQ(applied.c_lflag, m_port.config.c_lflag);
    EXPECT_TRUE(platform::serialPort_setAsNonBlocking(m_port, 2));
    EXPECT_EQ(m_port.config.c_cc[VTIME], 2);
    platform::serialPort_close(m_port);
    EXPECT_FALSE(platform::serialPort_setAsBlocking(m_port, 1));
}

TEST_F(SerialPort, WaitsForRoomAndGivesUpInTime)
{
    ASSERT_TRUE(Open());
    const std::vector<u8> bytes(100000, 0x5A);
    const u32 room = platform::serialPort_writeWait(m_port, bytes.data(), 100000, 1);
    EXPECT_TRUE(room > 0);
    EXPECT_TRUE(room < 100000);
    std::thread reader([&] { m_farEnd.readExactly(room + 50000); });
    EXPECT_EQ(platform::serialPort_writeWait(m_port, bytes.data(), 50000, PATIENCE_MSEC), 50000U);
    reader.join();
    platform::serialPort_writeWait(m_port, bytes.data(), 10, 0);
    platform::serialPort_flushIO(m_port);
    EXPECT_EQ(platform::serialPort_bytesToSend(m_port), 0U);
}
