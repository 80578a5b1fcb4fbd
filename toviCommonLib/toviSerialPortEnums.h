// Line settings of serial ports.
#pragma once

#include "toviCommonLib/toviTypes.h"

// The value is the rate in baud.
enum class eRS232BaudRate : u32
{
    b1200 = 1200,
    b2400 = 2400,
    b4800 = 4800,
    b9600 = 9600,
    b19200 = 19200,
    b38400 = 38400,
    b57600 = 57600,
    b115200 = 115200,
    b230400 = 230400,
    b460800 = 460800,
    b500000 = 500000,
    b921600 = 921600,
    b1000000 = 1000000,
    b1152000 = 1152000,
    b1500000 = 1500000,
    b2000000 = 2000000,
    b2500000 = 2500000,
    b3000000 = 3000000,
    b3500000 = 3500000,
    b4000000 = 4000000
};

enum class eRS232DataBits : u8
{
    b5 = 5,
    b6 = 6,
    b7 = 7,
    b8 = 8
};

enum class eRS232Parity : u8
{
    no = 0,
    even = 2,
    odd = 3
};

enum class eRS232StopBits : u8
{
    one = 1,
    two = 2
};

enum class eRS232FlowControl : u8
{
    no = 1,
    HW = 2 // RTS and CTS
};

enum class eRS232Mode : u8
{
    blocking = 0,
    nonBlocking = 1,
    waitable = 2 // in a waitable group
};
