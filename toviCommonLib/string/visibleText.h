// Texts of others on their way to a screen or a log. Stateless: any thread may call this.
#pragma once

#include <string>

namespace tovi::string
{

// `text` with "\xNN", two hexadecimal digits, in the place of each byte that would forge a line, move a cursor or is no
// UTF-8: control characters (00 to 1F, 7F, U+0080 to U+009F) and what starts no well-formed character.
std::string visible(std::string text);
void makeVisible(std::string &text, size_t from); // from the byte `from` on

} // namespace tovi::string
