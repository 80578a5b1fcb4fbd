#include "LTProto/LTProto/VariableNames.h"

namespace LTProtocol
{

const char *VariableName(u32 varId)
{
    switch (varId)
    {
    case 1: return "VMD status";
    case 4: return "Express Temp";
    case 5: return "Soluble Temp";
    case 6: return "Coffee Temp";
    case 7: return "Ice Temp";
    case 8: return "Capp Temp";
    case 9: return "VMD State";
    case 10: return "Config file Hash";
    case 11: return "Mouse last left click";
    default: return "";
    }
}

const char *DataTypeName(eDataType dataType)
{
    switch (dataType)
    {
    case eDataType::UNDEFINED: return "UNDEFINED";
    case eDataType::INTEGER_POSITIVE: return "INTEGER_POSITIVE";
    case eDataType::INTEGER_NEGATIVE: return "INTEGER_NEGATIVE";
    case eDataType::DECIMAL_POSITIVE: return "DECIMAL_POSITIVE";
    case eDataType::DECIMAL_NEGATIVE: return "DECIMAL_NEGATIVE";
    case eDataType::FILE_ID: return "FILE_ID";
    case eDataType::VARIABLE_ID: return "VARIABLE_ID";
    case eDataType::STRING_UTF: return "STRING_UTF";
    case eDataType::DATA_BUFFER: return "DATA_BUFFER";
    case eDataType::NULL_DATA: return "NULL_DATA";
    case eDataType::TICKET_ID: return "TICKET_ID";
    case eDataType::INTERNAL_COMMAND: return "INTERNAL_COMMAND";
    }
    return "UNKNOWN"; // the byte came off the wire
}

} // namespace LTProtocol
