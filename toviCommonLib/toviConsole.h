// An ANSI/VT terminal on standard output: colours, cursor, screen size, clearing, scrolling.
// The state is process-wide and not locked: one thread drives the terminal. Nothing is flushed.
#pragma once

#include "toviCommonLib/toviTypes.h"

// The numbers of the escape sequences.
enum class eTextColor : u8
{
    black = 30,
    darkRred = 31,
    darkGreen = 32,
    darkYellow = 33,
    darkBlue = 34,
    darkMagenta = 35,
    darkCyan = 36,
    grey = 37,
    red = 91,
    green = 92,
    yellow = 93,
    blue = 94,
    magenta = 95,
    cyan = 96,
    white = 97
};

enum class eBgColor : u8
{
    black = 40,
    darkRred = 41,
    darkGreen = 42,
    darkYellow = 43,
    darkBlue = 44,
    darkMagenta = 45,
    darkCyan = 46,
    grey = 47,
    red = 101,
    green = 102,
    yellow = 103,
    blue = 104,
    magenta = 105,
    cyan = 106,
    white = 107
};

namespace tovi::console
{

struct sCursorPos
{
    u16 x = 1;
    u16 y = 1;
};

// Called once by the library's start and end. The start prints nothing: the cursor counts as at 1, 1 and no colour as
// set. The end forgets what was saved.
void priv_init();
void priv_deinit();

// Characters: columns, rows.
void setWH(u16 w, u16 h);
void setWidthTo80Cols();
void setWidthTo132Cols();
void setScrollArea(u16 top, u16 bottom);

void clear();
void clearLine();

void setTextColor(eTextColor c);
void setBgColor(eBgColor c);

// The left and the top one are 1.
void cursorMoveX(u16 x);
void cursorMoveY(u16 y);
void cursorBlink(bool on);
void cursorShow(bool on);

// Save and apply again, first in first out: a pop takes the oldest of the 32 values saved last, and applies the current
// one when none is saved.
void pushTextColor();
void popTextColor();
void pushBgColor();
void popBgColor();
void cursorPushPos();
void cursorPopPos();
void pushState(); // all three
void popState();

} // namespace tovi::console
