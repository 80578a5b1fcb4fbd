#include "LumoBridge/LTData.h"

#include "toviCommonLib/toviByteOrder.h"

#include <cstring>

namespace LT_Proto
{
namespace
{

constexpr u32 NUMBER_LEN = 4;
constexpr u32 ELEMENT_LEN = 1 + NUMBER_LEN;
constexpr double VALUE_MAX = 4294967295.0;

bool isBytes(eDataType dataType)
{
    return dataType == eDataType::STRING_UTF || dataType == eDataType::DATA_BUFFER;
}

bool isElement(eDataType elemType)
{
    switch (elemType)
    {
    case eDataType::FILE_ID:
    case eDataType::VARIABLE_ID:
    case eDataType::TICKET_ID:
    case eDataType::DATA_BUFFER:
    case eDataType::INTERNAL_COMMAND: return true;
    default: return false;
    }
}

} // namespace

// ---- Setters.

bool LTData::HasBytes() const
{
    return isBytes(m_dataType);
}

// The stored number of decimals is one less than given: 2.5 with 1 decimal is 25 with 0 decimals.
void LTData::SetDecimal(double value, u8 decimals)
{
    m_request = false;
    m_dataType = value < 0 ? eDataType::DECIMAL_NEGATIVE : eDataType::DECIMAL_POSITIVE;
    double magnitude = value < 0 ? -value : value;
    for (u8 i = 0; i < decimals && magnitude < VALUE_MAX; ++i)
        magnitude *= 10;
    if (magnitude >= VALUE_MAX)
        m_dataValue = 0xFFFFFFFF;
    else
        m_dataValue = magnitude >= 1 ? static_cast<u32>(magnitude) : 0; // not a number gives 0
    m_dataDecPos = static_cast<u8>(decimals - 1);
}

// Integers are stored as decimal types; callers rely on it.
void LTData::SetSigned(int value, u8 decimals)
{
    m_request = false;
    m_dataType = value < 0 ? eDataType::DECIMAL_NEGATIVE : eDataType::DECIMAL_POSITIVE;
    m_dataValue = value < 0 ? 0U - static_cast<u32>(value) : static_cast<u32>(value);
    m_dataDecPos = decimals;
}

bool LTData::Set(eDataType dataType, u32 value, u8 decimals)
{
    if (isBytes(dataType))
        return false;
    m_request = false;
    m_dataType = dataType;
    m_dataValue = value;
    m_dataDecPos = decimals;
    return true;
}

bool LTData::Set(int value, u8 decimals)
{
    SetSigned(value, decimals);
    return true;
}

bool LTData::Set(float value, u8 decimals)
{
    SetDecimal(static_cast<double>(value), decimals);
    return true;
}

bool LTData::Set(eDataType dataType, u32 size, const void *bytes)
{
    if (!isBytes(dataType))
        return false;
    m_request = false;
    m_dataType = dataType;
    m_dataBuffer.Set(size, bytes);
    return true;
}

bool LTData::Set(eDataType elemType, u32 elemValue, eDataType dataType, u32 value, u8 decimals)
{
    if (!isElement(elemType) || !Set(dataType, value, decimals))
        return false;
    m_elemType = elemType;
    m_elemValue = elemValue;
    return true;
}

bool LTData::Set(eDataType elemType, u32 elemValue, float value, u8 decimals)
{
    if (!isElement(elemType))
        return false;
    m_elemType = elemType;
    m_elemValue = elemValue;
    return Set(value, decimals);
}

bool LTData::Set(eDataType elemType, u32 elemValue, eDataType dataType, u32 size, const void *bytes)
{
    if (!isElement(elemType) || !Set(dataType, size, bytes))
        return false;
    m_elemType = elemType;
    m_elemValue = elemValue;
    return true;
}

bool LTData::Request(eDataType elemType, u32 elemValue)
{
    m_request = true;
    m_elemType = elemType;
    m_elemValue = elemValue;
    return true;
}

// ---- Encoding.

// All of the encoding but the bytes of the buffer, which follow it.
u32 LTData::EncodeHead(u8 (&head)[ENCODED_HEAD_MAX]) const
{
    u32 len = 0;
    if (m_elemType == eDataType::VARIABLE_ID || m_elemType == eDataType::DATA_BUFFER)
    {
        head[len++] = static_cast<u8>(m_elemType);
        tovi::utils::writeLsbMsbU32(head + len, m_elemValue);
        len += NUMBER_LEN;
    }
    head[len++] = static_cast<u8>(m_dataType);
    if (HasBytes() || m_dataType == eDataType::NULL_DATA)
        return len;
    tovi::utils::writeLsbMsbU32(head + len, m_dataValue);
    len += NUMBER_LEN;
    head[len++] = m_dataDecPos;
    return len;
}

bool LTData::Encode(Tools::MemoryBuffer &out) const
{
    u8 head[ENCODED_HEAD_MAX];
    Tools::MemoryBuffer encoded(EncodeHead(head), head);
    if (HasBytes())
        encoded.Add(m_dataBuffer);
    out = std::move(encoded);
    return true;
}

u32 LTData::Encode(u32 size, void *dst) const
{
    Tools::MemoryBuffer encoded;
    Encode(encoded);
    // `size` is the least length that is wanted, not the room at `dst`: callers pass 0 or the exact length.
    return encoded.m_len >= size ? encoded.Extract(encoded.m_len, dst) : 0;
}

bool LTData::Decode(u32 len, const void *bytes)
{
    if (len < 2)
    {
        m_dataType = eDataType::UNDEFINED;
        return false;
    }
    const u8 *p = static_cast<const u8 *>(bytes);
    const u8 *end = p + len;
    // Only a variable is recognised as an element; a buffer's element part decodes as the first bytes of its value.
    if (static_cast<eDataType>(*p) == eDataType::VARIABLE_ID && len > ELEMENT_LEN)
    {
        m_elemType = eDataType::VARIABLE_ID;
        m_elemValue = tovi::utils::readLsbMsbU32(p + 1);
        p += ELEMENT_LEN;
    }
    m_dataType = static_cast<eDataType>(*p++);
    const u32 left = static_cast<u32>(end - p);
    if (HasBytes())
    {
        m_dataBuffer.Set(left, p);
        return true;
    }
    if (m_dataType == eDataType::NULL_DATA)
        return left == 0;
    if (left < NUMBER_LEN)
        return false;
    m_dataValue = tovi::utils::readLsbMsbU32(p);
    m_dataDecPos = left > NUMBER_LEN ? p[NUMBER_LEN] : u8{0};
    return true;
}

bool LTData::Decode(eDataType elemType, u32 elemValue, u32 len, const void *bytes)
{
    if (!Decode(len, bytes))
        return false;
    m_elemType = elemType;
    m_elemValue = elemValue;
    return true;
}

// ---- Posting.

namespace
{

void post(const sHThreadMsgW &h, eMqMessage what, u32 param, const void *bytes = nullptr, u32 size = 0)
{
    tovi::thread::pushMsg(h, static_cast<u16>(what), param, bytes, size);
}

} // namespace

bool LTData::PostEncoded(const sHThreadMsgW &h, eMqMessage what) const
{
    u8 head[ENCODED_HEAD_MAX];
    const u32 headLen = EncodeHead(head);
    const u32 bytesLen = HasBytes() ? m_dataBuffer.m_len : 0;
    tovi::thread::pushMsg2Buffer(h, static_cast<u16>(what), m_elemValue, head, headLen, m_dataBuffer.m_ptr.get(),
                                 bytesLen);
    return true;
}

bool LTData::SendVar(const sHThreadMsgW &h) const
{
    return PostEncoded(h, eMqMessage::VARIABLE_DATA);
}

bool LTData::SendVar(const sHThreadMsgW &h, u32 varId, eDataType dataType, u32 value, u8 decimals)
{
    return Set(eDataType::VARIABLE_ID, varId, dataType, value, decimals) && SendVar(h);
}

bool LTData::SendVar(const sHThreadMsgW &h, u32 varId, int value, u8 decimals)
{
    m_elemValue = varId;
    SetSigned(value, decimals);
    return SendVar(h);
}

bool LTData::SendVar(const sHThreadMsgW &h, u32 varId, float value, u8 decimals)
{
    m_elemValue = varId;
    return Set(value, decimals) && SendVar(h);
}

bool LTData::SendVar(const sHThreadMsgW &h, u32 varId, eDataType dataType, u32 size, const void *bytes)
{
    if (!Set(dataType, size, bytes))
        return false;
    m_elemValue = varId;
    return SendVar(h);
}

bool LTData::SendVar(const sHThreadMsgW &h, eDataType elemType, u32 elemValue, eDataType dataType, u32 value,
                     u8 decimals)
{
    return Set(elemType, elemValue, dataType, value, decimals) && SendVar(h);
}

bool LTData::SendVar(const sHThreadMsgW &h, eDataType elemType, u32 elemValue, float value, u8 decimals)
{
    return Set(elemType, elemValue, value, decimals) && SendVar(h);
}

bool LTData::SendVar(const sHThreadMsgW &h, eDataType elemType, u32 elemValue, eDataType dataType, u32 size,
                     const void *bytes)
{
    return Set(elemType, elemValue, dataType, size, bytes) && SendVar(h);
}

bool LTData::SendNullData(const sHThreadMsgW &h, u32 varId)
{
    return Set(eDataType::VARIABLE_ID, varId, eDataType::NULL_DATA, 0, u8{0}) && SendVar(h);
}

bool LTData::SendString(const sHThreadMsgW &h, u32 varId, u32 size, const void *bytes)
{
    return Set(eDataType::VARIABLE_ID, varId, eDataType::STRING_UTF, size, bytes) && SendVar(h);
}

bool LTData::SendBuffer(const sHThreadMsgW &h, u32 varId, u32 size, const void *bytes)
{
    return Set(eDataType::VARIABLE_ID, varId, eDataType::DATA_BUFFER, size, bytes) && SendVar(h);
}

bool LTData::SendDataRaw(const sHThreadMsgW &h, u32 bufferId, eDataType dataType, u32 size, const void *bytes)
{
    return Set(eDataType::DATA_BUFFER, bufferId, dataType, size, bytes) && PostEncoded(h, eMqMessage::DATABUFFER_RAW);
}

bool LTData::SendFile(const sHThreadMsgW &h, u32 fileId, u32 size, const void *name)
{
    post(h, eMqMessage::FILE_DATA, fileId, name, size);
    return true;
}

bool LTData::SendFile(const sHThreadMsgW &h, u32 fileId, const Tools::StringUtf8 &name)
{
    return SendFile(h, fileId, name.m_len, name.m_ptr.get());
}

bool LTData::SendRequest(const sHThreadMsgW &h) const
{
    if (m_elemType != eDataType::FILE_ID && m_elemType != eDataType::VARIABLE_ID)
        return false;
    // A file's request travels as a variable's.
    return ReqVar(h, m_elemValue);
}

bool LTData::SendCommand(const sHThreadMsgW &h, eMqCommand command)
{
    post(h, eMqMessage::COMMAND, static_cast<u32>(command));
    return true;
}

bool LTData::ReqVar(const sHThreadMsgW &h, u32 varId)
{
    post(h, eMqMessage::VARIABLE_REQ, varId);
    return true;
}

bool LTData::ReqFile(const sHThreadMsgW &h, u32 fileId)
{
    post(h, eMqMessage::FILE_REQ, fileId);
    return true;
}

} // namespace LT_Proto
