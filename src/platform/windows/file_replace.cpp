// The file seam on Windows: replacing a file whole, and removing one.
#include "base/clock.h"
#include "platform/file.h"
#include "platform/windows/wide_text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

namespace {

constexpr int k_attempts_max = 200;
constexpr std::uint32_t k_attempt_ms = 5;

struct HandleCloser {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using HandlePtr = std::unique_ptr<void, HandleCloser>;

HandlePtr owned(HANDLE handle) {
    return HandlePtr(handle != INVALID_HANDLE_VALUE ? handle : nullptr);
}

constexpr DWORD k_share_all = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/// Opens what a link leads to, to learn its name. A missing file is made for that moment: only the
/// system knows where it would be.
HandlePtr open_behind_link(const std::wstring& path) {
    HandlePtr file = owned(CreateFileW(path.c_str(), 0, k_share_all, nullptr, OPEN_EXISTING,
                                       FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!file && GetLastError() == ERROR_FILE_NOT_FOUND) {
        file = owned(CreateFileW(path.c_str(), DELETE, k_share_all, nullptr, CREATE_NEW,
                                 FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    }
    return file;
}

/// The file that `path` leads to, whether it is there or not, with all of its folders; empty for a
/// path that is none and for a link that leads to no folder's file.
std::wstring file_behind_links(const char* path) {
    const std::optional<std::wstring> wide = wide_of(path);
    if (!wide || wide->empty()) {
        return {};
    }
    const DWORD attributes = GetFileAttributesW(wide->c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
        return wide_text_from([&wide](wchar_t* buffer, DWORD size) {
            return GetFullPathNameW(wide->c_str(), size, buffer, nullptr);
        });
    }
    const HandlePtr file = open_behind_link(*wide);
    if (!file) {
        return {};
    }
    return wide_text_from([&file](wchar_t* buffer, DWORD size) {
        return GetFinalPathNameByHandleW(file.get(), buffer, size, VOLUME_NAME_DOS);
    });
}

bool may_be_replaced(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        return GetLastError() == ERROR_FILE_NOT_FOUND;
    }
    return (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)) == 0;
}

/// Repeats `act` while it fails because the file is in use: by another program that saves it, or by
/// one that only looks at every new file.
template <typename Act>
bool while_in_use(std::initializer_list<DWORD> errors_of_use, Act act) {
    for (int attempt = 0; attempt < k_attempts_max; ++attempt) {
        if (act()) {
            return true;
        }
        if (std::find(errors_of_use.begin(), errors_of_use.end(), GetLastError()) ==
            errors_of_use.end()) {
            return false;
        }
        clock_sleep_ms(k_attempt_ms);
    }
    return false;
}

/// Removes a file or a link, also one that is protected from writing; false for a folder.
bool clear_away(const std::wstring& path) {
    constexpr DWORD k_folder_link = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        return false;
    }
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    }
    return ((attributes & k_folder_link) == k_folder_link ? RemoveDirectoryW(path.c_str())
                                                          : DeleteFileW(path.c_str())) != 0;
}

/// A link would take the bytes elsewhere, and a second name would show them to whoever has it.
bool is_file_of_one_name(HANDLE file) {
    BY_HANDLE_FILE_INFORMATION info{};
    return GetFileInformationByHandle(file, &info) != 0 && info.nNumberOfLinks <= 1 &&
           (info.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == 0;
}

/// Makes it empty and neither hidden nor the system's, which the renamed file would be, too.
bool make_plain(HANDLE file) {
    FILE_BASIC_INFO info{}; // zero: as it was
    info.FileAttributes = FILE_ATTRIBUTE_NORMAL;
    return SetFileInformationByHandle(file, FileBasicInfo, &info, sizeof info) != 0 &&
           SetEndOfFile(file) != 0;
}

/// Opens the file beside, emptied, with no other writer, and so that it may be renamed while it is
/// open: two programs that save at once must not write to one file.
HandlePtr open_beside(const std::wstring& path) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        HandlePtr file;
        const bool is_open = while_in_use({ERROR_SHARING_VIOLATION}, [&] {
            file = owned(CreateFileW(
                path.c_str(), GENERIC_WRITE | DELETE, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                FILE_ATTRIBUTE_NORMAL | FILE_FLAG_WRITE_THROUGH | FILE_FLAG_OPEN_REPARSE_POINT,
                nullptr));
            return file != nullptr;
        });
        if (is_open && is_file_of_one_name(file.get())) {
            return make_plain(file.get()) ? std::move(file) : nullptr;
        }
        if (!is_open && GetLastError() != ERROR_ACCESS_DENIED) {
            return nullptr;
        }
        // What else may lie there is nothing to write to.
        file.reset();
        if (!clear_away(path)) {
            return nullptr;
        }
    }
    return nullptr;
}

bool write_to_disk(HANDLE file, std::string_view bytes) {
    while (!bytes.empty()) {
        constexpr std::size_t k_piece = 1 << 20;
        const auto size = static_cast<DWORD>(std::min(bytes.size(), k_piece));
        DWORD count = 0;
        if (WriteFile(file, bytes.data(), size, &count, nullptr) == 0 || count == 0) {
            return false;
        }
        bytes.remove_prefix(count);
    }
    return FlushFileBuffers(file) != 0;
}

bool rename_over(HANDLE file, const std::wstring& target) {
    const std::size_t name_bytes = target.size() * sizeof(wchar_t);
    // In words of a pointer's size, for the alignment. The structure holds one character itself,
    // which the terminating one takes.
    std::vector<void*> words((sizeof(FILE_RENAME_INFO) + name_bytes) / sizeof(void*) + 1);
    auto* const info = reinterpret_cast<FILE_RENAME_INFO*>(words.data());
    info->ReplaceIfExists = TRUE;
    info->FileNameLength = static_cast<DWORD>(name_bytes);
    std::memcpy(info->FileName, target.c_str(), name_bytes);
    const auto size = static_cast<DWORD>(words.size() * sizeof(void*));
    // Renaming over a file that somebody reads is denied.
    return while_in_use({ERROR_SHARING_VIOLATION, ERROR_ACCESS_DENIED}, [&] {
        return SetFileInformationByHandle(file, FileRenameInfo, info, size) != 0;
    });
}

void remove_open(HANDLE file) {
    FILE_DISPOSITION_INFO info{};
    info.DeleteFile = TRUE;
    SetFileInformationByHandle(file, FileDispositionInfo, &info, sizeof info);
}

} // namespace

bool file_replace_whole(const char* path, std::string_view bytes) {
    const std::wstring target = file_behind_links(path);
    if (target.empty() || !may_be_replaced(target)) {
        return false;
    }
    const HandlePtr file = open_beside(target + L".new");
    if (!file) {
        return false;
    }
    if (!write_to_disk(file.get(), bytes) || !rename_over(file.get(), target)) {
        remove_open(file.get());
        return false;
    }
    return true;
}

bool file_remove(const char* path) {
    const std::wstring target = file_behind_links(path);
    if (target.empty()) {
        return false;
    }
    while_in_use({ERROR_SHARING_VIOLATION}, [&] { return clear_away(target + L".new"); });
    // What may not be removed is denied, too, and not worth the wait.
    return may_be_replaced(target) &&
           while_in_use({ERROR_SHARING_VIOLATION, ERROR_ACCESS_DENIED},
                        [&] { return DeleteFileW(target.c_str()) != 0; });
}
