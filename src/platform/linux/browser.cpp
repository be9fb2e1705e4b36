// The desktop seam on Linux: opening a web address. Called by the sign-in.
#include "base/glib_owner.h"
#include "base/gobject_owner.h"
#include "platform/browser_address.h"
#include "platform/desktop.h"

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include <unistd.h>

namespace {

using AppInfoPtr = GObjectPtr<GAppInfo>;

/// Runs in the browser's process before it is the browser. In a session of its own it is out of
/// reach of what ends ours, and ours of what it does to its own: some start as scripts that end
/// with "kill 0".
void leave_session(gpointer) {
    setsid();
}

AppInfoPtr browser_for(const char* address) {
    const GCharPtr scheme(g_uri_parse_scheme(address));
    return AppInfoPtr(scheme ? g_app_info_get_default_for_uri_scheme(scheme.get()) : nullptr);
}

} // namespace

bool desktop_open_address(const char* address) {
    if (address == nullptr || !is_browser_address(address)) {
        return false;
    }
    const AppInfoPtr browser = browser_for(address);
    if (!browser || !G_IS_DESKTOP_APP_INFO(browser.get())) {
        // In a sandbox another program may know one.
        return g_app_info_launch_default_for_uri(address, nullptr, nullptr) != FALSE;
    }
    GList addresses{const_cast<char*>(address), nullptr, nullptr};
    // Its chatter does not belong in our output, which whoever reads it would also wait for.
    const auto flags = static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_STDOUT_TO_DEV_NULL |
                                                G_SPAWN_STDERR_TO_DEV_NULL);
    return g_desktop_app_info_launch_uris_as_manager(G_DESKTOP_APP_INFO(browser.get()), &addresses,
                                                     nullptr, flags, leave_session, nullptr,
                                                     nullptr, nullptr, nullptr) != FALSE;
}
