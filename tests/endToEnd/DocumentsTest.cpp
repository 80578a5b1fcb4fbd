// The worked exchanges of docs/vectors, played packet by packet between the real daemon and its two neighbours, and what the
// documents show of them.
#include "tests/endToEnd/UartFixture.h"

#include <fstream>

namespace
{

struct Row
{
    std::string name, link, direction, bytes, meaning;
};

// Reads `mark` and the string behind it with its closing quote; fails where something else stands.
std::string stringBehind(const std::string &mark, std::istream &line)
{
    std::string found(mark.size(), ' '), value;
    line.read(found.data(), static_cast<std::streamsize>(found.size()));
    if (found != mark)
        line.setstate(std::ios::failbit);
    std::getline(line, value, '"');
    return value;
}

// {"name": ..., "link": ..., "direction": ..., "bytes": ..., "meaning": ...}, no string with an escape.
std::vector<Row> vectorsOf(const std::string &document)
{
    std::vector<Row> rows;
    std::ifstream file(LUMO_DOCS_PATH "/vectors/" + document + ".jsonl");
    for (std::string text, rest; std::getline(file, text); rest.clear())
    {
        std::istringstream line(text);
        rows.push_back({stringBehind(R"({"name": ")", line), stringBehind(R"(, "link": ")", line),
                        stringBehind(R"(, "direction": ")", line), stringBehind(R"(, "bytes": ")", line),
                        stringBehind(R"(, "meaning": ")", line)});
        std::getline(line, rest);
        EXPECT_EQ(rest, "}") << text;
    }
    return rows;
}

// A row as a document shows it.
std::string shown(const Row &row)
{
    const std::string who = row.link == "smu" ? "machine " : "client  ";
    if (row.bytes.empty())
        return who + row.meaning;
    const std::string what = who + (row.direction == "in" ? "sends " : "gets  ") + row.bytes;
    return row.meaning.empty() ? what : what + " ; " + row.meaning;
}

// What stands between "```exchange" and "```", empty lines apart.
std::string exchangesIn(const std::string &document)
{
    std::string lines;
    std::ifstream file(LUMO_DOCS_PATH "/" + document + ".md");
    bool isExchange = false;
    for (std::string line; std::getline(file, line);)
    {
        if (line.starts_with("```"))
            isExchange = line == "```exchange";
        else if (isExchange && !line.empty())
            lines += line + "\n";
    }
    return lines;
}

// What the bridge prints when it has taken what a neighbour sent; empty when the next row tells.
std::string traceOf(const Row &row, const std::vector<u8> &bytes)
{
    if (row.link == "client")
        return Crc16BitByBit(bytes) == 0 ? "Recv:(len=" + std::to_string(bytes.size()) + ")" : "";
    static const std::pair<const char *, const char *> TRACES[] = {{"90 01", "Push packet"},
                                                                   {"90 02", "(element in queue "},
                                                                   {"00 01", "Incoming msg from SMU: what=1"},
                                                                   {"00 04", "Max payload lenght"}};
    const size_t kindAt = row.bytes.starts_with("C8 A6 FE") ? 5 : 4;
    for (const auto &[kind, trace] : TRACES)
        if (row.bytes.substr(3 * kindAt, 5) == kind)
            return trace;
    return "";
}

class DocumentsTest : public UartTest, public testing::WithParamInterface<const char *>
{
  protected:
    // Each exchange has a bridge of its own: its machine is connected, its client is there and the link at rest.
    void begin(const std::string &name)
    {
        ASSERT_NO_FATAL_FAILURE(startBridge(name));
        std::ofstream(m_bridge->folder() + "/menu.txt") << "coffee";
    }

    void play(const Row &row)
    {
        if (row.meaning == "connects")
            m_client = std::make_unique<RawClient>(m_ip, CLIENT_PORT);
        else if (row.meaning == "closes")
            leave();
        else if (row.meaning == "is closed")
            expectClosed(row.link);
        else if (row.direction == "in")
            send(row);
        else if (row.link == "client")
            expectPacket(hexOf(Hex(row.bytes)));
        else
            expectFrame(row.bytes);
    }

    // What the exchange does not show did not come.
    void end()
    {
        if (m_client == nullptr)
            return;
        leave();
        EXPECT_EQ(m_smu.receive(), LINK_DOWN);
    }

  private:
    void startBridge(const std::string &name)
    {
        m_bridge.reset();
        if (name.starts_with("serial"))
            return UartTest::startWithClient();
        if (name != "greeting")
            return BridgeTest::startWithClient();
        launch();
        m_smu.takeConnection();
    }

    void leave()
    {
        const bool isSerial = shutdown(m_client->link().get(), SHUT_WR) != 0;
        if (!isSerial)
            expectPacket("");
        unplug();
    }

    void expectClosed(const std::string &link)
    {
        EXPECT_EQ(hexOf((link == "smu" ? m_smu.link() : m_client->link()).readExactly(1)), "");
        if (link == "client")
            m_client.reset();
    }

    // The next row finds it handled.
    void send(const Row &row)
    {
        const std::vector<u8> bytes = bytesOf(row.bytes);
        (row.link == "smu" ? m_smu.link() : m_client->link()).write(bytes);
        const std::string trace = traceOf(row, bytes);
        if (trace.empty())
            return;
        EXPECT_TRUE(m_bridge->prints(trace)) << trace;
    }

    // A poll that crossed what was sent is not shown.
    void expectPacket(const std::string &packet)
    {
        std::string received = m_client->receive();
        while (received == POLLING && packet != POLLING)
            received = m_client->receive();
        EXPECT_EQ(received, packet);
    }

    // "..." at the end stands for the rest of a frame, which tells its length in its fourth byte.
    void expectFrame(const std::string &text)
    {
        const size_t rest = std::min(text.find(" ..."), text.size());
        const std::string told = text.substr(0, rest);
        const std::vector<u8> received = m_smu.link().readExactly(bytesOf(told).size());
        ASSERT_EQ(hexOf(received), hexOf(bytesOf(told, received)));
        if (rest != text.size())
            m_smu.link().readExactly(4U + received[3] + 1 - received.size());
    }

    // ".." stands for the byte received at its place, "~~" for that byte's complement later on.
    std::vector<u8> bytesOf(const std::string &text, const std::vector<u8> &received = {})
    {
        std::vector<u8> bytes;
        std::istringstream pairs(text);
        for (std::string pair; pairs >> pair;)
        {
            if (pair == ".." && bytes.size() < received.size())
                m_key = received[bytes.size()];
            if (pair == ".." || pair == "~~")
                bytes.push_back(pair == ".." ? m_key : static_cast<u8>(255 - m_key));
            else
                bytes.push_back(Hex(pair).at(0));
        }
        return bytes;
    }

    u8 m_key = 0;
};

INSTANTIATE_TEST_SUITE_P(, DocumentsTest, testing::Values("client-link", "smu-link"),
                         [](const auto &document) { return std::string(document.param).substr(0, 3); });

} // namespace

TEST_P(DocumentsTest, TheBridgeDoesWhatTheVectorsSay)
{
    std::string name;
    for (const Row &row : vectorsOf(GetParam()))
    {
        SCOPED_TRACE(row.name + ": " + shown(row));
        if (row.name != name)
        {
            end();
            ASSERT_NO_FATAL_FAILURE(begin(row.name));
            name = row.name;
        }
        play(row);
        ASSERT_FALSE(HasFailure());
    }
    end();
    EXPECT_FALSE(name.empty());
}

TEST_P(DocumentsTest, TheDocumentShowsTheVectors)
{
    std::string lines, name;
    for (const Row &row : vectorsOf(GetParam()))
    {
        if (row.name != name)
            lines += "# " + row.name + "\n";
        name = row.name;
        lines += shown(row) + "\n";
    }
    EXPECT_EQ(exchangesIn(GetParam()), lines);
}
