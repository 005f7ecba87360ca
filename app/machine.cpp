#include "app/machine.h"

#include "app/constants.h"
#include "app/paths.h"
#include "platform/system.h"

std::wstring GetKnownFolder(const platform::Guid& id) {
    return platform::KnownFolderPath(id);
}

bool IsAlreadyRunning() {
    // A failed create counts as not running: the program then runs unguarded.
    return platform::CreateNamedMutex(kSingleInstanceMutex) == platform::MutexResult::AlreadyExists;
}

std::wstring GetDataFolder() {
    return PathJoin(PathJoin(GetKnownFolder(KnownFolder::ProgramData), kCompanyFolder),
                    kProductFolder);
}
