// The process-wide log written to a file of the test at TRACE, read back as
// "LEVEL text" lines without the time, so that tests compare exact lines.
#pragma once

#include "app/logger.h"
#include "support/sandbox.h"

#include <algorithm>
#include <string>
#include <vector>

class LogCapture {
public:
    explicit LogCapture(std::wstring file) : path(std::move(file)) {
        Logger::OpenFile(path);
        Logger::SetLevel(L"TRACE");
    }
    ~LogCapture() {
        Logger::SetLevel(L"INFO");
        Logger::Instance().close();
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // Every line: the level (empty on a record's continuation lines), one blank, the text.
    std::vector<std::string> Lines() const {
        const std::string bytes = SandboxTest::ReadFile(path);
        std::vector<std::string> lines;
        for (std::size_t start = 0; start < bytes.size();) {
            std::size_t end = bytes.find("\r\n", start);
            if (end == std::string::npos)
                end = bytes.size();
            const std::string line = bytes.substr(start, end - start);
            start = end + 2;
            // "dd.mm.yyyy hh:mm:ss" and two blanks, the level right-aligned in five
            // columns, and four blanks before the text.
            std::string level = line.size() > 26 ? line.substr(21, 5) : std::string();
            level.erase(0, level.find_first_not_of(' '));
            lines.push_back(level + " " + (line.size() > 30 ? line.substr(30) : std::string()));
        }
        return lines;
    }
    // The lines that begin with one of the prefixes, in order.
    std::vector<std::string> Matching(const std::vector<std::string>& prefixes) const {
        std::vector<std::string> found;
        for (const std::string& line : Lines())
            for (const std::string& prefix : prefixes)
                if (line.compare(0, prefix.size(), prefix) == 0) {
                    found.push_back(line);
                    break;
                }
        return found;
    }
    bool Contains(const std::string& line) const {
        const std::vector<std::string> lines = Lines();
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }
    // Starts the log afresh.
    void Clear() {
        Logger::Instance().close();
        SandboxTest::WriteFile(path, "");
        Logger::OpenFile(path);
    }

private:
    std::wstring path;
};
