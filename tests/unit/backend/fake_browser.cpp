// See fake_browser.h.
#include "unit/backend/fake_browser.h"

#include "platform/browser_address.h"
#include "platform/desktop.h"

namespace {

std::vector<std::string> g_opened;
bool g_works = true;

} // namespace

bool desktop_open_address(const char* address) {
    if (!is_browser_address(address)) {
        return false;
    }
    g_opened.emplace_back(address);
    return g_works;
}

const std::vector<std::string>& fake_browser_opened() {
    return g_opened;
}

void fake_browser_reset(bool works) {
    g_opened.clear();
    g_works = works;
}
