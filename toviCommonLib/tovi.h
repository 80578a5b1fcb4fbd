// The common library's start and end, and what it knows from its start. Nothing of the library may be used before
// `init` or after `deinit`, which the main thread calls once each and which print nothing.
#pragma once

#include "toviCommonLib/mtrand.h"
#include "toviCommonLib/toviDateTime.h"

namespace tovi
{

// Keeps of the name its letters, digits, '-' and '_', a blank as '_', at most 63 characters; "noname" when none is left.
// False when the platform cannot start: see platform::internal_init. `platformSpecificData` is not used here.
bool init(const char *appName, void *platformSpecificData);
void deinit();

const char *getAppName();
bool isLittleEndian();

// Local date and time of `init`.
const DateTime &getDateTimeAppStarted();
const Date &getDateAppStarted();
const Time24 &getTimeAppStarted();

// Numbers by chance, from the sequence of the generator's seed. An instance belongs to one thread.
class Random
{
  public:
    void seed(u32 value) { m_generator.seed(value); }
    float get01();        // from 0 to 1, both included
    u32 getU32(u32 iMax); // from 0 to `iMax`, both included

  private:
    double next01();

    MTRand_int32 m_generator;
};

// As above, from the library's own generator; main thread.
float random01();
u32 randomU32(u32 iMax);

} // namespace tovi
