#include "LumoClient/Commands.h"

#include "LTProto/LTProto/ValueText.h"
#include "LTProto/LTProto/VariableNames.h"
#include "tools/Faults/FileContent.h"

#include <cstdio>
#include <filesystem>

namespace LumoClient
{

using namespace LTProtocol;
using LumoFaults::FileContent;

namespace
{

constexpr u32 WATCH_SLICE_MSEC = 200; // a signal ends the watch within this time

// False when standard output is gone.
bool printLine(const std::string &line)
{
    return std::puts(line.c_str()) >= 0 && std::fflush(stdout) == 0;
}

bool printValue(u32 varId, const Value &value)
{
    const std::string name = VariableName(varId);
    return printLine(std::to_string(varId) + '\t' + (name.empty() ? "-" : name) + '\t' + DataTypeName(value.dataType) +
                     '\t' + ValueText(value));
}

// "60000 bytes, MD5 0cc1..".
std::string contentText(const TransferResult &transfer)
{
    return std::to_string(transfer.size) + " bytes, MD5 " + FileContent{transfer.size, transfer.digest}.md5();
}

void journalBegin(const TransferSettings &settings, char way, u32 fileId, const std::string &content)
{
    if (settings.journal != nullptr)
        settings.journal->write({way, "file-begin", {}, fileId, "", content});
}

// A file under a ticket has no other name than that.
void journalEnd(const TransferSettings &settings, char way, eDataType kind, u32 id, const TransferResult &transfer)
{
    if (settings.journal == nullptr)
        return;
    const bool isDone = transfer.result == eResult::done;
    LumoFaults::JournalEvent event{way, "file-end", {}, {}, isDone ? "done" : "failed"};
    (kind == eDataType::TICKET_ID ? event.ticket : event.id) = id;
    if (isDone)
        event.content = FileContent{transfer.size, transfer.digest}.text();
    settings.journal->write(event);
}

int reportTransfer(const std::string &what, const TransferResult &transfer)
{
    if (transfer.result == eResult::done)
        printLine(what + " done: " + contentText(transfer) + (transfer.text.empty() ? "" : "; " + transfer.text));
    else if (transfer.text.empty())
        return reportFailure(what, transfer.result);
    else
        std::fprintf(stderr, "LumoClient: %s: %s\n", what.c_str(), transfer.text.c_str());
    return exitStatus(transfer.result);
}

// A name in `folder` that is free: "7", "7.2", "7.3" ... Empty without a folder.
std::string savePath(const std::string &folder, u32 fileId)
{
    if (folder.empty())
        return {};
    const std::string first = (std::filesystem::path(folder) / std::to_string(fileId)).string();
    std::string path = first;
    for (u32 n = 2; platform::file_exists(path.c_str()); ++n)
        path = first + "." + std::to_string(n);
    return path;
}

// False when standard output is gone.
bool watchFile(ClientLink &link, const TransferSettings &settings, const volatile std::sig_atomic_t &stop,
               const FileOffer &offer, const std::string &saveFolder)
{
    const std::string path = savePath(saveFolder, offer.id);
    const std::string what = "file " + std::to_string(offer.id);
    TransferResult result;
    {
        ProgressBar bar(what, std::nullopt);
        result = FileTransfer(link, settings, stop).receive(offer, path, bar);
    }
    journalEnd(settings, '<', offer.kind, offer.id, result);
    if (result.result != eResult::done)
    {
        reportTransfer(what, result);
        return true;
    }
    return printLine(std::to_string(offer.id) + "\t-\t" + DataTypeName(eDataType::FILE_ID) + '\t' +
                     contentText(result) + (path.empty() ? "" : '\t' + path));
}

} // namespace

int exitStatus(eResult result)
{
    switch (result)
    {
    case eResult::done: return EXIT_DONE;
    case eResult::refused:
    case eResult::unreachable:
    case eResult::linkLost:
    case eResult::badAnswer:
    case eResult::fileFailed:
    case eResult::stopped: return EXIT_REFUSED_OR_LOST;
    case eResult::noAnswer: return EXIT_NO_ANSWER;
    case eResult::badArgument: return EXIT_USAGE;
    }
    return EXIT_REFUSED_OR_LOST;
}

int reportFailure(const std::string &what, eResult result)
{
    std::fprintf(stderr, "LumoClient: %s: %s\n", what.c_str(), resultText(result));
    return exitStatus(result);
}

int runGet(ClientLink &link, const std::vector<u32> &varIds, u32 timeoutMSec)
{
    int status = EXIT_DONE;
    for (u32 varId : varIds)
    {
        Value value;
        const eResult result = link.get(varId, timeoutMSec, value);
        if (result == eResult::done)
            printValue(varId, value);
        else
            status = reportFailure("get " + std::to_string(varId), result);
        if (status != EXIT_DONE && status != EXIT_NO_ANSWER)
            break;
    }
    return status;
}

std::string whyNotSet(const Value &value)
{
    if (value.dataType == eDataType::INTEGER_POSITIVE || value.dataType == eDataType::DATA_BUFFER)
        return {};
    return std::string("the bridge acknowledges a value of type ") + DataTypeName(value.dataType) +
           " and hands on an empty one: send it as bytes, or add --force";
}

int runSet(ClientLink &link, u32 varId, const Value &value, u32 timeoutMSec)
{
    const eResult result = link.set(varId, value, timeoutMSec);
    if (result != eResult::done)
        return reportFailure("set " + std::to_string(varId), result);
    printLine("set " + std::to_string(varId) + " done");
    return EXIT_DONE;
}

int runBuffer(ClientLink &link, const Bytes &bytes, u32 timeoutMSec)
{
    Bytes answer;
    const eResult result = link.exchangeBuffer(bytes, timeoutMSec, answer);
    if (result != eResult::done)
        return reportFailure("buffer", result);
    printLine(HexText(answer));
    return EXIT_DONE;
}

int runWatch(ClientLink &link, u32 count, const std::string &saveFolder, const TransferSettings &settings,
             const volatile std::sig_atomic_t &stop, u32 quietMaxMSec)
{
    u32 quietMSec = 0;
    for (u32 shown = 0; stop == 0 && (count == 0 || shown < count);)
    {
        Arrival arrived;
        const eResult result = link.waitArrival(WATCH_SLICE_MSEC, arrived);
        quietMSec = result == eResult::noAnswer ? quietMSec + WATCH_SLICE_MSEC : 0;
        if (result == eResult::noAnswer && (quietMaxMSec == 0 || quietMSec < quietMaxMSec))
            continue;
        if (result != eResult::done)
            return reportFailure("watch", result);
        const SpontaneousValue *value = std::get_if<SpontaneousValue>(&arrived);
        const bool isPrinted = value != nullptr
                                   ? printValue(value->id, value->value)
                                   : watchFile(link, settings, stop, std::get<FileOffer>(arrived), saveFolder);
        if (!isPrinted)
            break; // nobody reads on
        ++shown;
    }
    return EXIT_DONE;
}

int runUpload(ClientLink &link, u16 fileId, const std::string &path, const TransferSettings &settings,
              const volatile std::sig_atomic_t &stop)
{
    const std::string what = "upload " + std::to_string(fileId);
    TransferResult result{eResult::fileFailed, path + " cannot be read", 0, {}};
    if (std::optional<SourceFile> file = SourceFile::open(path))
    {
        if (settings.journal != nullptr)
            journalBegin(settings, '>', fileId, LumoFaults::contentOf(path).value_or(FileContent{}).text());
        ProgressBar bar(what, file->size());
        result = FileTransfer(link, settings, stop).upload(fileId, *file, bar);
        journalEnd(settings, '>', eDataType::FILE_ID, fileId, result);
    }
    return reportTransfer(what, result);
}

int runDownload(ClientLink &link, u16 fileId, const std::string &path, const TransferSettings &settings,
                const volatile std::sig_atomic_t &stop)
{
    const std::string what = "download " + std::to_string(fileId);
    TransferResult result;
    journalBegin(settings, '<', fileId, "");
    {
        ProgressBar bar(what, std::nullopt);
        result = FileTransfer(link, settings, stop).download(fileId, path, bar);
    }
    journalEnd(settings, '<', eDataType::FILE_ID, fileId, result);
    return reportTransfer(what, result);
}

int runPoll(ClientLink &link, u32 timeoutMSec)
{
    std::vector<SpontaneousValue> values;
    const eResult result = link.poll(timeoutMSec, values);
    for (const SpontaneousValue &arrived : values)
        printValue(arrived.id, arrived.value);
    return result == eResult::done ? EXIT_DONE : reportFailure("poll", result);
}

} // namespace LumoClient
