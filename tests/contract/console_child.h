// This test program started once more, with all ends of its console in the test's hands; one
// implementation per system.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// What stands in place of the child's pipes; an empty path leaves the pipe.
struct ConsoleChildFiles {
    std::filesystem::path input;
    std::filesystem::path output;
    bool is_without_input = false;
};

/// A running child. Its destructor closes the pipes and waits for its end. One thread.
class ConsoleChild {
  public:
    /// `arguments` are in UTF-8, the program's name not among them.
    explicit ConsoleChild(const std::vector<std::string>& arguments,
                          const ConsoleChildFiles& files = {});
    ~ConsoleChild();
    ConsoleChild(const ConsoleChild&) = delete;
    ConsoleChild& operator=(const ConsoleChild&) = delete;

    /// One write to the child's standard input; false unless it took all.
    bool write(std::string_view bytes);

    void end_input();

    /// Waits for `size` bytes of standard output; fewer at its end.
    std::string read_output(std::size_t size);

    /// Waits for the end of standard output and returns what came until then.
    std::string read_output();

    /// The same for standard error.
    std::string read_errors();

    /// Ends the child at once, with nothing of its own done any more.
    void kill();

    /// Waits for the child's end. Its exit status, -1 when it never ran or was killed.
    int wait();

  private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// Writes to this process's standard output around the C library and the console seam.
void write_raw_output(std::string_view bytes);
