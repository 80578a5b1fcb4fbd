// LTProtocol::PacketToSend: a packet that waits in the send queue, and what it asks for or carries.
#pragma once

#include "LTProto/LTProto/WireFormat.h"
#include "LTProto/Tools/MemoryBuffer.h"

namespace LTProtocol
{

class PacketToSend
{
  public:
    u16 m_sessionId = 0xFFFF;
    TicketNr m_ticketId;
    eCommandType m_command; // REQUEST or DATA
    eDataType m_dataType = eDataType::UNDEFINED;
    u32 m_dataValue = 0;
    Tools::MemoryBuffer m_dataBuffer;
    Tools::MemoryBuffer m_sendBuffer; // the payload; of DATA without the ticket number in front

    // Throws the integer 1 when the payload is empty: the one exception of the engine.
    PacketToSend(TicketNr ticketId, eCommandType command, const void *payload, u32 len);
    PacketToSend(TicketNr ticketId, eCommandType command, const Tools::MemoryBuffer &payload);

    // What the packet stands for, to be matched with an answer. Each returns false and changes nothing for a type that
    // it does not take: the first every type but STRING_UTF and DATA_BUFFER, the next two these alone, the last FILE_ID.
    bool DataSet(eDataType dataType, u32 value);
    bool DataSet(eDataType dataType, u32 len, const void *data);
    bool DataSet(eDataType dataType, const Tools::MemoryBuffer &data);
    bool DataSet(eDataType dataType, u32 value, const Tools::MemoryBuffer &data);

    bool IsDataValue(eDataType dataType, u32 value, const Tools::MemoryBuffer &data) const;

    // Bytes of the packet's payload on the wire, the ticket number of DATA included.
    u32 PayloadLen() const;
};

} // namespace LTProtocol
