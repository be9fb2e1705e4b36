// The window, its title bar, its pages, and its end.
#include "ui_harness.h"

#include "backend/identity.h"
#include "base/main_thread.h"
#include "base/text.h"
#include "ui/localisation.h"

#include <gtest/gtest.h>

namespace {

constexpr int k_starts = 3; // Wine restores the window at one in a hundred, on a busy machine

GtkWidget* title_box() {
    GtkWidget* const header = gtk_window_get_titlebar(GTK_WINDOW(g_window));
    return gtk_header_bar_get_title_widget(GTK_HEADER_BAR(header));
}

TEST(AppShell, WindowHasTitleDefaultSizeAndIsMaximised) {
    bool is_maximised = false;
    for (int start = 0; start < k_starts && !is_maximised; ++start) {
        const int status = run_interface([&is_maximised] {
            GtkWindow* const window = GTK_WINDOW(g_window);
            EXPECT_TRUE(gtk_widget_get_visible(g_window));
            EXPECT_STREQ(gtk_window_get_title(window), "Velmo Voice Chat");
            is_maximised = comes_up_maximised();
            if (!is_maximised) {
                return;
            }
            gtk_window_unmaximize(window);
            wait_until([window] { return !gtk_window_is_maximized(window); });
            int width = 0;
            int height = 0;
            gtk_window_get_default_size(window, &width, &height);
            EXPECT_EQ(width, 900);
            EXPECT_EQ(height, 650);
        });
        EXPECT_EQ(status, 0);
    }
    EXPECT_TRUE(is_maximised);
}

TEST(AppShell, TitleBarShowsIconAndName) {
    run_interface([] {
        GtkWidget* const header = gtk_window_get_titlebar(GTK_WINDOW(g_window));
        ASSERT_TRUE(GTK_IS_HEADER_BAR(header));
        EXPECT_TRUE(has_class(header, "app-titlebar"));
        GtkWidget* const box = title_box();
        ASSERT_TRUE(GTK_IS_BOX(box));
        EXPECT_EQ(gtk_orientable_get_orientation(GTK_ORIENTABLE(box)), GTK_ORIENTATION_HORIZONTAL);
        EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(box)), 8);
        const std::vector<GtkWidget*> parts = children_of(box);
        ASSERT_EQ(parts.size(), 2U);
        ASSERT_TRUE(GTK_IS_IMAGE(parts[0]));
        EXPECT_EQ(gtk_image_get_pixel_size(GTK_IMAGE(parts[0])), 20);
        ASSERT_TRUE(GTK_IS_LABEL(parts[1]));
        EXPECT_EQ(label(parts[1]), "Velmo Voice Chat");
        EXPECT_TRUE(has_class(parts[1], "app-titlebar-title"));
    });
}

TEST(AppShell, PrefersTheDarkTheme) {
    run_interface([] {
        gboolean dark = FALSE;
        g_object_get(gtk_settings_get_default(), "gtk-application-prefer-dark-theme", &dark,
                     nullptr);
        EXPECT_TRUE(dark);
    });
}

TEST(AppShell, StackHoldsItsPagesInOrderAndCrossFades) {
    run_interface([] {
        EXPECT_EQ(gtk_window_get_child(GTK_WINDOW(g_window)), g_main_stack);
        EXPECT_EQ(create_app_shell(), g_main_stack);
        GtkStack* const stack = GTK_STACK(g_main_stack);
        EXPECT_EQ(gtk_stack_get_transition_type(stack), GTK_STACK_TRANSITION_TYPE_CROSSFADE);
        EXPECT_EQ(gtk_stack_get_transition_duration(stack), 200U);

        GtkSelectionModel* const pages = gtk_stack_get_pages(stack);
        Texts names;
        for (guint i = 0; i < g_list_model_get_n_items(G_LIST_MODEL(pages)); ++i) {
            const GObjectPtr<GtkStackPage> page(
                static_cast<GtkStackPage*>(g_list_model_get_item(G_LIST_MODEL(pages), i)));
            names.emplace_back(gtk_stack_page_get_name(page.get()));
        }
        g_object_unref(pages);
        EXPECT_EQ(names, (Texts{"login", "register", "hub", "rooms", "main"}));
        EXPECT_EQ(gtk_stack_get_child_by_name(stack, "login"), g_login_page);
        EXPECT_EQ(gtk_stack_get_child_by_name(stack, "register"), g_register_page);
        EXPECT_EQ(gtk_stack_get_child_by_name(stack, "hub"), g_hub_page);
        EXPECT_EQ(gtk_stack_get_child_by_name(stack, "rooms"), g_rooms_page);
        EXPECT_EQ(gtk_stack_get_child_by_name(stack, "main"), g_main_page);
    });
}

TEST(AppShell, ShowsLoginFirst) {
    run_interface([] { EXPECT_EQ(visible_page(), "login"); });
}

