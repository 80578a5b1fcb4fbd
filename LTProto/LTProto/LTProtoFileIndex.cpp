// The index of received files, by which they survive a restart. index.dat: for each file its id (4) and the number that
// names it (4), both in the machine's own byte order; no header, no count.
#include "LTProto/LTProto/LTProto.h"

#include "toviCommonLib/OS/linux/linuxOSFS.h"
#include "toviCommonLib/toviUtils.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace LTProtocol
{
namespace
{

using tovi::utils::asBytes;

constexpr u32 RECORD_LEN = 8;
constexpr u32 RECORDS_MAX = 65536;
constexpr u32 FILE_ID_MAX = 0xFFFF;
constexpr size_t REFRESH_FIRST = 1024; // entries, before the files that the machine took are looked for

} // namespace

// The index is loaded and set right before any name is given out.
std::vector<LTProto::ReceivedFile> LTProto::ReceiveFilesRestore()
{
    if (m_folderIsAnothers)
        return {};
    ReceiveFileIndexLoad();
    PartialFilesRemove();
    if (ReceiveFileIndexScanFilSystem())
        Trace("Received files are missing on disk");
    if (!ReceiveFileIndexSave())
        Trace("Index of received files cannot be written");
    Trace("%u received files kept", unsigned{ReceiveFileSendOnMqAll()});
    return UntoldFiles();
}

// Appends an entry for the file id `key` and saves the index. Returns the full name of its file, empty when there can be
// none: a file that is not in the index would be lost at the next start.
Tools::StringUtf8 LTProto::ReceiveFileNameGenerate(u32 key)
{
    if (m_folderIsAnothers || !ReceiveFileListHasRoom())
        return {};
    const u32 number = m_fileReceiveList.FreeNumber(static_cast<u32>(std::time(nullptr)), m_fileReceivePath);
    const RcvFile fresh{key, number, true};
    const Tools::StringUtf8 name = fresh.FileNameWithPath(m_fileReceivePath);
    m_fileReceiveList.Add(fresh);
    // The save flushes the folder, and the mark with it.
    if (FileMarkAsPartial(name.ToStdString()) && ReceiveFileIndexSave())
        return name;
    m_fileReceiveList.Remove(number);
    FileMarkRemove(name.ToStdString(), eFileMark::PARTIAL);
    return {};
}

// A list that has grown to twice its size, or is full, forgets the files that the machine took.
bool LTProto::ReceiveFileListHasRoom()
{
    if (m_fileReceiveList.Size() >= std::min<size_t>(m_fileReceiveListRefreshAt, RECORDS_MAX))
    {
        m_fileReceiveList.PresenceCheck(m_fileReceivePath);
        m_fileReceiveList.RemoveMissing();
        m_fileReceiveListRefreshAt = std::max(REFRESH_FIRST, 2 * m_fileReceiveList.Size());
    }
    return m_fileReceiveList.Size() < RECORDS_MAX;
}

bool LTProto::ReceiveFileIndexSave()
{
    if (m_folderIsAnothers)
        return false;
    m_fileReceiveList.RemoveMissing();
    std::vector<u8> records(m_fileReceiveList.Size() * RECORD_LEN);
    u8 *out = records.data();
    for (const RcvFile &entry : m_fileReceiveList)
    {
        std::memcpy(out, &entry.m_key, sizeof entry.m_key);
        std::memcpy(out + sizeof entry.m_key, &entry.m_fileName, sizeof entry.m_fileName);
        out += RECORD_LEN;
    }
    return platform::file_replace(m_fileReceiveListIndexName.ToStdString().c_str(), records.data(),
                                  static_cast<u32>(records.size()));
}

// Takes over the whole records that make sense. An index that is damaged is kept aside, and from then on no file is
// deleted that it may have listed.
u16 LTProto::ReceiveFileIndexLoad()
{
    if (m_fileReceiveListIndexName.m_len == 0)
        m_fileReceiveListIndexName = m_fileReceivePath + FILE_INDEX_NAME;
    const std::string path = m_fileReceiveListIndexName.ToStdString();
    const std::string keptAside = (m_fileReceivePath + FILE_INDEX_BAD_NAME).ToStdString();
    // Without an index beside it, the damaged one was set aside and no new one could be written.
    m_fileIndexDamaged = platform::file_exists(keptAside.c_str(), true);
    if (!platform::file_exists(path.c_str(), true))
        return 0;
    const platform::FileDescriptor file = platform::file_openForRead(path.c_str());
    u64 size = 0;
    m_fileIndexDamaged = !file.isOpen() || !platform::file_size(file, &size);
    u8 record[RECORD_LEN];
    u32 count = 0;
    for (; count < RECORDS_MAX && platform::file_read(file, record, RECORD_LEN) == RECORD_LEN; ++count)
    {
        RcvFile entry;
        std::memcpy(&entry.m_key, record, sizeof entry.m_key);
        std::memcpy(&entry.m_fileName, record + sizeof entry.m_key, sizeof entry.m_fileName);
        if (entry.m_fileName == 0 || entry.m_key > FILE_ID_MAX)
            m_fileIndexDamaged = true;
        else
            m_fileReceiveList.Add(entry);
    }
    // More than could be read, for whatever reason, may list more files.
    if (m_fileIndexDamaged || u64{RECORD_LEN} * count != size)
    {
        m_fileIndexDamaged = true;
        Trace("Index of received files is damaged; kept as %s", FILE_INDEX_BAD_NAME);
        std::rename(path.c_str(), keptAside.c_str());
    }
    return static_cast<u16>(std::min<u32>(count, UINT16_MAX));
}

// Marks the entries whose file is on disk and deletes the files that have no entry, unless a damaged index may have listed
// them or the machine was not told of them. True when an entry's file is missing.
bool LTProto::ReceiveFileIndexScanFilSystem()
{
    m_fileReceiveList.PresenceCheck(m_fileReceivePath);
    const bool hasMissing = m_fileReceiveList.HasMissing();
    const std::string folder = m_fileReceivePath.ToStdString();
    platform::sOSFileFind find;
    for (bool more = platform::FS_findFirst(&find, asBytes(folder.c_str()), asBytes("*.tmp")); more;
         more = platform::FS_findNext(find))
    {
        if (platform::FS_findIsDirectory(find))
            continue;
        const std::string name = reinterpret_cast<const char *>(platform::FS_findGetFileName(find));
        const RcvFile entry{0, RcvFile::NumberOf(name), true};
        if (entry.m_fileName != 0 && m_fileReceiveList.Holds(entry.m_fileName))
            continue;
        const std::string path = folder + name;
        const bool mayBeNeeded = m_fileIndexDamaged || FileMarkIsSet(path, eFileMark::UNTOLD);
        if (entry.m_fileName == 0 || !mayBeNeeded)
            platform::file_delete(path.c_str());
        else if (platform::file_isRegular(path.c_str()))
            m_fileReceiveList.Add(entry);
    }
    return hasMissing;
}

u16 LTProto::ReceiveFileSendOnMqAll() const
{
    return static_cast<u16>(std::min<size_t>(m_fileReceiveList.Size(), UINT16_MAX));
}

} // namespace LTProtocol
