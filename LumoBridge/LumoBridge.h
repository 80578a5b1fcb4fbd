// The program's versions.
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <string>

constexpr char PROGRAM_VERSION[] = "1.00.00";

// Version of the client link's library as it reported itself; empty before its first report.
extern std::string g_libVersion;

// Takes a report of `len` bytes of text; the first one is printed.
void LibVersion(const void *ptr, u32 len);

// The program's name as it was called, without a last extension, and its version: "NAME v1.00.00".
std::string versionLine(const char *programName);
