// The record as text.
#include "LumoBridge/LTData.h"

#include "LTProto/LTProto/VariableNames.h"
#include "LTProto/Tools/LogTracer.h"

#include <span>

namespace LT_Proto
{
namespace
{

constexpr u32 VARIABLE_VMD_STATUS = 1;
constexpr u8 STATUS_ERROR = 6;
constexpr u32 BUFFER_BYTES_SHOWN = 32;

struct sStatusName
{
    u8 code;
    const char *name;
};

// The machine families number 0, 17, 20 and 21 differently. The first match counts.
constexpr sStatusName TABLE_TOP_STATUS[] = {
    {2, "Available"},    {3, "Erog"},       {4, "Prog"},        {5, "Starting"},      {6, "Error"},
    {7, "Manual Clean"}, {8, "AutoClean"},  {9, "waterLoad"},   {10, "TempWait"},     {11, "MasterWait"},
    {12, "Install"},     {13, "Uninstall"}, {14, "InstallEnd"}, {15, "UninstallEnd"}, {16, "EnergySaving"},
    {17, "DB Check"},    {18, "DataAudit"}, {20, "Sanitizing"}, {21, "Select Test"},
};
constexpr sStatusName FREE_STANDING_STATUS[] = {
    {0, "ComErr"},        {2, "Available"},    {3, "Erog"},       {4, "Prog"},        {5, "Starting"},
    {6, "Error"},         {7, "Manual Clean"}, {8, "AutoClean"},  {9, "waterLoad"},   {10, "TempWait"},
    {11, "MasterWait"},   {12, "Install"},     {13, "Uninstall"}, {14, "InstallEnd"}, {15, "UninstallEnd"},
    {16, "EnergySaving"}, {17, "Sanitizing"},  {18, "DataAudit"},
};

struct sModel
{
    const char *label;
    std::span<const sStatusName> statuses;
};

sModel modelOf(u8 number)
{
    switch (number)
    {
    case 1: return {" TableTop ", TABLE_TOP_STATUS};
    case 2: return {" FreeStanding ", FREE_STANDING_STATUS};
    case 3: return {" tvFS.Touch ", FREE_STANDING_STATUS};
    default: return {"", {}};
    }
}

} // namespace

const char *LTData::VariableDescription(u32 varId)
{
    return LTProtocol::VariableName(varId);
}

std::string LTData::ToString() const
{
    if (m_elemType == eDataType::FILE_ID)
        return "file " + std::to_string(m_elemValue);
    if (m_elemType != eDataType::VARIABLE_ID)
        return {};
    std::string text = "variable " + std::to_string(m_elemValue) + " ";
    if (const std::string name = VariableDescription(m_elemValue); !name.empty())
        text += "(" + name + ")";
    if (m_elemValue > VARIABLE_VMD_STATUS)
        text += " type ";
    return text + (m_elemValue == VARIABLE_VMD_STATUS ? MachineStatusText() : ValueText());
}

// Value of the status, most significant byte first: machine model | status code | two characters of an error code.
std::string LTData::MachineStatusText() const
{
    const u8 model = static_cast<u8>(m_dataValue >> 24);
    const u8 code = static_cast<u8>(m_dataValue >> 16);
    const char error[] = {static_cast<char>(m_dataValue >> 8), static_cast<char>(m_dataValue), '\0'};
    const sModel family = modelOf(model);
    std::string text = Tools::LogTracer::TraceToString("%02x %02x", model, code) + family.label;
    for (const sStatusName &status : family.statuses)
    {
        if (status.code != code)
            continue;
        text += status.name;
        if (code == STATUS_ERROR)
            text += error;
        break;
    }
    return text;
}

std::string LTData::ValueText() const
{
    const std::string value = std::to_string(m_dataValue);
    switch (m_dataType)
    {
    case eDataType::INTEGER_POSITIVE: return "IntegerPositive value " + value;
    case eDataType::INTEGER_NEGATIVE: return "IntegerNegative value " + value;
    case eDataType::DECIMAL_POSITIVE:
        return "DecimalPositive value " + value + " decimalPos " + std::to_string(m_dataDecPos);
    case eDataType::DECIMAL_NEGATIVE:
        return "DecimalNegative value " + value + " decimalPos " + std::to_string(m_dataDecPos);
    case eDataType::NULL_DATA: return "NullValue";
    case eDataType::STRING_UTF:
        return "UTF String " +
               std::string(reinterpret_cast<const char *>(m_dataBuffer.m_ptr.get()), m_dataBuffer.m_len);
    case eDataType::DATA_BUFFER: return "Data buffer " + m_dataBuffer.ToHex(BUFFER_BYTES_SHOWN);
    default: return {};
    }
}

} // namespace LT_Proto
