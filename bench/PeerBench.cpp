// PeerBench: what others do for a like job, in turn with the bridge in the same run: a message broker for request and
// answer, a serial-to-network daemon for a frame and its echo, ZMODEM for files on a serial line and on TCP.
#include "LumoSmuSim/PtyCable.h"
#include "bench/BareSocket.h"
#include "bench/Scenarios.h"

#include <CLI/CLI.hpp>
#include <mosquitto.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <thread>

namespace
{

using namespace LumoBench;

constexpr u32 REQUESTS = 2000; // of a round
constexpr size_t FRAME_LEN = 15;
constexpr u32 LINE_BYTES_PER_SECOND = 11520;
constexpr u64 LINE_FILE = 100000;
constexpr u64 TCP_FILE = 50000000;
constexpr int START_TRIES = 20000;
constexpr useconds_t START_RETRY_USEC = 100;
constexpr int LOOP_MSEC = 50;

[[noreturn]] void fail(const std::string &why)
{
    throw std::runtime_error(why);
}

void writeText(const std::string &path, const std::string &text)
{
    std::ofstream(path) << text;
}

double msecSince(u64 beforeNSec)
{
    return static_cast<double>(nowNSec() - beforeNSec) / 1e6;
}

// Until a program that was just started listens.
Descriptor connectPatiently(const std::string &ip, u16 port)
{
    for (int i = 0; i < START_TRIES; ++i)
    {
        Descriptor socket = connectTo(ip, port);
        if (socket.get() >= 0)
        {
            setNoDelay(socket.get());
            return socket;
        }
        usleep(START_RETRY_USEC);
    }
    fail("nobody listens");
}

template <typename Ask>
double medianUSec(u32 count, Ask ask)
{
    std::vector<double> usec;
    for (u32 i = 0; i < count; ++i)
    {
        const u64 before = nowNSec();
        ask();
        usec.push_back(static_cast<double>(nowNSec() - before) / 1e3);
    }
    return median(usec);
}

// ---- A message broker.

class BrokerClient
{
  public:
    BrokerClient(const std::string &ip, u16 port, const char *listensTo, int qos)
        : m_client(mosquitto_new(nullptr, true, this), mosquitto_destroy)
    {
        mosquitto_int_option(m_client.get(), MOSQ_OPT_TCP_NODELAY, 1);
        mosquitto_message_callback_set(m_client.get(), [](mosquitto *, void *self, const mosquitto_message *)
                                       { ++static_cast<BrokerClient *>(self)->m_heard; });
        mosquitto_subscribe_callback_set(m_client.get(), [](mosquitto *, void *self, int, int, const int *)
                                         { static_cast<BrokerClient *>(self)->m_isSubscribed = true; });
        if (mosquitto_connect(m_client.get(), ip.c_str(), port, 60) != MOSQ_ERR_SUCCESS ||
            mosquitto_subscribe(m_client.get(), nullptr, listensTo, qos) != MOSQ_ERR_SUCCESS)
            fail("the broker refuses");
        while (!m_isSubscribed)
            step();
    }

    void step()
    {
        if (mosquitto_loop(m_client.get(), LOOP_MSEC, 1) != MOSQ_ERR_SUCCESS)
            fail("the broker left");
    }
    void tell(const char *topic, int qos)
    {
        constexpr u32 VALUE = 42;
        if (mosquitto_publish(m_client.get(), nullptr, topic, sizeof VALUE, &VALUE, qos, false) != MOSQ_ERR_SUCCESS)
            fail("the broker takes nothing");
    }
    u64 heard() const { return m_heard; }

