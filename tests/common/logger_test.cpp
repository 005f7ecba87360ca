#include "app/logger.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

namespace {

int clockReads = 0;

platform::CalendarTime FixedClock() {
    ++clockReads;
    return {2021, 2, 3, 4, 5, 6, 0};
}

using Lines = std::vector<std::string>;

Lines Split(const std::string& bytes) {
    Lines lines;
    for (std::size_t start = 0, end; start < bytes.size(); start = end + 2) {
        end = bytes.find("\r\n", start);
        if (end == std::string::npos)
            return lines.push_back(bytes.substr(start) + "<no CR LF>"), lines;
        lines.push_back(bytes.substr(start, end - start));
    }
    return lines;
}

const std::string kStamp = "03.02.2021 04:05:06  ";

class LoggerTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        clockReads = 0;
        sink.SetClock(&FixedClock);
        sink.Open(InFolder(L"log.txt"));
        ASSERT_TRUE(sink.is_open());
    }
    Lines Written() { return Split(LogText()); }

    Logger sink;
};

} // namespace

TEST_F(LoggerTest, RecordsAreStampedAlignedAtColumn30AndFilteredFirst) {
    // A dropped record does no work at all: no clock, no widths.
    sink.ApplyLevel(L"ERROR");
    sink.WriteRecord(Logger::WarnLevel, L"dropped");
    EXPECT_EQ(clockReads, 0);
    EXPECT_EQ(sink.TimeWidth() + sink.LevelWidth(), 0u);
    sink.ApplyLevel(L"info");
    sink.WriteRecord(Logger::InfoLevel, L"Ferrymark version 5.0.7.0");
    sink.WriteRecord(Logger::WarnLevel, L"warned");
    sink.WriteRecord(Logger::ErrorLevel, L"failed");
    sink.WriteRecord(Logger::FatalLevel, L"fatal but harmless");
    const int readsBefore = clockReads;
    sink.WriteRecord(Logger::InfoLevel, L"one\ntwo\n\nfour\n");
    EXPECT_EQ(clockReads - readsBefore, 1) << "one clock reading per record";
    sink.WriteRecord(Logger::InfoLevel, L""); // nothing
    sink.WriteRecord(Logger::InfoLevel, L"\n");
    // Level names match without regard to case; an unknown or empty one changes nothing.
    sink.ApplyLevel(L"debug");
    sink.ApplyLevel(L"Warning");
    sink.ApplyLevel(L"");
    sink.WriteRecord(Logger::Trace, L"trace hidden");
    sink.WriteRecord(Logger::DebugLevel, L"debug shown");
    sink.ApplyLevel(L"TRACE");
    sink.WriteRecord(Logger::Trace, L"trace shown");
    sink.ApplyLevel(L"fAtAl");
    sink.WriteRecord(Logger::ErrorLevel, L"error hidden");
    const std::string blanks(30, ' ');
    EXPECT_EQ(Written(), (Lines{kStamp + " INFO    Ferrymark version 5.0.7.0",
                                kStamp + " WARN    warned", kStamp + "ERROR    failed",
                                kStamp + "FATAL    fatal but harmless", kStamp + " INFO    one",
                                blanks + "two", blanks, blanks + "four", kStamp + " INFO    ",
                                kStamp + "DEBUG    debug shown", kStamp + "TRACE    trace shown"}));
}

TEST_F(LoggerTest, FilesAreAppendedToAndWithoutOneLinesGoToStandardOutput) {
    sink.WriteRecord(Logger::InfoLevel, L"into first");
    const std::wstring second = InFolder(L"second.txt");
    WriteFile(second, "earlier run\r\n");
    sink.Open(second);
    sink.WriteRecord(Logger::InfoLevel, L"into second");
    EXPECT_EQ(Written(), Lines{kStamp + " INFO    into first"}) << "the first file is closed";
    EXPECT_EQ(Split(ReadFile(second)), (Lines{"earlier run", kStamp + " INFO    into second"}));

    Logger unopened;
    unopened.SetClock(&FixedClock);
    ::testing::internal::CaptureStdout();
    unopened.WriteRecord(Logger::InfoLevel, L"lost before the file opens");
    unopened.WriteRecord(Logger::InfoLevel, L"to standard output");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), kStamp + " INFO    to standard output\n");
    // A failed open leaves the stream failed; a good one clears the failure.
    unopened.Open(InFolder(L"missing folder\\log.txt"));
    EXPECT_FALSE(unopened.good());
    unopened.Open(InFolder(L"recovered.txt"));
    unopened.WriteRecord(Logger::InfoLevel, L"back in a file");
    EXPECT_EQ(Split(ReadFile(InFolder(L"recovered.txt"))).size(), 1u);
}

TEST_F(LoggerTest, ChannelsShareTheProcessSinkAndHideTheirNames) {
    Logger::Instance().SetClock(&FixedClock);
    sink.close();
    OpenLog(L"info");
    Logger channel;
    channel.SetName(L"APP");
    channel.Info(L"from a channel");
    channel.Debug(L"below the threshold");
    Logger::Write(Logger::WarnLevel, L"", L"from a free function");
    Logger::Instance().close();
    EXPECT_EQ(Written(),
              (Lines{kStamp + " INFO    from a channel", kStamp + " WARN    from a free function"}));
}
