#include "LumoBridge/ToviConn.h"

#include "toviCommonLib/OS/linux/linuxOSConsole.h"
#include "toviCommonLib/toviByteOrder.h"

using LT_Proto::eDataType;
using LT_Proto::LTData;

namespace
{

constexpr u32 IDENTIFICATION_CODE = 0x5E17C0DA;
constexpr u8 CONNECT_ATTEMPTS = 5;
constexpr u32 RECEIVE_BUFFER_LEN = 1024;
constexpr u32 MESSAGES_WITHOUT_RECORD_MAX = 64; // in one call

constexpr u32 ID_LEN = 4;
constexpr u32 TYPE_LEN = 1;
constexpr u32 NUMBER_LEN = 4;
constexpr u32 VALUE_OFFSET = ID_LEN + TYPE_LEN;
constexpr u32 NUMBER_MESSAGE_LEN = VALUE_OFFSET + NUMBER_LEN;
constexpr u32 DECIMAL_MESSAGE_LEN = NUMBER_MESSAGE_LEN + 1;
constexpr u32 UNDEFINED_ELEMENT_ID = 0xFFFFFFFF;

void decodeVariable(const u8 *payload, u32 len, LTData &record)
{
    // The id of a request, unlike every other, comes least significant byte first.
    if (len == ID_LEN)
        record.Request(eDataType::VARIABLE_ID, tovi::utils::readLsbMsbU32(payload));
    if (len < VALUE_OFFSET)
        return;
    const u32 id = tovi::utils::readMsbLsbU32(payload);
    const eDataType dataType = static_cast<eDataType>(payload[ID_LEN]);
    const u8 *value = payload + VALUE_OFFSET;
    switch (dataType)
    {
    case eDataType::INTEGER_POSITIVE:
    case eDataType::INTEGER_NEGATIVE:
        if (len >= NUMBER_MESSAGE_LEN)
            record.Set(eDataType::VARIABLE_ID, id, dataType, tovi::utils::readMsbLsbU32(value), u8{0});
        break;
    case eDataType::DECIMAL_POSITIVE:
    case eDataType::DECIMAL_NEGATIVE:
        if (len >= DECIMAL_MESSAGE_LEN)
            record.Set(eDataType::VARIABLE_ID, id, dataType, tovi::utils::readMsbLsbU32(value), value[NUMBER_LEN]);
        break;
    case eDataType::STRING_UTF:
    case eDataType::DATA_BUFFER: record.Set(eDataType::VARIABLE_ID, id, dataType, len - VALUE_OFFSET, value); break;
    default: break; // the record stays as it was, for NULL_DATA too
    }
}

void decodeFile(const tovi::SMUConn::sDecodedMsg &msg, LTData &record)
{
    // The number shown is the user value.
    platform::console_printLine("Rcv FILE msg from SMU with payloadLen=%d", msg.userValue);
    if (msg.payloadLen < ID_LEN)
        return;
    if (msg.payloadLen == ID_LEN)
    {
        record.Request(eDataType::FILE_ID, tovi::utils::readLsbMsbU32(msg.payload));
        return;
    }
    const u32 id = tovi::utils::readMsbLsbU32(msg.payload);
    const u8 *name = msg.payload + ID_LEN;
    const u32 nameLen = msg.payloadLen - ID_LEN;
    // A name of one byte counts as empty.
    if (nameLen == 1)
    {
        record.Set(eDataType::FILE_ID, id, eDataType::STRING_UTF, 0, nullptr);
        return;
    }
    record.Set(eDataType::FILE_ID, id, eDataType::STRING_UTF, nameLen, name);
    platform::console_printLine("Rcv File sended id %d name %.*s", static_cast<int>(id), static_cast<int>(nameLen),
                                reinterpret_cast<const char *>(name));
}

u16 messageKind(eDataType elemType)
{
    switch (elemType)
    {
    case eDataType::FILE_ID: return ToviConn::WHAT_FILE;
    case eDataType::INTERNAL_COMMAND: return ToviConn::WHAT_COMMAND;
    default: return ToviConn::WHAT_VARIABLE;
    }
}

// An outgoing payload: a few bytes in front of the record's buffer, which is sent or not.
struct sPayload
{
    u8 head[DECIMAL_MESSAGE_LEN] = {};
    u32 headLen = 0;
    bool withBuffer = false;

