#include "LTProto/LTProto/VariableNames.h"

#include <gtest/gtest.h>

namespace
{

using LTProtocol::DataTypeName;
using LTProtocol::eDataType;
using LTProtocol::VariableName;

TEST(VariableNames, NamesTheMachinesVariablesAndNoOthers)
{
    EXPECT_STREQ(VariableName(1), "VMD status");
    EXPECT_STREQ(VariableName(4), "Express Temp");
    EXPECT_STREQ(VariableName(9), "VMD State");
    EXPECT_STREQ(VariableName(11), "Mouse last left click");
    for (u32 unnamed : {0u, 2u, 3u, 12u, 0xF0000000u, 0xFFFFFFFFu})
        EXPECT_STREQ(VariableName(unnamed), "") << unnamed;
}

TEST(VariableNames, NamesEveryKindOfValueByItsWireByte)
{
    EXPECT_STREQ(DataTypeName(eDataType{0}), "UNDEFINED");
    EXPECT_STREQ(DataTypeName(eDataType{2}), "INTEGER_NEGATIVE");
    EXPECT_STREQ(DataTypeName(eDataType{16}), "DATA_BUFFER");
    EXPECT_STREQ(DataTypeName(eDataType{128}), "TICKET_ID");
    EXPECT_STREQ(DataTypeName(eDataType{99}), "UNKNOWN");
}

} // namespace
