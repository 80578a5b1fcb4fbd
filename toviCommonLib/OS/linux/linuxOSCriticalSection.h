// The library's lock: one POSIX mutex with default attributes, and its scoped guard.
#pragma once

#include <pthread.h>

struct sOSCriticalSection
{
    pthread_mutex_t cs = PTHREAD_MUTEX_INITIALIZER;
};
using OSCriticalSection = sOSCriticalSection;

namespace platform
{

inline void criticalsection_init(sOSCriticalSection *section)
{
    pthread_mutex_init(&section->cs, nullptr);
}

inline void criticalsection_close(sOSCriticalSection &section)
{
    pthread_mutex_destroy(&section.cs);
}

// Holds the section from construction to the end of the scope; borrows it.
class CriticalSectionLock
{
  public:
    explicit CriticalSectionLock(sOSCriticalSection &section) : m_section(section) { pthread_mutex_lock(&section.cs); }
    ~CriticalSectionLock() { pthread_mutex_unlock(&m_section.cs); }
    CriticalSectionLock(const CriticalSectionLock &) = delete;
    CriticalSectionLock &operator=(const CriticalSectionLock &) = delete;

  private:
    sOSCriticalSection &m_section;
};

} // namespace platform
