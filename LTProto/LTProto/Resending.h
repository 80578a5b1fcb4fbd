// LTProtocol::Resending: whether the last packet goes out again when the client says that it came damaged.
#pragma once

#include "toviCommonLib/toviTypes.h"

namespace LTProtocol
{

//                 begin                  resend, 3 times
//     settled ------------> mayBeResent -----------------> settled
//        ^                      |
//        +----------------------+
//                 settle
//
// While it may be resent, the packet may still be answered with NACK, and what waits behind it does not overtake it.
class Resending
{
  public:
    static constexpr u8 RESENDS_MAX = 3;

    bool mayBeResent() const { return m_left > 0; }
    void begin() { m_left = RESENDS_MAX; } // a packet went out that can be asked for again
    void resend() { --m_left; }            // it went out again; only while it may be resent
    void settle() { m_left = 0; }          // it was answered, is never sent again, or is gone

  private:
    u8 m_left = 0;
};

} // namespace LTProtocol
