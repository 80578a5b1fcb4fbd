// A network cable between two networks of a thread's own: here, and beyond.
#pragma once

#include "tests/Descriptor.h"

#include <cstdlib>
#include <fcntl.h>
#include <sched.h>

class Cable
{
  public:
    static constexpr char HERE[] = "10.93.0.1";
    static constexpr char BEYOND[] = "10.93.0.2";

    // From here on this thread, and each program that it starts, is in the network here. Nothing is laid without the rights.
    Cable() : m_beyond(ownNetwork()), m_here(ownNetwork())
    {
        if (m_beyond.get() < 0 || m_here.get() < 0)
            return;
        const std::string network = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(m_beyond.get());
        m_isLaid = run("ip link set lo up && ip link add here type veth peer name beyond netns " + network +
                       " && ip address add " + HERE + "/24 dev here && ip link set here up") &&
                   beyond([] { return run(std::string("ip address add ") + BEYOND + "/24 dev beyond"); }) && plug();
    }
    Cable(const Cable &) = delete;
    Cable &operator=(const Cable &) = delete;

    bool isLaid() const { return m_isLaid; }
    bool pull() const
    {
        return beyond([] { return run("ip link set beyond down"); });
    }
    bool plug() const
    {
        return beyond([] { return run("ip link set beyond up"); });
    }

    // A socket made by `make` is one of the network beyond.
    template <typename Make>
    auto beyond(Make make) const -> decltype(make())
    {
        setns(m_beyond.get(), CLONE_NEWNET);
        auto made = make();
        setns(m_here.get(), CLONE_NEWNET);
        return made;
    }

  private:
    static Descriptor ownNetwork()
    {
        return Descriptor(unshare(CLONE_NEWNET) == 0 ? open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC) : -1);
    }
    static bool run(const std::string &command) { return std::system(command.c_str()) == 0; }

    Descriptor m_beyond;
    Descriptor m_here;
    bool m_isLaid = false;
};
