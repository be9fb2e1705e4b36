// Replacing a file whole where only Linux has the case: links, rights, limits and full disks.
#include "contract/console_child.h"
#include "contract/file_children.h"
#include "contract/file_folder.h"
#include "platform/file.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr rlim_t k_limit = 3000;

bool limit_file_size() {
    const rlimit limit{k_limit, k_limit};
    return setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

// Larger than the limit, and than the small disk.
std::string large_text() {
    return std::string(100'000, 'x');
}

int save_large(const char* path) {
    return file_replace_whole(path, large_text()) ? k_saved : k_not_saved;
}

// In a mount namespace of the child's own, which ends with it.
int save_to_a_full_disk(const char* path) {
    if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, "") != 0 ||
        mount("velmo", path, "tmpfs", 0, "size=16k") != 0) {
        return k_not_possible;
    }
    const std::string file = std::string(path) + "/file";
    if (!file_replace_whole(file.c_str(), "old") ||
        file_replace_whole(file.c_str(), large_text())) {
        return k_not_saved;
    }
    std::ifstream stream(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    const bool is_kept = text == "old" && !fs::exists(file + ".new");
    // With room again, all goes on.
    return is_kept && file_replace_whole(file.c_str(), "now") ? k_saved : k_not_saved;
}

// Rights count for nothing where root is the user.
bool become_nobody() {
    constexpr uid_t k_nobody = 65534;
    return geteuid() != 0 || (setresgid(k_nobody, k_nobody, k_nobody) == 0 &&
                              setresuid(k_nobody, k_nobody, k_nobody) == 0);
}

// From inside: the folders above may be closed to this user.
int save_as_nobody(const char* path) {
    const std::string name = fs::path(path).filename();
    if (chdir(fs::path(path).parent_path().c_str()) != 0 || !become_nobody()) {
        return k_not_possible;
    }
    return save_once(name.c_str(), 2);
}

class FileReplacementOnLinux : public FileFolderTest {
  protected:
    void SetUp() override {
        FileFolderTest::SetUp();
        chmod(folder().c_str(), 0777);
    }
    void TearDown() override {
        chmod(folder().c_str(), 0777);
        FileFolderTest::TearDown();
    }

    bool replace(const std::string& name, std::string_view bytes) const {
        return file_replace_whole(path(name).c_str(), bytes);
    }

    bool exists(const std::string& name) const {
        return fs::exists(fs::symlink_status(path(name)));
    }

    mode_t mode(const std::string& name) const {
        struct stat info {};
        return stat(path(name).c_str(), &info) == 0 ? info.st_mode & 0777U : 0;
    }

    int run_child(const char* what, const std::string& name) const {
        return ConsoleChild({"--child", what, path(name)}).wait();
    }
};

TEST_F(FileReplacementOnLinux, FilesAndFoldersAreForTheUserAloneWhateverTheMask) {
    const mode_t mask = umask(0);
    EXPECT_TRUE(replace("file", "text"));
    EXPECT_TRUE(folder_create(path("folder").c_str()));
    umask(mask);
    EXPECT_EQ(mode("file"), 0600U);
    EXPECT_EQ(mode("folder"), 0700U);
}

TEST_F(FileReplacementOnLinux, AFileOpenToOthersIsClosedToThemByTheNextSave) {
    write("file", "old");
    write("file.new", "left");
    chmod(path("file").c_str(), 0666);
    chmod(path("file.new").c_str(), 0666);
    EXPECT_TRUE(replace("file", "now"));
    EXPECT_EQ(mode("file"), 0600U);
}

TEST_F(FileReplacementOnLinux, ALinkStaysAndWhatItLeadsToIsReplaced) {
    fs::create_directory(path("dotfiles"));
    write("dotfiles/settings", "old");
    fs::create_symlink("dotfiles/settings", path("settings"));
    EXPECT_TRUE(replace("settings", "now"));
    EXPECT_EQ(fs::read_symlink(path("settings")), "dotfiles/settings");
    EXPECT_EQ(read("dotfiles/settings"), "now");
    EXPECT_FALSE(exists("settings.new"));
    EXPECT_FALSE(exists("dotfiles/settings.new"));
}

TEST_F(FileReplacementOnLinux, FollowsLinksToLinksFromTheRootAndUpwards) {
    fs::create_directories(path("a/b"));
    fs::create_symlink("../../file", path("a/b/up"));
    fs::create_symlink(fs::absolute(path("a/b/up")), path("root"));
    fs::create_directory_symlink("a", path("folder"));
    fs::create_symlink("folder/b/up", path("through"));
    EXPECT_TRUE(replace("root", "one"));
    EXPECT_EQ(read("file"), "one");
    EXPECT_TRUE(replace("through", "two"));
    EXPECT_EQ(read("file"), "two");
    for (const char* const link : {"a/b/up", "root", "folder", "through"}) {
        EXPECT_TRUE(fs::is_symlink(path(link))) << link;
    }
}

TEST_F(FileReplacementOnLinux, MakesTheFileThatALinkLeadsToWhenItIsMissing) {
    fs::create_symlink("missing", path("link"));
    EXPECT_TRUE(replace("link", "text"));
    EXPECT_TRUE(fs::is_symlink(path("link")));
    EXPECT_EQ(read("missing"), "text");
}

TEST_F(FileReplacementOnLinux, FailsForLinksInACircle) {
    fs::create_symlink("two", path("one"));
    fs::create_symlink("one", path("two"));
    EXPECT_FALSE(replace("one", "text"));
    EXPECT_FALSE(file_remove(path("one").c_str()));
    EXPECT_EQ(fs::read_symlink(path("one")), "two");
}

TEST_F(FileReplacementOnLinux, RemovesTheFileThatALinkLeadsToAndKeepsTheLink) {
    write("secret", "text");
    fs::create_symlink("secret", path("link"));
    EXPECT_TRUE(file_remove(path("link").c_str()));
    EXPECT_FALSE(exists("secret"));
    EXPECT_TRUE(exists("link"));
}

// Whoever sends the file to the void so must keep the void.
TEST_F(FileReplacementOnLinux, ReplacesAndRemovesNothingThatIsNoRegularFile) {
    ASSERT_EQ(mkfifo(path("device").c_str(), 0600), 0);
    fs::create_symlink("device", path("link"));
    for (const char* const name : {"device", "link"}) {
        EXPECT_FALSE(replace(name, "text"));
        EXPECT_FALSE(file_remove(path(name).c_str()));
    }
    EXPECT_TRUE(fs::is_fifo(path("device")));
    EXPECT_FALSE(exists("device.new"));
}

TEST_F(FileReplacementOnLinux, RemovesWhatIsNoFileOfItsOwnFromItsWayBeside) {
    write("other", "of another");
    ASSERT_EQ(mkfifo(path("one.new").c_str(), 0600), 0);
    fs::create_symlink("other", path("two.new"));
    write("another", "of another");
    fs::create_hard_link(path("another"), path("three.new"));
    for (const char* const name : {"one", "two", "three"}) {
        EXPECT_TRUE(replace(name, name));
        EXPECT_EQ(read(name), name);
        EXPECT_FALSE(exists(std::string(name) + ".new"));
    }
    EXPECT_EQ(read("other"), "of another");
    EXPECT_EQ(read("another"), "of another");
}

TEST_F(FileReplacementOnLinux, RemovesAProtectedFileFromItsWayBeside) {
    write("file", "old");
    write("file.new", "left");
    chmod(path("file").c_str(), 0666);
    chmod(path("file.new").c_str(), 0444);
    EXPECT_EQ(run_child("as-nobody", "file"), k_saved);
    EXPECT_EQ(version_of(read("file")), 2U);
    EXPECT_FALSE(exists("file.new"));
}

TEST_F(FileReplacementOnLinux, WithoutADescriptorLeavesWhatIsBesideAlone) {
    write("file", "old");
    write("file.new", "left");
    EXPECT_EQ(run_child("no-descriptors", "file"), k_not_saved);
    EXPECT_EQ(read("file"), "old");
    EXPECT_EQ(read("file.new"), "left");
}

TEST_F(FileReplacementOnLinux, TakesBytesThatAreNotUtf8AsAName) {
    EXPECT_TRUE(replace("\xFF\x80", "text"));
    EXPECT_EQ(read("\xFF\x80"), "text");
}

TEST_F(FileReplacementOnLinux, GivesUpBesideAnotherProgramThatKeepsItLocked) {
    write("file", "old");
    const int other = ::open(path("file.new").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(other, 0);
    ASSERT_EQ(flock(other, LOCK_EX), 0);
    EXPECT_FALSE(replace("file", "now"));
    EXPECT_EQ(read("file"), "old");
    close(other);
    EXPECT_TRUE(replace("file", "now"));
    EXPECT_EQ(read("file"), "now");
}

TEST_F(FileReplacementOnLinux, AWriteThatFailsHalfwayKeepsTheOldFile) {
    write("file", "old");
    EXPECT_EQ(run_child("limited", "file"), k_not_saved);
    EXPECT_EQ(read("file"), "old");
    EXPECT_FALSE(exists("file.new"));
}

// The system ends the child in the middle of its write, with a part of it done.
TEST_F(FileReplacementOnLinux, AProgramThatEndsInTheMiddleOfAWriteLeavesTheOldFile) {
    write("file", "old");
    EXPECT_EQ(run_child("ended-by-limit", "file"), -1);
    EXPECT_EQ(read("file"), "old");
    EXPECT_EQ(fs::file_size(path("file.new")), k_limit);
    EXPECT_TRUE(replace("file", "now"));
    EXPECT_EQ(read("file"), "now");
    EXPECT_FALSE(exists("file.new"));
}

TEST_F(FileReplacementOnLinux, AFullDiskKeepsTheOldFile) {
    const int status = run_child("full-disk", "");
    if (status == k_not_possible) {
        GTEST_SKIP() << "this user may not mount a small disk";
    }
    EXPECT_EQ(status, k_saved);
}

TEST_F(FileReplacementOnLinux, FailsInAFolderThatIsProtectedFromWriting) {
    write("file", "old");
    chmod(path("file").c_str(), 0666);
    chmod(folder().c_str(), 0555);
    EXPECT_EQ(run_child("as-nobody", "file"), k_not_saved);
    EXPECT_EQ(run_child("as-nobody", "other"), k_not_saved);
    EXPECT_EQ(read("file"), "old");
    EXPECT_FALSE(exists("file.new"));
}

TEST_F(FileReplacementOnLinux, KeepsAFileThatIsProtectedFromWriting) {
    write("file", "old");
    chmod(path("file").c_str(), 0444);
    EXPECT_EQ(run_child("as-nobody", "file"), k_not_saved);
    EXPECT_EQ(read("file"), "old");
    EXPECT_FALSE(exists("file.new"));
    chmod(path("file").c_str(), 0666);
    EXPECT_EQ(run_child("as-nobody", "file"), k_saved);
    EXPECT_EQ(version_of(read("file")), 2U);
}

} // namespace

int run_system_child(std::string_view what, const char* path) {
    if (what == "limited") {
        std::signal(SIGXFSZ, SIG_IGN);
        return limit_file_size() ? save_large(path) : k_not_possible;
    }
    if (what == "ended-by-limit") {
        return limit_file_size() ? save_large(path) : k_not_possible;
    }
    if (what == "no-descriptors") {
        const rlimit none{0, 0};
        return setrlimit(RLIMIT_NOFILE, &none) == 0 ? save_large(path) : k_not_possible;
    }
    if (what == "full-disk") {
        return save_to_a_full_disk(path);
    }
    return what == "as-nobody" ? save_as_nobody(path) : k_not_possible;
}
