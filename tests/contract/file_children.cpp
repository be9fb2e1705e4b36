// See file_children.h. Holds the main, too.
#include "contract/file_children.h"

#include "platform/file.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

// What only one of the systems has.
int run_system_child(std::string_view what, const char* path);

std::string version_text(std::uint32_t version) {
    const std::string number = std::to_string(version);
    const auto letter = static_cast<char>('a' + version % 26);
    return number + "\n" + std::string(version * 7919U % 20'000U, letter) + "\n" + number;
}

std::uint32_t version_of(std::string_view text) {
    const std::string number(text.substr(0, text.find('\n')));
    const auto version = static_cast<std::uint32_t>(std::strtoul(number.c_str(), nullptr, 10));
    return text == version_text(version) ? version : 0;
}

int save_once(const char* path, std::uint32_t version) {
    return file_replace_whole(path, version_text(version)) ? k_saved : k_not_saved;
}

int save_for_ever(const char* path, std::uint32_t first) {
    for (std::uint32_t version = first; save_once(path, version) == k_saved; ++version) {
    }
    return k_not_saved;
}

int main(int argc, char** argv) {
    if (argc > 3 && std::string_view(argv[1]) == "--child") {
        const std::string_view what = argv[2];
        const char* const path = argv[3];
        if (what == "save-for-ever" && argc > 4) {
            const auto first = static_cast<std::uint32_t>(std::strtoul(argv[4], nullptr, 10));
            return save_for_ever(path, first);
        }
        return run_system_child(what, path);
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
