// Replacing a file whole where only Windows has the case.
#include "contract/file_children.h"
#include "platform/file.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include <windows.h>

int run_system_child(std::string_view /*what*/, const char* /*path*/) {
    return k_not_possible;
}

namespace {

std::string content(const char* path) {
    std::string text(64, '\0');
    std::FILE* const file = file_open(path, "rb");
    if (file == nullptr) {
        return "(not opened)";
    }
    text.resize(std::fread(text.data(), 1, text.size(), file));
    std::fclose(file);
    return text;
}

TEST(FileReplacementOnWindows, KeepsAFileThatIsProtectedFromWriting) {
    ASSERT_TRUE(file_replace_whole("protected", "old"));
    ASSERT_TRUE(SetFileAttributesW(L"protected", FILE_ATTRIBUTE_READONLY));
    EXPECT_FALSE(file_replace_whole("protected", "now"));
    EXPECT_EQ(content("protected"), "old");
    EXPECT_EQ(GetFileAttributesW(L"protected.new"), INVALID_FILE_ATTRIBUTES);
    SetFileAttributesW(L"protected", FILE_ATTRIBUTE_NORMAL);
    EXPECT_TRUE(file_remove("protected"));
}

TEST(FileReplacementOnWindows, GivesUpBesideAnotherProgramThatKeepsWriting) {
    ASSERT_TRUE(file_replace_whole("busy", "old"));
    const HANDLE other = CreateFileW(L"busy.new", GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                     CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(other, INVALID_HANDLE_VALUE);
    EXPECT_FALSE(file_replace_whole("busy", "now"));
    EXPECT_EQ(content("busy"), "old");
    CloseHandle(other);
    EXPECT_TRUE(file_replace_whole("busy", "now"));
    EXPECT_EQ(content("busy"), "now");
    EXPECT_TRUE(file_remove("busy"));
}

TEST(FileReplacementOnWindows, TakesPathsFromADriveOnAndBackslashes) {
    std::wstring folder(MAX_PATH, L'\0');
    folder.resize(GetCurrentDirectoryW(MAX_PATH, folder.data()));
    std::string path;
    for (const wchar_t letter : folder) {
        path += static_cast<char>(letter);
    }
    path += "\\absolute";
    EXPECT_TRUE(file_replace_whole(path.c_str(), "text"));
    EXPECT_EQ(content(path.c_str()), "text");
    EXPECT_TRUE(file_remove(path.c_str()));
}

bool exists(const wchar_t* path) {
    return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES;
}

bool make(const wchar_t* path, DWORD attributes) {
    const HANDLE file =
        CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    CloseHandle(file);
    return SetFileAttributesW(path, attributes) != 0;
}

// False also where the system only says that it made one.
bool make_link(const wchar_t* path, const wchar_t* target) {
    constexpr DWORD k_also_for_plain_users = 2;
    return CreateSymbolicLinkW(path, target, k_also_for_plain_users) != 0 && exists(path);
}

TEST(FileReplacementOnWindows, AFileBesideMayBeProtectedHiddenOrTheSystems) {
    for (const DWORD attributes :
         {FILE_ATTRIBUTE_READONLY, FILE_ATTRIBUTE_HIDDEN, FILE_ATTRIBUTE_SYSTEM,
          FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_READONLY}) {
        ASSERT_TRUE(file_replace_whole("file", "old"));
        ASSERT_TRUE(make(L"file.new", attributes));
        EXPECT_TRUE(file_replace_whole("file", "now")) << attributes;
        EXPECT_EQ(content("file"), "now") << attributes;
        constexpr DWORD k_unwanted =
            FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
        EXPECT_EQ(GetFileAttributesW(L"file") & k_unwanted, 0U) << attributes;
        EXPECT_FALSE(exists(L"file.new"));
        ASSERT_TRUE(make(L"file.new", attributes));
        EXPECT_TRUE(file_remove("file"));
        EXPECT_FALSE(exists(L"file.new")) << attributes;
    }
}

// What lies at "file.new" leads to "another".
void expect_another_untouched_by_a_save() {
    EXPECT_TRUE(file_replace_whole("file", "now"));
    EXPECT_EQ(content("file"), "now");
    EXPECT_EQ(content("another"), "of another");
    EXPECT_FALSE(exists(L"file.new"));
    EXPECT_TRUE(file_remove("file"));
    EXPECT_TRUE(file_remove("another"));
}

TEST(FileReplacementOnWindows, RemovesASecondNameFromItsWayBeside) {
    ASSERT_TRUE(file_replace_whole("another", "of another"));
    ASSERT_TRUE(CreateHardLinkW(L"file.new", L"another", nullptr));
    expect_another_untouched_by_a_save();
}

TEST(FileReplacementOnWindows, RemovesALinkFromItsWayBeside) {
    ASSERT_TRUE(file_replace_whole("another", "of another"));
    if (!make_link(L"file.new", L"another")) {
        EXPECT_TRUE(file_remove("another"));
        GTEST_SKIP() << "no links can be made here";
    }
    expect_another_untouched_by_a_save();
}

TEST(FileReplacementOnWindows, MakesTheFileThatALinkLeadsToWhenItIsMissing) {
    if (!make_link(L"link", L"missing")) {
        GTEST_SKIP() << "no links can be made here";
    }
    EXPECT_TRUE(file_replace_whole("link", "text"));
    EXPECT_NE(GetFileAttributesW(L"link") & FILE_ATTRIBUTE_REPARSE_POINT, 0U);
    EXPECT_EQ(content("missing"), "text");
    EXPECT_TRUE(file_remove("link"));
    EXPECT_FALSE(exists(L"missing"));
    EXPECT_FALSE(file_remove("link"));
    EXPECT_FALSE(exists(L"missing"));
    EXPECT_TRUE(DeleteFileW(L"link"));
}

TEST(FileReplacementOnWindows, RemovesAFileWhenItsReaderHasClosedIt) {
    ASSERT_TRUE(file_replace_whole("read", "text"));
    const HANDLE reader = CreateFileW(L"read", GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(reader, INVALID_HANDLE_VALUE);
    auto removal = std::async(std::launch::async, [] { return file_remove("read"); });
    EXPECT_EQ(removal.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    CloseHandle(reader);
    EXPECT_TRUE(removal.get());
    EXPECT_FALSE(exists(L"read"));
}

TEST(FileReplacementOnWindows, RemovesNoFileThatIsProtectedFromWriting) {
    ASSERT_TRUE(make(L"protected", FILE_ATTRIBUTE_READONLY));
    EXPECT_FALSE(file_remove("protected"));
    EXPECT_TRUE(exists(L"protected"));
    SetFileAttributesW(L"protected", FILE_ATTRIBUTE_NORMAL);
    EXPECT_TRUE(file_remove("protected"));
}

} // namespace
