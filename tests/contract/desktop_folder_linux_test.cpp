// The user's folder on Linux, out of XDG_CONFIG_HOME and HOME.
#include "platform/desktop.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

class Variable {
  public:
    Variable(const char* name, const std::optional<std::string>& value) : m_name(name) {
        if (const char* const before = std::getenv(name)) {
            m_before = before;
        }
        set(value);
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable() { set(m_before); }

  private:
    void set(const std::optional<std::string>& value) const {
        if (value) {
            setenv(m_name, value->c_str(), 1);
        } else {
            unsetenv(m_name);
        }
    }

    const char* m_name;
    std::optional<std::string> m_before;
};

std::string folder_with(const std::optional<std::string>& config,
                        const std::optional<std::string>& home) {
    const Variable config_variable("XDG_CONFIG_HOME", config);
    const Variable home_variable("HOME", home);
    return desktop_user_data_folder();
}

std::string own_path(const std::string& name) {
    return (fs::current_path() / name).string();
}

mode_t mode_of(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 ? info.st_mode & 0777U : 0;
}

TEST(DesktopUserDataFolder, IsTheConfigurationFolder) {
    EXPECT_EQ(folder_with(own_path("config"), own_path("home")), own_path("config"));
    EXPECT_FALSE(fs::exists("home"));
}

TEST(DesktopUserDataFolder, IsDotConfigAtHomeOtherwise) {
    const std::string home = own_path("home");
    EXPECT_EQ(folder_with(std::nullopt, home), home + "/.config");
    EXPECT_EQ(folder_with("", home), home + "/.config");
    EXPECT_EQ(folder_with("relative", home), home + "/.config");
    EXPECT_FALSE(fs::exists("relative"));
}

TEST(DesktopUserDataFolder, IsNoneWithoutAHome) {
    EXPECT_EQ(folder_with(std::nullopt, std::nullopt), "");
    EXPECT_EQ(folder_with("", ""), "");
    EXPECT_EQ(folder_with("./relative", "relative"), "");
}

TEST(DesktopUserDataFolder, IsAskedAnewEveryTime) {
    EXPECT_EQ(folder_with(own_path("one"), std::nullopt), own_path("one"));
    EXPECT_EQ(folder_with(own_path("two"), std::nullopt), own_path("two"));
}

TEST(DesktopUserDataFolder, IsMadeForTheUserAloneWhenMissing) {
    const std::string deep = own_path("missing/folders/config");
    EXPECT_EQ(folder_with(deep, std::nullopt), deep);
    EXPECT_EQ(mode_of(deep), 0700U);
    EXPECT_EQ(mode_of(own_path("missing")), 0700U);
    EXPECT_EQ(folder_with(own_path("slash/"), std::nullopt), own_path("slash/"));
    EXPECT_TRUE(fs::is_directory("slash"));
}

TEST(DesktopUserDataFolder, KeepsTheRightsOfOneThatIsThere) {
    fs::create_directory("shared");
    chmod("shared", 0755);
    EXPECT_EQ(folder_with(own_path("shared"), std::nullopt), own_path("shared"));
    EXPECT_EQ(mode_of("shared"), 0755U);
}

TEST(DesktopUserDataFolder, IsNamedEvenWhereItCannotBeMade) {
    EXPECT_EQ(folder_with("/dev/null/config", std::nullopt), "/dev/null/config");
}

TEST(DesktopUserDataFolder, TakesAnyBytesAndAnyLength) {
    EXPECT_EQ(folder_with(own_path("ni\xC3\xB1o \xFF"), std::nullopt),
              own_path("ni\xC3\xB1o \xFF"));
    const std::string longest = "/dev/null/" + std::string(100'000, 'x');
    EXPECT_EQ(folder_with(longest, std::nullopt), longest);
}

} // namespace
