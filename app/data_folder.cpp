#include "app/data_folder.h"

#include "app/file_system.h"
#include "app/link_check.h"
#include "app/logger.h"
#include "platform/fs.h"

DataFolderAccess PrepareDataFolder(const std::wstring& dataFolder) {
    // A folder planted as a link is left alone: its access list is the target's.
    if (platform::IsReparsePoint(dataFolder))
        return {DataFolderAccess::Failed, kLinkInTheWay};
    const bool existed = platform::Exists(dataFolder);
    if (!existed)
        CreateFoldersOrRaise(dataFolder);
    else if (platform::IsRestrictedToAdministrators(dataFolder))
        return {};
    const platform::SystemError failure = platform::RestrictToAdministrators(dataFolder);
    if (failure.Failed())
        return {DataFolderAccess::Failed, failure.text};
    return {existed ? DataFolderAccess::Tightened : DataFolderAccess::AsWanted, {}};
}

void LogDataFolderAccess(const std::wstring& dataFolder, const DataFolderAccess& access) {
    if (access.outcome == DataFolderAccess::Tightened)
        Logger::Write(Logger::InfoLevel,
                      L"Data folder restricted to administrators: " + dataFolder);
    else if (access.outcome == DataFolderAccess::Failed)
        Logger::Write(Logger::WarnLevel, L"Failed to restrict the data folder to administrators: " +
                                             dataFolder + L", reason: " + access.reason);
}

void OpenLogBelow(const std::wstring& base, const std::wstring& path) {
    const std::wstring link = LinkOnTheWay(base, path);
    if (link.empty()) {
        Logger::OpenFile(path);
        return;
    }
    Logger::LoseFile();
    WarnOfLink(link);
}
