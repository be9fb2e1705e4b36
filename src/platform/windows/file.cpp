// The file seam on Windows, where the C library takes UTF-8 in no path.
#include "platform/file.h"

#include "platform/windows/wide_text.h"

#include <cstdint>

#include <fcntl.h>
#include <io.h>

namespace {

/// The C library would lock out whoever renames the file or still has it open from renaming it, and
/// fail beside one of them.
std::FILE* open_beside_others(const std::wstring& path, const std::wstring& mode) {
    const HANDLE handle = CreateFileW(path.c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        return nullptr;
    }
    const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), _O_RDONLY);
    if (descriptor < 0) {
        CloseHandle(handle);
        return nullptr;
    }
    std::FILE* const file = _wfdopen(descriptor, mode.c_str());
    if (file == nullptr) {
        _close(descriptor);
    }
    return file;
}

} // namespace

std::FILE* file_open(const char* path, const char* mode) {
    const std::optional<std::wstring> wide_path = wide_of(path);
    const std::optional<std::wstring> wide_mode = wide_of(mode);
    if (!wide_path || !wide_mode) {
        return nullptr;
    }
    return *wide_mode == L"rb" ? open_beside_others(*wide_path, *wide_mode)
                               : _wfopen(wide_path->c_str(), wide_mode->c_str());
}

bool folder_create(const char* path) {
    const std::optional<std::wstring> wide = wide_of(path);
    return wide && CreateDirectoryW(wide->c_str(), nullptr) != 0;
}
