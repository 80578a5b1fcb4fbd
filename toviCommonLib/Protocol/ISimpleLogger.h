// ISimpleLogger: where a protocol tells how its handshake goes.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <cstdarg>

namespace tovi
{

class ISimpleLogger
{
  public:
    virtual ~ISimpleLogger() = default;
    virtual void incIndent() = 0;
    virtual void decIndent() = 0;
    virtual void vlog(const char *format, va_list args) = 0;
    virtual void vlog(u8 color, const char *format, va_list args) = 0;
    virtual void vlogWithPrefix(const char *prefix, const char *format, va_list args) = 0;
    virtual void vlogWithPrefix(const char *prefix, u8 color, const char *format, va_list args) = 0;

    __attribute__((format(printf, 2, 3))) void log(const char *format, ...)
    {
        va_list args;
        va_start(args, format);
        vlog(format, args);
        va_end(args);
    }
};

} // namespace tovi
