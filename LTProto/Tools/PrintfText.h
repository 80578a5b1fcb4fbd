// printf formats turned into std::string. Stateless: any thread may call these.
#pragma once

#include <cstdarg>
#include <string>

namespace Tools
{

// The formatted text at any length; empty when the C library cannot format it.
std::string PrintfToString(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The same put behind `text`. `args` is used up, as by vprintf.
void PrintfAppend(std::string &text, const char *format, va_list args) __attribute__((format(printf, 2, 0)));

// What `format` prints when no argument goes with it: "%%" is "%", and a conversion prints nothing, whatever its flags,
// width, precision and length are. A "%" that starts no whole conversion is plain text. Safe on any text.
std::string ExpandWithoutArguments(const std::string &format);

} // namespace Tools
