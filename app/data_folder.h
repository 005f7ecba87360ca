// The machine-wide data folder at start-up: a place that only administrators can
// change, and its log, which is never opened through a link.
#pragma once

#include <string>

// What start-up found and did about the data folder's access list.
struct DataFolderAccess {
    enum Outcome { AsWanted, Tightened, Failed } outcome = AsWanted;
    std::wstring reason; // of a failure
};

// Makes the data folder when it is missing, with the administrators-only access
// list; an existing folder with a looser list (from an earlier version) gets it
// now. Logs nothing, since the log is not open yet. A folder that cannot be made
// raises.
DataFolderAccess PrepareDataFolder(const std::wstring& dataFolder);

// The line for the outcome, once the log is open: INFO when an existing folder
// was tightened, WARN when that failed, nothing when the list was already right.
void LogDataFolderAccess(const std::wstring& dataFolder, const DataFolderAccess& access);

// Opens the process log at `path`, below `base`. A link at the file or on the way
// to it is not followed: the log then has no file, as after a failed open, and
// says which link it refused.
void OpenLogBelow(const std::wstring& base, const std::wstring& path);
