// What the tests of the file seam share: a folder of each test's own, under the one where it runs.
#pragma once

#include "platform/file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

class FileFolderTest : public testing::Test {
  protected:
    using Names = std::vector<std::string>;

    void SetUp() override {
        m_folder = testing::UnitTest::GetInstance()->current_test_info()->name();
        ASSERT_TRUE(std::filesystem::create_directory(m_folder));
    }
    void TearDown() override {
        std::error_code failure;
        std::filesystem::remove_all(m_folder, failure);
        EXPECT_FALSE(failure);
    }

    const std::string& folder() const { return m_folder; }

    std::string path(std::string_view name) const { return m_folder + "/" + std::string(name); }

    FilePtr open(std::string_view name, const char* mode) const {
        return FilePtr(file_open(path(name).c_str(), mode));
    }

    void write(std::string_view name, std::string_view bytes, const char* mode = "wb") const {
        const FilePtr file = open(name, mode);
        ASSERT_TRUE(file) << name;
        EXPECT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), file.get()), bytes.size());
    }

    std::string read(std::string_view name) const {
        const FilePtr file = open(name, "rb");
        if (!file) {
            return "(not opened)";
        }
        std::string text;
        std::array<char, 4096> bytes{};
        while (const std::size_t count = std::fread(bytes.data(), 1, bytes.size(), file.get())) {
            text.append(bytes.data(), count);
        }
        return text;
    }

    /// Of what is in the folder, in the order of their bytes.
    Names names() const {
        Names found;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder)) {
            const std::u8string name = entry.path().filename().u8string();
            found.emplace_back(name.begin(), name.end());
        }
        std::sort(found.begin(), found.end());
        return found;
    }

  private:
    std::string m_folder;
};
