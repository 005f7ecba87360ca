// The launcher stub: stands in for a disabled simulator's executable, says in one
// error box why the simulator can't be used and how to get it back, and ends with a
// failure status. It is dropped alone into a folder that belongs to somebody else,
// so it is built without the C runtime: its own entry point, the process heap for
// the one buffer it needs, and no imports beyond KERNEL32, USER32, VERSION and
// COMCTL32.
#include <windows.h>

#include <commctrl.h>

namespace {

// Capacity of the message, in characters with the terminating null.
constexpr int kMessageCapacity = 256;

constexpr wchar_t kOpening[] = L"Ferrymark has disabled ";
constexpr wchar_t kMiddle[] = L" to prevent corruption of configuration files.\n\nTo use ";
constexpr wchar_t kClosing[] = L", select it as target in Ferrymark.";
constexpr wchar_t kFlightSimulatorX[] = L"Flight Simulator X";
constexpr wchar_t kFallbackName[] = L"this simulator";
// "Flight Simulator X" is the longest display name; the Prepar3D names are shorter.
static_assert(sizeof kFallbackName <= sizeof kFlightSimulatorX, "a longer name needs more room");
static_assert((sizeof kOpening + 2 * sizeof kFlightSimulatorX + sizeof kMiddle + sizeof kClosing) /
                      sizeof(wchar_t) <=
                  kMessageCapacity,
              "the longest message fits its buffer");

// Copies `part` to `end` with its terminating null; returns the new end.
wchar_t* Append(wchar_t* end, const wchar_t* part) {
    while (*part != L'\0')
        *end++ = *part++;
    *end = L'\0';
    return end;
}

// The display name of the simulator whose language.dll has this major file version.
const wchar_t* DisplayName(WORD major) {
    if (major == 10)
        return kFlightSimulatorX;
    if (major == 1)
        return L"Prepar3D v1";
    if (major == 2)
        return L"Prepar3D v2";
    if (major == 3)
        return L"Prepar3D v3";
    if (major == 4)
        return L"Prepar3D v4";
    if (major == 5)
        return L"Prepar3D v5";
    return kFallbackName;
}

} // namespace

// Reads the major number of the file version (never the product version) of the
// file at `path`. On failure nothing is stored and false is returned; `major` may
// be null when only the outcome is wanted.
bool ReadFileMajorVersion(const wchar_t* path, WORD* major) {
    DWORD handle = 0;
    const DWORD size = GetFileVersionInfoSizeW(path, &handle);
    if (size == 0)
        return false;
    HANDLE heap = GetProcessHeap();
    void* buffer = HeapAlloc(heap, 0, size);
    if (buffer == nullptr)
        return false;
    if (GetFileVersionInfoW(path, handle, size, buffer) == 0) {
        HeapFree(heap, 0, buffer);
        return false;
    }
    void* found = nullptr;
    UINT length = 0;
    if (VerQueryValueW(buffer, L"\\", &found, &length) == 0) {
        HeapFree(heap, 0, buffer);
        return false;
    }
    if (major != nullptr)
        *major = HIWORD(static_cast<const VS_FIXEDFILEINFO*>(found)->dwFileVersionMS);
    HeapFree(heap, 0, buffer);
    return true;
}

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR, int) {
    SetProcessDPIAware();
    InitCommonControls();
    INITCOMMONCONTROLSEX controls;
    controls.dwSize = sizeof controls;
    controls.dwICC = ICC_STANDARD_CLASSES;
    InitCommonControlsEx(&controls);

    // The bare name: the module search order looks first in the folder of this
    // executable, which is the simulator's install folder. The outcome is not
    // needed, since a failed read leaves the major version at 0.
    WORD major = 0;
    ReadFileMajorVersion(L"language.dll", &major);
    const wchar_t* name = DisplayName(major);

    wchar_t text[kMessageCapacity];
    wchar_t* end = Append(text, kOpening);
    end = Append(end, name);
    end = Append(end, kMiddle);
    end = Append(end, name);
    Append(end, kClosing);

    MessageBoxW(nullptr, text, L"Ferrymark", MB_ICONERROR);
    return -1;
}

// The image's entry point, in place of the C runtime's start-up code. Arguments are
// never looked at, so the main function receives an empty command line.
extern "C" [[noreturn]] void StubEntry() {
    wchar_t noArguments[] = L"";
    const int status = wWinMain(GetModuleHandleW(nullptr), nullptr, noArguments, SW_SHOWDEFAULT);
    ExitProcess(static_cast<UINT>(status));
}
