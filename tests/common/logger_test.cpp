// The log's record layout, level filter and the file appended to.
#include "app/logger.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

namespace {
int clockReads = 0;
platform::CalendarTime FixedClock() {
    ++clockReads;
    return {2021, 2, 3, 4, 5, 6, 0};
}
} // namespace

using LoggerTest = SandboxTest;

TEST_F(LoggerTest, RecordsAreStampedAlignedFilteredAndAppended) {
    WriteFile(InFolder(L"log.txt"), "earlier run\r\n");
    Logger sink;
    sink.SetClock(&FixedClock);
    sink.Open(InFolder(L"log.txt"));
    // The level applied (none: unchanged), the record's level and text.
    const std::tuple<const wchar_t*, int, const wchar_t*> records[] = {
        {L"ERROR", Logger::WarnLevel, L"dropped"}, {L"info", Logger::InfoLevel, L"version 5"},
        {nullptr, Logger::WarnLevel, L"warned"}, {nullptr, Logger::FatalLevel, L"fatal"},
        {nullptr, Logger::InfoLevel, L"one\ntwo\n\nfour\n"}, {nullptr, Logger::InfoLevel, L""},
        {L"Warning", Logger::DebugLevel, L"unknown level name: hidden"}, {L"dEbUg", Logger::TraceLevel, L"hidden"},
        {nullptr, Logger::DebugLevel, L"debug"}, {L"TRACE", Logger::TraceLevel, L"trace"},
        {L"eRrOr", Logger::ErrorLevel, L"at the level"}, {L"fAtAl", Logger::ErrorLevel, L"error hidden"}};
    for (const auto& [level, recordLevel, text] : records) {
        if (level != nullptr)
            sink.ApplyLevel(level);
        sink.WriteRecord(recordLevel, text);
    }
    EXPECT_EQ(clockReads, 8) << "one clock reading per record that passes the filter";
    const std::string at = "03.02.2021 04:05:06  ", blanks(30, ' ');
    EXPECT_EQ(ReadFile(InFolder(L"log.txt")),
              "earlier run\r\n" + at + " INFO    version 5\r\n" + at + " WARN    warned\r\n" + at +
                  "FATAL    fatal\r\n" + at + " INFO    one\r\n" + blanks + "two\r\n" + blanks +
                  "\r\n" + blanks + "four\r\n" + at + "DEBUG    debug\r\n" + at +
                  "TRACE    trace\r\n" + at + "ERROR    at the level\r\n");
}
