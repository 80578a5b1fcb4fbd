// The records and values that travel between the threads and on the links.
// Never: bytes that decode and then encode otherwise.
#include "fuzz/Fuzz.h"

#include "LTProto/LTProto/Value.h"
#include "LumoBridge/LTData.h"
#include "toviCommonLib/toviSMUConn.h"

using LT_Proto::LTData;

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    const std::vector<u8> bytes(data, data + size);
    LTData record, again;
    Tools::MemoryBuffer first, second;
    // The id of a variable as a value, which is never posted, reads as an element once it is encoded.
    if (record.Decode(static_cast<u32>(size), data) && record.m_dataType != LTProtocol::eDataType::VARIABLE_ID)
    {
        record.Encode(first);
        mustHold(again.Decode(first.m_len, first.m_ptr.get()) && again.Encode(second) && first == second &&
                     record.ToString() == again.ToString(),
                 "a record decodes to itself");
    }
    if (const std::optional<LTProtocol::Value> value = LTProtocol::ValueDecode(bytes))
        mustHold(LTProtocol::ValueEncode(*value) == bytes, "a value encodes to what it came from");
    if (tovi::SMUConn::sDecodedMsg msg; tovi::SMUConn::decodeMsg(data, static_cast<u32>(size), &msg))
    {
        std::vector<u8> encoded(size);
        const u16 len = tovi::SMUConn::encodeMsg(msg.what, msg.userValue, msg.payload, msg.payloadLen, encoded.data(),
                                                 static_cast<u32>(size));
        mustHold(len == 0 || encoded == bytes, "a message encodes to what it came from");
    }
    return 0;
}
