// The log: its record layout, the level filter, files appended to, and standard
// output when there is no file.
#include "app/logger.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

namespace {

int clockReads = 0;

platform::CalendarTime FixedClock() {
    ++clockReads;
    return {2021, 2, 3, 4, 5, 6, 0};
}

const std::string kStamp = "03.02.2021 04:05:06  ";

class LoggerTest : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        clockReads = 0;
        sink.SetClock(&FixedClock);
        sink.Open(InFolder(L"log.txt"));
    }
    Logger sink;
};

} // namespace

TEST_F(LoggerTest, RecordsAreStampedAlignedAndFilteredByLevel) {
    // The level applied (none: unchanged), the record's level and text.
    const std::tuple<const wchar_t*, int, const wchar_t*> records[] = {
        {L"ERROR", Logger::WarnLevel, L"dropped"},
        {L"info", Logger::InfoLevel, L"Ferrymark version 5.0.7.0"},
        {nullptr, Logger::WarnLevel, L"warned"},
        {nullptr, Logger::ErrorLevel, L"failed"},
        {nullptr, Logger::FatalLevel, L"fatal"},
        {nullptr, Logger::InfoLevel, L"one\ntwo\n\nfour\n"},
        {nullptr, Logger::InfoLevel, L""},
        {L"Warning", Logger::DebugLevel, L"unknown name: debug hidden"},
        {L"dEbUg", Logger::Trace, L"trace hidden"},
        {nullptr, Logger::DebugLevel, L"debug shown"},
        {L"TRACE", Logger::Trace, L"trace shown"},
        {L"warn", Logger::WarnLevel, L"at the level"},
        {L"fAtAl", Logger::ErrorLevel, L"error hidden"}};
    for (const auto& [level, recordLevel, text] : records) {
        if (level != nullptr)
            sink.ApplyLevel(level);
        sink.WriteRecord(recordLevel, text);
        if (clockReads == 0) {
            EXPECT_EQ(sink.TimeWidth() + sink.LevelWidth(), 0u) << "a dropped record does no work";
        }
    }
    EXPECT_EQ(clockReads, 9) << "one clock reading per record that passes the filter";
    const std::string blanks(30, ' ');
    EXPECT_EQ(ReadFile(InFolder(L"log.txt")),
              kStamp + " INFO    Ferrymark version 5.0.7.0\r\n" + kStamp + " WARN    warned\r\n" +
                  kStamp + "ERROR    failed\r\n" + kStamp + "FATAL    fatal\r\n" + kStamp +
                  " INFO    one\r\n" + blanks + "two\r\n" + blanks + "\r\n" + blanks + "four\r\n" +
                  kStamp + "DEBUG    debug shown\r\n" + kStamp + "TRACE    trace shown\r\n" +
                  kStamp + " WARN    at the level\r\n");
}

TEST_F(LoggerTest, FilesAreAppendedToAndWithoutOneLinesGoToStandardOutput) {
    sink.WriteRecord(Logger::InfoLevel, L"into first");
    WriteFile(InFolder(L"second.txt"), "earlier run\r\n");
    sink.Open(InFolder(L"second.txt"));
    sink.WriteRecord(Logger::InfoLevel, L"into second");
    EXPECT_EQ(ReadFile(InFolder(L"log.txt")), kStamp + " INFO    into first\r\n");
    EXPECT_EQ(ReadFile(InFolder(L"second.txt")), "earlier run\r\n" + kStamp + " INFO    into second\r\n");

    sink.Lose();
    testing::internal::CaptureStdout();
    sink.WriteRecord(Logger::InfoLevel, L"to standard output");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), kStamp + " INFO    to standard output\n");
    sink.Open(InFolder(L"missing folder\\log.txt"));
    EXPECT_FALSE(sink.good());
    sink.Open(InFolder(L"recovered.txt"));
    sink.WriteRecord(Logger::InfoLevel, L"back in a file");
    EXPECT_EQ(ReadFile(InFolder(L"recovered.txt")), kStamp + " INFO    back in a file\r\n");
}
