// The main of the console contract test. Started by the test once more, with "--child" and what to
// do, it is the program whose console is under test.
#include "contract/console_child.h"
#include "platform/console.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

// No output of a child holds a line break where bytes are compared: Windows may make two of it.
void list_arguments(const std::vector<std::string>& arguments) {
    for (std::size_t i = 2; i < arguments.size(); ++i) {
        console_write(stdout, "<" + arguments[i] + ">");
    }
}

std::string read_input(std::size_t buffer_size) {
    std::string text;
    std::vector<char> bytes(buffer_size);
    while (const std::size_t count = console_read(bytes)) {
        text.append(bytes.data(), count);
    }
    return text;
}

void echo_input() {
    std::array<char, 16> bytes{};
    while (const std::size_t count = console_read(bytes)) {
        write_raw_output({bytes.data(), count});
    }
}

void write_lines_of_threads() {
    std::vector<std::thread> writers;
    for (char letter = 'a'; letter < 'e'; ++letter) {
        writers.emplace_back([letter] {
            // More than the C library's buffers hold.
            const std::string line(5000, letter);
            for (int i = 0; i < 100; ++i) {
                console_write(stdout, line + "\n");
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
}

int run_child(const std::vector<std::string>& arguments) {
    if (arguments.size() < 2 || arguments[0] != "--child") {
        return 3;
    }
    const std::string& what = arguments[1];
    if (what == "arguments") {
        list_arguments(arguments);
    } else if (what == "read") {
        write_raw_output(read_input(std::stoul(arguments[2])));
    } else if (what == "read-after-end") {
        std::array<char, 16> bytes{};
        const std::string before = read_input(16);
        console_write(stdout, before + std::to_string(console_read(bytes)));
    } else if (what == "echo") {
        echo_input();
    } else if (what == "write-input") {
        console_write(stdout, read_input(512));
    } else if (what == "write-and-end") {
        console_write(stdout, arguments[2]);
        console_write(stderr, arguments[3]);
        std::_Exit(0); // nothing is flushed any more
    } else if (what == "write-lines") {
        write_lines_of_threads();
    } else if (what == "is-terminal") {
        console_write(stdout, console_input_is_terminal() ? "yes" : "no");
    } else {
        return 2;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    // By what the system says, not the seam: a child must never become a test that starts more.
    if (argc > 1 && std::string_view(argv[1]) == "--child") {
        return run_child(console_arguments(argc, argv));
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
