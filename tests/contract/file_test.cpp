// The file seam, as both systems must behave.
#include "contract/file_folder.h"
#include "platform/file.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

// Where names are bytes, any bytes are a name.
constexpr bool k_names_are_bytes = sizeof(fs::path::value_type) == 1;

constexpr std::string_view k_bytes("\0\n\r\n\x1A\xFF end", 10);

constexpr const char* k_names[] = {
    "plain",
    "ni\xC3\xB1o",                  // ñ
    "\xE5\x90\x8D\xE5\x89\x8D.wav", // 名前
    "\xF0\x9F\x98\x80",             // an emoji
    "e\xCC\x81 with blanks",        // e and an accent of its own
};

// Independent of the seam: the standard library asks the system on its own.
fs::path system_path(std::string_view name) {
    return std::u8string(name.begin(), name.end());
}

using FileContract = FileFolderTest;

TEST_F(FileContract, CreatesFilesByNamesInUtf8) {
    for (const char* const name : k_names) {
        write(name, k_bytes);
        EXPECT_EQ(names(), Names{name});
        EXPECT_EQ(fs::file_size(system_path(path(name))), k_bytes.size());
        fs::remove(system_path(path(name)));
    }
}

TEST_F(FileContract, ReadsFilesByNamesInUtf8) {
    for (const char* const name : k_names) {
        write("source", std::string("of ") + name);
        fs::rename(system_path(path("source")), system_path(path(name)));
        EXPECT_EQ(read(name), std::string("of ") + name);
    }
}

TEST_F(FileContract, FollowsFoldersByNamesInUtf8) {
    for (const char* const name : k_names) {
        fs::create_directory(system_path(path(name)));
        const std::string inner = std::string(name) + "/" + name;
        write(inner, name);
        EXPECT_EQ(read(inner), name);
    }
}

TEST_F(FileContract, KeepsBytesAsTheyAreInBinaryModes) {
    write("file", k_bytes);
    EXPECT_EQ(fs::file_size(path("file")), k_bytes.size());
    EXPECT_EQ(read("file"), k_bytes);
}

TEST_F(FileContract, WritingEmptiesWhatWasThere) {
    write("file", "long before");
    write("file", "now");
    EXPECT_EQ(read("file"), "now");
}

TEST_F(FileContract, AppendingKeepsWhatWasThereAndCreates) {
    write("\xC3\xB1", "one", "ab");
    write("\xC3\xB1", " two", "ab");
    EXPECT_EQ(read("\xC3\xB1"), "one two");
}

TEST_F(FileContract, ChangingKeepsWhatItDoesNotWriteAndDoesNotCreate) {
    EXPECT_FALSE(open("file", "r+b"));
    EXPECT_TRUE(names().empty());
    write("file", "before");
    write("file", "AB", "r+b");
    EXPECT_EQ(read("file"), "ABfore");
}

TEST_F(FileContract, AReaderSeesWhatAWriterFlushed) {
    const FilePtr writer = open("file", "wb");
    ASSERT_TRUE(writer);
    std::fputs("half", writer.get());
    std::fflush(writer.get());
    EXPECT_EQ(read("file"), "half");
}

TEST_F(FileContract, FailsToReadAMissingFileAndMakesNone) {
    for (const char* const name : k_names) {
        EXPECT_FALSE(open(name, "rb"));
    }
    EXPECT_TRUE(names().empty());
}

TEST_F(FileContract, FailsInAMissingFolderAndMakesNone) {
    for (const char* const mode : {"rb", "wb", "ab"}) {
        EXPECT_FALSE(open("\xC3\xB1/file", mode)) << mode;
    }
    EXPECT_TRUE(names().empty());
}

TEST_F(FileContract, FailsToWriteToAFolder) {
    fs::create_directory(system_path(path("\xC3\xB1")));
    EXPECT_FALSE(open("\xC3\xB1", "wb"));
    EXPECT_FALSE(open("\xC3\xB1", "ab"));
}

TEST_F(FileContract, FailsBelowAFile) {
    write("file", "text");
    EXPECT_FALSE(open("file/inner", "rb"));
    EXPECT_FALSE(open("file/inner", "wb"));
    EXPECT_EQ(read("file"), "text");
}

TEST_F(FileContract, FailsForAnEmptyPath) {
    EXPECT_EQ(FilePtr(file_open("", "rb")), nullptr);
    EXPECT_EQ(FilePtr(file_open("", "wb")), nullptr);
}

TEST_F(FileContract, FailsForANameTooLongForTheSystem) {
    EXPECT_FALSE(open(std::string(300, 'n'), "wb"));
    EXPECT_TRUE(names().empty());
}

TEST_F(FileContract, RefusesANameThatIsNotUtf8WhereNamesAreNoBytes) {
    for (const char* const name : {
             "\xFF",             // no byte of UTF-8
             "\x80",             // a following byte alone
             "cut \xE5\x90",     // a character without its end
             "\xC0\xAF",         // a slash in two bytes
             "\xED\xA0\x80",     // half a character of UTF-16
             "\xF4\x90\x80\x80", // beyond the last character
         }) {
        const bool is_opened = open(name, "wb") != nullptr;
        EXPECT_EQ(is_opened, k_names_are_bytes);
        EXPECT_EQ(names(), k_names_are_bytes ? Names{name} : Names{});
        EXPECT_EQ(open(name, "rb") != nullptr, k_names_are_bytes);
        if (is_opened) {
            fs::remove(path(name));
        }
    }
}

TEST_F(FileContract, OpensInAnyThread) {
    std::vector<std::thread> threads;
    for (const char* const name : k_names) {
        threads.emplace_back([this, name] { write(name, name); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const char* const name : k_names) {
        EXPECT_EQ(read(name), name);
    }
}

} // namespace
