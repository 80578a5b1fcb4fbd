// Texts that are printf formats although no argument goes with them. Stateless: any thread may call this.
#pragma once

#include <string>

namespace tovi::string
{

// What `format` prints when no argument goes with it: "%%" is "%", and a conversion prints nothing, whatever its flags,
// width, precision and length are. A "%" that starts no whole conversion is plain text. Safe on any text.
std::string expandWithoutArguments(const std::string &format);

} // namespace tovi::string
