#include "toviCommonLib/toviMemoryTracker.h"

#include "tests/TempFolder.h"
#include "toviCommonLib/tovi.h"

#include <gtest/gtest.h>

static void restartIn(const std::filesystem::path &folder)
{
    tovi::deinit();
    std::filesystem::current_path(folder);
    ASSERT_TRUE(tovi::init("tests", nullptr));
}

TEST(MemoryTracker, WritesEachStepAndWhatIsLeftAndEndsWithTheLibrary)
{
    const std::filesystem::path before = std::filesystem::current_path();
    const TempFolder folder;
    restartIn(folder.path());
    EXPECT_FALSE(folder.holds("memoryTracker.txt")) << "nobody asked for it";
    const auto at = [](std::uintptr_t address) { return reinterpret_cast<void *>(address); };
    tovi::MemoryTracker &tracker = tovi::internal_getMemoryTracker();
    tracker.onAlloc(7, "aVeryLongAllocator", at(0xABC), 16, "file.cpp", 12);
    tracker.onAlloc(8, "b", at(0x10), 1, "", 0);
    tracker.onDealloc(7, "a", at(0xABC), 16);
    tracker.onDealloc(7, "a", at(0xABC), 16);             // freed already
    tracker.onAlloc(7, "a", at(0xABC), 4, nullptr, 3);    // given out again
    tracker.onAlloc(7, "a", at(0xFFFFFFF0), 0x20, "", 4); // ends in 32 bits
    tracker.onDealloc(7, "a", at(0xABC), 4);
    tracker.finalReport(7, "%s");
    const std::string report = folder.read("memoryTracker.txt"); // flushed
    EXPECT_EQ(report.substr(19),                                 // behind the time
              "\n---ID -WHAT --ALLOCATOR NAME --PTR FROM --------TO --------SIZE FILENAME AND LINE\n"
              "00000 ALLOC aVeryLongAllocat 0x00000ABC 0x00000ACC           16 file.cpp [line:12]\n"
              "00001 ALLOC                b 0x00000010 0x00000011            1 ? [line:0]\n"
              "00000 DEALL                a 0x00000ABC 0x00000ACC           16\n"
              "00002 ALLOC                a 0x00000ABC 0x00000AC0            4 ? [line:3]\n"
              "00003 ALLOC                a 0xFFFFFFF0 0x00000010           32 ? [line:4]\n"
              "00002 DEALL                a 0x00000ABC 0x00000AC0            4\n"
              "\n\n================= FINAL REPORT FOR allocator [7][%s]===============\n"
              "    List of undeleted pointer:\n    ALLOC.ID PTR-FROM\n    00000003 0xFFFFFFF0\n"
              "================= END OF FINAL REPORT FOR allocator [7][%s]===============\n\n");
    restartIn("/proc"); // holds no new file
    tovi::internal_getMemoryTracker().onAlloc(1, "a", at(0x10), 1, "", 0);
    EXPECT_EQ(folder.read("memoryTracker.txt"), report) << "the end closed it";
    restartIn(before);
}
