#include "toviCommonLib/OS/linux/linuxOSSerialPort.h"

#include "toviCommonLib/OS/linux/linuxOS.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform
{
namespace
{

constexpr u32 ENUMERATED_DEVICES = 10;

struct sSpeed
{
    eRS232BaudRate rate;
    speed_t constant;
};

constexpr sSpeed SPEEDS[] = {
    {eRS232BaudRate::b1200, B1200},       {eRS232BaudRate::b2400, B2400},       {eRS232BaudRate::b4800, B4800},
    {eRS232BaudRate::b9600, B9600},       {eRS232BaudRate::b19200, B19200},     {eRS232BaudRate::b38400, B38400},
    {eRS232BaudRate::b57600, B57600},     {eRS232BaudRate::b115200, B115200},   {eRS232BaudRate::b230400, B230400},
    {eRS232BaudRate::b460800, B460800},   {eRS232BaudRate::b500000, B500000},   {eRS232BaudRate::b921600, B921600},
    {eRS232BaudRate::b1000000, B1000000}, {eRS232BaudRate::b1152000, B1152000}, {eRS232BaudRate::b1500000, B1500000},
    {eRS232BaudRate::b2000000, B2000000}, {eRS232BaudRate::b2500000, B2500000}, {eRS232BaudRate::b3000000, B3000000},
    {eRS232BaudRate::b3500000, B3500000}, {eRS232BaudRate::b4000000, B4000000}};

// Every byte passes as it is, both ways. Carrier is not watched: the line has three wires.
void setRaw(termios &config)
{
    config.c_oflag = 0;
    config.c_iflag &= ~static_cast<tcflag_t>(IGNBRK | BRKINT | PARMRK | INPCK | ISTRIP | INLCR | IGNCR | ICRNL | IUCLC |
                                             IXON | IXOFF);
    config.c_lflag &= ~static_cast<tcflag_t>(ISIG | ICANON | ECHO | ECHONL | IEXTEN);
    config.c_cflag |= CLOCAL | CREAD;
}

void setFlag(tcflag_t &flags, tcflag_t flag, bool on)
{
    flags = on ? flags | flag : flags & ~flag;
}

tcflag_t characterSize(eRS232DataBits dataBits)
{
    switch (dataBits)
    {
    case eRS232DataBits::b5: return CS5;
    case eRS232DataBits::b6: return CS6;
    case eRS232DataBits::b7: return CS7;
    case eRS232DataBits::b8: break;
    }
    return CS8;
}

bool setSpeed(termios &config, eRS232BaudRate baudRate)
{
    const auto *found =
        std::find_if(std::begin(SPEEDS), std::end(SPEEDS), [=](const sSpeed &speed) { return speed.rate == baudRate; });
    return found != std::end(SPEEDS) && cfsetispeed(&config, found->constant) == 0 &&
           cfsetospeed(&config, found->constant) == 0;
}

bool applyConfig(sOSSerialPort &port)
{
    return tcsetattr(port.fd, TCSAFLUSH, &port.config) == 0;
}

bool setReadRule(sOSSerialPort &port, cc_t minChars, cc_t deciSeconds, eRS232Mode mode)
{
    if (serialPort_isInvalid(port))
        return false;
    port.config.c_cc[VMIN] = minChars;
    port.config.c_cc[VTIME] = deciSeconds;
    port.mode = mode;
    return applyConfig(port);
}

// A device without modem lines refuses, which is no failure.
void setModemLine(const sOSSerialPort &port, int line, bool on)
{
    ioctl(port.fd, on ? TIOCMBIS : TIOCMBIC, &line);
}

bool lineIsGone(const sOSSerialPort &port)
{
    pollfd line{port.fd, 0, 0};
    return poll(&line, 1, 0) > 0 && (line.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
}

} // namespace

bool serialPort_open(sOSSerialPort *out, const char *deviceName, eRS232BaudRate baudRate, bool RTS, bool DTR,
                     eRS232DataBits dataBits, eRS232Parity parity, eRS232StopBits stopBits,
                     eRS232FlowControl flowControl, eRS232Mode mode)
{
    out->mode = mode;
    out->fd = open(deviceName, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (out->fd < 0)
        return false;
    termios &config = out->config;
    config = {};
    if (tcgetattr(out->fd, &config) != 0)
        return false;
    setRaw(config);
    config.c_cflag = (config.c_cflag & ~static_cast<tcflag_t>(CSIZE)) | characterSize(dataBits);
    setFlag(config.c_cflag, PARENB, parity != eRS232Parity::no);
    setFlag(config.c_cflag, PARODD, parity == eRS232Parity::odd);
    setFlag(config.c_cflag, CSTOPB, stopBits == eRS232StopBits::two);
    setFlag(config.c_cflag, CRTSCTS, flowControl == eRS232FlowControl::HW);
    if (!setSpeed(config, baudRate) || !setReadRule(*out, mode == eRS232Mode::nonBlocking ? 0 : 1, 0, mode))
        return false;
    serialPort_setRTS(*out, RTS);
    serialPort_setDTR(*out, DTR);
    return applyConfig(*out);
}

void serialPort_setInvalid(sOSSerialPort &port)
{
    port.fd = -1;
}

bool serialPort_isInvalid(const sOSSerialPort &port)
{
    return port.fd < 0;
}

eRS232Mode serialPort_getMode(const sOSSerialPort &port)
{
    return port.mode;
}

bool serialPort_setAsBlocking(sOSSerialPort &port, u8 minNumOfCharToBeReadInOrderToSblock)
{
    return setReadRule(port, minNumOfCharToBeReadInOrderToSblock, 0, eRS232Mode::blocking);
}

bool serialPort_setAsNonBlocking(sOSSerialPort &port, u8 numOfDSecToWaitBeforeReturn)
{
    return setReadRule(port, 0, numOfDSecToWaitBeforeReturn, eRS232Mode::nonBlocking);
}

void serialPort_close(sOSSerialPort &port)
{
    if (!serialPort_isInvalid(port))
        close(port.fd);
    serialPort_setInvalid(port);
}

void serialPort_setRTS(sOSSerialPort &port, bool on)
{
    setModemLine(port, TIOCM_RTS, on);
}

void serialPort_setDTR(sOSSerialPort &port, bool on)
{
    setModemLine(port, TIOCM_DTR, on);
}

void serialPort_flushIO(sOSSerialPort &port)
{
    if (!serialPort_isInvalid(port))
        tcflush(port.fd, TCIOFLUSH);
}

u32 serialPort_readBuffer(sOSSerialPort &port, void *buffer, u32 numMaxBytesToRead)
{
    const ssize_t n = read(port.fd, buffer, numMaxBytesToRead);
    return n > 0 ? static_cast<u32>(n) : 0;
}

int serialPort_readNoWait(sOSSerialPort &port, void *buffer, u32 numMaxBytesToRead)
{
    const ssize_t n = read(port.fd, buffer, numMaxBytesToRead);
    if (n > 0)
        return static_cast<int>(n);
    const bool nothingThere = n < 0 ? errno == EAGAIN || errno == EINTR : port.mode == eRS232Mode::nonBlocking;
    return nothingThere && !lineIsGone(port) ? -1 : 0;
}

i32 serialPort_writeBuffer(sOSSerialPort &port, const void *buffer, u32 nBytesToWrite)
{
    return static_cast<i32>(write(port.fd, buffer, nBytesToWrite));
}

u32 serialPort_writeWait(sOSSerialPort &port, const void *buffer, u32 nBytesToWrite, u32 timeoutMSec)
{
    const u8 *bytes = static_cast<const u8 *>(buffer);
    const u64 deadline = getTimeNowMSec() + timeoutMSec;
    u32 written = 0;
    while (written < nBytesToWrite)
    {
        const i32 n = serialPort_writeBuffer(port, bytes + written, nBytesToWrite - written);
        if (n > 0)
        {
            written += static_cast<u32>(n);
            continue;
        }
        const u64 now = getTimeNowMSec();
        if ((n < 0 && errno != EAGAIN && errno != EINTR) || now >= deadline)
            break;
        pollfd line{port.fd, POLLOUT, 0};
        poll(&line, 1, static_cast<int>(std::min<u64>(deadline - now, INT32_MAX)));
    }
    return written;
}

u32 serialPort_bytesToSend(const sOSSerialPort &port)
{
    int count = 0;
    return ioctl(port.fd, TIOCOUTQ, &count) == 0 && count > 0 ? static_cast<u32>(count) : 0;
}

void serialPort_enumerate(tovi::Array<tovi::utf8::String> *out)
{
    for (u32 i = 0; i < ENUMERATED_DEVICES; ++i)
    {
        std::string path = "/dev/ttyUSB";
        path += std::to_string(i);
        struct stat info;
        if (lstat(path.c_str(), &info) == 0)
            out->push_back(path);
    }
}

} // namespace platform
