// Activate and Deactivate of a Prepar3D target.
#include "simulators/prepar3d.h"

#include "app/paths.h"
#include "app/file_system.h"
#include "engine/links.h"
#include "engine/embedded_resources.h"
#include "engine/simbase.h"
#include "platform/fs.h"

namespace {

// The copy that add-on installers written for Flight Simulator X look for. Not the
// executable field of that record, though the text is the same.
const wchar_t kCopyName[] = L"fsx.exe";
// The first build of version 2 that keeps the linked files in its data folders.
constexpr std::int32_t kFirstLinkedBuild = 12942;

} // namespace

bool Prepar3D::UsesFileLinks() const {
    // The build number is read for version 2 alone, from the store.
    return kind >= 4 || (kind == 3 && GetBuildNumber(true) >= kFirstLinkedBuild);
}

bool Prepar3D::Activate() {
    // These lines stand a level below the INFO lines of the other operations.
    Logger::Write(Logger::TraceLevel, OperationBanner(title, L"activate", true));
    const std::wstring program = GetFolder(RootExecutable);
    const std::wstring copy = PathJoin(PathParent(program), kCopyName);
    // A copy from an earlier activation is replaced; a failure ends the switch here.
    CopyFileOrRaise(program, copy, true);
    if (!PatchToFSX(copy))
        Logger::Write(Logger::WarnLevel, L"Failed to patch " + copy);

    struct Document {
        SimulatorFolder folder;
        const wchar_t* type;
    };
    const Document documents[] = {
        {ProgramData, L"dll"}, {ProgramData, L"exe"}, {RoamingAppData, L"dll"}, {RoamingAppData, L"exe"}};
    for (const Document& document : documents) {
        const std::wstring type = document.type;
        const std::wstring path = PathJoin(GetFolder(document.folder), type + L".xml");
        if (VerifySimBaseDocument(path, simBaseVersion))
            continue;
        Logger::Write(Logger::DebugLevel, L"SimBase document failed verification " + path);
        // What stood in an unusable document is not kept.
        if (!CreateSimBaseDocument(path, type, simBaseVersion))
            Logger::Write(Logger::WarnLevel, L"Failed to create SimBase document " + path);
    }

    if (UsesFileLinks()) {
        // Key order: the machine-wide folder's names come before the roaming ones.
        for (const auto& [slots, names] : fileLinks) {
            const std::wstring linkFolder = GetFolder(slots.first);
            const std::wstring realFolder = GetFolder(slots.second);
            for (const std::wstring& name : names)
                CreateFileLink(PathJoin(linkFolder, name), PathJoin(realFolder, name));
        }
    }
    Logger::Write(Logger::TraceLevel, OperationBanner(title, L"activate", false));
    return true;
}

bool Prepar3D::Deactivate() {
    Logger::Write(Logger::TraceLevel, OperationBanner(title, L"deactivate", true));
    // Without a location the copy is a bare name, relative to the current folder.
    const std::wstring copy = PathJoin(PathParent(GetFolder(RootExecutable)), kCopyName);
    if (platform::Exists(copy))
        RemoveItemOrRaise(copy);
    if (UsesFileLinks()) {
        for (const auto& [slots, names] : fileLinks) {
            const std::wstring linkFolder = GetFolder(slots.first);
            if (linkFolder.empty())
                continue;
            // RemoveLink leaves real files alone, so a simulator that never was the
            // target keeps its own.
            for (const std::wstring& name : names)
                RemoveLink(PathJoin(linkFolder, name));
        }
    }
    Logger::Write(Logger::TraceLevel, OperationBanner(title, L"deactivate", false));
    return true;
}
