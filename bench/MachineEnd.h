// The machine under load: the server end of the machine link to one bridge. Its thread answers requests, counts values
// and takes files; its user's thread sends values and announces files.
// Owns its sockets. What its user asks for throws std::runtime_error when it does not come.
#pragma once

#include "bench/Packets.h"
#include "tests/Descriptor.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace LumoBench
{

class MachineEnd
{
  public:
    MachineEnd();
    ~MachineEnd();
    MachineEnd(const MachineEnd &) = delete;
    MachineEnd &operator=(const MachineEnd &) = delete;

    std::string address() const { return "127.0.0.1:" + std::to_string(m_port); }
    u16 port() const { return m_port; }

    void takeConnection(); // waits for it
    void greet();          // the bridge's handshake and its IDENTIFY
    void serve();          // starts the thread

    void awaitLinkUp();

    // ---- For the thread of its user.

    void sendValues(u32 variable, u32 count) const;
    void sendBuffers(u32 variable, u32 size, u32 count) const;
    void flood(bool on); // between two messages of the bridge the thread sends values without end
    void announceFile(u16 fileId, const std::string &path) const;

    u64 valuesTaken();
    void awaitValues(u64 count);
    std::string awaitFile(); // the path of the file that the client sent

  private:
    void run();
    void floodUntilReadable() const;
    size_t takeFrames(std::span<const u8> bytes);
    void takeMessage(std::span<const u8> message);
    void takeVariable(std::span<const u8> payload);
    template <typename Condition>
    void await(const char *what, Condition condition);

    u16 m_port = 0;
    Descriptor m_listener;
    Descriptor m_link;
    Bytes m_answer; // of the thread
    std::atomic<bool> m_floods{false};

    std::mutex m_mutex; // guards all below
    std::condition_variable m_changed;
    bool m_isLinkUp = false;
    u64 m_valuesTaken = 0;
    std::string m_file;

    std::jthread m_thread;
};

} // namespace LumoBench
