// The file seam on Linux: replacing a file whole, and removing one.
#include "base/clock.h"
#include "platform/file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int k_links_max = 40; // as many as the system itself follows
constexpr int k_attempts_max = 200;
constexpr std::uint32_t k_attempt_ms = 5;

class Descriptor {
  public:
    explicit Descriptor(int number = -1) : m_number(number) {}
    Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (m_number >= 0) {
            close(m_number);
        }
    }

    int get() const { return m_number; }
    explicit operator bool() const { return m_number >= 0; }

  private:
    int m_number;
};

/// With the slash at its end; empty for a name alone.
std::string folder_of(const std::string& path) {
    return path.substr(0, path.rfind('/') + 1);
}

/// The file that `path` leads to, whether it is there or not; empty for links in a circle.
std::string file_behind_links(std::string path) {
    for (int links = 0; links <= k_links_max; ++links) {
        std::array<char, PATH_MAX> target{};
        const ssize_t length = readlink(path.c_str(), target.data(), target.size());
        if (length < 0) {
            return path;
        }
        const std::string next(target.data(), static_cast<std::size_t>(length));
        const std::size_t name = next.starts_with('/') ? 0 : path.rfind('/') + 1;
        path.replace(name, std::string::npos, next);
    }
    return {};
}

/// Renaming asks neither what it replaces nor whether that may be written.
bool may_be_replaced(const std::string& path) {
    struct stat info {};
    if (lstat(path.c_str(), &info) != 0) {
        return errno == ENOENT;
    }
    return S_ISREG(info.st_mode) && faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0;
}

/// True when opening the file beside failed because of what lies there, not for want of anything.
bool is_unsuitable(int error) {
    constexpr std::array k_errors = {EACCES, EISDIR, ELOOP, ENODEV, ENXIO, ETXTBSY};
    return std::find(k_errors.begin(), k_errors.end(), error) != k_errors.end();
}

/// A second name would show the bytes to whoever has it. Of none it is once another save is done.
bool is_file_of_one_name(const struct stat& info) {
    return S_ISREG(info.st_mode) && info.st_nlink <= 1;
}

bool is_same_file(const struct stat& one, const struct stat& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/// Opens the file beside, made or left by an interrupted save, and locks it: two programs that save
/// at once must not write to one file.
Descriptor lock_beside(const std::string& path) {
    for (int attempt = 0; attempt < k_attempts_max; ++attempt) {
        Descriptor file(open(path.c_str(),
                             O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC,
                             S_IRUSR | S_IWUSR));
        if (!file && errno == EINTR) {
            continue;
        }
        if (!file && !is_unsuitable(errno)) {
            return Descriptor();
        }
        struct stat opened {};
        if (file && fstat(file.get(), &opened) != 0) {
            return Descriptor();
        }
        if (!file || !is_file_of_one_name(opened)) {
            // What else may lie there is nothing to write to.
            if (unlink(path.c_str()) != 0) {
                return Descriptor();
            }
            continue;
        }
        // A file system without locks is used without.
        if (flock(file.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
            clock_sleep_ms(k_attempt_ms);
            continue;
        }
        // Whoever held the lock until now has renamed this file, and it must not be touched.
        struct stat named {};
        if (lstat(path.c_str(), &named) == 0 && is_same_file(opened, named)) {
            return file;
        }
    }
    return Descriptor();
}

bool write_all(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

bool write_to_disk(int descriptor, std::string_view bytes) {
    return fchmod(descriptor, S_IRUSR | S_IWUSR) == 0 && ftruncate(descriptor, 0) == 0 &&
           write_all(descriptor, bytes) && fsync(descriptor) == 0;
}

/// Takes the new name to the disk. Without this a power cut may bring the old file back, whole.
void flush_folder_of(const std::string& path) {
    const Descriptor folder(
        open((folder_of(path) + ".").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder) {
        fsync(folder.get());
    }
}

} // namespace

bool file_replace_whole(const char* path, std::string_view bytes) {
    const std::string target = file_behind_links(path);
    if (target.empty() || !may_be_replaced(target)) {
        return false;
    }
    const std::string beside = target + ".new";
    const Descriptor file = lock_beside(beside);
    if (!file) {
        return false;
    }
    if (!write_to_disk(file.get(), bytes) || rename(beside.c_str(), target.c_str()) != 0) {
        unlink(beside.c_str());
        return false;
    }
    flush_folder_of(target);
    return true;
}

bool file_remove(const char* path) {
    const std::string target = file_behind_links(path);
    if (target.empty()) {
        return false;
    }
    unlink((target + ".new").c_str());
    struct stat info {};
    return lstat(target.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
           unlink(target.c_str()) == 0;
}
