#include "tools/Faults/Journal.h"

#include <array>
#include <charconv>
#include <chrono>

#include <fcntl.h>

namespace LumoFaults
{

namespace
{

constexpr mode_t FILE_MODE = 0644;
constexpr size_t FIELD_COUNT = 9;

std::string shown(const std::string &text)
{
    return text.empty() ? "-" : text;
}

std::string shown(std::optional<u32> number)
{
    return number ? std::to_string(*number) : "-";
}

std::string given(std::string_view field)
{
    return field == "-" ? std::string() : std::string(field);
}

// False when it is neither a number nor "-".
template <typename T>
bool parseNumber(std::string_view field, std::optional<T> &out)
{
    if (field == "-")
        return true;
    const char *const end = field.data() + field.size();
    const auto [stop, error] = std::from_chars(field.data(), end, out.emplace());
    return error == std::errc{} && stop == end;
}

} // namespace

std::optional<JournalLine> parseJournalLine(std::string_view text)
{
    std::array<std::string_view, FIELD_COUNT> fields;
    size_t count = 0;
    for (std::string_view rest = text; count < FIELD_COUNT; ++count)
    {
        const size_t end = rest.find('\t');
        fields[count] = rest.substr(0, end);
        if (end == std::string_view::npos)
            break;
        rest.remove_prefix(end + 1);
    }
    const auto &[time, side, way, event, ticket, id, type, content, fault] = fields;
    JournalLine line;
    std::optional<u64> timeMSec;
    if (count != FIELD_COUNT - 1 || way.size() != 1 || !parseNumber(time, timeMSec) || !timeMSec ||
        !parseNumber(ticket, line.ticket) || !parseNumber(id, line.id))
        return std::nullopt;
    line.way = way[0];
    line.event = event;
    line.type = given(type);
    line.content = given(content);
    line.fault = given(fault);
    line.timeMSec = *timeMSec;
    line.side = side;
    line.text = text;
    return line;
}

bool Journal::open(const std::string &path, const std::string &side)
{
    m_side = side;
    m_file = platform::FileDescriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, FILE_MODE));
    return isOpen();
}

void Journal::write(const JournalEvent &event) const
{
    using namespace std::chrono;
    if (!isOpen())
        return;
    const auto now = duration_cast<milliseconds>(steady_clock::now().time_since_epoch());
    const std::string line = std::to_string(now.count()) + '\t' + m_side + '\t' + event.way + '\t' + event.event +
                             '\t' + shown(event.ticket) + '\t' + shown(event.id) + '\t' + shown(event.type) + '\t' +
                             shown(event.content) + '\t' + shown(event.fault) + '\n';
    platform::file_write(m_file, line.data(), static_cast<u32>(line.size()));
}

} // namespace LumoFaults
