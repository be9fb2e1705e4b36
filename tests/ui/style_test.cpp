// Finding the style sheet, and what it says.
#include "interface_fixture.h"

#include <filesystem>

namespace {

constexpr const char* k_expected_fallback =
    "window { background-color: #1e1f22; }button { background-color: #313338; color: white; "
    "border-radius: 6px; padding: 10px; }button:hover { background-color: #404249; }entry { "
    "background-color: #1e1f22; color: white; border-radius: 8px; padding: 10px; "
    "}.suggested-action { background-color: #5865f2; }.login-container { background-color: "
    "#2b2d31; border-radius: 12px; padding: 32px; }";

class Style : public InnerFolderTest {
  protected:
    /// What the start of the interface prints; `sheet` takes the text of the loaded style.
    static std::string start(std::string& sheet) {
        testing::internal::CaptureStdout();
        run_interface([&sheet] {
            const GCharPtr text(gtk_css_provider_to_string(g_css_provider.get()));
            sheet = text.get();
        });
        return testing::internal::GetCapturedStdout();
    }
};

/// What the window shows beside the login form, once it shows anything.
std::uint32_t window_colour() {
    const Pixels pixels = paint_widget(g_window);
    return pixels.data.empty() ? 0 : pixels.at(pixels.width / 20, pixels.height * 9 / 10);
}

std::string normalised(const char* css) {
    const GObjectPtr<GtkCssProvider> provider(gtk_css_provider_new());
    gtk_css_provider_load_from_data(provider.get(), css, -1);
    const GCharPtr text(gtk_css_provider_to_string(provider.get()));
    return text.get();
}

struct ParseErrors {
    std::vector<std::string> messages;
};

void on_parsing_error(GtkCssProvider*, GtkCssSection* section, GError* error, ParseErrors* errors) {
    const GCharPtr place(gtk_css_section_to_string(section));
    errors->messages.push_back(std::string(place.get()) + ": " + error->message);
}

TEST_F(Style, WithoutAnyFileTheBuiltInOneIsUsed) {
    std::string sheet;
    EXPECT_EQ(start(sheet), "Using fallback CSS\n");
    EXPECT_EQ(sheet, normalised(k_expected_fallback));
    EXPECT_NE(sheet.find("rgb(30,31,34)"), std::string::npos) << sheet;
}

TEST_F(Style, BuiltInStylePaintsTheWindow) {
    run_interface([] { wait_until([] { return window_colour() == 0xFF1E1F22U; }); });
}

TEST_F(Style, FileInResourcesComesFirst) {
    write_file("resources/style.css", "box { margin: 1px; }");
    write_file("../resources/style.css", "box { margin: 2px; }");
    write_file("style.css", "box { margin: 3px; }");
    std::string sheet;
    EXPECT_EQ(start(sheet), "CSS loaded from: resources/style.css\n");
    EXPECT_NE(sheet.find("1px"), std::string::npos) << sheet;
}

TEST_F(Style, FileInTheFolderAboveComesSecond) {
    write_file("../resources/style.css", "box { margin: 2px; }");
    write_file("style.css", "box { margin: 3px; }");
    std::string sheet;
    EXPECT_EQ(start(sheet), "CSS loaded from: ../resources/style.css\n");
    EXPECT_NE(sheet.find("2px"), std::string::npos) << sheet;
}

TEST_F(Style, FileInTheWorkingFolderComesLast) {
    write_file("style.css", "box { margin: 3px; }");
    std::string sheet;
    EXPECT_EQ(start(sheet), "CSS loaded from: style.css\n");
    EXPECT_NE(sheet.find("3px"), std::string::npos) << sheet;
}

TEST_F(Style, SheetIsAddedForTheDisplayAndPaints) {
    write_file("style.css", "window { background-color: #123456; }");
    run_interface([] { wait_until([] { return window_colour() == 0xFF123456U; }); });
}

/// A sheet of somebody else for the display, with this priority, until the scope ends.
class OtherSheet {
  public:
    OtherSheet(const char* css, guint priority) {
        gtk_css_provider_load_from_data(m_provider.get(), css, -1);
        gtk_style_context_add_provider_for_display(gdk_display_get_default(),
                                                   GTK_STYLE_PROVIDER(m_provider.get()), priority);
    }
    OtherSheet(const OtherSheet&) = delete;
    OtherSheet& operator=(const OtherSheet&) = delete;
    ~OtherSheet() {
        gtk_style_context_remove_provider_for_display(gdk_display_get_default(),
                                                      GTK_STYLE_PROVIDER(m_provider.get()));
    }