  private:
    std::unique_ptr<mosquitto, void (*)(mosquitto *)> m_client;
    u64 m_heard = 0;
    bool m_isSubscribed = false;
};

// Asker and answerer on the broker, the latter on a thread.
double brokerUSec(const std::string &ip, u16 port, int qos)
{
    BrokerClient asker(ip, port, "value", qos);
    BrokerClient answerer(ip, port, "ask", qos);
    std::jthread machine(
        [&](const std::stop_token &stop)
        {
            for (u64 answered = 0; !stop.stop_requested();)
            {
                answerer.step();
                for (; answered < answerer.heard(); ++answered)
                    answerer.tell("value", qos);
            }
        });
    return medianUSec(REQUESTS,
                      [&]
                      {
                          const u64 before = asker.heard();
                          asker.tell("ask", qos);
                          while (asker.heard() == before)
                              asker.step();
                      });
}

void measureBroker(sContext &context)
{
    const u16 port = freshPort();
    const std::string config = context.folder + "/broker.conf";
    writeText(config, "listener " + std::to_string(port) + " " + ownLoopback() +
                          "\nallow_anonymous true\nset_tcp_nodelay true\nlog_type none\nuser root\n");
    const u64 started = nowNSec();
    const Process broker({"/usr/sbin/mosquitto", "-c", config}, context.folder);
    connectPatiently(ownLoopback(), port);
    context.results.add("message broker: start to listening", "ms", msecSince(started));
    BridgeRun bridge(context);
    bridge.connectClient();
    for (u32 round = 0; round < context.rounds(); ++round)
    {
        context.results.add("request and answer: bridge", "us",
                            medianUSec(REQUESTS, [&] { bridge.client->askVariable(VARIABLE_ASKED); }));
        bridge.client->rest();
        context.results.add("request and answer: message broker", "us", brokerUSec(ownLoopback(), port, 0));
        context.results.add("request and answer: message broker, delivery acknowledged", "us",
                            brokerUSec(ownLoopback(), port, 1));
    }
    context.results.add("resident memory: message broker", "MB", broker.residentMB());
    context.results.add("resident memory: bridge", "MB", bridge.process.residentMB());
}

// ---- A serial-to-network daemon.

void measureSerialServer(sContext &context)
{
    const LumoSmuSim::PtyPort line;
    const u16 port = freshPort();
    const std::string config = context.folder + "/serial.yaml";
    writeText(config, "connection: &line\n    accepter: tcp(nodelay)," + ownLoopback() + "," + std::to_string(port) +
                          "\n    connector: serialdev," + line.device() + ",115200n81,local\n");
    const u64 started = nowNSec();
    const Process server({"/usr/sbin/ser2net", "-n", "-c", config}, context.folder);
    const Descriptor client = connectPatiently(ownLoopback(), port);
    context.results.add("serial-to-network daemon: start to listening", "ms", msecSince(started));
    const Descriptor machine(dup(line.farEnd()));
    const Bytes frame(FRAME_LEN, 0x55);
    const auto echo = [&]
    {
        client.write(frame);
        if (machine.readExactly(FRAME_LEN).size() != FRAME_LEN)
            fail("the serial-to-network daemon hands nothing on");
        machine.write(frame);
        if (client.readExactly(FRAME_LEN).size() != FRAME_LEN)
            fail("the serial-to-network daemon hands nothing back");
    };
    for (u32 round = 0; round < context.rounds(); ++round)
        context.results.add("frame and echo, no line speed: serial-to-network daemon", "us",
                            medianUSec(REQUESTS, echo));
    context.results.add("resident memory: serial-to-network daemon", "MB", server.residentMB());
}

// ---- ZMODEM.

// Seconds for a file from one end of a channel to the other, from the start to the end of the sender. The receiver is not
// awaited: the sender's last bytes, a farewell, may be lost with its terminal's settings, and it waits half a minute for them.
double zmodemSeconds(const sContext &context, int from, int to, const std::string &file, u64 size)
{
    const std::string folder = context.folder + "/zmodem";
    std::filesystem::create_directories(folder);
    const u64 before = nowNSec();
    const Process receiver({"/usr/bin/rz", "-q", "-b", "-y"}, folder, to);
    Process sender({"/usr/bin/sz", "-q", "-b", "--start-8k", file}, folder, from);
    const int status = sender.awaitEnd();
    const double seconds = msecSince(before) / 1e3;
    const std::filesystem::path arrived = folder / std::filesystem::path(file).filename();
    if (status != 0 || std::filesystem::file_size(arrived) != size)
        fail("ZMODEM lost a file");
    std::filesystem::remove(arrived);
    return seconds;
}

double ofLine(u64 size, double seconds)
{
    return static_cast<double>(size) / seconds / LINE_BYTES_PER_SECOND * 100;
}

void measureZmodemOnLine(sContext &context)
{
    const std::string source = context.folder + "/line.bin";
    makeSource(source, LINE_FILE);
    for (u32 round = 0; round < context.rounds(); ++round)
    {
        const LumoSmuSim::PtyCable cable(LINE_BYTES_PER_SECOND); // nothing of the round before is left on it
        const Descriptor from(open(cable.deviceA().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
        const Descriptor to(open(cable.deviceB().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
        context.results.add("file at 115200 baud: ZMODEM", "% of the line",
                            ofLine(LINE_FILE, zmodemSeconds(context, from.get(), to.get(), source, LINE_FILE)));
    }
}

void measureZmodemOnTcp(sContext &context)
{
    const std::string source = context.folder + "/tcp.bin";
    makeSource(source, TCP_FILE);
    BridgeRun bridge(context);
    bridge.connectClient();
    const auto rate = [](double seconds) { return static_cast<double>(TCP_FILE) / 1e6 / seconds; };
    for (u32 round = 0; round < context.rounds(); ++round)
    {
        u16 port = 0;
        const Descriptor listener = listenAnywhere(&port);
        const Descriptor from = connectTo("127.0.0.1", port);
        const Descriptor to(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        context.results.add("file on TCP: bridge, upload", "MB/s", rate(uploadThrough(bridge, TCP_FILE, 50000)));
        context.results.add("file on TCP: bridge, download", "MB/s",
                            rate(downloadThrough(bridge, source, TCP_FILE, 50000)));
        context.results.add("file on TCP: ZMODEM", "MB/s",
                            rate(zmodemSeconds(context, from.get(), to.get(), source, TCP_FILE)));
    }
}

void measure(sContext &context, int processor)
{
    context.bridge = std::filesystem::absolute(context.bridge);
    std::filesystem::create_directories(context.out);
    pinTo(processor);
    mosquitto_lib_init();
    constexpr std::pair<const char *, void (*)(sContext &)> TOPICS[] = {
        {"message broker", measureBroker},
        {"serial-to-network daemon", measureSerialServer},
        {"ZMODEM on a line", measureZmodemOnLine},
        {"ZMODEM on TCP", measureZmodemOnTcp}};
    for (const auto &[name, topic] : TOPICS)
    {
        std::printf("==> Measuring %s\n", name);
        std::fflush(stdout);
        topic(context);
    }
    mosquitto_lib_cleanup();
    const std::string values = context.results.valuesTable();
    std::ofstream(context.out + "/peers.md") << values;
    std::printf("%s", values.c_str());
}

} // namespace

int main(int argc, char **argv)
{
    std::signal(SIGPIPE, SIG_IGN);
    CLI::App app("Measures what others need for a like job, in turn with LumoBridge");
    sContext context;
    int processor = 0;
    app.add_option("--bridge", context.bridge, "the daemon's program")->required();
    app.add_option("--folder", context.folder, "existing folder for files on their way")->required();
    app.add_option("--out", context.out, "folder for the results")->required();
    app.add_option("--cpu", processor, "the processor that all of it shares");
    app.add_flag("--quick", context.quick, "one short round of everything");
    CLI11_PARSE(app, argc, argv);
    try
    {
        measure(context, processor);
    }
    catch (const std::exception &error)
    {
        std::fprintf(stderr, "PeerBench: %s\n", error.what());
        return 1;
    }
    return 0;
}
