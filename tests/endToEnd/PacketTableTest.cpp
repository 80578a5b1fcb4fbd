// Every line of the packet tables against the real daemon. After each line a variable is still relayed.
#include "tests/endToEnd/BridgeFixture.h"

#include <fstream>

namespace
{

constexpr int NOTICES = 3 * 64 + 1;
constexpr char REFUSED[] = "2A 02 00 02"; // the packet is not traced

class PacketTableTest : public BridgeTest, public testing::WithParamInterface<const char *>
{
  protected:
    // One line: what the client or the machine sends, in pieces, and what both get.
    void play(const std::string &sent, std::string clientGets, const std::string &machineGets)
    {
        const Descriptor &link = m_isMachine ? m_smu.link() : m_client->link();
        const size_t bar = sent.find('|');
        link.write(Hex(sent.substr(0, bar)));
        if (bar != std::string::npos)
        {
            m_isMachine ? relayValue() : awaitClientsTurn();
            link.write(Hex(sent.substr(bar + 2)));
        }
        if (clientGets == "end")
            return startAgain();
        if (clientGets == "lost") // whatever the bridge sends ends its gathering
        {
            awaitClientsTurn();
            m_smu.send("90 01 00 00 00 00 00 05 01 00 00 00 07");
            clientGets = "66 FF FF FF FE 06 00 00 00 05 01 00 00 00 07";
        }
        else if (!m_isMachine && clientGets != REFUSED)
            awaitPacketWasRead();
        for (size_t at = 0, end = 0; end != std::string::npos && clientGets != "silence"; at = end + 2)
            expectClientGets(clientGets.substr(at, (end = clientGets.find(", ", at)) - at));
        if (machineGets != "silence")
        {
            EXPECT_EQ(m_smu.receive(), hexOf(Hex(withTicket(machineGets))));
        }
        m_ticket += clientGets.ends_with("tt") ? 1 : 0;
    }
    void startAgain()
    {
        EXPECT_EQ(m_smu.receive() + std::to_string(m_bridge->status()), "c8 a6 020");
        m_ticket = 0;
        startWithClient();
    }

    // Silence is proved by the answers to this coming first.
    void relayVariable()
    {
        clientSends("33 06 00 00 00 04");
        expectClientGets("66 FF FF FF FF 80 tt tt tt tt");
        EXPECT_TRUE(m_smu.receive().starts_with("90 01 00 00 00 00 00 04"));
        m_smu.send("90 01 00 00 00 00 00 04 01 00 00 00 19");
        expectClientGets("66 tt tt tt tt 01 00 00 00 19");
        ++m_ticket;
    }

    // The machine's link was read before, and what comes next on it is of another turn.
    void relayValue()
    {
        clientSends("66 FF FF FF FE 06 00 00 00 0B 01 00 00 00 5F");
        expectClientGets("2A 01");
        EXPECT_EQ(m_smu.receive(), "90 01 00 00 00 00 00 0b 01 00 00 00 5f");
    }

    // A file of the machine waits for the client's POLLING; what is neither command nor notice is acknowledged.
    void expectClientGets(const std::string &content)
    {
        if (content.starts_with("AA 00 00 00 C3 50"))
        {
            awaitClientsTurn();
            clientSends("2A 00");
        }
        ASSERT_EQ(m_client->receive(), framed(withTicket(content)));
        if (!content.starts_with("2A") && !content.ends_with("tt"))
            clientSends("2A 01");
    }

    // What the client sends next does not follow this in the same read, where it would be dropped.
    void clientSends(const std::string &content)
    {
        m_client->send(content);
        awaitPacketWasRead();
    }
    void awaitPacketWasRead() { ASSERT_TRUE(m_bridge->prints("Recv:")); }

    // Of a piece nothing is told. But the client has its turn after 64 messages of the machine, here files that are none,
    // and three such turns may begin before it.
    void awaitClientsTurn()
    {
        for (int i = 0; i < NOTICES; ++i)
            m_smu.send("90 02 00 00 00 00 00 01 00");
        for (int i = 0; i < NOTICES; ++i)
            ASSERT_TRUE(m_bridge->prints("Ticket not found, file delete"));
    }
    std::string withTicket(std::string text) const
    {
        if (const size_t at = text.find("tt"); at != std::string::npos)
            text.replace(at, 11, hexOf({0, 0, static_cast<u8>(m_ticket >> 8), static_cast<u8>(m_ticket)}));
        return text;
    }

    const bool m_isMachine = std::string(GetParam()).starts_with("machine");
    u32 m_ticket = 0; // the next one's number
};

} // namespace

TEST_P(PacketTableTest, EachLine)
{
    std::ifstream table(std::string(LUMO_TABLES_PATH "/") + GetParam());
    ASSERT_NO_FATAL_FAILURE(startWithClient());
    for (std::string name, sent, clientGets, machineGets; std::getline(table, name, ';') && !HasFailure();)
    {
        std::getline(std::getline(std::getline(table, sent, ';') >> std::ws, clientGets, ';') >> std::ws, machineGets);
        SCOPED_TRACE(name + ":" + sent);
        play(sent, clientGets, machineGets);
        relayVariable();
        if (m_isMachine)
            relayValue();
    }
    EXPECT_TRUE(table.eof());
}

INSTANTIATE_TEST_SUITE_P(Tables, PacketTableTest,
                         testing::Values("client.txt", "client-pairs.txt", "client-splits.txt", "machine.txt",
                                         "machine-pairs.txt", "machine-splits.txt"));
