#include "engine/backup.h"

#include "app/logger.h"
#include "app/paths.h"
#include "app/text.h"
#include "app/file_system.h"
#include "platform/fs.h"

namespace {

const wchar_t* OverwriteWord(bool overwrite) {
    return overwrite ? L"(overwrite)" : L"(keep existing)";
}

// RFC 4648 section 4: the alphabet that ends in + and /, padded with =. The
// backup name keeps this alphabet even where / then splits the name, since
// backups made earlier must be found again under the same name.
std::wstring Base64(const std::string& bytes) {
    static const char alphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::wstring encoded;
    encoded.reserve((bytes.size() + 2) / 3 * 4);
    std::size_t i = 0;
    for (; i + 3 <= bytes.size(); i += 3) {
        const unsigned long group =
            (static_cast<unsigned long>(static_cast<unsigned char>(bytes[i])) << 16) |
            (static_cast<unsigned long>(static_cast<unsigned char>(bytes[i + 1])) << 8) |
            static_cast<unsigned char>(bytes[i + 2]);
        encoded += static_cast<wchar_t>(alphabet[(group >> 18) & 0x3F]);
        encoded += static_cast<wchar_t>(alphabet[(group >> 12) & 0x3F]);
        encoded += static_cast<wchar_t>(alphabet[(group >> 6) & 0x3F]);
        encoded += static_cast<wchar_t>(alphabet[group & 0x3F]);
    }
    const std::size_t rest = bytes.size() - i;
    if (rest > 0) {
        unsigned long group = static_cast<unsigned long>(static_cast<unsigned char>(bytes[i]))
                              << 16;
        if (rest == 2)
            group |= static_cast<unsigned long>(static_cast<unsigned char>(bytes[i + 1])) << 8;
        encoded += static_cast<wchar_t>(alphabet[(group >> 18) & 0x3F]);
        encoded += static_cast<wchar_t>(alphabet[(group >> 12) & 0x3F]);
        encoded += rest == 2 ? static_cast<wchar_t>(alphabet[(group >> 6) & 0x3F]) : L'=';
        encoded += L'=';
    }
    return encoded;
}

// The move with an error result: a failure is logged and reported as false.
bool Move(const std::wstring& from, const std::wstring& to) {
    const platform::SystemError failure = platform::MoveItem(from, to);
    if (!failure.Failed())
        return true;
    Logger::Write(Logger::WarnLevel, FailureText(L"move", from, to, failure.text));
    return false;
}

} // namespace

std::wstring GetBackupPath(std::wstring path) {
    if (!path.empty() && path.back() == L'\\')
        path.pop_back();
    const std::wstring name = PathLastComponent(path);
    const std::wstring encoded = Base64(platform::ToFileApiCodePage(name));
    return PathJoin(PathParent(path), FormatWide(L"Ferrymark backup (%s)", encoded.c_str()));
}

bool IsInUse(std::wstring path) {
    if (!platform::Exists(path))
        return false;
    // The rename onto itself is the whole test: what nothing holds comes through
    // unchanged, and only this call's failure is taken as an answer.
    const platform::SystemError failure = platform::MoveItem(path, path);
    if (!failure.Failed())
        return false;
    Logger::Write(Logger::WarnLevel, L"File or folder in use " + path);
    return true;
}

bool FileBackup(std::wstring path, bool overwrite) {
    Logger::Write(Logger::TraceLevel, L"FileBackup " + path + L" " + OverwriteWord(overwrite));
    if (!platform::Exists(path))
        return true;
    if (IsInUse(path)) {
        Logger::Write(Logger::WarnLevel, L"File is in use, cannot back up " + path);
        return false;
    }
    if (platform::IsSymbolicLink(path))
        return false;
    const std::wstring backupPath = GetBackupPath(path);
    if (platform::Exists(backupPath) && !overwrite)
        return false;
    // With overwrite the move itself replaces an existing backup.
    return Move(path, backupPath);
}

