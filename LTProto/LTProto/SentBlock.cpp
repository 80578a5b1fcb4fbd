#include "LTProto/LTProto/SentBlock.h"

#include <utility>

namespace LTProtocol
{

void SentBlock::Sent(const FileToSend &file)
{
    const u32 nr = static_cast<u32>(file.m_packetCount);
    m_isRepeated = m_isRepeated && nr == m_nr;
    m_nr = nr;
    m_isLast = file.IsFinished();
    m_lastFollows = file.LastFollows();
    m_state = eState::WAITING;
    m_isInSendBuffer = true;
    if (m_inDoubtFrom && nr <= *m_inDoubtFrom)
        m_inDoubtFrom.reset();
}

void SentBlock::SentAgain()
{
    m_state = eState::WAITING;
    m_isInSendBuffer = true;
}

void SentBlock::Overwritten(bool displaces)
{
    m_isInSendBuffer = false;
    if (displaces && m_state == eState::WAITING)
        m_state = eState::DISPLACED;
}

bool SentBlock::Ready()
{
    if (m_state == eState::NONE)
        return false;
    const bool isClean = m_state == eState::WAITING;
    if (!isClean && (m_isLast || m_lastFollows) && m_previousIsClean && !m_isRepeated)
    {
        m_isRepeated = true;
        return true;
    }
    if (m_isLast)
    {
        Reset();
        return false;
    }
    m_state = eState::NONE;
    m_isInSendBuffer = false;
    m_previousIsClean = isClean;
    if (isClean)
        m_inDoubtFrom.reset();
    else if (!m_inDoubtFrom)
        m_inDoubtFrom = m_nr;
    return false;
}

void SentBlock::NegotiationAnswered()
{
    m_previousIsClean = m_state == eState::WAITING;
    m_state = eState::NONE;
    m_inDoubtFrom.reset();
}

SentBlock::eRejected SentBlock::Rejected()
{
    if (m_state == eState::NONE)
        return eRejected::NOT_IN_DOUBT;
    if (m_isLast && m_isRepeated)
    {
        Reset();
        return eRejected::COMPLETE;
    }
    if (!m_inDoubtFrom)
        return eRejected::NOT_IN_DOUBT;
    m_previousIsClean = m_state == eState::WAITING;
    return eRejected::STEP_BACK;
}

void SentBlock::KeepFile(FileToSend &&file)
{
    if (m_inDoubtFrom)
        m_file.emplace(std::move(file));
}

std::optional<FileToSend> SentBlock::TakeFile()
{
    m_last.Clear();
    return std::exchange(m_file, std::nullopt);
}

void SentBlock::Reset()
{
    *this = SentBlock();
}

} // namespace LTProtocol
