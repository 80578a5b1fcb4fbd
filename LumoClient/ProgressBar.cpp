#include "LumoClient/ProgressBar.h"

#include <algorithm>
#include <cstdio>
#include <iomanip>
#include <sstream>
#include <utility>

#include <unistd.h>

namespace LumoClient
{

namespace
{

constexpr size_t WIDTH = 20;
constexpr u64 REDRAW_MSEC = 100;
constexpr char CLEAR_LINE[] = "\r\x1b[K";

} // namespace

std::string progressText(const Progress &progress)
{
    std::ostringstream text;
    text << std::fixed << std::setprecision(1);
    const u64 total = std::max<u64>(progress.total.value_or(0), 1);
    if (progress.total)
    {
        const size_t filled = static_cast<size_t>(std::min<u64>(WIDTH, progress.bytes * WIDTH / total));
        text << '[' << std::string(filled, '#') << std::string(WIDTH - filled, '.') << "] "
             << progress.bytes * 100 / total << " %  " << progress.bytes << " of " << *progress.total << " bytes";
    }
    else
        text << progress.bytes << " bytes";
    if (progress.elapsedMSec == 0 || progress.bytes == 0)
        return text.str();

    text << ", " << static_cast<double>(progress.bytes) / static_cast<double>(progress.elapsedMSec) << " kB/s";
    if (progress.total && progress.bytes < total)
        text << ", " << (total - progress.bytes) * progress.elapsedMSec / progress.bytes / 1000 << " s left";
    return text.str();
}

ProgressBar::ProgressBar(std::string label, std::optional<u64> total)
    : m_label(std::move(label)), m_progress{0, total, 0}, m_isTerminal(isatty(STDERR_FILENO) != 0)
{
}

ProgressBar::~ProgressBar()
{
    if (m_drawnMSec)
        std::fputs(CLEAR_LINE, stderr);
}

void ProgressBar::show(u64 bytes, u64 nowMSec)
{
    const u64 startMSec = m_startMSec.value_or(nowMSec);
    m_startMSec = startMSec;
    if (!m_isTerminal || (m_drawnMSec && nowMSec < *m_drawnMSec + REDRAW_MSEC))
        return;
    m_drawnMSec = nowMSec;
    m_progress.bytes = bytes;
    m_progress.elapsedMSec = nowMSec - startMSec;
    std::fprintf(stderr, "%s%s %s", CLEAR_LINE, m_label.c_str(), progressText(m_progress).c_str());
    std::fflush(stderr);
}

} // namespace LumoClient
