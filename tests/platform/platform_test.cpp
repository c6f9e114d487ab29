#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "zyra/log.h"
#include "zyra/os_utils.h"

namespace {

// Every test's log capture is a sink; without one, lines go to stderr.
TEST(PlatformLog, WithoutASinkLinesGoToStderrEachEndedOnce) {
    testing::internal::CaptureStderr();
    Zyra::Log::LogSystem(0x1000, "E", 1, "a\n");
    Zyra::Log::LogSystem(0x1000, "E", 1, "b");
    Zyra::Log::LogSystem(0x1000, "E", 1, "\n");
    Zyra::Log::LogSystem(0x1000, "E", 1, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "a\nb\n\n\n");
}

TEST(PlatformOsUtils, AddSoctoPathPrefixesAbsolutePathsOnlyWithSysroot) {
    const char* pPath = "/usr/lib/libx.so";
    unsetenv("ZYRA_SYSROOT");
    EXPECT_EQ(Zyra::OsUtils::AddSoctoPath(pPath), pPath);

    setenv("ZYRA_SYSROOT", "", 1);
    EXPECT_EQ(Zyra::OsUtils::AddSoctoPath(pPath), pPath);

    setenv("ZYRA_SYSROOT", "/tmp/root", 1);
    EXPECT_STREQ(Zyra::OsUtils::AddSoctoPath(pPath), "/tmp/root/usr/lib/libx.so");
    EXPECT_STREQ(Zyra::OsUtils::AddSoctoPath("libx.so"), "libx.so");
    EXPECT_EQ(Zyra::OsUtils::AddSoctoPath(nullptr), nullptr);
    unsetenv("ZYRA_SYSROOT");
}

TEST(PlatformOsUtils, BoundedStringFunctionsTruncateAndReportTheFullLength) {
    char buffer[5];
    EXPECT_EQ(Zyra::OsUtils::StrLCpy(buffer, "abcdefg", sizeof(buffer)), 7u);
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_EQ(Zyra::OsUtils::StrLCpy(buffer, "xyz", 0), 3u);
    EXPECT_STREQ(buffer, "abcd");

    std::strcpy(buffer, "ab");
    EXPECT_EQ(Zyra::OsUtils::StrLCat(buffer, "cdef", sizeof(buffer)), 6u);
    EXPECT_STREQ(buffer, "abcd");
    // A destination without a terminator inside `size` is left alone.
    EXPECT_EQ(Zyra::OsUtils::StrLCat(buffer, "xy", 3), 5u);
    EXPECT_STREQ(buffer, "abcd");

    EXPECT_EQ(Zyra::OsUtils::SNPrintF(buffer, sizeof(buffer), "%d", 123456), 6);
    EXPECT_STREQ(buffer, "1234");
    EXPECT_EQ(Zyra::OsUtils::StrNICmp("ABCx", "abcy", 3), 0);
}

}  // namespace