bool FileRestore(std::wstring path, bool overwrite) {
    Logger::Write(Logger::TraceLevel, L"FileRestore " + path + L" " + OverwriteWord(overwrite));
    const std::wstring backupPath = GetBackupPath(path);
    if (!platform::Exists(backupPath)) {
        Logger::Write(Logger::InfoLevel,
                      L"Backup file does not exist and will be skipped " + backupPath);
        return false;
    }
    if (platform::IsSymbolicLink(backupPath)) {
        Logger::Write(Logger::WarnLevel,
                      L"Backup file is a symbolic link and will be skipped " + backupPath);
        return false;
    }
    if (IsInUse(path)) {
        Logger::Write(Logger::WarnLevel, L"File is in use, cannot restore " + path);
        return false;
    }
    if (platform::Exists(path)) {
        if (!overwrite) {
            Logger::Write(Logger::TraceLevel,
                          L"Restored file already exists and overwriting is not allowed, "
                          L"skipping file restore");
            return true;
        }
        // Asked again right before the removal: the file may have been taken
        // since the first question.
        if (IsInUse(path)) {
            Logger::Write(Logger::WarnLevel, L"File is in use, cannot delete " + path);
            return false;
        }
        Logger::Write(Logger::TraceLevel, L"Restored file already exists and will be overwritten");
        RemoveItemOrRaise(path);
    }
    return Move(backupPath, path);
}

bool FolderBackup(std::wstring path, bool overwrite) {
    Logger::Write(Logger::TraceLevel, L"FolderBackup " + path + L" " + OverwriteWord(overwrite));
    const std::wstring backupPath = GetBackupPath(path);
    if (!platform::Exists(path)) {
        Logger::Write(Logger::TraceLevel, L"Folder does not exist, skipping " + path);
        return true;
    }
    if (platform::IsSymbolicLink(path)) {
        Logger::Write(Logger::WarnLevel, L"Folder is a symlink, cannot back up " + path);
        return false;
    }
    if (IsInUse(path) || IsInUse(backupPath)) {
        Logger::Write(Logger::WarnLevel, L"Folder is in use, cannot back up " + path);
        return false;
    }
    if (platform::Exists(backupPath)) {
        if (!overwrite) {
            Logger::Write(Logger::WarnLevel, L"Backup already exists, cannot back up " + path);
            return false;
        }
        Logger::Write(Logger::TraceLevel, L"Deleting existing backup folder " + backupPath);
        RemoveTreeOrRaise(backupPath);
    }
    return Move(path, backupPath);
}

bool FolderRestore(std::wstring path, bool overwrite) {
    Logger::Write(Logger::TraceLevel, L"FolderRestore " + path + L" " + OverwriteWord(overwrite));
    const std::wstring backupPath = GetBackupPath(path);
    if (IsInUse(path) || IsInUse(backupPath)) {
        Logger::Write(Logger::WarnLevel, L"Folder is in use, cannot restore " + path);
        return false;
    }
    if (platform::IsSymbolicLink(path)) {
        Logger::Write(Logger::TraceLevel, L"Removing symbolic link");
        RemoveItemOrRaise(path);
    }
    if (platform::Exists(path) && overwrite) {
        Logger::Write(Logger::TraceLevel,
                      L"Restored folder already exists and will be overwritten");
        RemoveTreeOrRaise(path);
    }
    if (!platform::Exists(backupPath)) {
        Logger::Write(Logger::TraceLevel, L"Backup folder does not exist");
        // Tidy one level: the parent of the backup is the parent of the path.
        const std::wstring parent = PathParent(backupPath);
        if (platform::Exists(parent) && platform::IsFolderEmpty(parent) && !IsInUse(parent)) {
            Logger::Write(Logger::TraceLevel, L"Removing parent folder " + parent);
            RemoveItemOrRaise(parent);
        }
        return true;
    }
    return Move(backupPath, path);
}