TEST(AppShell, SwitchesToEachPageByName) {
    run_interface([] {
        switch_to_register_page();
        EXPECT_EQ(visible_page(), "register");
        switch_to_hub_page();
        EXPECT_EQ(visible_page(), "hub");
        switch_to_rooms_page();
        EXPECT_EQ(visible_page(), "rooms");
        switch_to_main_page();
        EXPECT_EQ(visible_page(), "main");
        switch_to_login_page();
        EXPECT_EQ(visible_page(), "login");
    });
}

TEST(AppShell, MainPageHoldsNotebookSeparatorAndAudioBar) {
    run_interface([] {
        GtkBox* const page = GTK_BOX(g_main_page);
        EXPECT_EQ(gtk_orientable_get_orientation(GTK_ORIENTABLE(page)), GTK_ORIENTATION_VERTICAL);
        EXPECT_EQ(gtk_box_get_spacing(page), 0);
        EXPECT_TRUE(gtk_widget_get_hexpand(g_main_page));
        EXPECT_TRUE(gtk_widget_get_vexpand(g_main_page));
        const std::vector<GtkWidget*> parts = children_of(g_main_page);
        ASSERT_EQ(parts.size(), 3U);
        EXPECT_EQ(parts[0], g_notebook);
        EXPECT_TRUE(GTK_IS_SEPARATOR(parts[1]));
        EXPECT_TRUE(has_class(parts[2], "audio-bar"));

        GtkNotebook* const notebook = GTK_NOTEBOOK(g_notebook);
        EXPECT_EQ(gtk_notebook_get_tab_pos(notebook), GTK_POS_TOP);
        EXPECT_TRUE(gtk_widget_get_vexpand(g_notebook));
        ASSERT_EQ(gtk_notebook_get_n_pages(notebook), 1);
        EXPECT_EQ(gtk_notebook_get_nth_page(notebook, 0), g_channel_tab);
        EXPECT_STREQ(gtk_notebook_get_tab_label_text(notebook, g_channel_tab), "Canal");
    });
}

TEST(AppShell, MainPageNamesTheChannelInTheChosenLanguage) {
    run_interface([] {
        attach(g_status_label, gtk_label_new(""), g_channel_tab);
        attach(g_channel_name_label, gtk_label_new(""), g_channel_tab);
        switch_to_main_page();
        EXPECT_EQ(label(g_status_label), "En canal: general");
        EXPECT_EQ(label(g_channel_name_label), "general");
        g_language = k_language_english;
        switch_to_main_page();
        EXPECT_EQ(label(g_status_label), "In channel: general");
        g_language = k_language_spanish;
    });
}

TEST(AppShell, MainPageShowsTheUserUnderTheDisplayName) {
    run_interface([] {
        attach(g_user_label, gtk_label_new("old"), g_channel_tab);
        copy_text(g_username, "ana");
        copy_text(g_display_name, "Anita");
        switch_to_main_page();
        EXPECT_EQ(label(g_user_label), "Anita");
    });
    copy_text(g_username, "");
    copy_text(g_display_name, "");
}

TEST(AppShell, ASecondActivationKeepsTheOneWindow) {
    run_interface([] {
        GtkWidget* const window = g_window;
        g_application_activate(G_APPLICATION(g_app.get()));
        EXPECT_EQ(g_window, window);
        EXPECT_EQ(g_list_length(gtk_application_get_windows(g_app.get())), 1U);
    });
}

TEST(AppShell, ApplicationHasItsIdAndNoWindowMeansNoPages) {
    EXPECT_EQ(g_window, nullptr);
    switch_to_login_page();
    switch_to_register_page();
    switch_to_hub_page();
    switch_to_rooms_page();
    switch_to_main_page();
    run_interface([] {
        EXPECT_STREQ(g_application_get_application_id(G_APPLICATION(g_app.get())),
                     "com.velmotalk.pro");
    });
}

TEST(AppShell, NotesItsStartInTheHubLog) {
    std::remove("hub_click_debug.log");
    run_interface([] {});
    EXPECT_NE(read_file("hub_click_debug.log").find("[HUB][LOG] GUI_Init start"),
              std::string::npos);
}

TEST(AppShell, ClosingTheWindowEndsTheLoopAndLeavesNoWidgetBehind) {
    EXPECT_EQ(run_interface([] {
                  EXPECT_TRUE(main_thread_is_current());
                  gtk_window_close(GTK_WINDOW(g_window));
                  wait_until([] { return g_window == nullptr; });
              }),
              0);
    EXPECT_EQ(g_app, nullptr);
    EXPECT_EQ(g_main_stack, nullptr);
    EXPECT_EQ(g_login_page, nullptr);
    EXPECT_EQ(g_main_page, nullptr);
    EXPECT_EQ(g_notebook, nullptr);
    EXPECT_EQ(g_channel_tab, nullptr);
}

TEST(AppShell, RunHasNothingLeftToDo) {
    EXPECT_EQ(GUI_Run(), 0);
    GUI_Cleanup();
}

} // namespace
