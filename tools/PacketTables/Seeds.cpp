// The seeds of the fuzz targets, in the form that each target reads, and the dictionary of what stands on the links.
#include "tools/PacketTables/Rules.h"

#include <filesystem>
#include <fstream>

namespace PacketTables
{
namespace
{

const char *const WORDS[] = {"TOVICONSOLE", "-server",  "-socket",   "-uart", "-logfile",
                             "-logdim",     "-payload", "127.0.0.1", ":2283", "%08x",
                             "*.tmp",       "../",      "./",        "%2F",   "index.dat"};

class Seeds
{
  public:
    Seeds(const std::string &tree, const std::string &target) : m_folder(tree + "/fuzz/corpus/" + target + "/")
    {
        std::filesystem::create_directories(m_folder);
    }
    void seed(std::string name, const Bytes &bytes) const
    {
        std::replace(name.begin(), name.end(), ' ', '-');
        std::ofstream(m_folder + name) << std::string(bytes.begin(), bytes.end());
    }
    void seed(const std::string &name, const std::string &words) const
    {
        seed(name, Bytes(words.begin(), words.end()));
    }

  private:
    std::string m_folder;
};

// Steps of the link targets: the upper two bits of a byte say what comes, the lower six how much.
Bytes pieceStep(const Bytes &bytes)
{
    return joined({static_cast<u8>(bytes.size())}, bytes);
}

Bytes packetStep(const Bytes &content)
{
    return joined({static_cast<u8>(0x40 + content.size())}, content);
}

// To the protocol thread: kind of the message, its parameter (4), length and bytes.
Bytes machineStep(u8 kind, const std::string &parameter, const std::string &bytes)
{
    const Bytes payload = Hex(bytes);
    return joined(joined({static_cast<u8>(0x80 + kind)}, Hex(parameter)),
                  joined({static_cast<u8>(payload.size())}, payload));
}

Bytes steps(const Bytes &start, const std::vector<Bytes> &all)
{
    Bytes bytes = start;
    for (const Bytes &step : all)
        bytes = joined(bytes, step);
    return bytes;
}

void clientSeeds(const std::string &tree)
{
    const Seeds seeds(tree, "FuzzClientLink");
    const Bytes tcp{0}, serial{2}, clientTaken{0xC7}, pause{0xFE}, closes{0};
    const Bytes polling = packetStep(Hex("2A 00")), ack = packetStep(Hex("2A 01")),
                nack = packetStep(Hex("2A 02 00 02"));
    const Bytes request = packetStep(Hex("33 06 00 00 00 04"));
    const Bytes answer = machineStep(0, "04 00 00 00", "06 04 00 00 00 01 19 00 00 00 00");
    const Bytes fileRequest = packetStep(Hex("33 05 00 07")), file = machineStep(10, "07 00 00 00", "78");
    const Bytes granted = packetStep(Hex("AA 00 00 00 C3 50 00 10"));
    const Bytes asks = packetStep(Hex("AA 00 00 00 00 04 05 00 09")),
                block = packetStep(Hex("AA 00 00 01 61 62 63 64"));
    const Bytes last = packetStep(Hex("AA FF FF FF 65"));
    for (const sKind &kind : clientDozen())
        seeds.seed(kind.name, steps(tcp, {packetStep(clientContent(kind, kind.payloadLen))}));
    seeds.seed("variable asked and answered", steps(tcp, {clientTaken, request, answer, ack}));
    seeds.seed("variable asked on a serial line", steps(serial, {pause, request, answer, ack, pause, ack}));
    seeds.seed("value refused four times", steps(tcp, {answer, nack, nack, nack, nack, ack}));
    seeds.seed("file to the client", steps(tcp, {fileRequest, file, polling, granted, ack, ack, ack}));
    seeds.seed("file to the client given up", steps(tcp, {file, polling, granted, nack, nack, nack, nack}));
    seeds.seed("file to a client that leaves", steps(tcp, {file, polling, granted, closes}));
    seeds.seed("file from the client", steps(tcp, {asks, block, last}));
    seeds.seed("file from the client broken off", steps(tcp, {asks, block, ack, last}));
    seeds.seed("file from a client that is replaced", steps(tcp, {clientTaken, asks, block, clientTaken, last}));
    seeds.seed("serial line lost and open again", steps(serial, {ack, {0xCD}, pause, {0xF4}, pause, request}));
    const Bytes packet = Framed(Hex("33 06 00 00 00 04"));
    const auto middle = packet.begin() + 5;
    seeds.seed("packet in two pieces",
               steps(tcp, {pieceStep({packet.begin(), middle}), pieceStep({middle, packet.end()})}));
    seeds.seed("packet with a wrong CRC", steps(tcp, {pieceStep(Hex("60 00 05 2A 01 00 00"))}));
}

void machineSeeds(const std::string &tree)
{
    const Seeds seeds(tree, "FuzzMachineLink");
    const Bytes greeted{3};
    for (const sKind &kind : machineDozen())
        seeds.seed(kind.name, steps(greeted, {packetStep(machineContent(kind, kind.payloadLen))}));
    const Bytes value = packetStep(Hex("90 01 00 00 00 00 00 04 01 00 00 00 19"));
    seeds.seed("value then request", steps(greeted, {value, packetStep(Hex("90 01 00 00 05 00 00 00"))}));
    seeds.seed("DIE", steps(greeted, {value, packetStep(Hex("00 05 00 00")), value}));
    seeds.seed("close frame", steps(greeted, {value, pieceStep(Hex("C8 A6 02")), value}));
    seeds.seed("long message", steps(greeted, {Hex("8A 90 01 00 00 00 00 00 04 10 00 00 00"), value}));
    seeds.seed("longest message", steps(greeted, {Hex("BF 90 01 00 00 00 00 00 04 10 00 00 00"), value}));
    seeds.seed("frame in two pieces",
               steps(greeted, {pieceStep(Hex("C8 A6 FD 04")), pieceStep(Hex("00 01 00 00 01"))}));
    seeds.seed("frame behind a damaged one", steps(greeted, {pieceStep(Hex("C8 A6 FD 02 41 42 00")), value}));
    seeds.seed("greeting that is none", steps({2}, {pieceStep(Hex("54 4F 56 49 43 4F 4E 53 4F 4C 45 00"))}));
    seeds.seed("greeting alone", steps({1}, {}));
    // The client's messages: length, parameter (4) with the kind in its lowest bits, bytes.
    seeds.seed("client asks", steps(greeted, {Hex("C0 20 00 00 00"), Hex("C0 22 00 00 00"), Hex("C0 0D 00 00 00")}));
    seeds.seed("client sends", steps(greeted, {Hex("CB 21 00 00 00 06 04 00 00 00 01 19 00 00 00 00"),
                                               Hex("C2 23 00 00 00 61 62"), Hex("C2 24 00 00 00 CA FE")}));
}

void recordSeeds(const std::string &tree)
{
    const Seeds seeds(tree, "FuzzRecord");
    seeds.seed("number", Hex("06 78 56 34 12 01 07 00 00 00 00"));
    seeds.seed("decimal", Hex("06 0A 00 00 00 03 D2 04 00 00 02"));
    seeds.seed("text", Hex("06 0A 00 00 00 07 63 61 66 C3 A9"));
    seeds.seed("bytes", Hex("10 CA FE"));
    seeds.seed("nothing", Hex("06 0A 00 00 00 11"));
    seeds.seed("status of the machine", Hex("06 01 00 00 00 01 31 45 06 01 00"));
    seeds.seed("prefix alone", Hex("06 01 00 00 00"));
    for (const sKind &kind : machineDozen())
        seeds.seed(kind.name, machineContent(kind, kind.payloadLen));
}

void indexSeeds(const std::string &tree)
{
    const Seeds seeds(tree, "FuzzFileIndex");
    // Number of entries; kind and number (4) of each; the index: id (4), number (4).
    seeds.seed("nothing", Hex("00"));
    seeds.seed("file that is listed", Hex("01 00 01 02 03 04 05 00 00 00 01 02 03 04"));
    seeds.seed("file that is missing", Hex("00 05 00 00 00 01 02 03 04"));
    seeds.seed("file that nobody lists", Hex("02 00 01 02 03 04 00 01 02 03 05 05 00 00 00 01 02 03 04"));
    seeds.seed("index cut off", Hex("02 00 01 02 03 04 00 01 02 03 05 05 00 00 00 01 02 03 04 06 00 00"));
    seeds.seed("index set aside", Hex("02 00 01 02 03 04 0A 00 00 00 00"));
    seeds.seed("number 0 and large id", Hex("01 00 01 02 03 04 05 00 00 00 00 00 00 00 05 00 01 00 01 02 03 04"));
    seeds.seed("folder that is listed", Hex("01 02 01 02 03 04 05 00 00 00 01 02 03 04"));
    seeds.seed("link beside a damaged index", Hex("01 01 01 02 03 04 00"));
}

void textSeeds(const std::string &tree)
{
    const Seeds paths(tree, "FuzzPaths"), options(tree, "FuzzOptions");
    // Length of the name; the name; the pattern.
    const std::pair<const char *, const char *> pairs[] = {
        {"a", "a*"},
        {"f.txt", "*.txt *.log"},
        {"x//y/../z/", "../../a/./b"},
        {"a%20b", "%2e%2e/%5c"},
        {"a\\b", "?\\b"},
        {"aaaaaaaab", "*a*a*b"},
        {"caf\xC3\xA9", "caf?"},
        {"0000abcd.tmp", "*.tmp"},
        {"/..", "/../../."},
        {"A", "a"},
    };
    int count = 0;
    for (const auto &[name, pattern] : pairs)
    {
        const std::string text = name;
        paths.seed("pair " + std::to_string(++count), std::string(1, static_cast<char>(text.size())) + text + pattern);
    }
    const char *const lines[] = {"-server 10.0.0.1:2283 -socket 8283",   "-uart /dev/ttymxc1 -payload 70000 -logdim -5",
                                 "-socket 10.0.0.5:7000 -logfile a.log", "-socket abc -uart x -server",
                                 "-server :99999999999 junk %n%s%08x",   "--version LumoBridge.exe"};
    count = 0;
    for (std::string line : lines)
    {
        std::replace(line.begin(), line.end(), ' ', '\0');
        options.seed("line " + std::to_string(++count), line);
    }
}

std::string quoted(const Bytes &bytes)
{
    std::string out = "\"";
    char code[8];
    for (const u8 byte : bytes)
    {
        std::snprintf(code, sizeof code, "\\x%02X", byte);
        out += code;
    }
    return out + "\"\n";
}

} // namespace

void writeSeeds(const std::string &tree)
{
    restartIds();
    for (const auto write : {clientSeeds, machineSeeds, recordSeeds, indexSeeds, textSeeds})
        write(tree);
    std::ofstream dictionary(tree + "/fuzz/lumo.dict");
    dictionary << "# Written by PacketTables: contents of packets, messages, and words.\n";
    for (const sKind &kind : clientDozen())
        dictionary << quoted(clientContent(kind, kind.payloadLen));
    for (const sKind &kind : machineDozen())
        dictionary << quoted(machineContent(kind, kind.payloadLen));
    for (const std::string word : WORDS)
        dictionary << quoted({word.begin(), word.end()});
}

} // namespace PacketTables
