// Tools::LogTracer: writes trace lines to standard output and to a log file of bounded size.
// Set up by Init before others use it; from then on any thread may trace. Owned by the program, lent by pointer; a null
// pointer means no tracing. Nothing is ever thrown: a failure is the result of the call, and a log file that cannot be
// written is told once on the console, with the reason, and once more when it works again.
#pragma once

#include "LTProto/Tools/DateTime.h"
#include "LTProto/Tools/StringUtf8.h"
#include "toviCommonLib/OS/linux/linuxOSFS.h"

#include <atomic>
#include <cstdarg>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace Tools
{

// A line is "hh:mm:ss.ddd - ", the message and a line feed; lines of several threads never mix. Whatever a message quotes,
// it stays one line: tovi::string::visible; a line feed that ends the format is kept.
class LogTracer
{
  public:
    // Console alone. `timeDecimal` decimals of the seconds stand in the prefix, 3 when this is never called; 10 or more
    // leave the whole prefix out. Always true.
    bool Init(u8 timeDecimal);
    // File and, when `traceOnScreen`, console. An empty or null `fileName` means no file. `useLocalPath` puts the file
    // into the application's folder. Once a file holds more than `maxBytesInFile` bytes, 0 for no bound, the next line
    // starts a new one. The first line opens the file. Always true.
    bool Init(const StringUtf8 &fileName, bool useLocalPath, u32 maxBytesInFile, bool traceOnScreen);
    bool Init(const char *fileName, bool useLocalPath, u32 maxBytesInFile, bool traceOnScreen);

    // True when the line went to the file, or when there was nothing to write: tracing off or an empty text.
    // False otherwise, also when the line went to the console alone.
    bool Trace(const char *format, ...) __attribute__((format(printf, 2, 3)));
    // Takes `str`, up to its first zero, as a format that has no arguments: tovi::string::expandWithoutArguments.
    bool Trace(const std::string &str);
    // Unlike Trace writes an empty text as a line, and is false when tracing is off.
    bool TraceVariableList(const char *format, va_list args) __attribute__((format(printf, 2, 0)));

    // As TraceVariableList: `head`, the bytes as Tools::ToHex writes them, and `tail`, as they stand.
    bool TraceHex(std::string_view head, const u8 *bytes, u32 len, char separator, std::string_view tail = {});

    // The formatted text; writes nothing.
    static std::string TraceToString(const char *format, ...) __attribute__((format(printf, 1, 2)));
    static std::string TraceToStringVariableList(const char *format, va_list args)
        __attribute__((format(printf, 1, 0)));

    // Starts a new log file. One that is there becomes the one old generation, ".old", when the file has a folder.
    bool LogFileOpen();
    bool CloseFile(); // false when none was open

    // Where lines go; any thread may switch.
    std::atomic<bool> m_traceOnDisk{false};
    std::atomic<bool> m_traceOnConsole{false};

  private:
    bool IsOn() const { return m_traceOnDisk || m_traceOnConsole; }
    std::string TimePrefix() const;
    bool WriteLine(std::string line);
    bool WriteLocked(std::string_view line);
    bool WriteToDisk(std::string_view line);
    void TellOfDisk(bool written, int error);
    bool OpenWithRotation();

    // Set by Init, then read-only.
    StringUtf8 m_filePath; // with the slash at its end; empty for the current folder
    StringUtf8 m_fileName; // empty for no file
    u8 m_timeDecimal = 3;
    u32 m_fileLenMax = 0;
    DateTime m_logStartTime{false}; // stays zero

    std::mutex m_mutex;            // one line at a time; guards what follows
    std::vector<char> m_hexLine;   // only grows: a fresh piece of memory costs more than the text of a long packet
    platform::OwnedFile m_logFile; // null when closed
    u64 m_fileLenCur = 0;          // bytes in m_logFile, counted when there is a bound
    bool m_lineIsCut = false;      // the last line of m_logFile has no end yet
    bool m_diskFails = false;      // and the console was told why
};

} // namespace Tools
