#include "toviCommonLib/string/formatText.h"

#include <gtest/gtest.h>

TEST(FormatText, ExpandsWithoutArguments)
{
    const struct
    {
        const char *format;
        const char *text;
    } cases[] = {
        {"100%% %%d", "100% %d"},
        {"[%d%i%o%u%x%X%e%E%f%F%g%G%a%A%c%s%C%S%p%n%m]", "[]"},
        {"[%-08.3f|%+5d|% .2s|%#x|%'d|%*d|%-*.*s|%.f]", "[|||||||]"},
        {"[%hhu%hd%ld%llu%Lf%jd%zu%tx%qd]", "[]"},
        {"50% of it", "50f it"}, // the space is a flag
        {"%y %5w", "%y %5w"},
        {"90%", "90%"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(tovi::string::expandWithoutArguments(c.format), c.text);
}
