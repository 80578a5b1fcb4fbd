#include "toviCommonLib/OS/linux/linuxOSFolderLock.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>

namespace platform
{

FolderLock::eResult FolderLock::take(const char *folder)
{
    m_folder = FileDescriptor(open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!m_folder.isOpen())
        return eResult::NOT_LOCKABLE;
    if (flock(m_folder.get(), LOCK_EX | LOCK_NB) == 0)
        return eResult::OURS;
    const bool isAnothers = errno == EWOULDBLOCK;
    m_folder.close();
    return isAnothers ? eResult::ANOTHERS : eResult::NOT_LOCKABLE;
}

} // namespace platform
