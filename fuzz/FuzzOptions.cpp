// The command line, and what is printed of it.
// Never: a device without a kind of link, an address that is not marked as one, an option at the end that is lost.
#include "fuzz/Fuzz.h"

#include "LTProto/Tools/LogTracer.h"
#include "LumoBridge/LumoBridge.h"
#include "LumoBridge/Options.h"

using LTProtocol::eComType;

// Arguments, separated by zeros.
extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    Tools::LogTracer tracer;
    tracer.Init(u8{10});
    // What stands before these can take no more than the first word.
    std::string text = std::string(data, data + size) + '\0' + "-server" + '\0' + "-payload" + '\0' + "9";
    std::vector<char *> arguments;
    for (size_t at = 0; at < text.size(); at += std::char_traits<char>::length(arguments.back()) + 1)
    {
        arguments.push_back(text.data() + at);
        tracer.Trace(std::string(arguments.back())); // is read as a format
        mustHold(versionLine(arguments.back()).ends_with(PROGRAM_VERSION), "the version is told");
    }
    const sOptions options = parseOptions(arguments);
    const std::string &device = options.deviceMain;
    const bool isAddress = device.find('.') != std::string::npos;
    mustHold(options.comType != eComType::UNDEFINED || device.empty(), "no device without a kind of link");
    mustHold(options.comType != eComType::SOCKET_MAIN || isAddress == device.starts_with('@'), "an address is marked");
    mustHold(options.payloadDim == 9 || options.rConnAddress == "-payload", "the last one counts");
    return 0;
}
