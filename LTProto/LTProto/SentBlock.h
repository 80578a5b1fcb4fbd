// LTProtocol::SentBlock: the block of a file that was sent last, and what is known of its arrival on a line that may swallow
// a packet. It decides, the engine sends. Used by the engine's thread alone.
//
// A POLLING or a value that goes out behind a block without an answer displaces it: the ready signal that comes then may
// answer either, and proves nothing about the block.
//
//              Sent               Displaced
//   NONE ─────────────► WAITING ─────────────► DISPLACED
//    ▲                   │   ▲                  │     │
//    ├───────────────────┘   └──────────────────┘     │
//    │ Ready: it arrived        Ready: sent once more │
//    └────────────────────────────────────────────────┘
//                       Ready: the next goes out, this one stays in doubt
//
//   Rejected with a block in doubt: from WAITING or DISPLACED one block back, at each time, until the first in doubt.
//
// A receiver notices a gap at the next number, and NACK 4 then brings the missing block. The last block has no number, and
// nothing comes behind it: so the last one, and the one before it, are sent once more without being asked. Not for a client
// that was slow with the block before as well: it answers late, and has them.
//
// Blocks count from the negotiation, 0, on, the last one too.
#pragma once

#include "LTProto/LTProto/FileToSend.h"

#include <optional>

namespace LTProtocol
{

class SentBlock
{
  public:
    enum class eRejected
    {
        NOT_IN_DOUBT, // nothing is known that could be missing
        STEP_BACK,    // the block before this one is to be sent again
        COMPLETE      // the last block was sent twice: the client had the whole file
    };

    u32 Nr() const { return m_nr; }

    bool IsLast() const { return m_isLast; }

    // Whether it is in the send buffer and no ready signal has come: a NACK is about it.
    bool AwaitsAnswer() const { return m_isInSendBuffer; }

    // Whether a ready signal may still mean something else.
    bool IsDisplaced() const { return m_state == eState::DISPLACED; }

    // It goes out, from `file`, which was filled for it.
    void Sent(const FileToSend &file);
    void SentAgain(); // the last one, from LastPayload

    // Another packet takes its place in the send buffer.
    void Overwritten(bool displaces);

    // A ready signal came; true when the block is to be sent once more.
    bool Ready();

    // The client asks for the block that is displaced, by repeating what brought it.
    void AskedAgain() { m_isRepeated = true; }

    // The client answered the negotiation by what answers nothing else.
    void NegotiationAnswered();

    // NACK 4 came. With STEP_BACK the block before this one must be sent next.
    eRejected Rejected();

    // The last block's payload, and its file when a block in doubt may have to be read from it again, are kept until that
    // block is answered. `file` has left its queue.
    void KeepLast(Tools::MemoryBuffer &&payload) { m_last = std::move(payload); }
    void KeepFile(FileToSend &&file);

    const Tools::MemoryBuffer &LastPayload() const { return m_last; } // empty for any other block
    std::optional<FileToSend> TakeFile();

    void Reset();

  private:
    enum class eState
    {
        NONE,
        WAITING,
        DISPLACED
    };
    static constexpr u32 NR_NONE = 0xFFFFFFFF;

    eState m_state = eState::NONE;
    u32 m_nr = NR_NONE;
    bool m_isLast = false;
    bool m_lastFollows = false;
    bool m_isInSendBuffer = false;
    bool m_isRepeated = false;        // without a NACK
    bool m_previousIsClean = true;    // the block before was answered without a POLLING between
    std::optional<u32> m_inDoubtFrom; // the first that may not have arrived though others were sent behind it
    Tools::MemoryBuffer m_last;       // payload
    std::optional<FileToSend> m_file;
};

} // namespace LTProtocol
