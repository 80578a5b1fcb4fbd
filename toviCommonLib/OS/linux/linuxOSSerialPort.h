// Serial ports as free functions over a plain record. A port is used by one thread at a time; nothing is logged.
#pragma once

#include "toviCommonLib/toviSerialPortEnums.h"

#include <string>
#include <termios.h>
#include <vector>

struct sOSSerialPort
{
    int fd = -1;      // descriptor, -1 when invalid
    termios config{}; // the settings last applied
    eRS232Mode mode = eRS232Mode::blocking;
};
using OSSerialPort = sOSSerialPort;

namespace tovi
{
template <class T>
using Array = std::vector<T>;

namespace utf8
{
using String = std::string;
}
} // namespace tovi

namespace platform
{

// Opens a device in raw mode, never as the controlling terminal; reads never block, whatever the mode. RTS and DTR are
// raised or dropped where the device has them. False when the device, the rate or the settings are refused: `out->fd`
// may then still be open.
bool serialPort_open(sOSSerialPort *out, const char *deviceName, eRS232BaudRate baudRate, bool RTS, bool DTR,
                     eRS232DataBits dataBits, eRS232Parity parity, eRS232StopBits stopBits,
                     eRS232FlowControl flowControl, eRS232Mode mode);

void serialPort_setInvalid(sOSSerialPort &port);
bool serialPort_isInvalid(const sOSSerialPort &port);
eRS232Mode serialPort_getMode(const sOSSerialPort &port);

// A read asks for at least that many bytes, or waits at most that many tenths of a second. False when the port is
// invalid or the system refuses.
bool serialPort_setAsBlocking(sOSSerialPort &port, u8 minNumOfCharToBeReadInOrderToSblock);
bool serialPort_setAsNonBlocking(sOSSerialPort &port, u8 numOfDSecToWaitBeforeReturn);

void serialPort_close(sOSSerialPort &port);
void serialPort_setRTS(sOSSerialPort &port, bool on);
void serialPort_setDTR(sOSSerialPort &port, bool on);

// Discards what was received and not read, and what was written and not sent.
void serialPort_flushIO(sOSSerialPort &port);

// Bytes read, 0 on an error or when nothing is there.
u32 serialPort_readBuffer(sOSSerialPort &port, void *buffer, u32 numMaxBytesToRead);

// As above, telling the cases apart as socket_readNoWait does: 0 when the line is gone, -1 when nothing is there.
int serialPort_readNoWait(sOSSerialPort &port, void *buffer, u32 numMaxBytesToRead);

// The result of one write: bytes accepted, negative on an error.
i32 serialPort_writeBuffer(sOSSerialPort &port, const void *buffer, u32 nBytesToWrite);

// Writes all bytes, waiting at most `timeoutMSec` in all for room. Returns the bytes accepted: fewer on an error too.
u32 serialPort_writeWait(sOSSerialPort &port, const void *buffer, u32 nBytesToWrite, u32 timeoutMSec);

// Bytes accepted that have not left the port yet; 0 where the device cannot tell.
u32 serialPort_bytesToSend(const sOSSerialPort &port);

// Appends the paths of the USB serial devices 0 to 9 that exist.
void serialPort_enumerate(tovi::Array<tovi::utf8::String> *out);

} // namespace platform
