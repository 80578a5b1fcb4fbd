// Result codes and modes of sockets and threads, shared by the platform layer and its users.
#pragma once

#include "toviCommonLib/toviTypes.h"

enum class eSocketError : u8
{
    none = 0,
    denied = 1,
    unsupported = 2,
    tooMany = 3,
    noMem = 4,
    addressInUse = 5,
    addressProtected = 6,
    alreadyBound = 7,
    invalidDescriptor = 8,
    errorSettingReadTimeout = 9,
    errorSettingWriteTimeout = 10,
    errorListening = 11,
    no_such_host = 12,
    connRefused = 13,
    timedOut = 14,
    invalidParameter = 15,
    unable_to_handshake = 254,
    unknown = 255
};

enum class eSocketBindMode : u8
{
    anyInterface = 0,      // 0.0.0.0
    loopbackInterface = 1, // 127.0.0.1
    aSpecifiIP = 2         // the address given as dotted text
};

enum class eThreadError : u8
{
    none = 0,
    invalidStackSize = 1,
    tooMany = 2,
    unknown = 255
};

namespace tovi::utils
{
// The enumerator's name; "invalid value" for any other number.
const char *enumToString(eSocketError error);
} // namespace tovi::utils
