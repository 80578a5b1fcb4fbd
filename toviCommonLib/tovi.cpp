#include "toviCommonLib/tovi.h"

#include "toviCommonLib/OS/linux/linuxOS.h"
#include "toviCommonLib/toviConsole.h"
#include "toviCommonLib/toviMemory.h"
#include "toviCommonLib/toviThreadMsgQ.h"

#include <bit>
#include <cstring>

namespace tovi
{
namespace
{

constexpr u32 APP_NAME_LEN_MAX = 63;

struct sToviGlobals
{
    char appName[APP_NAME_LEN_MAX + 1] = {};
    bool bLittleEndiand = true;
    DateTime dateTimeStarted;
    Random rnd;
};
sToviGlobals globals;

bool isKept(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

void storeAppName(const char *name)
{
    u32 len = 0;
    for (; name != nullptr && *name != '\0' && len < APP_NAME_LEN_MAX; ++name)
    {
        const char c = *name == ' ' ? '_' : *name;
        if (isKept(c))
            globals.appName[len++] = c;
    }
    globals.appName[len] = '\0';
    if (len == 0)
        std::strcpy(globals.appName, "noname");
}

u32 seedFromNow()
{
    u16 year = 0, month = 0, day = 0;
    u8 hour = 0, minute = 0, sec = 0;
    Date::getDateNow(&year, &month, &day);
    Time24::getTimeNow(&hour, &minute, &sec);
    const u32 days = month * 31U + year * 365U + day;
    return days * 86400U + hour * 3600U + minute * 60U + sec + static_cast<u32>(platform::getTimeNowMSec());
}

} // namespace

bool init(const char *appName, void *)
{
    storeAppName(appName);
    if (!platform::internal_init(globals.appName))
        return false;
    globals.bLittleEndiand = std::endian::native == std::endian::little;
    memory_init();
    console::priv_init();
    globals.dateTimeStarted.setNow();
    thread::internal_init();
    globals.rnd.seed(seedFromNow());
    return true;
}

void deinit()
{
    thread::internal_deinit();
    console::priv_deinit();
    memory_deinit();
    platform::internal_deinit();
}

const char *getAppName()
{
    return globals.appName;
}

bool isLittleEndian()
{
    return globals.bLittleEndiand;
}

const DateTime &getDateTimeAppStarted()
{
    return globals.dateTimeStarted;
}

const Date &getDateAppStarted()
{
    return globals.dateTimeStarted.date;
}

const Time24 &getTimeAppStarted()
{
    return globals.dateTimeStarted.time;
}

double Random::next01()
{
    return m_generator.next() * 2.3283064370807974e-10; // 1 / 4294967295
}

float Random::get01()
{
    return static_cast<float>(next01());
}

u32 Random::getU32(u32 iMax)
{
    return static_cast<u32>(0.5 + next01() * iMax);
}

float random01()
{
    return globals.rnd.get01();
}

u32 randomU32(u32 iMax)
{
    return globals.rnd.getU32(iMax);
}

} // namespace tovi
