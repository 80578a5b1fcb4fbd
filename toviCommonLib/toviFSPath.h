// Paths and file names as text: the canonical form and the wildcard patterns. Reads no disk.
// Free functions without state: any thread.
#pragma once

#include "toviCommonLib/toviTypes.h"

namespace tovi::fs
{

// Puts a path into canonical form, which is never longer than the path was:
//   every '\' becomes '/'; then every '%' with two hexadecimal digits becomes the byte of that value; then runs of '/'
//   become one, "./" after a '/' is dropped and "../" after a '/' takes the previous folder with it, never the leading
//   '/'; then a trailing '/' goes, unless it is the whole path.
// "%00" stays as it stands: no path holds the byte 0. A "../" with no folder name before it stays too.
// `len` counts the bytes of the path; 0xFFFFFFFF, or a NUL before `len`, means up to the NUL. A result shorter than the
// path gets a NUL; the byte at path[len] is never written. Decodes one level of escapes, so twice is not once.
void sanitizePathInPlace(u8 *path, u32 len = 0xFFFFFFFF);

// True when the name matches one of the patterns in `jolly`, which are separated by blanks. Per UTF-8 character:
//   '?' any one character | '*' one or more characters, so a* does not match a | any other character itself
// The character after a '*' is searched as it stands, be it '?' or '*'. No pattern matches nothing.
// Takes at most length of name x length of pattern steps.
bool doesFileNameMatchJolly(const u8 *name, const u8 *jolly);

} // namespace tovi::fs
