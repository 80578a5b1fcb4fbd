#include "LTProto/Tools/PrintfText.h"

#include <gtest/gtest.h>

namespace
{

TEST(PrintfText, FormatsAnyLengthWhole)
{
    for (const std::size_t len : {0u, 1u, 511u, 512u, 513u, 150000u})
    {
        const std::string word(len, 'x');
        EXPECT_EQ(Tools::PrintfToString("<%s|%d>", word.c_str(), -7), "<" + word + "|-7>");
    }
}

struct sExpandCase
{
    const char *name;
    const char *format;
    const char *text;
};

class PrintfTextExpand : public testing::TestWithParam<sExpandCase>
{
};

TEST_P(PrintfTextExpand, PrintsNoArgument)
{
    EXPECT_EQ(Tools::ExpandWithoutArguments(GetParam().format), GetParam().text);
}

const sExpandCase EXPAND_CASES[] = {
    {"Nothing", "", ""},
    {"PlainText", "no sign, 5 lines\n", "no sign, 5 lines\n"},
    {"DoubledSign", "100%% %%d", "100% %d"},
    {"EveryLetter", "[%d%i%o%u%x%X%e%E%f%F%g%G%a%A%c%s%C%S%p%n%m]", "[]"},
    {"FlagsWidthPrecision", "[%-08.3f|%+5d|% .2s|%#x|%'d]", "[||||]"},
    {"StarsAndEmptyPrecision", "[%*d|%-*.*s|%.f]", "[||]"},
    {"LengthModifiers", "[%hhu%hd%ld%llu%Lf%jd%zu%tx%qd]", "[]"},
    {"SpaceIsAFlag", "50% of it", "50f it"},
    {"UnknownLetterStays", "%y %5w", "%y %5w"},
    {"SignAtTheEndStays", "90%", "90%"},
    {"CutConversionStays", "%-5.3l", "%-5.3l"},
    {"CutBeforeAnother", "%5%d", "%5"},
    {"WidthBeforeDoubledSignStays", "%5%%", "%5%"},
};

INSTANTIATE_TEST_SUITE_P(Formats, PrintfTextExpand, testing::ValuesIn(EXPAND_CASES),
                         [](const auto &testInfo) { return testInfo.param.name; });

} // namespace
