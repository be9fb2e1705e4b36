// The desktop seam on Linux: debug output, for the log in every module, and the user's folder.
#include "platform/desktop.h"

#include <cstdio>
#include <cstdlib>

#include <sys/stat.h>

namespace {

// Decided once: the environment may be read safely only while nobody changes it, and a log call
// from the capture thread should not search it every time.
bool wants_debug_output() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment
    static const bool wanted = std::getenv("VELMO_DEBUG") != nullptr;
    return wanted;
}

/// Empty unless the variable names a folder from the root on: relative ones do not count.
std::string folder_from_environment(const char* name) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment
    const char* const value = std::getenv(name);
    return value != nullptr && value[0] == '/' ? value : "";
}

/// Missing folders above it, too. Failures show when the folder is used.
void make_folder(const std::string& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) == 0) {
        return;
    }
    for (std::size_t end = path.find('/', 1); end != std::string::npos;
         end = path.find('/', end + 1)) {
        mkdir(path.substr(0, end).c_str(), S_IRWXU);
    }
    mkdir(path.c_str(), S_IRWXU);
}

} // namespace

void desktop_debug_output(const char* text) {
    if (wants_debug_output()) {
        std::fputs(text, stderr);
    }
}

std::string desktop_user_data_folder() {
    std::string folder = folder_from_environment("XDG_CONFIG_HOME");
    if (folder.empty()) {
        folder = folder_from_environment("HOME");
        if (folder.empty()) {
            return {};
        }
        folder += "/.config";
    }
    make_folder(folder);
    return folder;
}
