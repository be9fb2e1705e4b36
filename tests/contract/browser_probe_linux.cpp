// See browser_probe.h. On Linux programs and what they open are files in folders that the
// environment names.
#include "contract/browser_probe.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;

// Before GLib looks at them: it does so once.
bool use_own_folders() {
    const fs::path folder = fs::current_path() / "data";
    fs::create_directories(folder / "applications");
    return setenv("XDG_DATA_HOME", folder.c_str(), 1) == 0 &&
           setenv("XDG_CONFIG_HOME", folder.c_str(), 1) == 0 &&
           setenv("XDG_DATA_DIRS", folder.c_str(), 1) == 0 &&
           setenv("XDG_CONFIG_DIRS", folder.c_str(), 1) == 0 &&
           setenv("XDG_CURRENT_DESKTOP", "test", 1) == 0 &&
           unsetenv("DBUS_SESSION_BUS_ADDRESS") == 0;
}

} // namespace

bool install_browser(const std::string& what) {
    if (!use_own_folders()) {
        return false;
    }
    std::ofstream("data/applications/velmo-test.desktop")
        << "[Desktop Entry]\nType=Application\nName=Test\nPath=" << fs::current_path().string()
        << "\nExec=" << fs::read_symlink("/proc/self/exe").string() << " --browser " << what
        << " %u\nMimeType=x-scheme-handler/http;x-scheme-handler/https;\n";
    std::ofstream("data/mimeapps.list")
        << "[Default Applications]\nx-scheme-handler/http=velmo-test.desktop\n"
           "x-scheme-handler/https=velmo-test.desktop\n";
    return fs::exists("data/mimeapps.list");
}

bool install_no_browser() {
    return use_own_folders();
}

void strike_at_starter() {
    std::signal(SIGTERM, SIG_IGN);
    kill(0, SIGTERM);
}

void stand_alone() {
    setsid();
}
