// Opening a web address, with this test program itself as the browser. Holds the main, too: started
// once more it is the program that opens an address, or the browser.
#include "contract/browser_probe.h"
#include "contract/console_child.h"
#include "platform/console.h"
#include "platform/desktop.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr int k_opened = 0;
constexpr int k_not_opened = 1;
constexpr int k_browser_never_came = 2;
constexpr int k_not_installed = 3;

// Long enough for a browser to start on a busy machine, and never waited for in full otherwise.
bool comes_to_be(const fs::path& path) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!fs::exists(path)) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

// Whole as soon as it is there.
void leave_note(const std::string& text) {
    std::ofstream("note.part", std::ios::binary) << text;
    fs::rename("note.part", "note");
}

// Waits for the note. Whoever renamed it may still have it open, and be alone with it.
std::string note() {
    std::ifstream stream;
    for (comes_to_be("note"); !stream.is_open(); stream.open("note", std::ios::binary)) {
        if (!fs::exists("note")) {
            return "(none)";
        }
    }
    return {std::istreambuf_iterator<char>(stream), {}};
}

int be_the_browser(std::string_view what, const std::vector<std::string>& arguments) {
    if (what == "strike") {
        strike_at_starter();
    } else if (what == "chatter") {
        std::puts("chatter");
        std::fputs("chatter", stderr);
        std::fflush(stdout);
    }
    std::string text;
    for (const std::string& argument : arguments) {
        text += "<" + argument + ">";
    }
    leave_note(text);
    if (what == "stay") {
        comes_to_be("leave");
        fs::create_directory("left");
    }
    return 0;
}

int open_address(std::string_view what, const char* address) {
    stand_alone();
    if (!(what == "none" ? install_no_browser() : install_browser(std::string(what)))) {
        return k_not_installed;
    }
    if (!desktop_open_address(address)) {
        return k_not_opened;
    }
    return comes_to_be("note") ? k_opened : k_browser_never_came;
}

class Browser : public testing::Test {
  protected:
    void SetUp() override {
        m_before = fs::current_path();
        const char* const name = testing::UnitTest::GetInstance()->current_test_info()->name();
        ASSERT_TRUE(fs::create_directory(name));
        fs::current_path(name);
    }
    void TearDown() override { fs::current_path(m_before); }

    int open(const char* what, const std::string& address) const {
        return ConsoleChild({"--open", what, address}).wait();
    }

    fs::path m_before;
};

TEST_F(Browser, GetsTheAddressExactly) {
    for (const char* const address : {
             "http://127.0.0.1:3600/consent?request=a%20b&x=1#top",
             "https://velmo.example/%22%5C;$(touch%20owned)`x`|&'",
             "HTTPS://velmo.example",
             "https://velmo.example/\xC3\xB1",
         }) {
        // Each leaves its note in a folder of its own.
        fs::create_directory("next");
        fs::current_path("next");
        EXPECT_EQ(open("plain", address), k_opened) << address;
        EXPECT_EQ(note(), "<" + std::string(address) + ">");
    }
}

// Wine itself breaks over a thousand bytes.
TEST_F(Browser, GetsALongAddress) {
    const std::string address = "https://velmo.example/" + std::string(800, 'x');
    EXPECT_EQ(open("plain", address), k_opened);
    EXPECT_EQ(note(), "<" + address + ">");
}

TEST_F(Browser, IsNotWaitedFor) {
    EXPECT_EQ(open("stay", "https://velmo.example/"), k_opened);
    EXPECT_EQ(note(), "<https://velmo.example/>");
    EXPECT_FALSE(fs::exists("left"));
    std::ofstream("leave") << "now";
    EXPECT_TRUE(comes_to_be("left"));
}

TEST_F(Browser, ItsOutputIsNotOurs) {
    ConsoleChild child({"--open", "chatter", "https://velmo.example/"});
    EXPECT_EQ(child.read_output(), "");
    EXPECT_EQ(child.read_errors(), "");
    EXPECT_EQ(child.wait(), k_opened);
}

TEST_F(Browser, DoesNotTakeTheProgramWithIt) {
    EXPECT_EQ(open("strike", "https://velmo.example/"), k_opened);
}

TEST_F(Browser, FailsWithoutOne) {
    EXPECT_EQ(open("none", "https://velmo.example/"), k_not_opened);
}

TEST_F(Browser, OpensNothingButWebAddresses) {
    for (const char* const address : {
             "",
             "velmo.example",
             "file:///etc/passwd",
             "/usr/bin/true",
             "C:\\Windows\\System32\\cmd.exe",
             "\\\\host\\share\\program.exe",
             "javascript:alert(1)",
             "mailto:ana@velmo.example",
             "http:",
             "http://",
             "https:velmo.example",
             " https://velmo.example",
             "https://velmo.example --option",
             "https://velmo.example\"--option",
             "https://velmo.example\nhttps://other.example",
             "https://velmo.example\x7F",
         }) {
        EXPECT_EQ(open("plain", address), k_not_opened) << address;
    }
    EXPECT_FALSE(fs::exists("note"));
    EXPECT_FALSE(desktop_open_address(nullptr));
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments = console_arguments(argc, argv);
    if (arguments.size() > 2 && arguments[0] == "--open") {
        return open_address(arguments[1], arguments[2].c_str());
    }
    if (arguments.size() > 1 && arguments[0] == "--browser") {
        return be_the_browser(arguments[1], {arguments.begin() + 2, arguments.end()});
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
