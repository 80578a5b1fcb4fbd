#include "LTProto/LTProto/PacketToSend.h"

namespace LTProtocol
{
namespace
{

constexpr int ERROR_EMPTY_PAYLOAD = 1;
constexpr u32 TICKET_LEN = 4;

bool isBytes(eDataType dataType)
{
    return dataType == eDataType::STRING_UTF || dataType == eDataType::DATA_BUFFER;
}

} // namespace

PacketToSend::PacketToSend(TicketNr ticketId, eCommandType command, const void *payload, u32 len)
    : m_ticketId(ticketId), m_command(command), m_sendBuffer(len, payload)
{
    if (len == 0)
        throw ERROR_EMPTY_PAYLOAD;
}

PacketToSend::PacketToSend(TicketNr ticketId, eCommandType command, const Tools::MemoryBuffer &payload)
    : PacketToSend(ticketId, command, payload.m_ptr.get(), payload.m_len)
{
}

bool PacketToSend::DataSet(eDataType dataType, u32 value)
{
    if (isBytes(dataType))
        return false;
    m_dataType = dataType;
    m_dataValue = value;
    m_dataBuffer.Clear();
    return true;
}

bool PacketToSend::DataSet(eDataType dataType, u32 len, const void *data)
{
    return DataSet(dataType, Tools::MemoryBuffer(len, data));
}

bool PacketToSend::DataSet(eDataType dataType, const Tools::MemoryBuffer &data)
{
    if (!isBytes(dataType))
        return false;
    m_dataType = dataType;
    m_dataValue = 0;
    m_dataBuffer.Set(data);
    return true;
}

bool PacketToSend::DataSet(eDataType dataType, u32 value, const Tools::MemoryBuffer &data)
{
    if (dataType != eDataType::FILE_ID)
        return false;
    m_dataType = dataType;
    m_dataValue = value;
    m_dataBuffer.Set(data);
    return true;
}

bool PacketToSend::IsDataValue(eDataType dataType, u32 value, const Tools::MemoryBuffer &data) const
{
    return m_dataType == dataType && m_dataValue == value && m_dataBuffer == data;
}

u32 PacketToSend::PayloadLen() const
{
    return m_sendBuffer.m_len + (m_command == eCommandType::DATA ? TICKET_LEN : 0);
}

} // namespace LTProtocol
