// Names for display: the machine's variables and the kinds of values.
// Fixed tables, safe from any thread; the texts live as long as the program.
#pragma once

#include "LTProto/LTProto/WireFormat.h"

namespace LTProtocol
{

// The machine's display name of a variable; an empty text for one that has none. Never null.
const char *VariableName(u32 varId);

// The enumerator's name, such as "INTEGER_POSITIVE"; "UNKNOWN" for a byte that is no enumerator. Never null.
const char *DataTypeName(eDataType dataType);

} // namespace LTProtocol
