// The worked exchanges of the documents, played line by line between the real daemon and its two neighbours.
#include "tests/endToEnd/BridgeFixture.h"

#include <fstream>

namespace
{

class DocumentsTest : public BridgeTest
{
  protected:
    // Plays the lines between "```exchange" and "```"; a line that fails ends it.
    void play(const std::string &document)
    {
        std::ifstream file(LUMO_DOCS_PATH "/" + document);
        bool isExchange = false;
        int steps = 0;
        for (std::string line; std::getline(file, line) && !HasFailure();)
        {
            if (line.starts_with("```"))
                isExchange = line == "```exchange";
            else if (isExchange && !line.empty())
            {
                playLine(line);
                ++steps;
            }
        }
        ASSERT_TRUE(steps > 20) << document;
        ASSERT_FALSE(HasFailure()) << document;
    }

  private:
    // WHO DOES WHAT ; EXPLANATION
    void playLine(const std::string &line)
    {
        SCOPED_TRACE(line);
        std::istringstream words(line.substr(0, line.find(" ;")));
        std::string who, does, what;
        std::getline(words >> who >> does >> std::ws, what);
        const Descriptor &link = who == "client" ? m_clientLink : m_smu.link();
        const std::string step = who + ' ' + does;
        if (step == "machine accepts")
            m_smu.takeConnection();
        else if (step == "client connects")
            m_clientLink = connectTo(m_ip, CLIENT_PORT);
        else if (step == "client closes")
            closeClient();
        else if (step == "bridge prints")
            EXPECT_TRUE(m_bridge->prints(what));
        else if (step == "client sends" || step == "machine sends")
            link.write(bytesOf(what));
        else if (step == "client gets" || step == "machine gets")
            expectBytes(link, what);
        else
            ADD_FAILURE() << "no such step";
    }

    // Nothing may have come that the document does not show.
    void closeClient()
    {
        shutdown(m_clientLink.get(), SHUT_WR);
        EXPECT_EQ(hexOf(m_clientLink.readExactly(1)), "");
        m_clientLink.reset();
    }

    // "..." at the end stands for the rest of a frame of the machine link, which tells its length in its fourth byte.
    void expectBytes(const Descriptor &link, const std::string &text)
    {
        const size_t rest = std::min(text.find(" ..."), text.size());
        const std::string shown = text.substr(0, rest);
        const std::vector<u8> received = link.readExactly(bytesOf(shown).size());
        ASSERT_EQ(hexOf(received), hexOf(bytesOf(shown, received)));
        if (rest != text.size())
            link.readExactly(4U + received[3] + 1 - received.size());
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

    Descriptor m_clientLink;
    u8 m_key = 0;
};

} // namespace

TEST_F(DocumentsTest, ClientLinkIsAsWritten)
{
    ASSERT_NO_FATAL_FAILURE(start());
    ASSERT_NO_FATAL_FAILURE(play("client-link.md"));
    stop();
    EXPECT_EQ(m_smu.receive(), "c8 a6 02");
    EXPECT_EQ(m_smu.receive(), "");
}

TEST_F(DocumentsTest, SmuLinkIsAsWritten)
{
    launch();
    ASSERT_NO_FATAL_FAILURE(play("smu-link.md"));
    EXPECT_EQ(m_smu.receive(), "");
    EXPECT_EQ(m_bridge->status(), 0);
}
