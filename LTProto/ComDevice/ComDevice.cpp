#include "LTProto/ComDevice/ComDevice.h"

#include <cstdarg>

namespace tovi
{

bool ComDevice::WaitableGroup(OSWaitableGrp &group, u32 id, u32)
{
    m_waitableGroup = &group;
    m_waitableGroupId = id;
    return true;
}

bool ComDevice::WaitableGroupLink(sOSSocket &socket)
{
    return m_waitableGroup != nullptr && m_waitableGroup->addSocket(socket, m_waitableGroupId);
}

bool ComDevice::WaitableGroupUnlink(sOSSocket &socket)
{
    if (m_waitableGroup == nullptr)
        return false;
    m_waitableGroup->removeSocket(socket);
    return true;
}

bool ComDevice::WaitableGroupLink(sOSSerialPort &comPort)
{
    return m_waitableGroup != nullptr && m_waitableGroup->addSerialPort(comPort, m_waitableGroupId);
}

bool ComDevice::WaitableGroupUnlink(sOSSerialPort &comPort)
{
    if (m_waitableGroup == nullptr)
        return false;
    m_waitableGroup->removeSerialPort(comPort);
    return true;
}

bool ComDevice::WaitableGroupClean(bool removeGroupId)
{
    m_waitableGroup = nullptr;
    if (removeGroupId)
        m_waitableGroupId = 0;
    return true;
}

bool ComDevice::Set(const char *, int)
{
    return false;
}

bool ComDevice::Send(u32, void *)
{
    return false;
}

void ComDevice::Trace(const char *format, ...)
{
    if (m_logTracer == nullptr)
        return;
    va_list args;
    va_start(args, format);
    m_logTracer->TraceVariableList(format, args);
    va_end(args);
}

} // namespace tovi
