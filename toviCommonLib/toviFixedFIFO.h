// FixedFIFO: the last N elements, first in first out, in the object itself. It locks nothing.
#pragma once

#include "toviCommonLib/toviTypes.h"

namespace tovi
{

template <class T, u16 N>
class FixedFIFO
{
  public:
    // When the list is full, the oldest element is overwritten.
    void push(const T &element)
    {
        blob[iPush] = element;
        iPush = next(iPush);
        if (bFull)
            iPop = next(iPop);
        bFull = iPush == iPop;
    }

    // Takes the oldest element; false when the list is empty, `*out` is then unchanged.
    bool pop(T *out)
    {
        if (!bFull && iPush == iPop)
            return false;
        *out = blob[iPop];
        iPop = next(iPop);
        bFull = false;
        return true;
    }

  private:
    static u16 next(u16 index) { return static_cast<u16>((index + 1) % N); }

    u16 iPush = 0;
    u16 iPop = 0;
    bool bFull = false;
    T blob[N] = {};
};

} // namespace tovi
