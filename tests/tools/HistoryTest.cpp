// Tiny runs, each with what is wrong with it.
#include "tools/HistoryCheck/History.h"

#include <gtest/gtest.h>

#include <sstream>

namespace
{

using namespace HistoryCheck;

// Events parted by "/": time, way, event, then ticket, id, type, content, fault as far as they are given.
Lines LinesOf(const std::string &side, const std::string &first, const std::string &more)
{
    Lines lines;
    std::istringstream events(first + more);
    for (std::string event; std::getline(events, event, '/');)
    {
        std::istringstream words(event);
        std::string time, text, word;
        words >> time;
        for (int field = 0; field < 7; ++field)
            text += '\t' + (words >> word ? word : "-");
        lines.push_back(LumoFaults::parseJournalLine(time + '\t' + side + text).value());
    }
    return lines;
}

TEST(History, ShowsWhatTheLinksPromisedAndDidNotKeep)
{
    const struct
    {
        const char *client, *machine, *wrong;
        u32 left = 0;
    } cases[] = {
        // Tickets.
        {"2 > ask - 4/3 < ticket 0/5 < answer 0 4 T 5C", "3 < ask - 4 UNDEFINED 00000000/4 > value - 4 T 5C", ""},
        {"5 < answer 0 - T 5C", "4 > value - 4 T 5C", "is an answer to nothing that was asked, was never said"},
        {"2 > ask - 4/3 < ticket 0/5 < answer 0 - T 5C/6 < answer 0 - T 5C",
         "3 < ask - 4 UNDEFINED 00000000/4 > value - 4 T 5C", "came twice, answers a ticket for the second time"},
        {"2 > ask - 4/3 < ticket 0/5 < answer 0 - T 5C/5 > refused/6 < answer 0 - T 5C",
         "3 < ask - 4 UNDEFINED 00000000/4 > value - 4 T 5C", ""}, // a NACK brings it again
        {"1 > up - - serial/2 > ask - 4/5 < answer 0 - T 5C", "3 < ask - 4 UNDEFINED 00000000/4 > value - 4 T 5C",
         ""}, // the line swallowed the notice
        // What is acknowledged arrives.
        {"2 > value - 100 DATA_BUFFER 01/3 < ack", "4 < value - 100 DATA_BUFFER 01", ""},
        {"2 > value - 100 DATA_BUFFER 01/3 < ack", "", "was acknowledged and never reached the machine"},
        {"2 > value - 100 DATA_BUFFER 01/3 < ack", "99000 < value - 100 DATA_BUFFER 01", ""}, // it stalled
        {"2 > value - 100 DATA_BUFFER 01/3 < ack", "4 > down - - left",
         "was acknowledged and never reached the machine"},
        {"2 > value - 100 DATA_BUFFER 01/3 < ack", "4 > down - - left", "", 1},
        {"2 > value - 9 DATA_BUFFER 01/3 < ack/4 > value - 8 DATA_BUFFER 01/5 < ack", "6 > down - - left",
         "was acknowledged and never reached the machine", 1},
        {"2 > value - 100 DATA_BUFFER 01/3 < ack", "99000 > down - - lost", ""},
        {"2 > value - 100 DATA_BUFFER 01/3 < ack", "9 > up", ""}, // it was killed
        {"2 > ask - 4/3 < ticket 0/10 > ask - 4/11 < ticket 0",
         "4 > down - - lost/9 > up/11 < ask - 4 UNDEFINED 00000000", ""}, // only the first one is missing
        {"2 > value - 100 DATA_BUFFER 01/3 < ack/4 > value - 100 DATA_BUFFER 02",
         "5 < value - 100 DATA_BUFFER 02/6 > down - - lost", "was acknowledged and never reached the machine"},
        {"2 > ask - 4/3 < ticket 0", "3 < ask - 4 INTEGER_POSITIVE 00000005",
         "changed on the way, was acknowledged and never reached the machine"},
        {"2 > ask-file - 7/3 < ticket 0", "3 < ask-file - 7", ""},
        {"2 > ask-file - 7/3 < ticket 0", "3 < ask-file - 7 - 2F6F6C64", "changed on the way"},
        {"2 > value - 9 STRING_UTF 41/3 < ack", "4 < ask - 4294967295 UNDEFINED 00000000", ""},
        {"2 > value - 9 STRING_UTF 41/3 < ack", "4 < ask - 9 UNDEFINED 00000000",
         "changed on the way, was acknowledged and never reached the machine"},
        {"2 > value - 9 DATA_BUFFER 00 twice/3 < ack/4 > value - 8 DATA_BUFFER 01/5 < ack", "", ""}, // whose ACK?
        {"2 > file-begin - 5 - 9:AA/3 > file-end - 5 done", "4 < file-end - 5 done 9:AA", ""},
        {"2 > file-begin - 5 - 9:AA/3 > file-end - 5 done", "4 < file-end - 5 done 9:AA/5 < file-end - 5 done 9:AA",
         "came twice"},
        {"2 > file-begin - 5 - 9:AA/3 > file-end - 5 done",
         "4 < file-end - 5 done 9:AA/5 > up/6 < file-end - 5 done 9:AA",
         ""}, // it was killed before it noted that it had told
        {"2 > file-begin - 5 - 9:AA/3 > file-end - 5 done", "", "was acknowledged and the machine never heard of it"},
        // Unchanged, in order, once.
        {"2 > value - 100 DATA_BUFFER 01", "4 < value - 100 DATA_BUFFER 02", "changed on the way"},
        {"2 > value - 100 DATA_BUFFER 01 checksum", "4 < value - 100 DATA_BUFFER 02", ""},
        {"2 > value - 100 DATA_BUFFER 01", "4 < value - 100 DATA_BUFFER 01/5 < value - 100 DATA_BUFFER 01",
         "came twice"},
        {"2 > value - 9 DATA_BUFFER 01/3 > value - 8 DATA_BUFFER 02",
         "4 < value - 8 DATA_BUFFER 02/5 < value - 9 DATA_BUFFER 01", "came out of order"},
        {"4 < value - 7 T 05", "5 > value - 7 T 05", "was never said"}, // heard before
        {"2 > file-begin - 5 - 9:AA", "4 < file-end - 5 done 8:BB", "changed on the way"},
        {"2 > file-begin - 5 - 9:AA/3 > packet - - DATABLOCK 01 flood", "4 < file-end - 5 done 8:BB", ""},
        {"5 < file-end - 7 done 8:BB", "4 > file-begin - 7 - 9:AA", "changed on the way"},
        // Link states.
        {"4 > down/5 > up - - tcp", "5 < link-down/6 < link-up", ""},
        {"4 > up - - tcp", "5 < link-up", "is a link up without a link down before it"},
        {"4 > down", "5 < link-down/6 < link-down", "is a link down of no link"},
        {"4 > down", "5 < link-down/6 < link-up", "is a link up without a client, left, and the machine was not told"},
        {"9000 > ask-ticket 1", "5 < link-down", "is a link down while the client was there"},
        {"2 < ticket/4 > down - - closed", "", "left, and the machine was not told"},
        {"4 > down/9000 > up - - tcp/9001 < ticket", "5 < link-down", "is a client that the machine was not told of"},
        {"2 < ticket/4 > down/90 > up - - tcp/91 < ticket", "90000 < link-down/90000 < link-up", ""}, // it stalled
        {"2 < ticket/4 > down/9000 > up - - tcp/9001 < ticket/9002 > down", "90000 < link-down/90000 < link-up",
         "left, and the machine was not told"},
        {"4 > down/5 > up - - tcp/6 > down/8000 > up - - tcp/8001 > value - 9 DATA_BUFFER 01",
         "8002 < value - 9 DATA_BUFFER 01/20000 < link-down", ""}, // the next one came
        {"4 > down/9000 > value - 9 DATA_BUFFER 01/9001 > packet", "9001 < value - 9 DATA_BUFFER 01/9500 < link-down",
         "is a link down while the client was there"},
        {"2 < ticket/4 > down", "5 > down - - lost", ""},
        {"2 < ticket/4 > down", "5000 > down - - left", "left, and the machine was not told"},
        {"2 < ticket/4 > down", "5000 > down - - left", "", 1},
        {"2 < ticket/4 > down", "5000 > down - - lost", ""}};
    for (const auto &[client, machine, wrong, left] : cases)
    {
        const Lines said = LinesOf("client", "0 > up - - tcp/", client);
        const Lines heard = LinesOf("machine", "0 > up/1 < link-up/", machine);
        std::string all;
        for (const Violation &violation : checkHistory(said, heard, left))
            all += (all.empty() ? "" : ", ") + violation.text;
        EXPECT_EQ(all, wrong) << client << " | " << machine;
    }
}

} // namespace
