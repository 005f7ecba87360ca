#include "app/logger.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

namespace {

int clockReads = 0;

platform::CalendarTime FixedClock() {
    ++clockReads;
    platform::CalendarTime time;
    time.year = 2021;
    time.month = 2;
    time.day = 3;
    time.hour = 4;
    time.minute = 5;
    time.second = 6;
    return time;
}

std::vector<std::string> Lines(const std::string& bytes) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < bytes.size()) {
        const std::size_t end = bytes.find("\r\n", start);
        if (end == std::string::npos) {
            lines.push_back(bytes.substr(start) + "<no CR LF>");
            break;
        }
        lines.push_back(bytes.substr(start, end - start));
        start = end + 2;
    }
    return lines;
}

class LoggerTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        clockReads = 0;
        sink.SetClock(&FixedClock);
        logPath = InFolder(L"log.txt");
        sink.Open(logPath);
        ASSERT_TRUE(sink.is_open());
    }
    std::vector<std::string> Written() { return Lines(ReadFile(logPath)); }

    Logger sink;
    std::wstring logPath;
};

} // namespace

TEST_F(LoggerTest, FirstLineLayoutColumnByColumn) {
    sink.WriteRecord(Logger::InfoLevel, L"Ferrymark version 5.0.7.0");
    sink.WriteRecord(Logger::WarnLevel, L"warned");
    sink.WriteRecord(Logger::ErrorLevel, L"failed");
    sink.WriteRecord(Logger::FatalLevel, L"fatal but harmless");
    sink.WriteRecord(Logger::InfoLevel, L"after fatal");
    const auto lines = Written();
    ASSERT_EQ(lines.size(), 5u);
    // Columns 0-18 date and time (day first), 19-20 separator, 21-25 level name
    // right-aligned, 26-29 two separators, 30 onward the text.
    EXPECT_EQ(lines[0], "03.02.2021 04:05:06   INFO    Ferrymark version 5.0.7.0");
    EXPECT_EQ(lines[0].substr(0, 19), "03.02.2021 04:05:06");
    EXPECT_EQ(lines[0].substr(19, 2), "  ");
    EXPECT_EQ(lines[0].substr(21, 5), " INFO");
    EXPECT_EQ(lines[0].substr(26, 4), "    ");
    EXPECT_EQ(lines[0].substr(30), "Ferrymark version 5.0.7.0");
    EXPECT_EQ(lines[1], "03.02.2021 04:05:06   WARN    warned");
    EXPECT_EQ(lines[2], "03.02.2021 04:05:06  ERROR    failed");
    EXPECT_EQ(lines[3], "03.02.2021 04:05:06  FATAL    fatal but harmless");
    EXPECT_EQ(lines[4].substr(30), "after fatal");
    EXPECT_EQ(sink.TimeWidth(), 21u);
    EXPECT_EQ(sink.LevelWidth(), 7u);
}

TEST_F(LoggerTest, SeveralLinesShareOneStampAndAlignAtColumn30) {
    sink.WriteRecord(Logger::InfoLevel, L"first");
    const int readsBefore = clockReads;
    sink.WriteRecord(Logger::InfoLevel, L"one\ntwo\n\nfour\n");
    EXPECT_EQ(clockReads - readsBefore, 1) << "one clock reading per record";
    sink.WriteRecord(Logger::InfoLevel, L"");
    sink.WriteRecord(Logger::InfoLevel, L"\n");
    const auto lines = Written();
    const std::string blanks(30, ' ');
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[1], "03.02.2021 04:05:06   INFO    one");
    EXPECT_EQ(lines[2], blanks + "two");
    EXPECT_EQ(lines[3], blanks) << "two adjacent line feeds give a line of 30 blanks";
    EXPECT_EQ(lines[4], blanks + "four") << "a closing line feed adds no line";
    // An empty text writes nothing; a lone line feed is one empty first line.
    EXPECT_EQ(lines[5], "03.02.2021 04:05:06   INFO    ");
}

