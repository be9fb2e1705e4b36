// See console_child.h.
#include "contract/console_child.h"

#include "platform/windows/wide_text.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace {

class Handle {
  public:
    Handle() = default;
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { reset(); }

    void reset(HANDLE handle = nullptr) {
        if (m_handle != nullptr && m_handle != INVALID_HANDLE_VALUE) {
            CloseHandle(m_handle);
        }
        m_handle = handle;
    }
    HANDLE get() const { return m_handle; }

  private:
    HANDLE m_handle = nullptr;
};

SECURITY_ATTRIBUTES inherited() {
    return {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
}

struct Pipe {
    Pipe() {
        HANDLE from = nullptr;
        HANDLE to = nullptr;
        SECURITY_ATTRIBUTES attributes = inherited();
        if (CreatePipe(&from, &to, &attributes, 0) != 0) {
            reader.reset(from);
            writer.reset(to);
        }
    }
    Handle reader;
    Handle writer;
};

void keep(const Handle& end) {
    SetHandleInformation(end.get(), HANDLE_FLAG_INHERIT, 0);
}

std::string read_to(HANDLE pipe, std::optional<std::size_t> size) {
    std::string text;
    std::array<char, 4096> bytes{};
    while (!size || text.size() < *size) {
        const std::size_t most = size ? std::min(bytes.size(), *size - text.size()) : bytes.size();
        DWORD count = 0;
        if (ReadFile(pipe, bytes.data(), static_cast<DWORD>(most), &count, nullptr) == 0) {
            break;
        }
        text.append(bytes.data(), count);
    }
    return text;
}

// A backslash is itself unless a quote follows.
std::wstring command_argument(std::string_view argument) {
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t unit : wide_of(argument).value_or(L"?")) {
        if (unit == L'"') {
            text.append(backslashes + 1, L'\\');
        }
        backslashes = unit == L'\\' ? backslashes + 1 : 0;
        text += unit;
    }
    text.append(backslashes, L'\\');
    return text + L'"';
}

} // namespace

struct ConsoleChild::State {
    Pipe input;
    Pipe output;
    Pipe errors;
    Handle process;
};

ConsoleChild::ConsoleChild(const std::vector<std::string>& arguments,
                           const ConsoleChildFiles& files)
    : m_state(std::make_unique<State>()) {
    std::wstring command = L"child";
    for (const std::string& argument : arguments) {
        command += L' ' + command_argument(argument);
    }
    std::wstring program(32768, L'\0');
    program.resize(GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));

    keep(m_state->input.writer);
    keep(m_state->output.reader);
    keep(m_state->errors.reader);
    SECURITY_ATTRIBUTES attributes = inherited();
    Handle input_file;
    Handle output_file;
    STARTUPINFOW setup{};
    setup.cb = sizeof setup;
    setup.dwFlags = STARTF_USESTDHANDLES;
    setup.hStdError = m_state->errors.writer.get();
    setup.hStdInput = m_state->input.reader.get();
    setup.hStdOutput = m_state->output.writer.get();
    if (files.is_without_input) {
        setup.hStdInput = nullptr;
    } else if (!files.input.empty()) {
        input_file.reset(CreateFileW(files.input.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                     &attributes, OPEN_EXISTING, 0, nullptr));
        setup.hStdInput = input_file.get();
    }
    if (!files.output.empty()) {
        output_file.reset(CreateFileW(files.output.c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                                      &attributes, CREATE_ALWAYS, 0, nullptr));
        setup.hStdOutput = output_file.get();
    }
    PROCESS_INFORMATION started{};
    if (CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                       &setup, &started) != 0) {
        CloseHandle(started.hThread);
        m_state->process.reset(started.hProcess);
    }
    m_state->input.reader.reset();
    m_state->output.writer.reset();
    m_state->errors.writer.reset();
}

ConsoleChild::~ConsoleChild() {
    end_input();
    m_state->output.reader.reset();
    m_state->errors.reader.reset();
    wait();
}

bool ConsoleChild::write(std::string_view bytes) {
    DWORD count = 0;
    return WriteFile(m_state->input.writer.get(), bytes.data(), static_cast<DWORD>(bytes.size()),
                     &count, nullptr) != 0 &&
           count == bytes.size();
}

void ConsoleChild::end_input() {
    m_state->input.writer.reset();
}

std::string ConsoleChild::read_output(std::size_t size) {
    return read_to(m_state->output.reader.get(), size);
}

std::string ConsoleChild::read_output() {
    return read_to(m_state->output.reader.get(), std::nullopt);
}

std::string ConsoleChild::read_errors() {
    return read_to(m_state->errors.reader.get(), std::nullopt);
}

void ConsoleChild::kill() {
    TerminateProcess(m_state->process.get(), static_cast<UINT>(-1));
}

int ConsoleChild::wait() {
    DWORD status = 0;
    if (WaitForSingleObject(m_state->process.get(), INFINITE) != WAIT_OBJECT_0 ||
        GetExitCodeProcess(m_state->process.get(), &status) == 0) {
        return -1;
    }
    return static_cast<int>(status);
}

void write_raw_output(std::string_view bytes) {
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    while (!bytes.empty()) {
        DWORD count = 0;
        if (WriteFile(output, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) ==
            0) {
            return;
        }
        bytes.remove_prefix(count);
    }
}
