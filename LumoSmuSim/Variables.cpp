#include "LumoSmuSim/Variables.h"

#include "LTProto/LTProto/ValueText.h"
#include "LTProto/LTProto/VariableNames.h"

#include <algorithm>
#include <cstdlib>

namespace LumoSmuSim
{

using namespace LTProtocol;

namespace
{

constexpr u32 TEMPERATURE_FIRST = 4;
constexpr u32 TEMPERATURE_LAST = 8;
constexpr u32 DRIFT_UP_STEPS = 5; // and as many down again

constexpr u32 STATUS_TABLETOP_AVAILABLE = 0x01020000; // model, status, two characters of an error

constexpr bool WRITABLE = true;

// The type name under which ValueParse reads the kind and chooses the sign.
const char *kindOf(eDataType dataType)
{
    if (IsInteger(dataType))
        return "int";
    if (IsDecimal(dataType))
        return "dec";
    return DataTypeName(dataType);
}

Variable variable(u32 id, const char *name, const char *typeName, const char *text, bool isWritable = false)
{
    return {id, name, ValueParse(typeName, text).value_or(Value{}), isWritable};
}

Variable known(u32 id, const char *typeName, const std::string &text)
{
    return variable(id, VariableName(id), typeName, text.c_str());
}

void addToLastDigit(Value &value, i64 delta)
{
    const bool isDecimal = IsDecimal(value.dataType);
    const bool isNegative = value.dataType == (isDecimal ? eDataType::DECIMAL_NEGATIVE : eDataType::INTEGER_NEGATIVE);
    const i64 number = (isNegative ? -i64{value.magnitude} : i64{value.magnitude}) + delta;
    value.magnitude = static_cast<u32>(std::abs(number));
    if (isDecimal)
        value.dataType = number < 0 ? eDataType::DECIMAL_NEGATIVE : eDataType::DECIMAL_POSITIVE;
    else
        value.dataType = number < 0 ? eDataType::INTEGER_NEGATIVE : eDataType::INTEGER_POSITIVE;
}

} // namespace

bool Variable::accepts(const Value &given) const
{
    const std::string_view ownKind = kindOf(value.dataType);
    return isWritable && ownKind == kindOf(given.dataType);
}

std::optional<Value> Variable::parse(std::string_view text) const
{
    return ValueParse(kindOf(value.dataType), text);
}

Variables::Variables()
    : m_variables{
          known(1, "int", std::to_string(STATUS_TABLETOP_AVAILABLE)),
          known(4, "dec", "92.5"),
          known(5, "dec", "88.0"),
          known(6, "int", "94"),
          known(7, "dec", "-3.5"),
          known(8, "int", "71"),
          known(9, "text", "Available"),
          known(10, "text", "9e107d9d372bb6826bd81d3542a419d6"),
          known(11, "bytes", "01 40 00 f0"),
          variable(20, "Cups served", "int", "1234"),
          variable(21, "Altitude", "int", "-12"),
          variable(22, "Last error", "null", ""),
          variable(100, "Cup size", "int", "120", WRITABLE),
          variable(101, "Grinder offset", "int", "-3", WRITABLE),
          variable(102, "Price", "dec", "0.50", WRITABLE),
          variable(103, "Welcome text", "text", "Buongiorno", WRITABLE),
          variable(104, "Recipe", "bytes", "0a 14 1e", WRITABLE),
      }
{
}

Variable *Variables::find(u32 id)
{
    const auto found = std::ranges::find(m_variables, id, &Variable::id);
    return found != m_variables.end() ? &*found : nullptr;
}

std::vector<u32> Variables::drift()
{
    const i64 delta = m_driftStep++ / DRIFT_UP_STEPS % 2 == 0 ? 1 : -1;
    std::vector<u32> changed;
    for (u32 id = TEMPERATURE_FIRST; id <= TEMPERATURE_LAST; ++id)
    {
        addToLastDigit(find(id)->value, delta);
        changed.push_back(id);
    }
    return changed;
}

} // namespace LumoSmuSim
