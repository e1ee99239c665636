// The host's process-wide services, which any thread may use: configuration and error output.
#include "host/configuration.h"
#include "host/error_output.h"
#include "tests/support/host_faults.h"
#include "tests/support/temp_dir.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr const char* kSection = "Orvexa\\Advanced";

template <typename Work>
void onFourThreads(Work work) {
    std::array threads{std::thread(work, 0), std::thread(work, 1), std::thread(work, 2),
                       std::thread(work, 3)};
    for (std::thread& thread : threads)
        thread.join();
}

TEST(Configuration, KeepsItsFile) {
    const TempDir directory;
    const std::string path = directory.path("host.ini");
    std::ofstream(path)
        << "; kept\r\n[Other]\nA=1\n\n[Orvexa\\Advanced]\n  Here = 0x10 \nText=word\n\n[Last]\nB=2\n";
    ASSERT_EQ(setenv("KRW_HOST_CONFIG", path.c_str(), 1), 0);

    std::uint32_t value = 55;
    EXPECT_EQ(pvCFGValueDword(-1, kSection, "Missing", &value, kCfgRead), -1);
    EXPECT_EQ(pvCFGValueDword(-1, kSection, "A", &value, kCfgRead), -1) << "a key of another section";
    EXPECT_EQ(pvCFGValueDword(-1, kSection, "Text", &value, kCfgRead), -1) << "not a number";
    EXPECT_EQ(value, 55U);
    EXPECT_EQ(pvCFGValueDword(-1, kSection, "Here", &value, kCfgRead), 0);
    EXPECT_EQ(value, 16U);
    EXPECT_EQ(pvCFGValueDword(-1, "a]\n", "Key", &value, kCfgWrite), -1) << "would spoil the file";
    EXPECT_EQ(pvCFGValueDword(-1, kSection, "Here", &value, 2), -1);
    EXPECT_EQ(pvCFGValueDword(0, kSection, "Here", &value, kCfgRead), -1);

    value = 0xFFFFFFFF;
    EXPECT_EQ(pvCFGValueDword(-1, kSection, "Here", &value, kCfgWrite), 0);
    EXPECT_EQ(pvCFGValueDword(-1, "New", "Key", &value, kCfgWrite), 0);
    onFourThreads([](int number) {
        auto mine = static_cast<std::uint32_t>(number);
        EXPECT_EQ(pvCFGValueDword(-1, kSection, std::to_string(number).c_str(), &mine, kCfgWrite), 0);
    });
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    EXPECT_THAT(text.str(),
                testing::StartsWith("; kept\r\n[Other]\nA=1\n\n[Orvexa\\Advanced]\nHere=4294967295\n"
                                    "Text=word\n"));
    EXPECT_THAT(text.str(), testing::HasSubstr("\n3=3\n"));
    EXPECT_THAT(text.str(), testing::EndsWith("\n\n[Last]\nB=2\n[New]\nKey=4294967295\n"));
}

TEST(ErrorOutput, LinesArriveWholeFromEveryThread) {
    const LogCapture log;
    const std::string longText(100000, 'x');
    ErrFmtOut(kWarningStatus, 0, 0, "WARNING(%s)\n", longText.c_str());
    ErrMsgOut(0xE8022007U, "Open");
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{kWarningStatus, "WARNING(" + longText + ")\n"},
                                                 {0xE8022007U, "Open (0xE8022007)\n"}}));
    onFourThreads([](int number) {
        for (int line = 0; line < 5000; ++line)
            ErrOut("%d%d%d", number, number, number);
    });
    const std::vector<std::string> texts = log.texts();
    for (const char* const expected : {"000", "111", "222", "333"})
        EXPECT_EQ(std::count(texts.begin(), texts.end(), expected), 5000);
}

} // namespace
