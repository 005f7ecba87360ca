#include "app/logger.h"

#include "app/text.h"
#include "platform/fs.h"
#include "platform/system.h"

#include <algorithm>
#include <cstdio>
#include <vector>

Logger::Logger()
    : levelNames{{TraceLevel, L"TRACE"}, {DebugLevel, L"DEBUG"}, {InfoLevel, L"INFO"},
                 {WarnLevel, L"WARN"},   {ErrorLevel, L"ERROR"}, {FatalLevel, L"FATAL"}},
      clock(&platform::LocalTime) {
    (void)nameWidth;
}

Logger& Logger::Instance() {
    static Logger instance;
    return instance;
}

void Logger::Write(int level, const std::wstring& tag, const std::wstring& text) {
    (void)tag; // channel names never reach the output
    Instance().WriteRecord(level, text);
}

void Logger::SetLevel(const std::wstring& levelName) {
    Instance().ApplyLevel(levelName);
}

void Logger::OpenFile(const std::wstring& path) {
    Instance().Open(path);
}

std::wstring Logger::TimeField(const platform::CalendarTime& time) const {
    return FormatWide(L"%02i.%02i.%04i %02i:%02i:%02i%s", time.day, time.month, time.year,
                      time.hour, time.minute, time.second, separator.c_str());
}

std::wstring Logger::LevelField(int recordLevel) const {
    const auto found = levelNames.find(recordLevel);
    const std::wstring levelName = found != levelNames.end() ? found->second : std::wstring();
    return FormatWide(L"%*s%s", static_cast<int>(levelNameWidth), levelName.c_str(),
                      separator.c_str());
}

void Logger::WriteRecord(int recordLevel, const std::wstring& text) {
    // The filter comes first: a dropped record reads no clock and formats nothing.
    if (recordLevel < level)
        return;
    if (timeWidth == 0 && levelWidth == 0) {
        for (const auto& entry : levelNames)
            levelNameWidth = std::max(levelNameWidth, entry.second.size());
        timeWidth = TimeField(clock()).size();
        levelWidth = LevelField(InfoLevel).size();
    }
    const std::vector<std::wstring> pieces = Split(text, L'\n');
    if (pieces.empty())
        return;
    // One clock reading for the whole record, so that its lines share one moment.
    const std::wstring firstPrefix = TimeField(clock()) + LevelField(recordLevel);
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const std::wstring prefix = i == 0 ? firstPrefix : std::wstring();
        Emit(FormatWide(L"%*s%-*s%s", static_cast<int>(timeWidth + levelWidth), prefix.c_str(),
                        static_cast<int>(separator.size()), separator.c_str(), pieces[i].c_str()));
    }
}

void Logger::Emit(const std::wstring& line) {
    if (good()) {
        // The file is opened in binary mode and the line end is written as CR LF
        // here, so that the file reads the same whichever build wrote it.
        *this << line << L"\r\n";
        flush();
        return;
    }
    // Without a usable file the line goes to standard output, narrowed the same way.
    std::string narrow;
    narrow.reserve(line.size() + 1);
    for (wchar_t c : line)
        narrow += (static_cast<unsigned long>(c) < 0x80) ? static_cast<char>(c) : '?';
    narrow += '\n';
    std::fputs(narrow.c_str(), stdout);
    std::fflush(stdout);
}

void Logger::ApplyLevel(const std::wstring& levelName) {
    for (const auto& entry : levelNames) {
        if (EqualsIgnoringCase(entry.second, levelName)) {
            level = entry.first;
            return;
        }
    }
}

void Logger::LoseFile() {
    Instance().Lose();
}

void Logger::Open(const std::wstring& path) {
    Lose();
    clear();
    platform::OpenStream(*this, path,
                         std::ios_base::out | std::ios_base::app | std::ios_base::binary);
    // A failed open leaves the stream failed, and every later line goes to
    // standard output.
}

void Logger::Lose() {
    if (is_open()) {
        // A line that the narrow conversion refused stays in the buffer and is
        // refused again as the file closes; the file is closed all the same, and
        // the log never raises.
        try {
            close();
        } catch (const std::ios_base::failure&) {
        }
    }
    setstate(std::ios_base::failbit);
}

std::wstring FailureText(const std::wstring& action, const std::wstring& item,
                         const std::wstring& reason) {
    return L"Failed to " + action + L" " + item + L", reason: " + reason;
}

std::wstring FailureText(const std::wstring& action, const std::wstring& from,
                         const std::wstring& to, const std::wstring& reason) {
    return FailureText(action, from + L" -> " + to, reason);
}

std::wstring OperationBanner(const std::wstring& title, const std::wstring& operation, bool start) {
    return L"--- " + title + L" " + operation + (start ? L" start ---" : L" end ---");
}
