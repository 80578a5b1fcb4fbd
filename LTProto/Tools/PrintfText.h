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

} // namespace Tools
