// Tiny runs, each with what is wrong with it. A line: time, side (c, m), way, event, ticket, id, type, content, fault.
#include "tools/HistoryCheck/History.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>

using namespace HistoryCheck;

namespace
{

struct sRun
{
    const char *name;
    const char *lines; // separated by bars
    const char *violations;
};

const std::string LINK = "0 m > up - - - - -|1 c > up - - tcp - -|1 m < link-up - - - - -|";
const std::string LEFT = "|90 c > down - - closed - -|90 m < link-down - - - - -";

const sRun RUNS[] = {
    {"an answer",
     "2 c > ask - 4 - - -|2 c < ticket 0 - - - -|2 m < ask - 4 - - -|3 m > value - 4 INT 09 -|3 c < answer 0 - INT 09 "
     "-",
     ""},
    {"an answer changed",
     "2 c > ask - 4 - - -|2 c < ticket 0 - - - -|2 m < ask - 4 - - -|3 m > value - 4 INT 09 -|3 c < answer 0 - INT 08 "
     "-",
     "changed on the way"},
    {"an answer twice",
     "2 c > ask - 4 - - -|2 c < ticket 0 - - - -|2 m < ask - 4 - - -|3 m > value - 4 INT 09 -|3 c < answer 0 - INT 09 "
     "-|4 c < answer 0 - INT 09 -",
     "answers a ticket for the second time, came twice"},
    {"an answer to nothing", "3 m > value - 4 INT 09 -|3 c < answer 0 - INT 09 -",
     "is an answer to nothing that was asked, was never said"},
    {"a value pushed", "3 m > value - 4 INT 09 -|3 c < value - 4 INT 09 -", ""},
    {"values out of order",
     "3 m > value - 4 INT 01 -|4 m > value - 5 INT 02 -|5 c < value - 5 INT 02 -|6 c < value - 4 INT 01 -",
     "came out of order"},
    {"a value out of nothing", "3 c < value - 4 INT 09 -", "was never said"},
    {"a value acknowledged and lost", "3 c > value - 100 INTEGER_POSITIVE 07 -|3 c < ack - - - - -",
     "was acknowledged and never reached the machine"},
    {"a value lost with the bridge",
     "3 c > value - 100 INTEGER_POSITIVE 07 -|3 c < ack - - - - -|4 m > down - - lost - -|5 m > up - - - - -|5 c > "
     "down - - lost - -|6 c > up - - tcp - -|6 m < "
     "link-up - - - - -",
     ""},
    {"a value damaged by its sender",
     "3 c > value - 100 INTEGER_POSITIVE 07 before|4 m < value - 100 INTEGER_POSITIVE 06 -", ""},
    {"a value flooded",
     "3 c > value - 100 INTEGER_POSITIVE 07 flood|3 m < value - 100 INTEGER_POSITIVE 07 -|4 c > value - 100 "
     "INTEGER_POSITIVE 07 flood|4 c < ack - - - - -",
     ""},
    {"an upload", "3 c > file-begin - 5 - 10:aa -|4 m < file-end - 5 done 10:aa -|4 c > file-end - 5 done 10:aa -", ""},
    {"an upload changed",
     "3 c > file-begin - 5 - 10:aa -|4 m < file-end - 5 done 10:bb -|4 c > file-end - 5 failed 10:aa -",
     "changed on the way"},
    {"an upload lost", "3 c > file-begin - 5 - 10:aa -|4 c > file-end - 5 done 10:aa -",
     "was acknowledged and the machine never heard of it"},
    {"a download",
     "3 c > ask-file - 7 - - -|3 c < ticket 0 - - - -|4 m > file-begin - 7 - 20:cc -|5 c < file-end - 7 done 20:cc -",
     ""},
    {"a download changed", "4 m > file-begin - 7 - 20:cc -|5 c < file-end - 7 done 20:cd -", "changed on the way"},
    {"a link up twice", "3 m < link-up - - - - -",
     "is a link up without a client, is a link up without a link down before it"},
};

Lines linesOf(const std::string &text, char side)
{
    Lines lines;
    std::istringstream all(text);
    for (std::string line; std::getline(all, line, '|');)
    {
        std::replace(line.begin(), line.end(), ' ', '\t');
        std::optional<JournalLine> parsed = LumoFaults::parseJournalLine(line);
        EXPECT_TRUE(parsed) << line;
        if (parsed && parsed->side[0] == side)
            lines.push_back(*parsed);
    }
    return lines;
}

TEST(HistoryTest, EachRunIsJudged)
{
    for (const sRun &run : RUNS)
    {
        const std::string text = LINK + run.lines + LEFT;
        const Lines client = linesOf(text, 'c'), machine = linesOf(text, 'm');
        std::vector<std::string> found;
        for (const Violation &violation : checkHistory(client, machine))
            found.push_back(violation.text);
        std::sort(found.begin(), found.end());
        std::string shown;
        for (const std::string &violation : found)
            shown += (shown.empty() ? "" : ", ") + violation;
        EXPECT_EQ(shown, run.violations) << run.name;
    }
}

} // namespace