  private:
    GObjectPtr<GtkCssProvider> m_provider{gtk_css_provider_new()};
};

TEST_F(Style, SheetHasTheApplicationsPriority) {
    write_file("style.css", "window { background-color: #224466; }");
    constexpr guint k_ours = GTK_STYLE_PROVIDER_PRIORITY_APPLICATION;
    static_assert(k_ours == 600);
    const OtherSheet weaker("window { background-color: #880000; }", k_ours - 1);
    run_interface([] {
        wait_until([] { return window_colour() == 0xFF224466U; });
        const OtherSheet stronger("window { background-color: #008800; }", k_ours + 1);
        wait_until([] { return window_colour() == 0xFF008800U; });
    });
}

TEST_F(Style, OurSheetHasNoErrors) {
    run_interface([] {
        ParseErrors errors;
        const GObjectPtr<GtkCssProvider> provider(gtk_css_provider_new());
        g_signal_connect(provider.get(), "parsing-error", G_CALLBACK(on_parsing_error), &errors);
        gtk_css_provider_load_from_path(provider.get(), VELMO_RESOURCES "/style.css");
        EXPECT_EQ(errors.messages, Texts{});
        const GCharPtr text(gtk_css_provider_to_string(provider.get()));
        EXPECT_GT(std::string(text.get()).size(), 1000U);

        // The same watch does see an error.
        gtk_css_provider_load_from_data(provider.get(), "box { colour: red; }", -1);
        EXPECT_EQ(errors.messages.size(), 1U);
    });
}

GLogWriterOutput count_warnings(GLogLevelFlags level, const GLogField* fields, gsize count,
                                gpointer warnings) {
    if ((level & (G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING)) != 0) {
        const GCharPtr text(g_log_writer_format_fields(level, fields, count, FALSE));
        static_cast<std::vector<std::string>*>(warnings)->emplace_back(text.get());
    }
    return g_log_writer_default(level, fields, count, nullptr);
}

/// Where the log's warnings go; GLib takes one writer for the life of the process.
std::vector<std::string>& logged_warnings() {
    static std::vector<std::string> warnings;
    static const bool once = [] {
        g_log_set_writer_func(count_warnings, &warnings, nullptr);
        return true;
    }();
    (void)once;
    return warnings;
}

void add(GtkWidget* box, GtkWidget* widget, const char* css_class = nullptr) {
    if (css_class != nullptr) {
        gtk_widget_add_css_class(widget, css_class);
    }
    gtk_box_append(GTK_BOX(box), widget);
}

TEST_F(Style, OurSheetLaysOutEveryKindOfWidgetWithoutAWarning) {
    const ProgramResources resources;
    std::vector<std::string>& warnings = logged_warnings();
    run_interface([&warnings] {
        const char* const choices[] = {"uno", "dos", nullptr};
        GtkWidget* const page = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
        GtkWidget* const scrolled = gtk_scrolled_window_new();
        gtk_widget_set_vexpand(scrolled, TRUE);
        gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scrolled), page);
        add(g_hub_page, scrolled);
        warnings.clear();
        GtkWidget* const popover = gtk_popover_new();
        gtk_popover_set_child(GTK_POPOVER(popover), gtk_label_new("x"));
        GtkWidget* const menu = gtk_menu_button_new();
        gtk_menu_button_set_popover(GTK_MENU_BUTTON(menu), popover);
        add(page, menu);
        for (const char* name : {"btn-primary", "suggested-action", "destructive-action", "flat",
                                 "muted", "audio-control", "chat-send-btn", "login-btn"}) {
            add(page, gtk_button_new_with_label("x"), name);
            add(page, gtk_button_new_from_icon_name("mail-send-symbolic"), name);
        }
        add(page, gtk_entry_new(), "chat-input");
        add(page, gtk_password_entry_new(), "login-entry");
        add(page, gtk_drop_down_new_from_strings(choices));
        add(page, gtk_switch_new());
        for (const double value : {0.0, 100.0, 200.0}) {
            GtkWidget* const scale =
                gtk_scale_new_with_range(GTK_ORIENTATION_HORIZONTAL, 0.0, 200.0, 1.0);
            gtk_range_set_value(GTK_RANGE(scale), value);
            add(page, scale);
        }
        for (const double value : {0.0, 0.5, 1.0}) {
            GtkWidget* const meter = gtk_level_bar_new();
            gtk_level_bar_set_value(GTK_LEVEL_BAR(meter), value);
            add(page, meter, "audio-meter");
        }
        GtkWidget* const spinner = gtk_spinner_new();
        gtk_spinner_start(GTK_SPINNER(spinner));
        add(page, spinner);
        GtkWidget* const list = gtk_list_box_new();
        gtk_list_box_append(GTK_LIST_BOX(list), gtk_label_new("x"));
        add(page, list, "peer-list");
        add(page, gtk_text_view_new(), "chat-messages");

        switch_to_hub_page();
        wait_until([spinner] { return gtk_widget_get_width(spinner) > 0; });
        gtk_widget_grab_focus(menu);
        gtk_menu_button_popup(GTK_MENU_BUTTON(menu));
        wait_until([popover] { return gtk_widget_get_width(popover) > 0; });
        gtk_menu_button_popdown(GTK_MENU_BUTTON(menu));
        switch_to_main_page();
        wait_until([] { return gtk_widget_get_width(g_notebook) > 0; });
        EXPECT_NE(paint_widget(g_window).data.size(), 0U);
        EXPECT_EQ(warnings, Texts{});

        // The same watch does see a warning.
        g_warning("a warning on purpose");
        EXPECT_EQ(warnings.size(), 1U);
    });
}

} // namespace
