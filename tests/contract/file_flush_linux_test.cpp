// In which order a replaced file reaches the disk: a power cut must find the old or the new bytes,
// never a new name with nothing behind it. Linux; linked with --wrap for the calls that tell.
#include "platform/file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;

// What was asked of the system, in its order, and what it shall answer.
struct Disk {
    std::vector<std::string> calls;
    std::string fails;                                    ///< the call that does
    std::size_t write_max = static_cast<std::size_t>(-1); ///< bytes that one write takes
    int interruptions = 0;                                ///< of writes to come

    /// False when the call shall fail.
    bool note(const std::string& call) {
        calls.push_back(call);
        if (call == fails) {
            errno = EIO;
            return false;
        }
        return true;
    }
};

Disk* g_disk = nullptr;

std::string name_of(int descriptor) {
    return fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor)).filename();
}

} // namespace

// The linker's names for the replacements and what they replace.
extern "C" {
ssize_t __real_write(int descriptor, const void* bytes, std::size_t size);
int __real_fsync(int descriptor);
int __real_rename(const char* from, const char* to);
ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t size);
int __wrap_fsync(int descriptor);
int __wrap_rename(const char* from, const char* to);

ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t size) {
    if (g_disk == nullptr) {
        return __real_write(descriptor, bytes, size);
    }
    if (g_disk->interruptions > 0) {
        --g_disk->interruptions;
        errno = EINTR;
        return -1;
    }
    const std::string call = "write " + name_of(descriptor);
    const bool is_next_part = !g_disk->calls.empty() && g_disk->calls.back() == call;
    if (!is_next_part && !g_disk->note(call)) {
        return -1;
    }
    return __real_write(descriptor, bytes, std::min(size, g_disk->write_max));
}

int __wrap_fsync(int descriptor) {
    if (g_disk != nullptr && !g_disk->note("flush " + name_of(descriptor))) {
        return -1;
    }
    return __real_fsync(descriptor);
}

int __wrap_rename(const char* from, const char* to) {
    const std::string names =
        fs::path(from).filename().string() + " " + fs::path(to).filename().string();
    if (g_disk != nullptr && !g_disk->note("rename " + names)) {
        return -1;
    }
    return __real_rename(from, to);
}
}

namespace {

using Calls = std::vector<std::string>;

class FileFlush : public testing::Test {
  protected:
    void SetUp() override {
        fs::create_directory("folder");
        std::ofstream("folder/file", std::ios::binary) << "old";
        g_disk = &m_disk;
    }
    void TearDown() override {
        g_disk = nullptr;
        std::error_code failure;
        fs::remove_all("folder", failure);
        fs::remove_all("other", failure);
    }

    static bool replace(const char* path = "folder/file") {
        return file_replace_whole(path, "the new bytes");
    }
    static std::string content() {
        std::ifstream stream("folder/file", std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    static bool is_nothing_beside() { return !fs::exists("folder/file.new"); }

    Disk m_disk;
};

const Calls k_order = {"write file.new", "flush file.new", "rename file.new file", "flush folder"};

TEST_F(FileFlush, TheBytesAreOnTheDiskBeforeTheirNameAndThenTheName) {
    EXPECT_TRUE(replace());
    EXPECT_EQ(m_disk.calls, k_order);
    EXPECT_EQ(content(), "the new bytes");
}

TEST_F(FileFlush, WhatIsWrittenInPartsIsFlushedWhole) {
    m_disk.write_max = 3;
    m_disk.interruptions = 2;
    EXPECT_TRUE(replace());
    EXPECT_EQ(m_disk.calls, k_order);
    EXPECT_EQ(content(), "the new bytes");
}

TEST_F(FileFlush, TheFolderIsThatOfTheFileBehindALink) {
    fs::create_directory("other");
    fs::create_symlink("../folder/file", "other/link");
    EXPECT_TRUE(replace("other/link"));
    EXPECT_EQ(m_disk.calls, k_order);
}

TEST_F(FileFlush, OfANameAloneTheWorkingFolderIsFlushed) {
    EXPECT_TRUE(replace("file"));
    Calls calls = k_order;
    calls.back() = "flush " + fs::current_path().filename().string();
    EXPECT_EQ(m_disk.calls, calls);
    fs::remove("file");
}

TEST_F(FileFlush, BytesThatTheDiskRefusesReplaceNothing) {
    for (std::size_t fails = 0; fails < 3; ++fails) {
        m_disk = {};
        m_disk.fails = k_order[fails];
        EXPECT_FALSE(replace()) << m_disk.fails;
        EXPECT_EQ(m_disk.calls,
                  Calls(k_order.begin(), k_order.begin() + 1 + static_cast<std::ptrdiff_t>(fails)));
        EXPECT_EQ(content(), "old") << m_disk.fails;
        EXPECT_TRUE(is_nothing_beside()) << m_disk.fails;
    }
}

// The bytes are there whole, under one name or the other.
TEST_F(FileFlush, AFolderThatCannotBeFlushedIsNoFailure) {
    m_disk.fails = k_order.back();
    EXPECT_TRUE(replace());
    EXPECT_EQ(content(), "the new bytes");
    EXPECT_TRUE(is_nothing_beside());
}

} // namespace
