// The log: a named channel that each owner holds, and behind all channels one
// process-wide sink that writes the records.
#pragma once

#include "platform/types.h"

#include <cstddef>
#include <fstream>
#include <map>
#include <string>

class Logger : public std::basic_ofstream<wchar_t> {
public:
    enum Level {
        TraceLevel = 0,
        DebugLevel = 1,
        InfoLevel = 2,
        WarnLevel = 3,
        ErrorLevel = 4,
        FatalLevel = 5
    };

    // Where the time of a record comes from; tests give a fixed or counting clock.
    using Clock = platform::CalendarTime (*)();

    Logger();

    void SetName(const std::wstring& newName) { name = newName; }
    const std::wstring& Name() const { return name; }

    void Debug(const std::wstring& text) const { Write(DebugLevel, name, text); }
    void Info(const std::wstring& text) const { Write(InfoLevel, name, text); }
    void Warn(const std::wstring& text) const { Write(WarnLevel, name, text); }
    void Error(const std::wstring& text) const { Write(ErrorLevel, name, text); }
    void Fatal(const std::wstring& text) const { Write(FatalLevel, name, text); }

    // The process-wide sink.
    static Logger& Instance();
    // One record through the process-wide sink. The tag is accepted and not shown.
    static void Write(int level, const std::wstring& tag, const std::wstring& text);
    // One record without a channel, for code that has no logger object of its own.
    static void Write(int level, const std::wstring& text) { Write(level, L"", text); }
    // Applies a level by its name, without regard to case; an unknown name changes nothing.
    static void SetLevel(const std::wstring& levelName);
    // Opens the process-wide log file for appending; an open file is closed first.
    static void OpenFile(const std::wstring& path);
    // Closes the process-wide log file, if one is open, and leaves the log without
    // one, as a failed open does: later lines go to standard output.
    static void LoseFile();

    // The same three operations on this object's own stream and settings. The
    // static forms call them on Instance(); tests use private sinks.
    void WriteRecord(int recordLevel, const std::wstring& text);
    void ApplyLevel(const std::wstring& levelName);
    void Open(const std::wstring& path);
    void Lose();

    void SetClock(Clock newClock) { clock = newClock; }
    int Threshold() const { return level; }
    std::size_t TimeWidth() const { return timeWidth; }
    std::size_t LevelWidth() const { return levelWidth; }

private:
    std::wstring TimeField(const platform::CalendarTime& time) const;
    std::wstring LevelField(int recordLevel) const;
    void Emit(const std::wstring& line);

    std::wstring separator = L"  ";
    std::size_t timeWidth = 0;
    std::size_t levelWidth = 0;
    std::size_t levelNameWidth = 0;
    std::size_t nameWidth = 7;
    std::wstring name;
    int level = InfoLevel;
    std::map<int, std::wstring> levelNames;
    Clock clock;
};

// The texts of the log's recurring lines, each formed here and nowhere else.
// "Failed to <action> <item>, reason: <reason>"
std::wstring FailureText(const std::wstring& action, const std::wstring& item,
                         const std::wstring& reason);
// "Failed to <action> <from> -> <to>, reason: <reason>"
std::wstring FailureText(const std::wstring& action, const std::wstring& from,
                         const std::wstring& to, const std::wstring& reason);
// "--- <title> <operation> start ---" where an operation on a simulator begins,
// "--- <title> <operation> end ---" where it has run to its end.
std::wstring OperationBanner(const std::wstring& title, const std::wstring& operation, bool start);
