// The mark beside a received file: an empty file of the same number that says what is left to do for it. At rest there is
// none. Free functions on the full name of the received file; what is no received file has no mark, and nothing is done then.
//   NNNNNNNN.partial   not whole: it goes at the next start
//   NNNNNNNN.untold    whole and acknowledged, but the machine was not told: it is announced at the next start
#pragma once

#include "toviCommonLib/toviTypes.h"

#include <string>

namespace LTProtocol
{

enum class eFileMark
{
    PARTIAL,
    UNTOLD
};

constexpr eFileMark FILE_MARKS[] = {eFileMark::PARTIAL, eFileMark::UNTOLD};

// ".partial" or ".untold"
std::string FileMarkExtension(eFileMark mark);

// The full name of the mark of `file`, empty when that is no received file.
std::string FileMarkPath(const std::string &file, eFileMark mark);

// The number of the file that the mark of this name, without its folder, belongs to; 0 when it is no such mark.
u32 FileMarkNumber(const std::string &name, eFileMark mark);

bool FileMarkIsSet(const std::string &file, eFileMark mark);

// Before the file is made. Nothing is flushed.
bool FileMarkAsPartial(const std::string &file);

// Of a file that is partial, and whole on the disk. True when its entry and its mark are on the disk, too.
bool FileMarkAsUntold(const std::string &file);

void FileMarkRemove(const std::string &file, eFileMark mark);

// The machine was told of this file. Does nothing for any other than one in the folder of received files.
void FileMarkTold(const std::string &file);

} // namespace LTProtocol
