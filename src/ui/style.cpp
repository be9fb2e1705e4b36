// The style sheet: finds it from the working folder and adds it to the display. Called by the
// shell.
#include "ui/ui_internal.h"

#include <cstdio>

namespace {

constexpr const char* k_style_paths[] = {
    "resources/style.css",
    "../resources/style.css",
    "style.css",
};

constexpr const char* k_fallback_css =
    "window { background-color: #1e1f22; }"
    "button { background-color: #313338; color: white; border-radius: 6px; padding: 10px; }"
    "button:hover { background-color: #404249; }"
    "entry { background-color: #1e1f22; color: white; border-radius: 8px; padding: 10px; }"
    ".suggested-action { background-color: #5865f2; }"
    ".login-container { background-color: #2b2d31; border-radius: 12px; padding: 32px; }";

void load_style_into(GtkCssProvider* provider) {
    for (const char* path : k_style_paths) {
        if (g_file_test(path, G_FILE_TEST_IS_REGULAR)) {
            gtk_css_provider_load_from_path(provider, path);
            std::printf("CSS loaded from: %s\n", path);
            std::fflush(stdout);
            return;
        }
    }
    gtk_css_provider_load_from_data(provider, k_fallback_css, -1);
    std::printf("Using fallback CSS\n");
    std::fflush(stdout);
}

} // namespace

GObjectPtr<GtkCssProvider> g_css_provider;

void load_css() {
    g_css_provider.reset(gtk_css_provider_new());
    load_style_into(g_css_provider.get());
    gtk_style_context_add_provider_for_display(gdk_display_get_default(),
                                               GTK_STYLE_PROVIDER(g_css_provider.get()),
                                               GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
}
