// Trace log and lock.
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <regex>
#include <thread>

#include "liblock.h"
#include "locale_support.h"
#include "trace_capture.h"
#include "tracelog.h"

using hxtvel_test::TraceCapture;

namespace {

void announce(int32_t level, const char *text, uint32_t type = 0) {
    trace_set_olevel(level);
    trace_pos("/src/unit.cpp", 42, type);
    trace_msg("%s", text);
}

}  // namespace

TEST(TraceLog, MaskDecidesWhereLinesGo) {
    testing::internal::CaptureStdout();
    for (int32_t level : {0, 16, 32, 48, 64}) announce(level, "hidden");  // initially: nothing
    {
        TraceCapture capture(0x10);
        announce(64, "never");
        EXPECT_TRUE(capture.lines().empty());
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    // The console alone: the line on standard output, nothing in the file.
    TraceCapture console_only(0x11);
    testing::internal::CaptureStdout();
    announce(16, "screen");
    EXPECT_NE(testing::internal::GetCapturedStdout().find("[Info:screen]"), std::string::npos);
    EXPECT_TRUE(console_only.lines().empty());
}

TEST(TraceLog, LevelByteSplitsIntoMaskAndThreshold) {
    TraceCapture capture(0x13);
    EXPECT_EQ(trace_level(0x13), 3u);
    testing::internal::CaptureStdout();
    announce(0, "dbg");
    announce(16, "inf");
    announce(48, "err");
    const std::string console = testing::internal::GetCapturedStdout();
    EXPECT_EQ(capture.lines(), (std::vector<std::string>{"Info:inf", "Error:err"}));
    // The console gets each line followed by an extra end of line.
    EXPECT_NE(console.find("[Info:inf][/src/unit.cpp 42]\n\n"), std::string::npos);
    EXPECT_EQ(console.find("dbg"), std::string::npos);
}

TEST(TraceLog, LevelWordPrefixesTheText) {
    TraceCapture capture(0x02);
    for (int32_t level : {0, 16, 32, 48, 64, 80, 17}) announce(level, "text");
    EXPECT_EQ(capture.lines(), (std::vector<std::string>{"Debug:text", "Info:text", "Warn:text", "Error:text",
                                                         "Fatal:text", "text", "text"}));
}

TEST(TraceLog, LineFormat) {
    TraceCapture capture(0x02);
    announce(16, "hello 1");
    const auto lines = capture.raw_lines();
    ASSERT_EQ(lines.size(), 1u);
    const std::string name = "hxtvel_test_" + std::to_string(getpid());
    char pid[16];
    snprintf(pid, sizeof pid, "p%05d", static_cast<int>(getpid()));
    const std::regex re(R"(\[\d{6}\.\d{6} )" + std::string(pid) + R"( t:[0-9a-f]+ )" + name +
                        R"(\]\[Info:hello 1\]\[/src/unit\.cpp 42\])");
    EXPECT_TRUE(std::regex_match(lines[0], re)) << lines[0];
}

TEST(TraceLog, ErrorTextVariant) {
    TraceCapture capture(0x02);
    errno = 0;
    announce(48, "e0", 1);
    errno = ENOENT;
    announce(48, "e1", 1);
    EXPECT_EQ(errno, ENOENT);  // tracing leaves errno alone
    announce(48, "none", 7);   // unknown variant: empty line
    const auto lines = capture.raw_lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].find("][Error:e0][noerr][/src/unit.cpp 42]"), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find("][Error:e1][No such file or directory][/src/unit.cpp 42]"),
              std::string::npos)
        << lines[1];
}

TEST(TraceLog, LevelResetsOnlyAfterAWrittenMessage) {
    TraceCapture capture(0x32);
    trace_set_olevel(16);
    trace_pos("f", 1, 0);
    trace_msg("below threshold");  // not written: the level stays 16
    trace_level(0x12);
    trace_msg("kept level");       // written with the level still set
    trace_msg("after reset");      // level is back to 80: written, without a level word
    EXPECT_EQ(capture.lines(), (std::vector<std::string>{"Info:kept level", "after reset"}));
}

TEST(TraceLog, ProcessNameSetsLogPath) {
    EXPECT_EQ(trace_proc_name("abc"), static_cast<int>(strlen("/tmp/abc_tracelog.txt")));
    trace_remove();
    trace_level(0x02);
    announce(16, "x");
    const std::string text = hxtvel_test::read_file("/tmp/abc_tracelog.txt");
    EXPECT_NE(text.find(" abc][Info:x]"), std::string::npos) << text;
    EXPECT_EQ(trace_remove(), 0);
    EXPECT_EQ(trace_remove(), -1);
    trace_level(0x51);
    EXPECT_EQ(trace_proc_name(std::string(100, 'n').c_str()), 5 + 63 + 13);  // name cut to 63
    trace_proc_name("tracelog");
}

TEST(TraceLog, LongTextIsWrittenWhole) {
    TraceCapture capture(0x02);
    const std::string text(5000, 'x');
    announce(16, text.c_str());
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_EQ(capture.lines()[0], "Info:" + text);
}

TEST(TraceLog, NumbersIgnoreTheHostLocale) {
    const bool comma = hxtvel_test::set_comma_numeric_locale();
    {
        TraceCapture capture(0x02);
        trace_set_olevel(48);
        trace_pos("f", 1, 0);
        trace_msg("err = %f", 1.5);
        EXPECT_EQ(capture.lines(), std::vector<std::string>{"Error:err = 1.500000"});
    }
    std::setlocale(LC_NUMERIC, "C");
    if (!comma) GTEST_SKIP() << "no comma-decimal locale could be made";
}

TEST(TraceLog, ScopeTracesInAndOut) {
    TraceCapture capture(0x02);
    {
        HX_TRACE_SCOPE("unit_op");
        HX_TRACE(hxtvel::HX_LV_ERROR, "failed %d", 7);
    }
    {
        HX_TRACE_INOUT("quiet in", "quiet out");
        hx_trace_scope_.cancel();
    }
    EXPECT_EQ(capture.lines(), (std::vector<std::string>{"Info:unit_op in", "Error:failed 7",
                                                         "Info:unit_op out", "Info:quiet in"}));
    const auto raw = capture.raw_lines();
    EXPECT_NE(raw[0].find("tests/test_frame.cpp "), std::string::npos) << raw[0];
}

TEST(Lock, TracesItsOperations) {
    TraceCapture capture(0x02);
    {
        hxtvel::c_lock lock;
        lock.enter();
        lock.leave();
    }
    EXPECT_EQ(capture.lines(),
              (std::vector<std::string>{"Debug:c_lock in", "Debug:c_lock out", "Debug:enter in",
                                        "Debug:enter out", "Debug:leave in", "Debug:cleave out",
                                        "Debug:~c_lock in", "Debug:~c_lock out"}));
}

TEST(Lock, IsRecursiveAndReleasedAfterMatchingLeaves) {
    hxtvel::c_lock lock;
    lock.enter();
    lock.enter();  // same thread: no deadlock
    lock.leave();
    std::atomic<bool> got{false};
    std::thread other([&] {
        lock.enter();
        got = true;
        lock.leave();
    });
    usleep(20000);
    EXPECT_FALSE(got.load());  // still held once
    lock.leave();
    other.join();
    EXPECT_TRUE(got.load());
}
