// The user's data folder as the tests of this room want it, in place of the desktop seam; and the
// files in it, read and written around the file seam.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

/// What desktop_user_data_folder returns.
extern std::string g_user_folder;

/// A user folder of the test's own, with nothing in it, and all texts of the identity empty.
class UserFolder : public testing::Test {
  protected:
    UserFolder();
    ~UserFolder() override;

    std::filesystem::path own_folder() const;
    std::filesystem::path settings() const { return own_folder() / "settings.txt"; }
    std::filesystem::path session() const { return own_folder() / "auth_session.txt"; }

    /// Makes the folder, too.
    void write(const std::filesystem::path& path, std::string_view bytes) const;

    /// All bytes; "(missing)" without the file.
    static std::string read(const std::filesystem::path& path);

    /// What is in the program's own folder.
    std::vector<std::string> names() const;
};
