#include "LumoBridge/LumoBridge.h"

#include "toviCommonLib/OS/linux/linuxOSConsole.h"

std::string g_libVersion;

void LibVersion(const void *ptr, u32 len)
{
    const bool first = g_libVersion.empty();
    g_libVersion.assign(static_cast<const char *>(ptr), len);
    if (first)
        platform::console_printLine("LibVersion %s", g_libVersion.c_str());
}

std::string versionLine(const char *programName)
{
    std::string name = programName;
    // A path of backslashes is cut; one of slashes keeps its folders.
    if (const size_t backslash = name.rfind('\\'); backslash != std::string::npos)
        name.erase(0, backslash + 1);
    if (const size_t dot = name.rfind('.'); dot != std::string::npos)
        name.erase(dot);
    return name + " v" + PROGRAM_VERSION;
}
