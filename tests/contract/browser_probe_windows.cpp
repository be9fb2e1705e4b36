// See browser_probe.h. On Windows the registry names programs; this process is given a part of it
// of its own.
#include "contract/browser_probe.h"

#include <initializer_list>
#include <memory>

#include <windows.h>

namespace {

struct KeyCloser {
    void operator()(HKEY key) const { RegCloseKey(key); }
};
using KeyPtr = std::unique_ptr<HKEY__, KeyCloser>;

KeyPtr make_key(HKEY parent, const std::wstring& path) {
    HKEY key = nullptr;
    // Gone when the user's session ends, whatever this program forgets.
    RegCreateKeyExW(parent, path.c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr,
                    &key, nullptr);
    return KeyPtr(key);
}

bool set_value(const KeyPtr& key, const wchar_t* name, const std::wstring& text) {
    const auto bytes = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
    return key != nullptr &&
           RegSetValueExW(key.get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          bytes) == ERROR_SUCCESS;
}

KeyPtr use_own_registry() {
    KeyPtr root = make_key(HKEY_CURRENT_USER,
                           L"Software\\VelmoTest" + std::to_wstring(GetCurrentProcessId()));
    if (root == nullptr || RegOverridePredefKey(HKEY_CLASSES_ROOT, root.get()) != ERROR_SUCCESS) {
        return nullptr;
    }
    return root;
}

} // namespace

bool install_browser(const std::string& what) {
    const KeyPtr root = use_own_registry();
    if (root == nullptr) {
        return false;
    }
    std::wstring program(MAX_PATH, L'\0');
    program.resize(GetModuleFileNameW(nullptr, program.data(), MAX_PATH));
    const std::wstring command =
        L"\"" + program + L"\" --browser " + std::wstring(what.begin(), what.end()) + L" \"%1\"";
    for (const wchar_t* const scheme : {L"http", L"https"}) {
        const KeyPtr key = make_key(root.get(), scheme);
        const KeyPtr command_key =
            make_key(root.get(), std::wstring(scheme) + L"\\shell\\open\\command");
        if (!set_value(key, L"URL Protocol", L"") || !set_value(command_key, nullptr, command)) {
            return false;
        }
    }
    return true;
}

bool install_no_browser() {
    return use_own_registry() != nullptr;
}

// There are no signals, and the program has no console through which another could end it.
void strike_at_starter() {}

void stand_alone() {}
