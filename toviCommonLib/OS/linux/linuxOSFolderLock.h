// A folder that one process has for itself. Nothing is written: the lock is the system's, and goes with the process.
#pragma once

#include "toviCommonLib/OS/linux/linuxOSFile.h"

namespace platform
{

class FolderLock
{
  public:
    enum class eResult
    {
        OURS,
        ANOTHERS,    // another process, or another lock of this one, has it
        NOT_LOCKABLE // there is no such folder, or its file system knows no locks
    };

    // Gives up what it held. The folder stays locked as long as the object lives, whatever becomes of its name.
    eResult take(const char *folder);

  private:
    FileDescriptor m_folder;
};

} // namespace platform
