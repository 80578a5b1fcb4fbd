#include "LTProto/Tools/LogTracer.h"

#include "LTProto/Tools/Hex.h"
#include "LTProto/Tools/PrintfText.h"
#include "toviCommonLib/OS/linux/linuxOS.h"
#include "toviCommonLib/OS/linux/linuxOSConsole.h"
#include "toviCommonLib/string/formatText.h"
#include "toviCommonLib/string/visibleText.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace Tools
{
namespace
{

constexpr u8 TIME_DECIMAL_END = 10; // from here on lines have no time prefix

const u8 *AsBytes(const std::string &text)
{
    return reinterpret_cast<const u8 *>(text.c_str());
}

// What is no file has no error of its own.
std::string ReasonOf(int error)
{
    return error == EINVAL ? "not a regular file" : std::system_category().message(error);
}

} // namespace

bool LogTracer::Init(u8 timeDecimal)
{
    m_timeDecimal = timeDecimal;
    m_traceOnConsole = true;
    return true;
}

bool LogTracer::Init(const StringUtf8 &fileName, bool useLocalPath, u32 maxBytesInFile, bool traceOnScreen)
{
    CloseFile();
    m_diskFails = false;
    m_traceOnConsole = traceOnScreen;
    m_traceOnDisk = fileName.m_len != 0;
    if (!m_traceOnDisk)
        return true;

    if (useLocalPath)
        m_filePath = StringUtf8(platform::getAppPathNoSlash()) + "/";
    m_fileName = fileName;
    m_fileLenMax = maxBytesInFile;
    return true;
}

bool LogTracer::Init(const char *fileName, bool useLocalPath, u32 maxBytesInFile, bool traceOnScreen)
{
    return Init(StringUtf8(fileName), useLocalPath, maxBytesInFile, traceOnScreen);
}

bool LogTracer::Trace(const char *format, ...)
{
    if (!IsOn() || *format == 0)
        return true;
    va_list args;
    va_start(args, format);
    const bool traced = TraceVariableList(format, args);
    va_end(args);
    return traced;
}

bool LogTracer::Trace(const std::string &str)
{
    const char *format = str.c_str();
    if (!IsOn() || *format == 0)
        return true;
    return WriteLine(TimePrefix() + tovi::string::visible(tovi::string::expandWithoutArguments(format)));
}

bool LogTracer::TraceVariableList(const char *format, va_list args)
{
    if (!IsOn())
        return false;
    std::string line = TimePrefix();
    const size_t prefixLen = line.size();
    PrintfAppend(line, format, args);
    // A line feed at the end of the format is the line's own.
    const bool hasOwnFeed = std::string_view(format).ends_with('\n') && line.ends_with('\n');
    if (hasOwnFeed)
        line.pop_back();
    tovi::string::makeVisible(line, prefixLen);
    if (hasOwnFeed)
        line += '\n';
    return WriteLine(std::move(line));
}

bool LogTracer::TraceHex(std::string_view head, const u8 *bytes, u32 len, char separator, std::string_view tail)
{
    if (!IsOn())
        return false;
    const std::string prefix = TimePrefix();
    const std::size_t lineLen = prefix.size() + head.size() + HexLen(len, separator) + tail.size() + 1;
    const std::lock_guard lock(m_mutex);
    if (m_hexLine.size() < lineLen)
        m_hexLine.resize(lineLen);
    char *end = std::copy(prefix.begin(), prefix.end(), m_hexLine.data());
    end = std::copy(head.begin(), head.end(), end);
    end = HexWrite(end, bytes, len, separator);
    end = std::copy(tail.begin(), tail.end(), end);
    *end = '\n';
    return WriteLocked({m_hexLine.data(), lineLen});
}

std::string LogTracer::TraceToString(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    std::string text = TraceToStringVariableList(format, args);
    va_end(args);
    return text;
}

std::string LogTracer::TraceToStringVariableList(const char *format, va_list args)
{
    std::string text;
    PrintfAppend(text, format, args);
    return text;
}

bool LogTracer::LogFileOpen()
{
    const std::lock_guard lock(m_mutex);
    return OpenWithRotation();
}

bool LogTracer::CloseFile()
{
    const std::lock_guard lock(m_mutex);
    const bool wasOpen = m_logFile != nullptr;
    m_logFile.reset();
    return wasOpen;
}

std::string LogTracer::TimePrefix() const
{
    if (m_timeDecimal >= TIME_DECIMAL_END)
        return {};
    return DateTime(true).TimeString(m_timeDecimal, false) + " - ";
}

bool LogTracer::WriteLine(std::string line)
{
    line += '\n';
    const std::lock_guard lock(m_mutex);
    return WriteLocked(line);
}

// The console comes first: it gets the line whatever becomes of the disk.
bool LogTracer::WriteLocked(std::string_view line)
{
    if (m_traceOnConsole)
        platform::console_write(line);
    if (!m_traceOnDisk)
        return false;
    errno = 0;
    const bool written = WriteToDisk(line);
    TellOfDisk(written, errno);
    return written;
}

// The bound is checked against what is already written, so a file may exceed it by one line.
bool LogTracer::WriteToDisk(std::string_view line)
{
    const bool full = m_fileLenMax != 0 && m_fileLenCur > m_fileLenMax;
    if ((m_logFile == nullptr || full) && !OpenWithRotation())
        return false;
    if (m_lineIsCut && std::fputc('\n', m_logFile.get()) == EOF)
        return false;
    const std::size_t written = std::fwrite(line.data(), 1, line.size(), m_logFile.get());
    m_lineIsCut = written < line.size() && (written != 0 || m_lineIsCut);
    if (m_fileLenMax != 0)
        m_fileLenCur += written;
    return written == line.size();
}

// Once when the file fails, once when it works again.
void LogTracer::TellOfDisk(bool written, int error)
{
    if (m_diskFails == !written)
        return;
    m_diskFails = !written;
    if (!m_traceOnConsole)
        return;
    const std::string name = m_fileName.ToStdString();
    if (written)
        platform::console_printLine("Log file %s is written again", name.c_str());
    else
        platform::console_printLine("ERR: log file %s cannot be written: %s", name.c_str(), ReasonOf(error).c_str());
}

bool LogTracer::OpenWithRotation()
{
    const std::string path = m_filePath.ToStdString();
    const std::string name = m_fileName.ToStdString();
    const std::string fullName = path + name;
    m_logFile.reset();
    m_lineIsCut = false;
    if (name.empty())
        return false;
    const platform::eFileKind kind = platform::FS_fileKind(AsBytes(fullName));
    if (kind == platform::eFileKind::other)
        return false;

    // A file without a folder prefix keeps no old generation: its lines are lost.
    if (kind == platform::eFileKind::regular && !path.empty())
    {
        const std::string old = fullName + ".old";
        platform::FS_fileDelete(AsBytes(old));
        platform::FS_fileMove(AsBytes(fullName), AsBytes(old));
    }
    m_logFile.reset(platform::FS_fileOpenForWriteText(AsBytes(fullName)));
    m_fileLenCur = 0;
    if (m_logFile != nullptr)
        std::setvbuf(m_logFile.get(), nullptr, _IONBF, 0); // a line is written whole anyway, and none is held back
    return m_logFile != nullptr;
}

} // namespace Tools
