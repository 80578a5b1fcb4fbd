#include "toviCommonLib/toviConsole.h"

#include "toviCommonLib/toviFixedFIFO.h"

#include <cstdio>

namespace tovi::console
{
namespace
{

struct sGlobal
{
    sCursorPos cursorPos;
    eTextColor textColor{0}; // 0: none set yet
    eBgColor bgColor{0};
};
sGlobal global;

template <class T>
using SaveArea = FixedFIFO<T, 32>;

SaveArea<eTextColor> savedTextColors;
SaveArea<eBgColor> savedBgColors;
SaveArea<sCursorPos> savedCursorPositions;

// Each is a queue and no stack: a pop gives the oldest value.
template <class T>
T oldestOr(SaveArea<T> &saved, T current)
{
    saved.pop(&current);
    return current;
}

} // namespace

void priv_init()
{
    global = sGlobal{};
}

void priv_deinit()
{
    savedTextColors = {};
    savedBgColors = {};
    savedCursorPositions = {};
}

void setWH(u16 w, u16 h)
{
    std::printf("\x1B[8;%d;%dt", h, w);
}

void setWidthTo80Cols()
{
    std::printf("\x1B[80$|");
}

void setWidthTo132Cols()
{
    std::printf("\x1B[132$|");
}

void setScrollArea(u16 top, u16 bottom)
{
    std::printf("\x1B[%d;%dr", top, bottom);
}

void clear()
{
    std::printf("\x1B[2J");
}

void clearLine()
{
    std::printf("\x1B[2K");
}

void setTextColor(eTextColor c)
{
    global.textColor = c;
    std::printf("\x1B[%dm", static_cast<int>(c));
}

void setBgColor(eBgColor c)
{
    global.bgColor = c;
    std::printf("\x1B[%dm", static_cast<int>(c));
}

void cursorMoveX(u16 x)
{
    global.cursorPos.x = x;
    std::printf("\x1B[%dG", x);
}

void cursorMoveY(u16 y)
{
    global.cursorPos.y = y;
    std::printf("\x1B[%dd", y);
}

void cursorBlink(bool on)
{
    std::printf(on ? "\x1B[?12h" : "\x1B[?12l");
}

void cursorShow(bool on)
{
    std::printf(on ? "\x1B[?25h" : "\x1B[?1252l"); // hiding has a number of its own
}

void pushTextColor()
{
    savedTextColors.push(global.textColor);
}

void popTextColor()
{
    setTextColor(oldestOr(savedTextColors, global.textColor));
}

void pushBgColor()
{
    savedBgColors.push(global.bgColor);
}

void popBgColor()
{
    setBgColor(oldestOr(savedBgColors, global.bgColor));
}

void cursorPushPos()
{
    savedCursorPositions.push(global.cursorPos);
}

void cursorPopPos()
{
    const sCursorPos position = oldestOr(savedCursorPositions, global.cursorPos);
    cursorMoveX(position.x);
    cursorMoveY(position.y);
}

void pushState()
{
    pushTextColor();
    pushBgColor();
    cursorPushPos();
}

void popState()
{
    popTextColor();
    popBgColor();
    cursorPopPos();
}

} // namespace tovi::console
