#include "app/rotation.h"

#include "app/logger.h"
#include "app/paths.h"
#include "app/text.h"
#include "platform/fs.h"

bool RotateNumbered(std::wstring folder, std::wstring stem, std::wstring extension,
                    std::int32_t limit) {
    const auto numbered = [&](std::int32_t number) {
        return FormatWide(L"%s%i%s", stem.c_str(), static_cast<int>(number), extension.c_str());
    };
    // From the highest number down: the first pass drops the oldest item, each
    // later pass moves an item into the name the pass before has just freed.
    for (std::int32_t n = limit; n >= 1; --n) {
        const std::wstring source = PathJoin(folder, n == 1 ? stem + extension : numbered(n - 1));
        const std::wstring destination = PathJoin(folder, numbered(n));
        if (!platform::Exists(source))
            continue;
        if (n == limit) {
            const platform::SystemError failure = platform::IsFolder(source)
                                                      ? platform::RemoveTree(source)
                                                      : platform::RemoveItem(source);
            if (failure.Failed()) {
                Logger::Write(Logger::ErrorLevel, L"",
                              L"Failed to delete " + source + L", reason: " + failure.text);
                return false;
            }
            continue;
        }
        const platform::SystemError failure = platform::MoveItem(source, destination);
        if (failure.Failed()) {
            Logger::Write(Logger::ErrorLevel, L"",
                          L"Failed to move " + source + L" -> " + destination + L", reason: " +
                              failure.text);
            return false;
        }
    }
    return true;
}
