#include "toviCommonLib/toviFSPath.h"

#include "toviCommonLib/toviUtils.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace tovi::fs
{

namespace
{

using utils::asChars;

// Value of a hexadecimal digit, or -1.
int hexValue(u8 digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    return -1;
}

// The byte that the escape at the start of `text` stands for, or 0 when there is none.
u8 escapedByte(const u8 *text, size_t size)
{
    if (size < 3 || text[0] != '%')
        return 0;
    const int high = hexValue(text[1]);
    const int low = hexValue(text[2]);
    return (high < 0 || low < 0) ? u8{0} : static_cast<u8>(high * 16 + low);
}

// Returns the new size, as dropSegments does.
size_t decodeEscapes(u8 *path, size_t size)
{
    size_t out = 0;
    for (size_t in = 0; in < size; ++out)
    {
        const u8 byte = escapedByte(path + in, size - in);
        path[out] = (byte != 0) ? byte : path[in];
        in += (byte != 0) ? 3 : 1;
    }
    return out;
}

// False when the path, empty or ending in '/', has no folder name to go back from.
bool endsInFolderName(std::string_view path)
{
    return !path.empty() && path != "./" && path != "../" && !path.ends_with("/../");
}

size_t dropSegments(u8 *path, size_t size)
{
    size_t out = 0;
    for (size_t in = 0; in < size;)
    {
        const std::string_view rest(asChars(path + in), size - in);
        const std::string_view done(asChars(path), out);
        const bool afterSlash = in > 0 && path[in - 1] == '/'; // out never passes in, so this is the path's own byte
        if (afterSlash && rest.starts_with("/"))
            in += 1;
        else if (afterSlash && rest.starts_with("./"))
            in += 2;
        else if (afterSlash && rest.starts_with("../") && endsInFolderName(done))
        {
            in += 3;
            out = (done == "/") ? 1 : done.rfind('/', out - 2) + 1; // 0 when `done` is its only folder
        }
        else
            path[out++] = path[in++];
    }
    return out;
}

// The character at `at`, empty at the end of the text. A byte that starts no UTF-8 character stands alone.
std::string_view characterAt(std::string_view text, size_t at)
{
    if (at >= text.size())
        return {};
    const u8 lead = static_cast<u8>(text[at]);
    const size_t announced = (lead < 0xC0) ? 1 : (lead < 0xE0) ? 2 : (lead < 0xF0) ? 3 : 4;
    size_t length = 1;
    while (length < announced && at + length < text.size() && (static_cast<u8>(text[at + length]) & 0xC0) == 0x80)
        ++length;
    return text.substr(at, length);
}

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

int reducedFirstByte(std::string_view character)
{
    const int byte = static_cast<u8>(character[0]);
    return (byte > 96) ? byte - 97 : byte;
}

// A letter is compared by its first byte alone, reduced by 97 above 96 on both sides: an upper-case and a lower-case
// letter never match. The end of either text equals no character.
bool sameCharacter(std::string_view inName, std::string_view inPattern)
{
    if (inName.empty() || inPattern.empty())
        return false;
    if (isLetter(inPattern[0]))
        return reducedFirstByte(inName) == reducedFirstByte(inPattern);
    return inName == inPattern;
}

// Position of the next character of the name, after the one at `from`, that is `wanted`; npos when there is none.
size_t findCharacterAfter(std::string_view name, size_t from, std::string_view wanted)
{
    size_t at = from + characterAt(name, from).size();
    while (at < name.size() && !sameCharacter(characterAt(name, at), wanted))
        at += characterAt(name, at).size();
    return (at < name.size()) ? at : std::string_view::npos;
}

// Only the last '*' met is ever tried again: what an earlier one could skip, the last one can skip as well.
bool matchesPattern(std::string_view name, std::string_view pattern)
{
    size_t n = 0;
    size_t p = 0;
    size_t tried = std::string_view::npos; // where in the name the text after the last '*' was tried
    size_t afterStar = 0;
    while (n < name.size() || p < pattern.size())
    {
        const std::string_view inName = characterAt(name, n);
        const std::string_view inPattern = characterAt(pattern, p);
        if (inPattern == "*" && !inName.empty())
        {
            if (p + 1 == pattern.size())
                return true;
            tried = n;
            afterStar = p + 1;
        }
        else if ((inPattern == "?" && !inName.empty()) || sameCharacter(inName, inPattern))
        {
            n += inName.size();
            p += inPattern.size();
            continue;
        }
        if (tried == std::string_view::npos)
            return false;
        tried = findCharacterAfter(name, tried, characterAt(pattern, afterStar));
        if (tried == std::string_view::npos)
            return false;
        n = tried;
        p = afterStar;
    }
    return true;
}

} // namespace

void sanitizePathInPlace(u8 *path, u32 len)
{
    const size_t size = (len == 0xFFFFFFFF) ? std::strlen(asChars(path)) : strnlen(asChars(path), len);
    std::replace(path, path + size, u8{'\\'}, u8{'/'});
    size_t newSize = dropSegments(path, decodeEscapes(path, size));
    if (newSize > 1 && path[newSize - 1] == '/')
        --newSize;
    if (newSize < size)
        path[newSize] = 0;
}

bool doesFileNameMatchJolly(const u8 *name, const u8 *jolly)
{
    const std::string_view patterns = asChars(jolly);
    for (size_t at = patterns.find_first_not_of(' '); at != std::string_view::npos;
         at = patterns.find_first_not_of(' ', at))
    {
        const std::string_view pattern = patterns.substr(at, patterns.find(' ', at) - at);
        if (matchesPattern(asChars(name), pattern))
            return true;
        at += pattern.size();
    }
    return false;
}

} // namespace tovi::fs
