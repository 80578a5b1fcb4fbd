// The daemon's command line.
#pragma once

#include "LTProto/LTProto/WireFormat.h"

#include <span>
#include <string>

struct sOptions
{
    LTProtocol::eComType comType = LTProtocol::eComType::UNDEFINED; // SOCKET_MAIN or UART_MAIN once one is given
    std::string deviceMain;   // listening port, "@address[:port]", or serial device
    std::string rConnAddress; // dotted address of the machine control unit; empty: 127.0.0.1
    u16 rConnPort = 0;        // 0: its default port
    std::string logFilename;  // empty: no log file
    u32 logFiledim = 0;       // bytes; 0: no limit
    u32 payloadDim = 0;       // largest payload of the client link; 0: by the kind of link
};

// Scans left to right and skips what it does not know. `arguments` is without the program's name.
sOptions parseOptions(std::span<char *const> arguments);

// The options with their defaults and the exit statuses.
const char *optionsHelp();
