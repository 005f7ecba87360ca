// Names and numbers of the program that more than one place uses.
#pragma once

#include "ferrymark_version.h"

inline constexpr const wchar_t* kProductTitle = L"Ferrymark";
// The project's version, from the build.
inline constexpr int kVersion[4] = {FERRYMARK_VERSION_MAJOR, FERRYMARK_VERSION_MINOR,
                                    FERRYMARK_VERSION_PATCH, FERRYMARK_VERSION_TWEAK};

inline constexpr const wchar_t* kSingleInstanceMutex = L"{1c9627d4-94bb-4214-860f-abeda9727cda}";
inline constexpr const wchar_t* kSettingsKey = L"Software\\Kestrane\\Ferrymark";
inline constexpr const wchar_t* kSystemDescriptionKey =
    L"Software\\Microsoft\\Windows NT\\CurrentVersion";
inline constexpr const wchar_t* kOldInstallKey =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
    L"{64cd40e2-6e5e-4732-8ed4-b4a5be475825}";
inline constexpr const wchar_t* kOldInstallExecutable = L"Ferrymark.exe";
inline constexpr const wchar_t* kCompanyFolder = L"Kestrane";
inline constexpr const wchar_t* kProductFolder = L"Ferrymark";
inline constexpr const wchar_t* kLogFileName = L"log.txt";
inline constexpr const wchar_t* kDefaultAppcastUrl =
    L"https://updates.kestrane.com/update/ferrymark/feed.xml";

inline constexpr unsigned kDefaultLogLimit = 10;
