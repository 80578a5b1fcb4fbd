#include "LTProto/LTProto/Value.h"
#include "LTProto/LTProto/ValueText.h"

#include "tests/HexBytes.h"

#include <gtest/gtest.h>

namespace
{

using namespace LTProtocol;
using enum eDataType;

Value Number(eDataType dataType, u32 magnitude, u8 decimals = 0)
{
    return Value{dataType, magnitude, decimals, {}};
}

Value OfBytes(eDataType dataType, const std::string &bytes)
{
    return Value{dataType, 0, 0, {bytes.begin(), bytes.end()}};
}

struct ValueForms
{
    const char *name;
    Value value;
    const char *encoded;
    const char *typeName; // and `typed`: what a person types for it; null when it cannot be typed
    const char *typed;
    const char *shown;
};

const ValueForms FORMS[] = {
    {"Integer", Number(INTEGER_POSITIVE, 25), "01 00 00 00 19", "int", "25", "25"},
    {"LargestInteger", Number(INTEGER_POSITIVE, 0xFFFFFFFF), "01 FF FF FF FF", "int", "+4294967295", "4294967295"},
    {"NegativeInteger", Number(INTEGER_NEGATIVE, 5), "02 00 00 00 05", "int", "-5", "-5"},
    {"NegativeByName", Number(INTEGER_NEGATIVE, 5), "02 00 00 00 05", "INTEGER_NEGATIVE", "5", "-5"},
    {"Decimal", Number(DECIMAL_POSITIVE, 1234, 2), "03 00 00 04 D2 02", "dec", "12.34", "12.34"},
    {"DecimalBelowOne", Number(DECIMAL_NEGATIVE, 5, 3), "04 00 00 00 05 03", "dec", "-.005", "-0.005"},
    {"DecimalsCountAsTyped", Number(DECIMAL_POSITIVE, 1250, 2), "03 00 00 04 E2 02", "dec", "12.50", "12.50"},
    {"Text", OfBytes(STRING_UTF, "a b"), "07 61 20 62", "text", "a b", "a b"},
    {"Buffer", OfBytes(DATA_BUFFER, "\x01\xfe"), "10 01 FE", "bytes", " 01fE ", "01 fe"},
    {"Null", Number(NULL_DATA, 0), "11", "null", "", "null"},
    {"VariableId", Number(VARIABLE_ID, 42), "06 00 00 00 2A", nullptr, nullptr, "42"},
};

TEST(Value, FormsAgreeOnTheWireWhenTypedAndWhenShown)
{
    for (const ValueForms &forms : FORMS)
    {
        SCOPED_TRACE(forms.name);
        EXPECT_EQ(ValueEncode(forms.value), Hex(forms.encoded));
        EXPECT_EQ(ValueDecode(Hex(forms.encoded)), forms.value);
        EXPECT_EQ(ValueText(forms.value), forms.shown);
        if (forms.typeName != nullptr)
        {
            EXPECT_EQ(ValueParse(forms.typeName, forms.typed), forms.value);
        }
    }
}

TEST(Value, EveryOtherLengthOrTypeIsRefused)
{
    for (const char *damaged : {"", "00", "01", "01 00 00 00", "01 00 00 00 19 00", "03 00 00 04 D2",
                                "03 00 00 04 D2 02 00", "11 00", "63 00 00 00 00", "FF 00 00 00 00"})
        EXPECT_EQ(ValueDecode(Hex(damaged)), std::nullopt) << damaged;
    EXPECT_TRUE(ValueEncode(Number(UNDEFINED, 1)).empty());
    EXPECT_TRUE(ValueEncode(Number(INTERNAL_COMMAND, 1)).empty());
}

TEST(Value, WhatCannotBeUnderstoodIsNotParsed)
{
    const std::pair<const char *, const char *> refused[] = {{"int", ""},
                                                             {"int", "1.5"},
                                                             {"int", "4294967296"},
                                                             {"int", "0x10"},
                                                             {"dec", "."},
                                                             {"dec", "1,5"},
                                                             {"dec", "42949672.96"},
                                                             {"bytes", "1"},
                                                             {"bytes", "0g"},
                                                             {"null", "0"},
                                                             {"VARIABLE_ID", "1"},
                                                             {"", "1"},
                                                             {"INTEGER_POSITIVE", "-1"}};
    for (const auto &[typeName, text] : refused)
        EXPECT_EQ(ValueParse(typeName, text), std::nullopt) << typeName << " '" << text << "'";
}

TEST(ValueText, TextOffTheWireCannotSteerTheTerminal)
{
    const std::pair<std::string, const char *> shown[] = {{"\x1b[2J", "\\x1b[2J"},
                                                          {"a\nb\r\t\\", "a\\nb\\r\\t\\\\"},
                                                          {std::string("\0\x7f", 2), "\\x00\\x7f"},
                                                          {"caff\xC3\xA8", "caff\xC3\xA8"},
                                                          {"\xC2\x9B", "\\xc2\\x9b"},
                                                          {"\xC3", "\\xc3"},
                                                          {"\xC0\xAF", "\\xc0\\xaf"},
                                                          {"\xF4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"}};
    for (const auto &[text, safe] : shown)
        EXPECT_EQ(ValueText(OfBytes(STRING_UTF, text)), safe);
}

} // namespace