TEST_F(LoggerTest, FilterComesBeforeAnyWork) {
    sink.ApplyLevel(L"ERROR");
    sink.WriteRecord(Logger::WarnLevel, L"dropped");
    sink.WriteRecord(Logger::Trace, L"dropped too");
    EXPECT_EQ(clockReads, 0) << "a dropped record reads no clock";
    EXPECT_EQ(sink.TimeWidth(), 0u) << "a dropped record does not measure the widths";
    EXPECT_EQ(sink.LevelWidth(), 0u);
    EXPECT_EQ(ReadFile(logPath), "");
    sink.WriteRecord(Logger::ErrorLevel, L"kept");
    EXPECT_EQ(Written().size(), 1u);
}

TEST_F(LoggerTest, LevelNamesMatchWithoutRegardToCase) {
    EXPECT_EQ(sink.Threshold(), Logger::InfoLevel);
    sink.ApplyLevel(L"warn");
    EXPECT_EQ(sink.Threshold(), 3);
    sink.ApplyLevel(L"Warning");
    EXPECT_EQ(sink.Threshold(), 3) << "an unknown name leaves the threshold";
    sink.ApplyLevel(L"Info");
    EXPECT_EQ(sink.Threshold(), 2);
    sink.ApplyLevel(L"");
    EXPECT_EQ(sink.Threshold(), 2);
    sink.ApplyLevel(L"fAtAl");
    EXPECT_EQ(sink.Threshold(), 5);

    sink.ApplyLevel(L"debug");
    sink.WriteRecord(Logger::Trace, L"trace hidden");
    sink.WriteRecord(Logger::DebugLevel, L"debug shown");
    sink.ApplyLevel(L"TRACE");
    sink.WriteRecord(Logger::Trace, L"trace shown");
    const auto lines = Written();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "03.02.2021 04:05:06  DEBUG    debug shown");
    EXPECT_EQ(lines[1], "03.02.2021 04:05:06  TRACE    trace shown");
}

TEST_F(LoggerTest, ReopeningClosesTheFirstFileAndAppends) {
    sink.WriteRecord(Logger::InfoLevel, L"into first");
    const std::wstring second = InFolder(L"second.txt");
    WriteFile(second, "earlier run\r\n");
    sink.Open(second);
    sink.WriteRecord(Logger::InfoLevel, L"into second");
    EXPECT_EQ(Written().size(), 1u);
    const auto lines = Lines(ReadFile(second));
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "earlier run") << "the file is appended to, not cut";
    EXPECT_EQ(lines[1].substr(30), "into second");
}

TEST_F(LoggerTest, WithoutAFileLinesGoToStandardOutput) {
    Logger unopened;
    unopened.SetClock(&FixedClock);
    ::testing::internal::CaptureStdout();
    unopened.WriteRecord(Logger::InfoLevel, L"lost before the file opens");
    unopened.WriteRecord(Logger::InfoLevel, L"to standard output");
    const std::string printed = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(printed, "03.02.2021 04:05:06   INFO    to standard output\n");

    // A failed open leaves the stream failed; a good one clears the failure.
    unopened.Open(InFolder(L"missing folder\\log.txt"));
    EXPECT_FALSE(unopened.good());
    unopened.Open(InFolder(L"recovered.txt"));
    unopened.WriteRecord(Logger::InfoLevel, L"back in a file");
    EXPECT_EQ(Lines(ReadFile(InFolder(L"recovered.txt"))).size(), 1u);
}

TEST_F(LoggerTest, ChannelsShareTheProcessSinkAndHideTheirNames) {
    Logger::Instance().SetClock(&FixedClock);
    Logger::OpenFile(logPath);
    Logger::SetLevel(L"info");
    Logger channel;
    channel.SetName(L"APP");
    channel.Info(L"from a channel");
    channel.Debug(L"below the threshold");
    Logger::Write(Logger::WarnLevel, L"", L"from a free function");
    Logger::OpenFile(InFolder(L"other.txt")); // lets go of the sandbox file
    const auto lines = Written();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "03.02.2021 04:05:06   INFO    from a channel");
    EXPECT_EQ(lines[1], "03.02.2021 04:05:06   WARN    from a free function");
    Logger::Instance().close();
}
