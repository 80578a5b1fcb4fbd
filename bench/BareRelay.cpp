#include "bench/BareRelay.h"

#include "bench/BareSocket.h"
#include "bench/Packets.h"
#include "toviCommonLib/toviSMUMessageKinds.h"

#include <cstdlib>
#include <deque>
#include <mutex>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <thread>

namespace LumoBench
{

using LTProtocol::eCommandType;

namespace
{

constexpr int CLIENT_WAIT_MSEC = 250; // as long as the bridge's two threads wait
constexpr int MACHINE_WAIT_MSEC = 100;
constexpr size_t TYPE_OFFSET = 3;
constexpr size_t READ_MAX = 65536;

class Queue
{
  public:
    Queue() : m_event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    int event() const { return m_event.get(); }

    void push(Bytes message)
    {
        const std::lock_guard lock(m_mutex);
        m_messages.push_back(std::move(message));
        const u64 one = 1;
        if (write(m_event.get(), &one, sizeof one) < 0)
            std::abort();
    }

    bool pop(Bytes &out)
    {
        const std::lock_guard lock(m_mutex);
        if (m_messages.empty())
            return false;
        out = std::move(m_messages.front());
        m_messages.pop_front();
        return true;
    }

  private:
    Descriptor m_event;
    std::mutex m_mutex;
    std::deque<Bytes> m_messages;
};

// A socket and a queue, waited for together. The queue's event is edge-triggered and never read.
class Waiter
{
  public:
    Waiter(int socket, const Queue &queue) : m_epoll(epoll_create1(EPOLL_CLOEXEC)), m_socket(socket)
    {
        add(socket, EPOLLIN);
        add(queue.event(), EPOLLIN | EPOLLET);
    }

    // Calls one of the two for each that is ready; until `onSocket` returns false.
    template <typename OnSocket, typename OnQueue>
    void run(int waitMSec, OnSocket onSocket, OnQueue onQueue)
    {
        while (true)
        {
            epoll_event events[2];
            const int n = epoll_wait(m_epoll.get(), events, 2, waitMSec);
            for (int i = 0; i < n; ++i)
            {
                if (events[i].data.fd != m_socket)
                    onQueue();
                else if (!onSocket())
                    return;
            }
        }
    }

  private:
    void add(int descriptor, u32 events)
    {
        epoll_event event{};
        event.events = events;
        event.data.fd = descriptor;
        epoll_ctl(m_epoll.get(), EPOLL_CTL_ADD, descriptor, &event);
    }

    Descriptor m_epoll;
    int m_socket;
};

Bytes packetOf(eCommandType type, const Bytes &payload)
{
    Bytes packet;
    makePacket(packet, type, payload);
    return packet;
}

Bytes frameOf(u32 variable)
{
    Bytes frame;
    makeFrame(frame, tovi::smu::WHAT_VARIABLE, machineValueOf(variable, 0));
    return frame;
}

// ---- The client's thread.

class ClientSide
{
  public:
    ClientSide(int client, Queue &toMachine, Queue &fromMachine)
        : m_client(client), m_toMachine(toMachine), m_fromMachine(fromMachine)
    {
    }

    void run()
    {
        Waiter(m_client, m_fromMachine)
            .run(
                CLIENT_WAIT_MSEC, [this] { return onClient(); }, [this] { onQueue(); });
    }

  private:
    bool onClient()
    {
        if (recv(m_client, m_read.data(), m_read.size(), 0) <= 0)
            return false;
        m_isValuePending = false;
        if (m_read[TYPE_OFFSET] == static_cast<u8>(eCommandType::REQUEST))
            pass(m_notice, m_requestFrame);
        else if (m_read[TYPE_OFFSET] == static_cast<u8>(eCommandType::DATA))
            pass(m_ack, m_setFrame);
        else
            sendValue();
        return true;
    }

    void pass(const Bytes &answer, const Bytes &frame)
    {
        sendAll(m_client, answer);
        m_toMachine.push(frame);
    }

    void onQueue()
    {
        for (Bytes message; m_fromMachine.pop(message);)
            m_values.push_back(std::move(message));
        sendValue();
    }

    void sendValue()
    {
        if (m_isValuePending || m_values.empty())
            return;
        m_values.pop_front();
        sendAll(m_client, m_value);
        m_isValuePending = true;
    }

    int m_client;
    Queue &m_toMachine;
    Queue &m_fromMachine;
    Bytes m_read = Bytes(READ_MAX);
    std::deque<Bytes> m_values;
    bool m_isValuePending = false;
    const Bytes m_notice = packetOf(eCommandType::DATA, noticeOf(0));
    const Bytes m_value = packetOf(eCommandType::DATA, answerUnder(0, 0));
    const Bytes m_ack = packetOf(eCommandType::CMD, {ACK_BYTE});
    const Bytes m_requestFrame = frameOf(VARIABLE_ASKED);
    const Bytes m_setFrame = frameOf(VARIABLE_SET);
};

// ---- The machine's thread.

// All that the machine sends is of one length, so its frames are counted, not read.
void runMachineSide(int machine, Queue &toMachine, Queue &fromMachine)
{
    const size_t frameLen = frameOf(VARIABLE_ASKED).size();
    Bytes read(READ_MAX);
    size_t held = 0;
    const auto onMachine = [&]
    {
        const ssize_t n = recv(machine, read.data(), read.size(), 0);
        held += static_cast<size_t>(n > 0 ? n : 0);
        for (; held >= frameLen; held -= frameLen)
            fromMachine.push(Bytes(read.begin(), read.begin() + static_cast<std::ptrdiff_t>(frameLen)));
        return n > 0;
    };
    const auto onQueue = [&]
    {
        for (Bytes frame; toMachine.pop(frame);)
            sendAll(machine, frame);
    };
    Waiter(machine, toMachine).run(MACHINE_WAIT_MSEC, onMachine, onQueue);
}

} // namespace

void runBareRelay(u16 machinePort, const std::string &clientIp, u16 clientPort)
{
    const Descriptor machine = connectTo("127.0.0.1", machinePort);
    setNoDelay(machine.get());
    const Descriptor client = takeOne(clientIp, clientPort);
    Queue toMachine, fromMachine;
    std::thread thread([&] { runMachineSide(machine.get(), toMachine, fromMachine); });
    ClientSide(client.get(), toMachine, fromMachine).run();
    shutdown(machine.get(), SHUT_RDWR);
    thread.join();
}

} // namespace LumoBench
