#include "LumoBridge/Core.h"

#include "LumoBridge/Keyboard.h"
#include "LumoBridge/MachineSide.h"
#include "LumoBridge/Options.h"
#include "LumoBridge/Protocol.h"
#include "toviCommonLib/OS/linux/linuxOSTermination.h"

#include <memory>

using LT_Proto::eComType;
using LT_Proto::eMqCommand;
using LT_Proto::eMqMessage;

namespace
{

constexpr u32 PAYLOAD_SOCKET = 50000;
constexpr u32 PAYLOAD_UART = 5000;
constexpr u32 PAYLOAD_OTHER = 1000;
constexpr char ADDRESS_DEFAULT[] = "127.0.0.1";

// The two queues between the threads, named as seen from the thread that holds the handle.
struct sQueues
{
    sHThreadMsgW mqExeToMain;   // main thread writes ...
    sHThreadMsgR mqMainFromExe; // ... protocol thread reads
    sHThreadMsgW mqMainToExe;   // protocol thread writes ...
    sHThreadMsgR mqExeFromMain; // ... main thread reads
    LT_Proto::QueueLoad exeToMain;
    LT_Proto::QueueLoad mainToExe;

    sQueues() = default;
    ~sQueues()
    {
        tovi::thread::deleteMsgQ(mqMainFromExe, mqExeToMain);
        tovi::thread::deleteMsgQ(mqExeFromMain, mqMainToExe);
    }
    sQueues(const sQueues &) = delete;
    sQueues &operator=(const sQueues &) = delete;

    bool create()
    {
        return tovi::thread::createMsgQ(&mqMainFromExe, &mqExeToMain) &&
               tovi::thread::createMsgQ(&mqExeFromMain, &mqMainToExe);
    }
};

std::string startLine(std::span<char *const> arguments)
{
    std::string line = "Parametri avvio programma:";
    for (const char *argument : arguments)
        line += std::string(" ") + argument;
    return line;
}

u32 payloadFor(const sOptions &options)
{
    if (options.payloadDim != 0)
        return options.payloadDim;
    switch (options.comType)
    {
    case eComType::SOCKET_MAIN: return PAYLOAD_SOCKET;
    case eComType::UART_MAIN: return PAYLOAD_UART;
    default: return PAYLOAD_OTHER;
    }
}

// The client side and the main loop, between two opened queues.
void runBridge(const sOptions &options, Tools::LogTracer &logTracer, MachineSide &machine, sQueues &queues)
{
    LT_Proto::Protocol main(&logTracer, queues.exeToMain, queues.mainToExe);
    if (main.Init(queues.mqMainFromExe, queues.mqMainToExe, options.comType, options.deviceMain.c_str(),
                  payloadFor(options)) != 0)
    {
        logTracer.Trace("ERR: Unable to open main communication channel %s", options.deviceMain.c_str());
        return;
    }
    logTracer.Trace("Max payload lenght %u bytes", static_cast<unsigned>(main.PayloadSize()));
    if (!main.Start())
    {
        logTracer.Trace("ERR: unable to start the thread of the client link");
        return;
    }
    for (eMqCommand command : {eMqCommand::LIB_VERSION, eMqCommand::TRACE_ENABLE})
        queues.exeToMain.Push(queues.mqExeToMain, eMqMessage::COMMAND, static_cast<u32>(command));
    machine.run();
    main.Stop(); // first, so that nothing is acknowledged any more
    machine.finish();
}

} // namespace

int Core(int argc, char *const *argv)
{
    const std::span<char *const> arguments(argv + 1, argc > 0 ? static_cast<size_t>(argc - 1) : 0);
    const sOptions options = parseOptions(arguments);
    Tools::LogTracer logTracer;
    logTracer.Init(options.logFilename.c_str(), true, options.logFiledim, true);
    logTracer.Trace(startLine(arguments)); // the text is read as a format
    const bool running = options.comType != eComType::UNDEFINED;
    if (!running)
        logTracer.Trace("Error: connection type undefined");

    const std::string address = options.rConnAddress.empty() ? ADDRESS_DEFAULT : options.rConnAddress;
    ToviConn rConn;
    if (!rConn.Connect(address.c_str(), options.rConnPort, &platform::termination_event()))
    {
        if (platform::termination_requested())
        {
            logTracer.Trace("Program exit");
            return 0;
        }
        logTracer.Trace("ERR: unable to connect %s:%d", address.c_str(), ToviConn::ConnectionPort(options.rConnPort));
        return -1;
    }
    sQueues queues;
    if (!queues.create())
    {
        logTracer.Trace("ERR: failed to create a internal Main link");
        return -1;
    }
    MachineSide machine(logTracer, rConn, {queues.mqExeFromMain, queues.mainToExe},
                        {queues.mqExeToMain, queues.exeToMain});
    if (!machine.isReady())
        logTracer.Trace("ERR: syncronization mechanism generation impossible");
    else if (running)
        runBridge(options, logTracer, machine, queues);
    return 0;
}
