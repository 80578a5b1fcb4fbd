// The handshake of ProtocolConsole, both ends.
#include "toviCommonLib/Protocol/ProtocolConsole.h"
#include "toviCommonLib/mtrand.h"

#include <cstring>
#include <ctime>

namespace tovi
{
namespace
{

constexpr char GREETING[] = "TOVICONSOLE";
constexpr u32 GREETING_LEN = sizeof GREETING - 1;
constexpr u32 CLIENT_WRITE_TIMEOUT_MSEC = 2000;
constexpr u32 CLIENT_READ_TIMEOUT_MSEC = 5000;
constexpr u32 SERVER_WRITE_TIMEOUT_MSEC = 3000;

static_assert(GREETING_LEN + 1 == ProtocolConsole::HANDSHAKE_LEN);

// A value from 0 to 255 that changes at every handshake.
u8 drawKey()
{
    MTRand_int32 generator(static_cast<u32>(std::time(nullptr)));
    const double r = static_cast<double>(generator.next());
    return static_cast<u8>(r / 4294967296.0 * 255 + 0.5);
}

bool sendGreeting(IProtocolChannell *ch, u8 key, u32 timeoutMSec)
{
    u8 frame[ProtocolConsole::HANDSHAKE_LEN];
    std::memcpy(frame, GREETING, GREETING_LEN);
    frame[GREETING_LEN] = key;
    return ch->write(frame, sizeof frame, timeoutMSec) == sizeof frame;
}

u8 complement(u8 key)
{
    return static_cast<u8>(255 - key);
}

} // namespace

bool ProtocolConsole::handshake_clientSend(IProtocolChannell *ch, ISimpleLogger *logger)
{
    const u8 key = drawKey();
    if (logger != nullptr)
    {
        logger->log("handshake..\n");
        logger->incIndent();
        logger->log("sending with key=%d\n", key);
    }
    sendGreeting(ch, key, CLIENT_WRITE_TIMEOUT_MSEC);
    const u32 received = ch->read(CLIENT_READ_TIMEOUT_MSEC);
    if (isFailure(received))
    {
        if (logger != nullptr)
            logger->log("error while waiting. Error code is [%d]r\n", static_cast<int>(received));
        return false;
    }
    const bool accepted = priv_checkAnswer(ch, key, logger);
    if (logger != nullptr)
        logger->decIndent();
    return accepted;
}

bool ProtocolConsole::priv_checkAnswer(IProtocolChannell *ch, u8 key, ISimpleLogger *logger)
{
    ProtocolBuffer &answer = ch->bufferR;
    if (logger != nullptr)
        logger->log("response length is %d bytes\n", static_cast<int>(answer.getCursor()));
    if (answer.getCursor() < HANDSHAKE_LEN)
    {
        answer.reset();
        if (logger != nullptr)
            logger->log("FAIL\n");
        return false;
    }
    u8 received[HANDSHAKE_LEN];
    std::memcpy(received, answer.data(), HANDSHAKE_LEN);
    answer.removeFirstNByte(HANDSHAKE_LEN);
    const bool accepted =
        std::memcmp(received, GREETING, GREETING_LEN) == 0 && received[GREETING_LEN] == complement(key);
    if (logger == nullptr)
        return accepted;
    if (accepted)
        logger->log("Done!\n");
    else
        logger->log("Invalid answer: [%.11s], received key=%d, expected=%d\n", reinterpret_cast<const char *>(received),
                    received[GREETING_LEN], complement(key));
    return accepted;
}

bool ProtocolConsole::server_isAValidHandshake(const IProtocolChannell *ch)
{
    return ch->bufferR.getCursor() >= HANDSHAKE_LEN && std::memcmp(ch->bufferR.data(), GREETING, GREETING_LEN) == 0;
}

bool ProtocolConsole::handshake_serverAnswer(IProtocolChannell *ch, ISimpleLogger *)
{
    if (!server_isAValidHandshake(ch))
        return false;
    const u8 key = ch->bufferR.data()[GREETING_LEN];
    ch->bufferR.removeFirstNByte(HANDSHAKE_LEN);
    return sendGreeting(ch, complement(key), SERVER_WRITE_TIMEOUT_MSEC);
}

} // namespace tovi
