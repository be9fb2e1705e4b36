// See service/store/data_folder.h.
#include "service/store/data_folder.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

DataFolder::~DataFolder() {
    m_database.reset(); // before anybody else may have it
    if (m_lock >= 0) {
        close(m_lock);
    }
}

bool DataFolder::open(const std::string& folder, std::string& error) {
    const auto failed = [&](const std::string& what) {
        error = "cannot use the data folder " + folder + ": " + what;
        return false;
    };
    std::error_code code;
    if (std::filesystem::create_directories(folder, code)) {
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all, code);
    }
    if (code) {
        return failed(code.message());
    }
    m_lock = ::open((folder + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (m_lock < 0) {
        return failed(std::system_category().message(errno));
    }
    if (flock(m_lock, LOCK_EX | LOCK_NB) != 0) {
        return failed(errno == EWOULDBLOCK ? "another service is using it"
                                           : std::system_category().message(errno));
    }
    m_database = Database::open(folder + "/velmo.db", error);
    return m_database != nullptr;
}
