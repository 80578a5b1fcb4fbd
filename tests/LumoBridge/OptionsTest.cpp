#include "LumoBridge/Options.h"

#include "LumoBridge/LumoBridge.h"

#include <cstring>
#include <gtest/gtest.h>

TEST(Options, CommandLines)
{
    // Kind of link and its device, address and port of the machine, log file and its size, payload.
    const std::pair<std::string, const char *> cases[] = {
        {"-socket 5000 -uart /dev/ttymxc1 -socket 7", "15000 :0  0 0"},
        {"-uart /dev/ttymxc1 -socket 10.0.0.5 -logdim 7", "3/dev/ttymxc1 :0  7 0"},
        {"-uart a -socket -logdim 7 -logdim", "3a :0  0 0"}, // the value of a skipped option is skipped with it
        {"-socket 0042 -server 1.2.3.4:9 -server 192.168.1.2", "142 192.168.1.2:9  0 0"},
        {"-socket abc -server :4294967297 -logfile a -logfile b.log", "10 :1 b.log 0 0"},
        {"-socket 10.0.0.5:7000 -payload 70000 -logdim -5", "1@10.0.0.5:7000 :0  0 70000"},
        {"junk -LOGDIM 5 -logdim 99999999999 -payload x -socket", "0 :0  4294967295 0"},
    };
    for (auto [line, options] : cases)
    {
        std::vector<char *> arguments;
        for (char *word = std::strtok(line.data(), " "); word != nullptr; word = std::strtok(nullptr, " "))
            arguments.push_back(word);
        const sOptions o = parseOptions(arguments);
        const std::string machine = ' ' + o.rConnAddress + ':' + std::to_string(o.rConnPort) + ' ' + o.logFilename;
        const std::string sizes = ' ' + std::to_string(o.logFiledim) + ' ' + std::to_string(o.payloadDim);
        EXPECT_EQ(std::to_string(static_cast<int>(o.comType)) + o.deviceMain + machine + sizes, options);
    }
}

TEST(Version, Lines)
{
    EXPECT_EQ(versionLine("./LumoBridge"), " v1.00.00");
    EXPECT_EQ(versionLine("C:\\v1.2\\LumoBridge.exe"), "LumoBridge v1.00.00");
    g_libVersion.clear();
    testing::internal::CaptureStdout();
    LibVersion("1.2.3", 3);
    LibVersion("4.5", 3);
    EXPECT_EQ(testing::internal::GetCapturedStdout() + g_libVersion, "LibVersion 1.2\n4.5");
}
