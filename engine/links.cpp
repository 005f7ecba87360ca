#include "engine/links.h"

#include "app/logger.h"
#include "app/paths.h"
#include "app/file_system.h"
#include "platform/fs.h"
#include "platform/types.h"

#include <cstdint>
#include <new>

namespace {

constexpr std::uint32_t kFolderLink = 1;   // SYMBOLIC_LINK_FLAG_DIRECTORY
constexpr std::uint32_t kUnprivileged = 2; // SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE
constexpr std::uint32_t kInvalidParameter = 87;
constexpr std::uint32_t kNotEnoughMemory = 12;

// The system stores a link's target text as given, so it is cleaned first. An
// older system refuses the unprivileged flag with "invalid parameter", and gets
// exactly one more call without it.
platform::SystemError MakeLink(const std::wstring& link, const std::wstring& target,
                               std::uint32_t baseFlags) {
    std::wstring cleaned;
    try {
        cleaned = CleanLinkTarget(target);
    } catch (const std::bad_alloc&) {
        return platform::SystemError{kNotEnoughMemory,
                                     L"Not enough memory resources are available"};
    }
    platform::SystemError failure =
        platform::MakeSymbolicLink(link, cleaned, baseFlags | kUnprivileged);
    if (failure.Failed() && failure.code == kInvalidParameter)
        failure = platform::MakeSymbolicLink(link, cleaned, baseFlags);
    return failure;
}

} // namespace

std::wstring CleanLinkTarget(const std::wstring& target) {
    const std::wstring root = PathRootName(target);
    std::wstring cleaned;
    cleaned.reserve(target.size());
    for (wchar_t c : root)
        cleaned += c == L'/' ? L'\\' : c;
    for (std::size_t i = root.size(); i < target.size(); ++i) {
        if (!platform::IsPathSeparator(target[i])) {
            cleaned += target[i];
            continue;
        }
        cleaned += L'\\';
        while (i + 1 < target.size() && platform::IsPathSeparator(target[i + 1]))
            ++i;
    }
    return cleaned;
}

bool CreateDirectoryLink(std::wstring link, std::wstring target) {
    Logger::Write(Logger::TraceLevel, L"CreateDirectoryLink " + link + L" -> " + target);
    const std::wstring parent = PathParent(link);
    if (!platform::Exists(parent))
        CreateFoldersOrRaise(parent);
    // The target of a folder link always exists afterwards, also where the target
    // simulator never had that folder.
    if (!platform::Exists(target))
        CreateFoldersOrRaise(target);
    const platform::SystemError failure = MakeLink(link, target, kFolderLink);
    if (failure.Failed()) {
        Logger::Write(Logger::WarnLevel,
                      FailureText(L"create directory link", link, target, failure.text));
        return false;
    }
    return true;
}

bool CreateFileLink(std::wstring link, std::wstring target) {
    Logger::Write(Logger::TraceLevel, L"CreateFileLink " + link + L" -> " + target);
    // The set of files to link is fixed, and a simulator need not have them all.
    if (!platform::Exists(target)) {
        Logger::Write(Logger::TraceLevel, L"Target does not exist");
        return true;
    }
    if (platform::IsSymbolicLink(link)) {
        Logger::Write(Logger::TraceLevel, L"A symbolic link already exists, removing");
        RemoveItemOrRaise(link);
    }
    const std::wstring parent = PathParent(link);
    if (!platform::Exists(parent)) {
        Logger::Write(Logger::TraceLevel, L"Creating folder structure for the link");
        CreateFoldersOrRaise(parent);
    }
    const platform::SystemError failure = MakeLink(link, target, 0);
    if (failure.Failed()) {
        Logger::Write(Logger::WarnLevel,
                      FailureText(L"create symbolic link", link, target, failure.text));
        return false;
    }
    return true;
}

bool RemoveLink(std::wstring path) {
    Logger::Write(Logger::TraceLevel, L"RemoveLink " + path);
    // The existence test follows the link: a dangling one counts as nothing there
    // and stays.
    if (!platform::Exists(path))
        return true;
    if (!platform::IsSymbolicLink(path))
        return false;
    const platform::SystemError failure = platform::RemoveItem(path);
    if (failure.Failed()) {
        Logger::Write(Logger::WarnLevel, FailureText(L"remove link", path, failure.text));
        return false;
    }
    return true;
}
