// See user_folder.h.
#include "unit/storage/user_folder.h"

#include "backend/endpoints.h"
#include "backend/identity.h"
#include "base/text.h"
#include "platform/desktop.h"
#include "ui/localisation.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <system_error>

namespace fs = std::filesystem;

std::string g_user_folder;

std::string desktop_user_data_folder() {
    return g_user_folder;
}

UserFolder::UserFolder() {
    g_user_folder = testing::UnitTest::GetInstance()->current_test_info()->name();
    fs::create_directory(g_user_folder);
    g_language = k_language_spanish;
    copy_text(g_display_name, "");
    copy_text(g_username, "");
    copy_text(g_user_email, "");
    copy_text(g_session_token, "");
    copy_text(g_backend_url, get_selected_backend_url());
}

UserFolder::~UserFolder() {
    std::error_code failure;
    fs::remove_all(testing::UnitTest::GetInstance()->current_test_info()->name(), failure);
    EXPECT_FALSE(failure);
}

fs::path UserFolder::own_folder() const {
    return fs::path(g_user_folder) / "VelmoTalkPro";
}

void UserFolder::write(const fs::path& path, std::string_view bytes) const {
    fs::create_directories(path.parent_path());
    std::ofstream stream(path, std::ios::binary);
    stream << bytes;
    ASSERT_TRUE(stream.flush());
}

std::string UserFolder::read(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return stream ? std::string{std::istreambuf_iterator<char>(stream), {}} : "(missing)";
}

std::vector<std::string> UserFolder::names() const {
    std::vector<std::string> found;
    for (const fs::directory_entry& entry : fs::directory_iterator(own_folder())) {
        found.push_back(entry.path().filename().string());
    }
    std::sort(found.begin(), found.end());
    return found;
}
