#include "app/rotation.h"

#include "app/link_check.h"
#include "app/logger.h"
#include "app/paths.h"
#include "app/text.h"
#include "platform/fs.h"

bool RotateNumbered(std::wstring folder, std::wstring stem, std::wstring extension,
                    std::int32_t limit) {
    const auto numbered = [&](std::int32_t number) {
        return FormatWide(L"%s%i%s", stem.c_str(), static_cast<int>(number), extension.c_str());
    };
    const auto source = [&](std::int32_t n) {
        return PathJoin(folder, n == 1 ? stem + extension : numbered(n - 1));
    };
    const auto destination = [&](std::int32_t n) { return PathJoin(folder, numbered(n)); };
    // The first pass removes, every other one moves.
    const auto fail = [&](std::int32_t n, const std::wstring& reason) {
        Logger::Write(Logger::ErrorLevel,
                      n == limit ? FailureText(L"delete", source(n), reason)
                                 : FailureText(L"move", source(n), destination(n), reason));
        return false;
    };
    // Nothing is moved or removed through a link: one at the folder or at any name
    // that a pass handles stops the rotation before its first change.
    for (std::int32_t n = limit; n >= 1; --n)
        if (RefuseLinkOnTheWay(folder, source(n)))
            return fail(n, kLinkInTheWay);
    // From the highest number down: the first pass drops the oldest item, each
    // later pass moves an item into the name the pass before has just freed.
    for (std::int32_t n = limit; n >= 1; --n) {
        const std::wstring from = source(n);
        if (!platform::Exists(from))
            continue;
        platform::SystemError failure;
        if (n != limit)
            failure = platform::MoveItem(from, destination(n));
        else
            failure =
                platform::IsFolder(from) ? platform::RemoveTree(from) : platform::RemoveItem(from);
        if (failure.Failed())
            return fail(n, failure.text);
    }
    return true;
}
