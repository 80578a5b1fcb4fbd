#include "LTProto/Tools/PrintfText.h"

#include <gtest/gtest.h>

namespace
{

TEST(PrintfText, FormatsAnyLengthWhole)
{
    for (const std::size_t len : {0u, 509u, 510u, 511u, 150000u})
    {
        const std::string word(len, 'x');
        EXPECT_EQ(Tools::PrintfToString("%s%d", word.c_str(), -7), word + "-7");
    }
}

TEST(PrintfText, ExpandsWithoutArguments)
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
        EXPECT_EQ(Tools::ExpandWithoutArguments(c.format), c.text);
}

} // namespace
