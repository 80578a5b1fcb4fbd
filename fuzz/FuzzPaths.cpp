// Canonical paths and wildcard patterns.
// Never: a path that has its end written over; a canonical path that is not its own; a match that the definition of the
// wildcards denies, or the other way round.
#include "fuzz/Fuzz.h"

#include "toviCommonLib/toviFSPath.h"
#include "toviCommonLib/toviUtils.h"

namespace
{

std::string canonical(std::string path)
{
    path.push_back('#');
    tovi::fs::sanitizePathInPlace(reinterpret_cast<u8 *>(path.data()), static_cast<u32>(path.size() - 1));
    mustHold(path.back() == '#', "nothing is written behind a path");
    path.pop_back();
    return path.c_str();
}

// The definition, for characters of one byte.
bool matches(const char *name, const char *pattern)
{
    if (*name == 0 || *pattern == 0)
        return *name == *pattern;
    if (*pattern == '*')
        return matches(name + 1, pattern + 1) || matches(name + 1, pattern);
    return (*pattern == '?' || *pattern == *name) && matches(name + 1, pattern + 1);
}

} // namespace

// Length of the name; the name; the pattern.
extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    Input input{{data, size}};
    const std::vector<u8> first = input.bytes(input.number()), second = input.bytes(size);
    const std::string name(first.begin(), std::find(first.begin(), first.end(), 0));
    const std::string pattern(second.begin(), std::find(second.begin(), second.end(), 0));
    const std::string path = canonical(name + pattern);
    if (path.find_first_of("%\\") == std::string::npos) // else an escape was decoded into one
        mustHold(canonical(path) == path && path.find("//") == std::string::npos, "a canonical path is its own");
    const bool isMatch =
        tovi::fs::doesFileNameMatchJolly(tovi::utils::asBytes(name.c_str()), tovi::utils::asBytes(pattern.c_str()));
    // A letter may equal a byte that is not printable; what stands behind a '*' is searched as it is.
    const std::string both = name + '/' + pattern;
    if (std::all_of(both.begin(), both.end(), [](char c) { return c > ' ' && c <= '~'; }) && !pattern.empty() &&
        both.size() < 24 && both.find("**") == std::string::npos && both.find("*?") == std::string::npos)
        mustHold(isMatch == matches(name.c_str(), pattern.c_str()), "a match is what the definition says");
    return 0;
}
