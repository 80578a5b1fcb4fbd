// LumoClient: asks and tells the machine through the bridge, from a shell.
#include "LumoClient/FaultyChannel.h"
#include "LumoClient/SerialChannel.h"
#include "LumoClient/Shell.h"
#include "LumoClient/TcpChannel.h"

#include "LTProto/ComDevice/ComDevSocket.h"
#include "LTProto/LTProto/ValueText.h"
#include "tools/Faults/FaultOptions.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <csignal>
#include <cstdio>
#include <iostream>

namespace
{

using namespace LumoClient;

volatile std::sig_atomic_t g_stop = 0;

struct Endpoint
{
    std::string host;
    u16 port = tovi::CLIENT_PORT_DEFAULT;
};

struct Options
{
    std::string tcp;
    std::string uart;
    u32 timeoutMSec = 3000;
    std::vector<u32> varIds;
    u32 varId = 0;
    std::string typeName;
    std::string valueText;
    bool isForced = false;
    std::string hex;
    u32 watchCount = 0;
    std::string saveFolder;
    u16 fileId = 0;
    std::string path;
    u16 blockLen = 0;
    LumoFaults::FaultOptions faults;
};

void stopOnSignal()
{
    struct sigaction action = {};
    action.sa_handler = [](int) { g_stop = 1; };
    action.sa_flags = static_cast<int>(SA_RESETHAND); // the second signal does not wait
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

int usageError(const std::string &text)
{
    std::fprintf(stderr, "LumoClient: %s\n", text.c_str());
    return EXIT_USAGE;
}

// "host" or "host:port".
std::optional<Endpoint> parseEndpoint(const std::string &text)
{
    Endpoint endpoint;
    const size_t colon = text.rfind(':');
    endpoint.host = text.substr(0, colon);
    if (endpoint.host.empty())
        return std::nullopt;
    if (colon == std::string::npos)
        return endpoint;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + colon + 1, end, endpoint.port);
    return error == std::errc{} && stop == end && endpoint.port != 0 ? std::optional(endpoint) : std::nullopt;
}

void describeFiles(CLI::App &app, Options &options)
{
    CLI::App *watch = app.add_subcommand("watch", "Print each value and file that arrives, until SIGINT or SIGTERM");
    watch->add_option("--count", options.watchCount, "End after so many values and files")->check(CLI::PositiveNumber);
    watch->add_option("--save", options.saveFolder, "Keep the files in this folder, under their ids")
        ->check(CLI::ExistingDirectory)
        ->option_text("DIR");

    CLI::App *upload = app.add_subcommand("upload", "Send a file to the machine; prints its size and MD5");
    upload->add_option("ID", options.fileId)->required()->check(CLI::Range(u16{1}, FILE_ID_MAX));
    upload->add_option("FILE", options.path)->required();

    CLI::App *download = app.add_subcommand("download", "Ask the machine for a file; prints its size and MD5");
    download->add_option("ID", options.fileId)->required()->check(CLI::Range(u16{1}, FILE_ID_MAX));
    download->add_option("-o,--output", options.path, "Where it goes; a file that is there is replaced")
        ->required()
        ->option_text("FILE");

    CLI::App *shell = app.add_subcommand("shell", "Commands from standard input, one a line, over one link");
    shell->footer(shellHelp());

    for (CLI::App *command : {watch, upload, download, shell})
        command->add_option("--block", options.blockLen, "Bytes in a block, at most")
            ->check(CLI::Range(u16{1}, LTProtocol::BLOCK_LEN_MAX))
            ->option_text("LEN (TCP 50000, UART 5000)");
}

void describe(CLI::App &app, Options &options)
{
    CLI::Option_group *link = app.add_option_group("Link", "How the bridge is reached");
    link->add_option("--tcp", options.tcp, "Where the bridge listens: host:port, or host for port 8283");
    link->add_option("--uart", options.uart, "Serial device of the bridge's line: 115200 baud, 8N1");
    link->require_option(1);
    app.add_option("--timeout", options.timeoutMSec, "How long to wait for the connection and for an answer")
        ->option_text("MSEC (3000)");
    app.require_subcommand(1);

    CLI::App *get = app.add_subcommand("get", "Ask for variables; prints id, name, type and value, parted by tabs");
    get->add_option("ID", options.varIds)->required();

    CLI::App *set = app.add_subcommand("set", "Give a variable a value: a whole number from 0 on, or bytes");
    set->add_option("ID", options.varId)->required();
    set->add_option("TYPE", options.typeName, "int, dec, text, bytes, null, or a full name such as DECIMAL_NEGATIVE")
        ->required();
    set->add_option("VALUE", options.valueText, "25, -5, 12.34, some text, \"01 02 FF\"; nothing for null");
    set->add_flag("--force", options.isForced, "Send it even when its type does not reach the machine");

    CLI::App *buffer = app.add_subcommand("buffer", "Send raw bytes to the machine; prints the bytes it answers");
    buffer->add_option("HEX", options.hex, "Such as \"01 02 FF\"")->required();

    app.add_subcommand("poll", "Print the values that the bridge has queued");
    describeFiles(app, options);
    LumoFaults::describeFaults(app, options.faults, LumoFaults::eSide::client);
    app.footer(
        "Exit status: 0 done, 1 refused, link lost or a file failed, 2 wrong usage, 3 no answer in time.\n"
        "The bridge hands on values of the types INTEGER_POSITIVE and DATA_BUFFER; it acknowledges others, too, and "
        "the machine gets an empty one. set refuses those unless --force is given.");
}

// The value to be set; nothing, and the reason in `wrong`, when there is none or the machine would not get it.
std::optional<Value> valueToSet(const Options &options, std::string &wrong)
{
    std::optional<Value> value = LTProtocol::ValueParse(options.typeName, options.valueText);
    if (!value)
        wrong = "'" + options.valueText + "' is no value of type '" + options.typeName + "'";
    else if (!options.isForced)
        wrong = whyNotSet(*value);
    return wrong.empty() ? value : std::nullopt;
}

// Null when the bridge cannot be reached.
std::unique_ptr<ByteChannel> openChannel(const Options &options, const Endpoint &endpoint, Misbehaviour &misbehaviour)
{
    std::unique_ptr<ByteChannel> channel;
    if (!options.uart.empty())
        channel = SerialChannel::open(options.uart);
    else
        channel = TcpChannel::open(endpoint.host, endpoint.port, options.timeoutMSec);
    return channel ? std::make_unique<FaultyChannel>(std::move(channel), misbehaviour) : nullptr;
}

int runCommand(const std::string &command, const Options &options, const Endpoint &endpoint, Misbehaviour &misbehaviour)
{
    std::optional<Value> value;
    std::string wrong;
    if (command == "set" && !(value = valueToSet(options, wrong)))
        return usageError("set: " + wrong);
    const std::optional<Bytes> bytes = LTProtocol::HexParse(options.hex);
    if (!bytes)
        return usageError("buffer: '" + options.hex + "' is not hexadecimal");

    const std::string bridge = options.uart.empty() ? options.tcp : options.uart;
    const TransferSettings settings{options.blockLen, options.timeoutMSec, &misbehaviour.journal};
    if (command == "shell")
    {
        stopOnSignal();
        const auto open = [&] { return openChannel(options, endpoint, misbehaviour); };
        return runShell(std::cin, {open, bridge, settings, misbehaviour.plan}, g_stop);
    }

    std::unique_ptr<ByteChannel> channel = openChannel(options, endpoint, misbehaviour);
    if (!channel)
        return reportFailure(bridge, eResult::unreachable);
    ClientLink link;
    link.attach(std::move(channel));
    if (command == "get")
        return runGet(link, options.varIds, options.timeoutMSec);
    if (command == "set")
        return runSet(link, options.varId, *value, options.timeoutMSec);
    if (command == "buffer")
        return runBuffer(link, *bytes, options.timeoutMSec);
    if (command == "poll")
        return runPoll(link, options.timeoutMSec);
    stopOnSignal();
    if (command == "upload")
        return runUpload(link, options.fileId, options.path, settings, g_stop);
    if (command == "download")
        return runDownload(link, options.fileId, options.path, settings, g_stop);
    return runWatch(link, options.watchCount, options.saveFolder, settings, g_stop);
}

} // namespace

int main(int argc, char *argv[])
{
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    std::signal(SIGPIPE, SIG_IGN);

    Options options;
    CLI::App app("Asks and tells the coffee machine through the bridge's client link.", "LumoClient");
    describe(app, options);
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError &error)
    {
        return app.exit(error) == 0 ? EXIT_DONE : EXIT_USAGE;
    }

    const std::optional<Endpoint> endpoint = options.uart.empty() ? parseEndpoint(options.tcp) : Endpoint{};
    if (!endpoint)
        return usageError("--tcp: '" + options.tcp + "' is neither host nor host:port");
    Misbehaviour misbehaviour;
    const std::string wrong =
        applyFaults(options.faults, misbehaviour.plan, misbehaviour.journal, LumoFaults::eSide::client);
    if (!wrong.empty())
        return usageError(wrong);
    if (options.faults.percent != 0)
        std::fprintf(stderr, "LumoClient: seed %u\n", *options.faults.seed);
    return runCommand(app.get_subcommands().front()->get_name(), options, *endpoint, misbehaviour);
}
