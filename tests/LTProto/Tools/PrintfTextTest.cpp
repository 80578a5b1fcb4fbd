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

} // namespace
