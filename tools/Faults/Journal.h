// The journal of a peer: what it said and heard. One line for each event, nine fields parted by tabs, "-" for none:
//   time     milliseconds of the clock that all programs of a computer share and nobody sets
//   side     client, machine
//   way      >  sent: written before it goes out      <  received: written after it came in
//   event    see below
//   ticket   decimal
//   id       of a variable or a file, decimal
//   type     of a value by name, DATA_BUFFER; of an up or a down, and of the end of a file, how
//   content  the bytes of a value behind its type, hexadecimal; of a file its size and MD5, "60000:0cc1.."
//   fault    the verb that hit the packet
//
//   event       client                                      machine
//   up          > the link is open: tcp, serial             > the bridge has said who it is
//   down        > it is not: closed, lost, reset, vanished  > the bridge is gone: left (it said so), lost (without a
//                                                             word), closed, vanished (the machine's own doing)
//   ask         > for a variable                            < a variable's message, taken for a request
//   ask-file    > for a file                                < the same; what it carries beside the id, which is nothing
//   ask-ticket  > whether a ticket is open
//   ticket      < the notice of a ticket; none: nothing known
//   answer      < a value under a ticket
//   value       > given to the machine; < one not asked for > a value; < a value of the client
//   buffer      > raw bytes for the machine                 < raw bytes under a ticket; > their answer
//   ack         < for the value before it
//   refused     < NACK for the value before it; > any NACK  > there is no such file
//   file-begin  > an upload; < a download or an offer       > here is a file
//   file-end    > the bridge has it all: done, failed       < a file of the client; whole: done
//               < it came whole: done, failed
//   link-up     -                                           < there is a client
//   link-down   -                                           < it is gone
//   packet      > any other packet that a fault hit, its type and first bytes
#pragma once

#include "toviCommonLib/OS/linux/linuxOSFile.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace LumoFaults
{

struct JournalEvent
{
    char way = '-';
    std::string event;
    std::optional<u32> ticket = {};
    std::optional<u32> id = {};
    std::string type = {};
    std::string content = {};
    std::string fault = {};

    bool is(char ofWay, std::string_view ofEvent) const { return way == ofWay && event == ofEvent; }
};

struct JournalLine : JournalEvent
{
    u64 timeMSec = 0;
    std::string side;
    std::string text; // the line as it was read
};

// Nothing when it is no line of a journal.
std::optional<JournalLine> parseJournalLine(std::string_view text);

// Used by one thread. Nothing is written before it was opened.
class Journal
{
  public:
    // Appends to the file. False when it cannot be opened.
    bool open(const std::string &path, const std::string &side);
    bool isOpen() const { return m_file.isOpen(); }

    // With the system when it returns.
    void write(const JournalEvent &event) const;

  private:
    platform::FileDescriptor m_file;
    std::string m_side;
};

} // namespace LumoFaults
