// How the audio contract tests reach the sound server's machine from under Wine, which starts the
// host's programs but cannot wait for them: a file tells the end.
#include "contract/audio_support.h"

#include <windows.h>

#include <cstdlib>
#include <fstream>

bool lists_hold_cards_only() {
    return false;
}

bool run_on_host(const std::string& command) {
    const char* folder = std::getenv("VELMO_SOUND_FOLDER");
    if (folder == nullptr) {
        return false;
    }
    const std::string done = std::string("Z:") + folder + "/done";
    DeleteFileA(done.c_str());
    std::string line = R"(Z:\bin\bash -c "( )" + command +
                       "; ); echo $? >$VELMO_SOUND_FOLDER/done.new;"
                       " mv $VELMO_SOUND_FOLDER/done.new $VELMO_SOUND_FOLDER/done\"";
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                       &process) == 0) {
        return false;
    }
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
    if (!eventually([&] { return GetFileAttributesA(done.c_str()) != INVALID_FILE_ATTRIBUTES; })) {
        return false;
    }
    int status = -1;
    std::ifstream(done) >> status;
    return status == 0;
}
