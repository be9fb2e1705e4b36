// The file seam on Windows, where the C library takes UTF-8 in no path.
#include "platform/file.h"

#include "platform/windows/wide_text.h"

std::FILE* file_open(const char* path, const char* mode) {
    const std::optional<std::wstring> wide_path = wide_of(path);
    const std::optional<std::wstring> wide_mode = wide_of(mode);
    return wide_path && wide_mode ? _wfopen(wide_path->c_str(), wide_mode->c_str()) : nullptr;
}
