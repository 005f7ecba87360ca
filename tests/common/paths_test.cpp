#include "app/paths.h"

#include <gtest/gtest.h>

#include <tuple>

// Windows rules: both separators count, root names such as C: and \\server\share stay.
TEST(Paths, JoinParentAndLastComponentFollowWindowsRules) {
    const std::tuple<std::wstring, std::wstring, std::wstring> joins[] = {
        {L"C:\\ProgramData", L"Kestrane", L"C:\\ProgramData\\Kestrane"},
        {L"C:\\ProgramData\\", L"Kestrane", L"C:\\ProgramData\\Kestrane"},
        {L"C:\\ProgramData/", L"Kestrane", L"C:\\ProgramData/Kestrane"},
        {L"C:\\", L"Sim", L"C:\\Sim"},
        {L"C:", L"Sim", L"C:Sim"},
        {L"", L"log.txt", L"log.txt"},
        {L"C:\\Sim", L"", L"C:\\Sim"},
        {L"C:\\Sim", L"D:\\Other", L"D:\\Other"},
        {L"C:\\Sim", L"\\Other", L"C:\\Other"},
        {L"\\\\server\\share", L"x", L"\\\\server\\share\\x"},
        {L"C:\\Sim", L"\\\\server\\share\\x", L"\\\\server\\share\\x"}};
    for (const auto& [base, name, joined] : joins)
        EXPECT_EQ(PathJoin(base, name), joined);
    // A path, its parent and its last component.
    const std::tuple<std::wstring, std::wstring, std::wstring> splits[] = {
        {L"D:\\Sim\\Addons", L"D:\\Sim", L"Addons"},
        {L"D:\\Sim\\Addons\\", L"D:\\Sim\\Addons", L""},
        {L"D:/Sim/Addons", L"D:/Sim", L"Addons"},
        {L"D:\\Sim/Prepar3D.exe", L"D:\\Sim", L"Prepar3D.exe"},
        {L"D:\\Sim\\\\Addons", L"D:\\Sim", L"Addons"},
        {L"D:\\Sim", L"D:\\", L"Sim"},
        {L"D:\\", L"D:\\", L""},
        {L"D:", L"D:", L""},
        {L"D:fsx.exe", L"D:", L"fsx.exe"},
        {L"fsx.exe", L"", L"fsx.exe"},
        {L"\\\\server\\share\\folder", L"\\\\server\\share\\", L"folder"},
        {L"\\\\server\\share", L"\\\\server\\share", L""}};
    for (const auto& [path, parent, last] : splits) {
        EXPECT_EQ(PathParent(path), parent) << std::string(path.begin(), path.end());
        EXPECT_EQ(PathLastComponent(path), last) << std::string(path.begin(), path.end());
    }
    EXPECT_EQ(PathRootName(L"\\\\server\\share\\x"), L"\\\\server\\share");
    EXPECT_EQ(PathRootName(L"c:\\x"), L"c:");
    EXPECT_EQ(PathRootName(L"\\x"), L"");
}
