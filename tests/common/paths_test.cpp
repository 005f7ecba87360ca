#include "app/paths.h"

#include <gtest/gtest.h>

TEST(Paths, JoinKeepsOneSeparatorAndRespectsRoots) {
    EXPECT_EQ(PathJoin(L"C:\\ProgramData", L"Kestrane"), L"C:\\ProgramData\\Kestrane");
    EXPECT_EQ(PathJoin(L"C:\\ProgramData\\", L"Kestrane"), L"C:\\ProgramData\\Kestrane");
    EXPECT_EQ(PathJoin(L"C:\\ProgramData/", L"Kestrane"), L"C:\\ProgramData/Kestrane");
    EXPECT_EQ(PathJoin(L"C:\\", L"Sim"), L"C:\\Sim");
    EXPECT_EQ(PathJoin(L"C:", L"Sim"), L"C:Sim");
    EXPECT_EQ(PathJoin(L"", L"log.txt"), L"log.txt");
    EXPECT_EQ(PathJoin(L"C:\\Sim", L""), L"C:\\Sim");
    EXPECT_EQ(PathJoin(L"C:\\Sim", L"D:\\Other"), L"D:\\Other");
    EXPECT_EQ(PathJoin(L"C:\\Sim", L"\\Other"), L"C:\\Other");
    EXPECT_EQ(PathJoin(L"\\\\server\\share", L"x"), L"\\\\server\\share\\x");
    EXPECT_EQ(PathJoin(L"C:\\Sim", L"\\\\server\\share\\x"), L"\\\\server\\share\\x");
}

TEST(Paths, ParentFollowsWindowsRules) {
    EXPECT_EQ(PathParent(L"D:\\Sim\\Addons"), L"D:\\Sim");
    EXPECT_EQ(PathParent(L"D:\\Sim\\Addons\\"), L"D:\\Sim\\Addons");
    EXPECT_EQ(PathParent(L"D:/Sim/Addons"), L"D:/Sim");
    EXPECT_EQ(PathParent(L"D:\\Sim\\\\Addons"), L"D:\\Sim");
    EXPECT_EQ(PathParent(L"D:\\Sim"), L"D:\\");
    EXPECT_EQ(PathParent(L"D:\\"), L"D:\\");
    EXPECT_EQ(PathParent(L"D:"), L"D:");
    EXPECT_EQ(PathParent(L"D:file"), L"D:");
    EXPECT_EQ(PathParent(L"file"), L"");
    EXPECT_EQ(PathParent(L"\\\\server\\share\\folder"), L"\\\\server\\share\\");
    EXPECT_EQ(PathParent(L"\\\\server\\share"), L"\\\\server\\share");
}

TEST(Paths, LastComponentIsWhatFollowsTheLastSeparator) {
    EXPECT_EQ(PathLastComponent(L"D:\\Sim\\Addons"), L"Addons");
    EXPECT_EQ(PathLastComponent(L"D:\\Sim\\Addons\\"), L"");
    EXPECT_EQ(PathLastComponent(L"D:\\Sim/Prepar3D.exe"), L"Prepar3D.exe");
    EXPECT_EQ(PathLastComponent(L"D:"), L"");
    EXPECT_EQ(PathLastComponent(L"D:fsx.exe"), L"fsx.exe");
    EXPECT_EQ(PathLastComponent(L"fsx.exe"), L"fsx.exe");
    EXPECT_EQ(PathLastComponent(L"\\\\server\\share"), L"");
    EXPECT_EQ(PathRootName(L"\\\\server\\share\\x"), L"\\\\server\\share");
    EXPECT_EQ(PathRootName(L"c:\\x"), L"c:");
    EXPECT_EQ(PathRootName(L"\\x"), L"");
}
