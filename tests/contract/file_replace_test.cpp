// Replacing a file whole and removing one, as both systems must behave.
#include "contract/console_child.h"
#include "contract/file_children.h"
#include "contract/file_folder.h"
#include "platform/file.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::string_view k_bytes("\0\n\r\n\x1A\xFF end", 10);

class FileReplacement : public FileFolderTest {
  protected:
    bool replace(std::string_view name, std::string_view bytes) const {
        return file_replace_whole(path(name).c_str(), bytes);
    }
};

TEST_F(FileReplacement, MakesAFileOfExactlyTheseBytesAndNoOther) {
    EXPECT_TRUE(replace("file", k_bytes));
    EXPECT_EQ(read("file"), k_bytes);
    EXPECT_EQ(names(), Names{"file"});
}

TEST_F(FileReplacement, LeavesNothingOfALongerFile) {
    write("file", std::string(100'000, 'x'));
    EXPECT_TRUE(replace("file", "now"));
    EXPECT_EQ(read("file"), "now");
    EXPECT_EQ(names(), Names{"file"});
}

TEST_F(FileReplacement, MakesAnEmptyFileOfNoBytes) {
    write("file", "before");
    EXPECT_TRUE(replace("file", ""));
    EXPECT_EQ(read("file"), "");
}

TEST_F(FileReplacement, TakesMoreBytesThanOneWrite) {
    std::string bytes(5'000'000, 'x');
    bytes += "end";
    EXPECT_TRUE(replace("file", bytes));
    EXPECT_EQ(read("file"), bytes);
}

TEST_F(FileReplacement, TakesNamesInUtf8) {
    EXPECT_TRUE(replace("ni\xC3\xB1o \xF0\x9F\x98\x80", "text"));
    EXPECT_EQ(names(), Names{"ni\xC3\xB1o \xF0\x9F\x98\x80"});
}

TEST_F(FileReplacement, WritesOverWhatAnInterruptedSaveLeftBeside) {
    write("file", "old");
    write("file.new", std::string(100'000, 'x'));
    EXPECT_TRUE(replace("file", "now"));
    EXPECT_EQ(read("file"), "now");
    EXPECT_EQ(names(), Names{"file"});
}

TEST_F(FileReplacement, FailsInAMissingFolderAndMakesNone) {
    EXPECT_FALSE(replace("folder/file", "text"));
    EXPECT_TRUE(names().empty());
}

TEST_F(FileReplacement, FailsForAnEmptyPath) {
    EXPECT_FALSE(file_replace_whole("", "text"));
    EXPECT_FALSE(file_remove(""));
}

TEST_F(FileReplacement, FailsForANameTooLongForTheSystem) {
    EXPECT_FALSE(replace(std::string(300, 'n'), "text"));
    EXPECT_TRUE(names().empty());
}

TEST_F(FileReplacement, FailsBelowAFile) {
    write("file", "text");
    EXPECT_FALSE(replace("file/inner", "text"));
    EXPECT_EQ(read("file"), "text");
}

TEST_F(FileReplacement, DoesNotReplaceAFolder) {
    fs::create_directory(path("file"));
    EXPECT_FALSE(replace("file", "text"));
    EXPECT_TRUE(fs::is_directory(path("file")));
    EXPECT_EQ(names(), Names{"file"});
}

TEST_F(FileReplacement, FailsWhenAFolderLiesInItsWayBeside) {
    write("file", "old");
    fs::create_directory(path("file.new"));
    EXPECT_FALSE(replace("file", "now"));
    EXPECT_EQ(read("file"), "old");
}

TEST_F(FileReplacement, AReaderKeepsTheOldFileOrSeesTheNewOneWhole) {
    write("file", version_text(1));
    std::atomic<bool> stop = false;
    std::atomic<int> broken = 0;
    std::thread reader([&] {
        while (!stop) {
            broken += version_of(read("file")) == 0;
        }
    });
    int saved = 0;
    for (std::uint32_t version = 2; version < 200; ++version) {
        saved += replace("file", version_text(version));
    }
    stop = true;
    reader.join();
    EXPECT_EQ(broken, 0);
    EXPECT_EQ(saved, 198);
    EXPECT_EQ(version_of(read("file")), 199U);
}

TEST_F(FileReplacement, ThoseThatSaveAtOnceLeaveOneWholeSaveOfAny) {
    std::atomic<int> broken = 0;
    std::vector<std::thread> threads;
    for (std::uint32_t first = 1000; first <= 6000; first += 1000) {
        threads.emplace_back([&, first] {
            for (std::uint32_t version = first; version < first + 50; ++version) {
                replace("file", version_text(version));
                broken += version_of(read("file")) == 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(broken, 0);
    EXPECT_EQ(names(), Names{"file"});
}

// However the test ends: the child would not end by itself, and its destructor waits for it.
struct Killer {
    ConsoleChild& child;
    ~Killer() { child.kill(); }
};

// The children are killed wherever they are: at random after a number of saves and then of looks at
// their file, each of which must see one whole version, never older than the one before.
TEST_F(FileReplacement, AKilledProgramLeavesOneWholeVersion) {
    const std::string file = path("file");
    ASSERT_TRUE(replace("file", version_text(1)));
    constexpr int k_rounds = 50;
    std::mt19937 random(20);
    std::uint32_t newest = 1;
    int left_beside = 0;
    for (int round = 0; round < k_rounds; ++round) {
        ConsoleChild child({"--child", "save-for-ever", file, std::to_string(newest + 1)});
        const Killer killer{child};
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        const std::uint32_t enough = newest + 1 + static_cast<std::uint32_t>(random() % 80);
        for (auto looks = random() % 300; newest < enough || looks > 0; looks -= looks > 0) {
            ASSERT_LT(std::chrono::steady_clock::now(), end) << "the child saves no more";
            const std::uint32_t version = version_of(read("file"));
            ASSERT_GE(version, newest);
            newest = version;
        }
        child.kill();
        EXPECT_EQ(child.wait(), -1);
        const std::uint32_t version = version_of(read("file"));
        ASSERT_GE(version, newest);
        newest = version;
        left_beside += fs::exists(path("file.new"));
    }
    std::printf("%d programs killed during %u saves, %d of them with a file beside\n", k_rounds,
                newest, left_beside);
    EXPECT_TRUE(replace("file", "now"));
    EXPECT_EQ(names(), Names{"file"});
}

TEST_F(FileReplacement, RemovesAFile) {
    write("file", "text");
    write("other", "text");
    EXPECT_TRUE(file_remove(path("file").c_str()));
    EXPECT_EQ(names(), Names{"other"});
}

TEST_F(FileReplacement, RemovesWhatAnInterruptedSaveLeftBeside) {
    write("file", "text");
    write("file.new", "secret");
    EXPECT_TRUE(file_remove(path("file").c_str()));
    EXPECT_TRUE(names().empty());
    write("file.new", "secret");
    EXPECT_FALSE(file_remove(path("file").c_str()));
    EXPECT_TRUE(names().empty());
}

TEST_F(FileReplacement, RemovesNoFolderAndNothingThatIsMissing) {
    fs::create_directory(path("folder"));
    EXPECT_FALSE(file_remove(path("folder").c_str()));
    EXPECT_FALSE(file_remove(path("file").c_str()));
    EXPECT_FALSE(file_remove(path("missing/file").c_str()));
    EXPECT_EQ(names(), Names{"folder"});
}

TEST_F(FileReplacement, MakesAFolderOnce) {
    EXPECT_TRUE(folder_create(path("ni\xC3\xB1o").c_str()));
    EXPECT_EQ(names(), Names{"ni\xC3\xB1o"});
    EXPECT_TRUE(replace("ni\xC3\xB1o/file", "text"));
    EXPECT_FALSE(folder_create(path("ni\xC3\xB1o").c_str()));
    EXPECT_EQ(read("ni\xC3\xB1o/file"), "text");
    EXPECT_FALSE(folder_create(path("missing/folder").c_str()));
    EXPECT_FALSE(folder_create(""));
}

} // namespace
