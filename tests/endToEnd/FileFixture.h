// A client that sends and takes files, block by block, and the folder where the bridge keeps what it received.
#pragma once

#include "tests/endToEnd/UartFixture.h"

#include <sys/stat.h>

using Bytes = std::vector<u8>;

constexpr u32 LAST_BLOCK = 0xFFFFFF;

inline Bytes contentOf(size_t size)
{
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<u8>(i * 31 + (i >> 8));
    return bytes;
}

inline std::string textOf(const Bytes &bytes)
{
    return {bytes.begin(), bytes.end()};
}

inline mode_t modeOf(const std::string &path)
{
    struct stat info = {};
    stat(path.c_str(), &info);
    return info.st_mode & 0777U;
}

// A number as hexadecimal bytes, most significant first.
inline std::string number(u32 value, int width)
{
    Bytes bytes;
    for (int i = width - 1; i >= 0; --i)
        bytes.push_back(static_cast<u8>(value >> (8 * i)));
    return hexOf(bytes);
}

inline std::string negotiation(u32 blockLen, const std::string &what)
{
    return "AA 00 00 00 " + number(blockLen, 2) + " " + what;
}

// The block `nr` of a file that goes out in blocks of `blockLen`, as a packet; the last one numbered as such.
inline Bytes blockOf(const Bytes &file, u32 nr, size_t blockLen)
{
    const size_t start = (nr - 1) * blockLen;
    const size_t count = std::min(blockLen, file.size() - start);
    Bytes content = Hex("AA " + number(count < blockLen ? LAST_BLOCK : nr, 3));
    content.insert(content.end(), file.begin() + static_cast<std::ptrdiff_t>(start),
                   file.begin() + static_cast<std::ptrdiff_t>(start + count));
    return Framed(content);
}

class FileTest : public UartTest
{
  protected:
    void startLink(const std::vector<std::string> &more = {}, bool uart = false)
    {
        if (uart)
            UartTest::startWithClient(more);
        else
            BridgeTest::startWithClient(more);
        m_received = m_bridge->folder() + "/BridgeTemp/";
    }

    // Starts a bridge in the test's own folder. One that runs there is killed.
    void startAgain()
    {
        m_bridge.reset();
        m_client.reset();
        m_bridge = std::make_unique<BridgeProcess>(arguments(), BridgeProcess::eKeyboard::pipe, m_folder.path());
        m_received = m_folder.path("BridgeTemp/");
        m_smu.take();
        ASSERT_TRUE(m_bridge->prints("received files kept"));
    }
    void startAgainWithClient()
    {
        ASSERT_NO_FATAL_FAILURE(startAgain());
        ASSERT_NO_FATAL_FAILURE(connectClient());
    }

    // What the bridge answers; polls that cross are passed over.
    Bytes reply()
    {
        Bytes packet = m_client->receiveBytes();
        while (hexOf(packet) == POLLING)
            packet = m_client->receiveBytes();
        return packet;
    }
    std::string exchange(const std::string &content)
    {
        m_client->send(content);
        return hexOf(reply());
    }
    std::string exchange(const Bytes &packet)
    {
        m_client->sendRaw(packet);
        return hexOf(reply());
    }

    // The name of the file that the machine is told, behind its id.
    std::string announced(u32 fileId)
    {
        const Bytes message = m_smu.receiveBytes();
        const Bytes head = Hex("90 02 00 00 " + number(fileId, 4));
        const auto name = message.begin() + static_cast<std::ptrdiff_t>(std::min(message.size(), head.size()));
        EXPECT_EQ(hexOf({message.begin(), name}), hexOf(head));
        return textOf({name, message.end()});
    }

    void upload(const Bytes &file, u32 blockLen, const std::string &what)
    {
        ASSERT_EQ(exchange(negotiation(blockLen, what)), framed(negotiation(blockLen, number(blockLen, 2))));
        for (u32 nr = 1; nr <= file.size() / blockLen + 1; ++nr)
            ASSERT_EQ(exchange(blockOf(file, nr, blockLen)), framed(ACK)) << nr;
    }

    // Takes the file that was announced as `what`, granting blocks of `blockLen`.
    void download(const Bytes &file, u32 asked, u32 blockLen, const std::string &what)
    {
        ASSERT_EQ(exchange(ACK), framed(negotiation(asked, what)));
        m_client->send(negotiation(asked, number(blockLen, 2)));
        for (u32 nr = 1; nr <= file.size() / blockLen + 1; ++nr)
        {
            ASSERT_EQ(reply(), blockOf(file, nr, blockLen)) << nr;
            m_client->send(ACK);
        }
        // Nothing follows the last ACK in the same read.
        ASSERT_TRUE(m_bridge->prints(" bytes sended, last\n"));
        ASSERT_TRUE(m_bridge->prints("Recv:(len=7)"));
    }

    // The machine offers a file; the bridge has queued it when this returns.
    std::string offer(const std::string &name, const Bytes &file, const std::string &fileId)
    {
        m_folder.write(name, textOf(file));
        announce(m_folder.path(name), fileId);
        return m_folder.path(name);
    }
    void announce(const std::string &path, const std::string &fileId)
    {
        Bytes message = Hex("90 02 00 00 " + fileId);
        message.insert(message.end(), path.begin(), path.end());
        m_smu.sendRaw(consoleFrame(message));
        ASSERT_TRUE(m_bridge->prints("(element in queue "));
    }

    // The names in the folder of received files.
    std::vector<std::string> received() const
    {
        std::vector<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(m_received))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::string m_received; // with a trailing slash
};
