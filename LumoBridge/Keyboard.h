// The operator's keyboard: standard input, whatever it is. Used by the main thread alone.
#pragma once

#include <optional>

// One typed character, if there is one; never waits. A terminal is read key by key, without echo, and is as before when
// the call returns; one that another process group owns is left alone.
std::optional<char> keyboardPoll();
