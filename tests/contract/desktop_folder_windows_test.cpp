// The user's folder on Windows, out of APPDATA.
#include "platform/desktop.h"

#include <gtest/gtest.h>

#include <string>

#include <windows.h>

namespace {

std::string folder_with(const wchar_t* appdata) {
    SetEnvironmentVariableW(L"APPDATA", appdata);
    return desktop_user_data_folder();
}

TEST(DesktopUserDataFolder, IsTheRoamingApplicationDataAsTheSystemSetsIt) {
    EXPECT_NE(desktop_user_data_folder().find("AppData\\Roaming"), std::string::npos);
}

TEST(DesktopUserDataFolder, IsWhatAppdataSaysAsItStands) {
    EXPECT_EQ(folder_with(L"C:\\Users\\ana\\AppData\\Roaming"), "C:\\Users\\ana\\AppData\\Roaming");
    EXPECT_EQ(folder_with(L"C:\\x\\"), "C:\\x\\");
    EXPECT_EQ(folder_with(L"relative"), "relative");
}

TEST(DesktopUserDataFolder, IsUtf8) {
    EXPECT_EQ(folder_with(L"C:\\ni\u00F1o\\\u540D\\\U0001F600"),
              "C:\\ni\xC3\xB1o\\\xE5\x90\x8D\\\xF0\x9F\x98\x80");
}

TEST(DesktopUserDataFolder, IsNoneWithoutAppdata) {
    EXPECT_EQ(folder_with(nullptr), "");
    EXPECT_EQ(folder_with(L""), "");
}

TEST(DesktopUserDataFolder, TakesAnyLength) {
    EXPECT_EQ(folder_with(std::wstring(20'000, L'x').c_str()), std::string(20'000, 'x'));
}

} // namespace
