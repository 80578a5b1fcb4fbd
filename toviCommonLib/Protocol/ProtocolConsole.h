// ProtocolConsole: the framing of the machine link and its "TOVICONSOLE" handshake. It keeps no state between messages.
#pragma once

#include "toviCommonLib/Protocol/IProtocol.h"

namespace tovi
{

// Frame, numbers most significant byte first; a checksum is the plain sum of the payload bytes:
//   short: C8 A6 FD | n (1), 1 to 255   | payload | checksum (1)
//   long:  C8 A6 FE | n (2), 256 and up | payload | checksum (2)
//   close: C8 A6 02
// Handshake, in both directions: the 11 characters "TOVICONSOLE" and one key byte; the answer's is the complement.
class ProtocolConsole : public IProtocol
{
  public:
    static constexpr u8 MAGIC_CODE_1 = 200;
    static constexpr u8 MAGIC_CODE_2 = 166;
    static constexpr u32 HANDSHAKE_LEN = 12;

    // A longer message could never stand whole in a read buffer of 65535 bytes.
    static constexpr u32 MESSAGE_LEN_MAX = 65528;

    enum class eOpcode : u8
    {
        msg = 1,
        close = 2,
        internal_simpleMsg = 253,
        internal_extendedMsg = 254,
        none = 255
    };

    using IProtocol::IProtocol;

    bool handshake_clientSend(IProtocolChannell *ch, ISimpleLogger *logger) override;
    bool handshake_serverAnswer(IProtocolChannell *ch, ISimpleLogger *logger) override;

    // Whether the channel's read buffer begins with a client's handshake frame.
    static bool server_isAValidHandshake(const IProtocolChannell *ch);

    void virt_sendCloseMessage(IProtocolChannell *ch) override;
    u32 virt_decodeBuffer(IProtocolChannell *ch, const u8 *buffer, u32 nBytesInBuffer, ProtocolBuffer &out,
                          u32 *nBytesInsertedIntoOut) override;
    u32 virt_encodeBuffer(const u8 *bufferToEncode, u32 nBytesToEncode, ProtocolBuffer &out) override;

  private:
    struct sDecodeResult
    {
        eOpcode what = eOpcode::none;
        const u8 *payload = nullptr; // inside the decoded bytes
        u16 payloadLen = 0;
    };

    static u32 priv_decodeOneMessage(const u8 *buffer, u32 n, sDecodeResult *out);
    static u32 priv_encodeAMessage(eOpcode what, const u8 *payload, u32 n, u8 *dst, u32 dstSize);
    static bool priv_checkAnswer(IProtocolChannell *ch, u8 key, ISimpleLogger *logger);
};

} // namespace tovi
