#include "LumoBridge/Options.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

namespace
{

using LTProtocol::eComType;

i64 parseDecimal(const std::string &text)
{
    return std::strtoll(text.c_str(), nullptr, 10);
}

u32 parseU32(const std::string &text)
{
    return static_cast<u32>(std::clamp<i64>(parseDecimal(text), 0, UINT32_MAX));
}

void setServer(sOptions &options, const std::string &value)
{
    const size_t colon = value.find(':');
    options.rConnAddress = value.substr(0, colon);
    if (colon != std::string::npos)
        options.rConnPort = static_cast<u16>(parseDecimal(value.substr(colon + 1))); // cut to 16 bits
}

// A number is the port and is kept as it reads back; a dotted address is marked as one.
void setSocket(sOptions &options, const std::string &value)
{
    options.comType = eComType::SOCKET_MAIN;
    if (value.find('.') != std::string::npos)
        options.deviceMain = "@" + value;
    else
        options.deviceMain = std::to_string(std::clamp<i64>(parseDecimal(value), INT_MIN, INT_MAX));
}

void setUart(sOptions &options, const std::string &value)
{
    options.comType = eComType::UART_MAIN;
    options.deviceMain = value;
}

// Applies one option; returns the places to move on by, 1 for what is unknown.
size_t applyOption(sOptions &options, const std::string &name, const std::string &value)
{
    const bool linkChosen = options.comType != eComType::UNDEFINED;
    if (name == "-server")
        setServer(options, value);
    else if (name == "-socket" && !linkChosen)
        setSocket(options, value);
    else if (name == "-uart" && !linkChosen)
        setUart(options, value);
    else if (name == "-logfile")
        options.logFilename = value;
    else if (name == "-logdim")
        options.logFiledim = parseU32(value);
    else if (name == "-payload")
        options.payloadDim = parseU32(value);
    else if (name != "-socket" && name != "-uart")
        return 1;
    // A dotted address is looked at once more, as an unknown argument.
    return name == "-socket" && value.find('.') != std::string::npos ? 1 : 2;
}

} // namespace

sOptions parseOptions(std::span<char *const> arguments)
{
    sOptions options;
    for (size_t i = 0; i + 1 < arguments.size();)
        i += applyOption(options, arguments[i], arguments[i + 1]);
    return options;
}

const char *optionsHelp()
{
    return "Joins the machine control unit (SMU) and an external client.\n"
           "\n"
           "  -server ADDRESS[:PORT]       the SMU; default 127.0.0.1:2283\n"
           "  -socket PORT                 listen for the client on every interface; 0 is 8283\n"
           "  -socket ADDRESS[:PORT]       listen for the client on one address; default port 8283\n"
           "  -uart DEVICE                 reach the client over a serial device, 115200 8N1\n"
           "  -logfile NAME                log file in the current folder; default none\n"
           "  -logdim BYTES                size limit of the log file; default 0, no limit\n"
           "  -payload BYTES               largest payload of the client link, 1 to 65535;\n"
           "                               default 50000 for a socket, 5000 for a serial device\n"
           "  --version                    print the version\n"
           "  --help                       print this text\n"
           "\n"
           "The first of -socket and -uart counts. Type x to end the program.\n"
           "Exit status: 0 after a normal end, or when the client link cannot be opened;\n"
           "255 when the SMU cannot be reached, the program cannot start, or no memory is left.\n";
}