    void add(u8 byte) { head[headLen++] = byte; }
    void addNumber(u32 number)
    {
        tovi::utils::writeMsbLsbU32(head + headLen, number);
        headLen += NUMBER_LEN;
    }
};

void addValue(sPayload &payload, const LTData &record)
{
    payload.add(static_cast<u8>(record.m_dataType));
    switch (record.m_dataType)
    {
    case eDataType::STRING_UTF:
    case eDataType::DATA_BUFFER: payload.withBuffer = true; break;
    case eDataType::NULL_DATA: break;
    case eDataType::DECIMAL_POSITIVE:
    case eDataType::DECIMAL_NEGATIVE:
        payload.addNumber(record.m_dataValue);
        if (!record.m_request)
            payload.add(record.m_dataDecPos);
        break;
    default: payload.addNumber(record.m_dataValue); break;
    }
}

sPayload payloadOf(const LTData &record)
{
    sPayload payload;
    payload.addNumber(record.m_elemType == eDataType::UNDEFINED ? UNDEFINED_ELEMENT_ID : record.m_elemValue);
    switch (messageKind(record.m_elemType))
    {
    case ToviConn::WHAT_FILE: payload.withBuffer = true; break;
    case ToviConn::WHAT_COMMAND:
        if (!record.m_request && record.m_elemValue == static_cast<u32>(eTovConnCommand::LINK))
            payload.add(static_cast<u8>(record.m_dataValue));
        break;
    default: addValue(payload, record); break;
    }
    return payload;
}

} // namespace

bool ToviConn::Connect(const char *address, u16 port, const sOSEvent *cancel)
{
    m_smuConn.setCancelEvent(cancel);
    if (m_smuConn.connect(address, ConnectionPort(port), IDENTIFICATION_CODE, 1, 0, 0, 0, CONNECT_ATTEMPTS) !=
        eSocketError::none)
        return false;
    m_rcvBuffer.setup(tovi::memory_getSysHeapAllocator(), RECEIVE_BUFFER_LEN);
    return true;
}

bool ToviConn::Connect(const OSSocket &connected)
{
    if (m_smuConn.connect(connected, IDENTIFICATION_CODE, 1, 0, 0, 0) != eSocketError::none)
        return false;
    m_rcvBuffer.setup(tovi::memory_getSysHeapAllocator(), RECEIVE_BUFFER_LEN);
    return true;
}

eToviConnStatus ToviConn::MessageProcess(LTData &record)
{
    const eToviConnStatus status = MessageRead(record);
    m_isDead = m_isDead || status == eToviConnStatus::ABORT;
    return status;
}

eToviConnStatus ToviConn::MessageRead(LTData &record)
{
    for (u32 i = 0; i < MESSAGES_WITHOUT_RECORD_MAX; ++i)
    {
        const u32 len = m_smuConn.read(0, m_rcvBuffer);
        if (len == 0)
            return eToviConnStatus::EMPTY;
        if (tovi::isFailure(len))
            return eToviConnStatus::ABORT;
        const eToviConnStatus status = MessageDecode(record);
        if (status != eToviConnStatus::NONE)
            return status;
    }
    return eToviConnStatus::NONE;
}

eToviConnStatus ToviConn::MessageDecode(LTData &record) const
{
    tovi::SMUConn::sDecodedMsg msg;
    if (!tovi::SMUConn::decodeMsg(m_rcvBuffer, &msg))
        return eToviConnStatus::NONE; // others may stand behind it
    switch (msg.what)
    {
    case WHAT_COMMAND: return eToviConnStatus::NONE;
    case tovi::SMUConn::WHAT_PONG:
        platform::console_printLine("rcv PONG from SMU with userValue=%d", msg.userValue);
        return eToviConnStatus::NONE;
    case WHAT_DIE: platform::console_printLine("rcv DIE message"); return eToviConnStatus::ABORT;
    case WHAT_VARIABLE: decodeVariable(msg.payload, msg.payloadLen, record); return eToviConnStatus::MESSAGE;
    case WHAT_FILE: decodeFile(msg, record); return eToviConnStatus::MESSAGE;
    default:
        platform::console_printLine("Incoming msg from SMU: what=%d, userValue=%d, payloadlLen=%d", msg.what,
                                    msg.userValue, static_cast<int>(msg.payloadLen));
        return eToviConnStatus::NONE;
    }
}

bool ToviConn::MessageSend(const LTData &record)
{
    const sPayload payload = payloadOf(record);
    const u32 bufferLen = payload.withBuffer ? record.m_dataBuffer.m_len : 0;
    tovi::ProtocolBuffer message;
    message.setup(tovi::memory_getSysHeapAllocator(), payload.headLen + bufferLen + 20);
    const u16 len = tovi::SMUConn::encodeMsg(messageKind(record.m_elemType), 0, payload.head, payload.headLen,
                                             record.m_dataBuffer.m_ptr.get(), bufferLen, message.data(),
                                             message.getTotalSizeAllocated());
    const u32 taken = len != 0 ? m_smuConn.writeNow(message.data(), len) : 0;
    m_isDead = m_isDead || tovi::isFailure(taken);
    return taken != 0 && !tovi::isFailure(taken);
}

bool ToviConn::PeerDropIfGone()
{
    const bool gone = m_smuConn.peerIsGone();
    m_isDead = m_isDead || gone;
    return gone;
}

void ToviConn::Flush()
{
    m_isDead = m_isDead || tovi::isFailure(m_smuConn.flush());
}
