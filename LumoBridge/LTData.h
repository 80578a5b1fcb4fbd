// LT_Proto::LTData: the record that crosses between the main thread and the client protocol thread. It names an element
// (a variable, a file, a buffer, a ticket, a command) and carries one typed value. Used by one thread at a time.
#pragma once

#include "LTProto/LTProto/WireFormat.h"
#include "LTProto/Tools/MemoryBuffer.h"
#include "LTProto/Tools/StringUtf8.h"
#include "toviCommonLib/toviThreadMsgQ.h"

#include <string>

namespace LT_Proto
{

using LTProtocol::eComType;
using LTProtocol::eDataType;

// The `what` of a message between the threads.
enum class eMqMessage : u16
{
    VARIABLE_REQ = 1,
    VARIABLE_DATA = 2,
    FILE_REQ = 3,
    FILE_DATA = 4,
    DATABUFFER_RAW = 5,
    LINK_STATE = 65534,
    COMMAND = 65535
};

// The `paramU32` of a COMMAND message.
enum class eMqCommand : u32
{
    LOG_CHANGE = 100,
    LOG_ENABLE = 101,
    LOG_DISABLE = 102,
    LOG_STATUS = 103,
    LOG_WRITE_CHANGE = 104,
    LOG_WRITE_ENABLE = 105,
    LOG_WRITE_DISABLE = 106,
    TRACE_CHANGE = 107,
    TRACE_ENABLE = 108,
    TRACE_DISABLE = 109,
    TRACE_STATUS = 110,
    TEMPORARY_PATH = 0x0FFFFFFE,
    LIB_VERSION = 0xFFFFFFFF
};

// Numbers are sign and magnitude: the sign is in the data type. 12.34 is DECIMAL_POSITIVE, 1234, 2 decimals.
// Encoding, numbers least significant byte first; the first line stands in front for VARIABLE_ID and DATA_BUFFER alone:
//   element type (1) | element id (4)
//   data type (1) | bytes to the end, or value (4) and decimals (1), or for NULL_DATA nothing
class LTData
{
  public:
    bool m_request = false; // asks for the element instead of carrying its value; never encoded
    eDataType m_elemType = eDataType::UNDEFINED;
    u32 m_elemValue = 0;
    eDataType m_dataType = eDataType::UNDEFINED;
    u8 m_dataDecPos = 0;              // decimals
    u32 m_dataValue = 0;              // magnitude
    Tools::MemoryBuffer m_dataBuffer; // of STRING_UTF and DATA_BUFFER

    // Setters. False, and nothing changed, when a type is not what the form is for: the byte forms take STRING_UTF and
    // DATA_BUFFER, the others all else; an element is a file, variable, ticket, buffer or internal command.
    // The float forms store floor(|value| * 10^decimals) and one decimal less than `decimals`.
    bool Set(eDataType dataType, u32 value, u8 decimals);
    bool Set(int value, u8 decimals); // a decimal type, whatever the value
    bool Set(float value, u8 decimals);
    bool Set(eDataType dataType, u32 size, const void *bytes);
    bool Set(eDataType elemType, u32 elemValue, eDataType dataType, u32 value, u8 decimals);
    bool Set(eDataType elemType, u32 elemValue, float value, u8 decimals);
    bool Set(eDataType elemType, u32 elemValue, eDataType dataType, u32 size, const void *bytes);
    bool Request(eDataType elemType, u32 elemValue);

    bool Encode(Tools::MemoryBuffer &out) const;

    // Copies the whole encoding when its length is at least `size`, else nothing; returns the length copied.
    u32 Encode(u32 size, void *dst) const;

    // Of element parts only that of VARIABLE_ID is recognised. False when the bytes are too few or too many for the type;
    // the data type is set all the same. The second form sets the element from its arguments on success.
    bool Decode(u32 len, const void *bytes);
    bool Decode(eDataType elemType, u32 elemValue, u32 len, const void *bytes);

    // Each sets the record and posts one message on the queue. False when a type is refused; nothing is posted then.
    bool SendVar(const sHThreadMsgW &h) const;
    bool SendVar(const sHThreadMsgW &h, u32 varId, eDataType dataType, u32 value, u8 decimals);
    bool SendVar(const sHThreadMsgW &h, u32 varId, int value, u8 decimals);   // element type left as it was
    bool SendVar(const sHThreadMsgW &h, u32 varId, float value, u8 decimals); // element type left as it was
    bool SendVar(const sHThreadMsgW &h, u32 varId, eDataType dataType, u32 size,
                 const void *bytes); // element type left as it was
    bool SendVar(const sHThreadMsgW &h, eDataType elemType, u32 elemValue, eDataType dataType, u32 value, u8 decimals);
    bool SendVar(const sHThreadMsgW &h, eDataType elemType, u32 elemValue, float value, u8 decimals);
    bool SendVar(const sHThreadMsgW &h, eDataType elemType, u32 elemValue, eDataType dataType, u32 size,
                 const void *bytes);
    bool SendNullData(const sHThreadMsgW &h, u32 varId);
    bool SendString(const sHThreadMsgW &h, u32 varId, u32 size, const void *bytes);
    bool SendBuffer(const sHThreadMsgW &h, u32 varId, u32 size, const void *bytes);
    bool SendDataRaw(const sHThreadMsgW &h, u32 bufferId, eDataType dataType, u32 size, const void *bytes);
    static bool SendFile(const sHThreadMsgW &h, u32 fileId, u32 size, const void *name);
    static bool SendFile(const sHThreadMsgW &h, u32 fileId, const Tools::StringUtf8 &name);
    bool SendRequest(const sHThreadMsgW &h) const; // a file's request travels as a variable's
    static bool SendCommand(const sHThreadMsgW &h, eMqCommand command);
    static bool ReqVar(const sHThreadMsgW &h, u32 varId);
    static bool ReqFile(const sHThreadMsgW &h, u32 fileId);

    // The machine's display name of a variable; empty for one that has none.
    static const char *VariableDescription(u32 varId);

    // The record on one line; empty for elements other than files and variables.
    std::string ToString() const;

  private:
    static constexpr u32 ENCODED_HEAD_MAX = 1 + 4 + 1 + 4 + 1;

    u32 EncodeHead(u8 (&head)[ENCODED_HEAD_MAX]) const;
    bool HasBytes() const;
    void SetDecimal(double value, u8 decimals);
    void SetSigned(int value, u8 decimals);
    bool PostEncoded(const sHThreadMsgW &h, eMqMessage what) const;
    std::string ValueText() const;
    std::string MachineStatusText() const;
};

} // namespace LT_Proto
