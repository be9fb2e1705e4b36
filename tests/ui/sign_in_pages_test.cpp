// The login and the register page: what they hold, how they fit, where the keyboard goes.
#include "interface_fixture.h"

#include "ui/localisation.h"

#include <algorithm>
#include <limits>

namespace {

class SignInPages : public InterfaceTest {
  protected:
    SignInPages() { g_login_compact_mode = false; }
};

GtkWidget* register_container() {
    return gtk_widget_get_parent(g_register_username_label);
}

struct Margins {
    int start, end, top, bottom;
    bool operator==(const Margins&) const = default;
};

Margins margins_of(GtkWidget* widget) {
    return {gtk_widget_get_margin_start(widget), gtk_widget_get_margin_end(widget),
            gtk_widget_get_margin_top(widget), gtk_widget_get_margin_bottom(widget)};
}

/// What a widget shows, however its kind calls it.
std::string shown_text(GtkWidget* widget) {
    if (GTK_IS_LABEL(widget)) {
        return label(widget);
    }
    if (GTK_IS_ENTRY(widget) || GTK_IS_PASSWORD_ENTRY(widget)) {
        return placeholder(widget);
    }
    if (GTK_IS_BUTTON(widget)) {
        const Texts texts = label_texts(widget);
        return texts.size() == 1 ? texts[0] : "not one text";
    }
    return "";
}

/// One widget of a form, in its place.
struct Line {
    GType type;
    std::string text;
    std::vector<const char*> classes;
    GtkAlign halign = GTK_ALIGN_FILL;
    Margins margins = {0, 0, 0, 0};
    int width_request = -1;
    int height_request = -1;
};

void expect_lines(GtkWidget* container, const std::vector<Line>& expected) {
    const std::vector<GtkWidget*> lines = children_of(container);
    ASSERT_EQ(lines.size(), expected.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        SCOPED_TRACE("line " + std::to_string(i) + " " + expected[i].text);
        EXPECT_TRUE(g_type_is_a(G_OBJECT_TYPE(lines[i]), expected[i].type))
            << G_OBJECT_TYPE_NAME(lines[i]);
        EXPECT_EQ(shown_text(lines[i]), expected[i].text);
        for (const char* css_class : expected[i].classes) {
            EXPECT_TRUE(has_class(lines[i], css_class)) << css_class;
        }
        EXPECT_EQ(gtk_widget_get_halign(lines[i]), expected[i].halign);
        EXPECT_EQ(margins_of(lines[i]), expected[i].margins);
        int width = 0;
        int height = 0;
        gtk_widget_get_size_request(lines[i], &width, &height);
        EXPECT_EQ(width, expected[i].width_request);
        EXPECT_EQ(height, expected[i].height_request);
    }
}

void expect_container(GtkWidget* container, int spacing) {
    EXPECT_EQ(gtk_orientable_get_orientation(GTK_ORIENTABLE(container)), GTK_ORIENTATION_VERTICAL);
    EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(container)), spacing);
    EXPECT_TRUE(has_class(container, "login-container"));
    EXPECT_EQ(margins_of(container), (Margins{32, 32, 32, 32}));
    GtkWidget* const outer = gtk_widget_get_parent(container);
    EXPECT_EQ(gtk_orientable_get_orientation(GTK_ORIENTABLE(outer)), GTK_ORIENTATION_VERTICAL);
    EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(outer)), 0);
    EXPECT_EQ(gtk_widget_get_halign(outer), GTK_ALIGN_CENTER);
    EXPECT_EQ(gtk_widget_get_valign(outer), GTK_ALIGN_CENTER);
    EXPECT_TRUE(gtk_widget_get_hexpand(outer));
    EXPECT_TRUE(gtk_widget_get_vexpand(outer));
}

std::vector<Line> login_lines() {
    constexpr GtkAlign k_start = GTK_ALIGN_START;
    constexpr GtkAlign k_center = GTK_ALIGN_CENTER;
    const GType label = GTK_TYPE_LABEL;
    const GType button = GTK_TYPE_BUTTON;
    return {
        {GTK_TYPE_IMAGE, "", {}, k_center},
        {label, tr("login_title"), {"app-title", "login-title"}},
        {label, tr("login_subtitle"), {"subtitle"}},
        {GTK_TYPE_BOX, "", {}, GTK_ALIGN_FILL, {}, -1, 20},
        {label, tr("login_user_label"), {"input-label"}, k_start},
        {GTK_TYPE_ENTRY, tr("login_user_placeholder"), {"login-entry"}},
        {label, tr("login_pass_label"), {"input-label"}, k_start},
        {GTK_TYPE_PASSWORD_ENTRY, tr("login_pass_placeholder"), {"login-entry"}},
        {label, tr("login_hint"), {"subtitle"}, k_start},
        {button,
         tr("login_login_btn"),
         {"suggested-action", "login-btn"},
         GTK_ALIGN_FILL,
         {0, 0, 12, 0},
         220},
        {label, "--- or ---", {"subtitle"}, k_center, {0, 0, 4, 4}},
        {button, tr("login_create_btn"), {"btn-primary", "login-btn"}, GTK_ALIGN_FILL, {}, 220},
        {button, tr("login_google_btn"), {"btn-primary", "login-btn"}, GTK_ALIGN_FILL, {}, 220},
        {GTK_TYPE_SEPARATOR, "", {}, GTK_ALIGN_FILL, {0, 0, 12, 12}},
    };
}

TEST_F(SignInPages, LoginPageHoldsItsLinesInOrder) {
    for (const std::int32_t language : {k_language_spanish, k_language_english}) {
        g_language = language;
        run_interface([] {
            expect_container(g_login_container, 20);
            expect_lines(g_login_container, login_lines());
            GtkWidget* const icon = children_of(g_login_container).at(0);
            EXPECT_EQ(gtk_image_get_pixel_size(GTK_IMAGE(icon)), 72);
        });
    }
}

TEST_F(SignInPages, LoginFieldsAreLimitedAndHideThePassword) {
    run_interface([] {
        EXPECT_EQ(gtk_entry_get_max_length(GTK_ENTRY(g_username_entry)), 128);
        EXPECT_TRUE(gtk_password_entry_get_show_peek_icon(GTK_PASSWORD_ENTRY(g_password_entry)));
        type(g_password_entry, std::string(300, 'x'));
        EXPECT_EQ(typed(g_password_entry).size(), 300U);
        type(g_username_entry, std::string(300, 'x'));
        EXPECT_EQ(typed(g_username_entry).size(), 128U);
    });
}

TEST_F(SignInPages, GoogleButtonShowsIconAndText) {
    run_interface([] {
        GtkWidget* const box = gtk_button_get_child(GTK_BUTTON(g_google_login_btn));
        EXPECT_EQ(gtk_orientable_get_orientation(GTK_ORIENTABLE(box)), GTK_ORIENTATION_HORIZONTAL);
        EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(box)), 8);
        EXPECT_EQ(gtk_widget_get_halign(box), GTK_ALIGN_CENTER);
        const std::vector<GtkWidget*> parts = children_of(box);
        ASSERT_EQ(parts.size(), 2U);
        EXPECT_TRUE(GTK_IS_IMAGE(parts[0]));
        EXPECT_EQ(parts[1], g_google_login_btn_label);
        EXPECT_EQ(gtk_widget_get_halign(parts[1]), GTK_ALIGN_CENTER);
    });
}

TEST_F(SignInPages, ThereIsNoRealmToChoose) {
    run_interface([] {
        EXPECT_EQ(g_login_backend_label, nullptr);
        EXPECT_EQ(g_backend_realm_combo, nullptr);
    });
}

TEST_F(SignInPages, RegisterPageHoldsItsLinesInOrder) {
    for (const std::int32_t language : {k_language_spanish, k_language_english}) {
        g_language = language;
        run_interface([] {
            constexpr GtkAlign k_start = GTK_ALIGN_START;
            const GType label = GTK_TYPE_LABEL;
            const GType password = GTK_TYPE_PASSWORD_ENTRY;
            expect_container(register_container(), 16);
            expect_lines(
                register_container(),
                {
                    {label, tr("register_title"), {"app-title", "login-title"}},
                    {label, tr("register_user_label"), {"input-label"}, k_start},
                    {GTK_TYPE_ENTRY, tr("register_user_placeholder"), {"login-entry"}},
                    {label, tr("register_pass_label"), {"input-label"}, k_start},
                    {password, tr("register_pass_placeholder"), {"login-entry"}},
                    {label, tr("register_confirm_pass_label"), {"input-label"}, k_start},
                    {password, tr("register_confirm_pass_placeholder"), {"login-entry"}},
                    {GTK_TYPE_BUTTON,
                     tr("register_create_btn"),
                     {"suggested-action", "login-btn"},
                     GTK_ALIGN_FILL,
                     {0, 0, 12, 0}},
                    {GTK_TYPE_BUTTON, tr("register_back_btn"), {"btn-primary", "login-btn"}},
                });
            EXPECT_EQ(gtk_entry_get_max_length(GTK_ENTRY(g_register_username_entry)), 128);
        });
    }
}

TEST_F(SignInPages, ThePasswordsRuleIsAlsoATooltip) {
    run_interface([] {
        EXPECT_EQ(tooltip(g_register_password_entry), tr("register_pass_placeholder"));
        g_language = k_language_english;
        apply_language_to_ui();
        EXPECT_EQ(tooltip(g_register_password_entry), tr("register_pass_placeholder"));
    });
}

TEST_F(SignInPages, LabelsNameTheirFields) {
    run_interface([] {
        for (GtkWidget* entry :
             {g_username_entry, g_password_entry, g_register_username_entry,
              g_register_password_entry, g_register_confirm_password_entry, g_google_login_btn}) {
            EXPECT_TRUE(gtk_test_accessible_has_relation(GTK_ACCESSIBLE(entry),
                                                         GTK_ACCESSIBLE_RELATION_LABELLED_BY));
        }
    });
}

void expect_measures(int container_margin, int button_width) {
    EXPECT_EQ(margins_of(g_login_container),
              (Margins{container_margin, container_margin, container_margin, container_margin}));
    for (GtkWidget* button : {g_login_btn, g_register_btn, g_google_login_btn}) {
        int width = 0;
        int height = 0;
        gtk_widget_get_size_request(button, &width, &height);
        EXPECT_EQ(width, button_width);
        EXPECT_EQ(height, -1);
    }
}

TEST_F(SignInPages, CompactBelow560Pixels) {
    struct Step {
        std::int32_t width;
        bool compact;
    };
    run_interface([] {
        for (const Step step :
             {Step{560, false}, Step{559, true}, Step{1, true}, Step{560, false}, Step{300, true},
              Step{0, false}, Step{559, true}, Step{-1, false}, Step{1920, false}}) {
            SCOPED_TRACE(step.width);
            update_login_layout_for_width(step.width);
            EXPECT_EQ(g_login_compact_mode, step.compact);
            expect_measures(step.compact ? 16 : 32, step.compact ? -1 : 220);
            EXPECT_EQ(margins_of(register_container()), (Margins{32, 32, 32, 32}));
        }
    });
}

TEST_F(SignInPages, AnUnchangedModeIsNotAppliedAgain) {
    run_interface([] {
        gtk_widget_set_size_request(g_login_btn, 99, -1);
        update_login_layout_for_width(800);
        int width = 0;
        gtk_widget_get_size_request(g_login_btn, &width, nullptr);
        EXPECT_EQ(width, 99);
    });
}

TEST_F(SignInPages, WithoutThePagesTheLayoutDoesNothing) {
    ASSERT_EQ(g_login_container, nullptr);
    update_login_layout_for_width(300);
    EXPECT_FALSE(g_login_compact_mode);
    EXPECT_EQ(update_login_layout_tick(nullptr), G_SOURCE_CONTINUE);
}

TEST_F(SignInPages, TheTickFollowsTheWindowsWidth) {
    run_interface([] {
        wait_until_maximised();
        resize_window(500, 600);
        wait_until([] { return g_login_compact_mode; });
        EXPECT_EQ(update_login_layout_tick(nullptr), G_SOURCE_CONTINUE);
        wait_until([] { // a window manager may drop a size that comes soon after another
            gtk_window_set_default_size(GTK_WINDOW(g_window), 800, 600);
            return !g_login_compact_mode;
        });
    });
}

/// Until the next tick, in microseconds: it finds a wide window in the narrow layout.
std::int64_t time_to_next_tick() {
    const std::int64_t start = g_get_monotonic_time();
    g_login_compact_mode = true;
    wait_until([] { return !g_login_compact_mode; });
    return g_get_monotonic_time() - start;
}

/// A tick goes on when its window is gone; those of earlier tests would be taken for this one's.
void stop_earlier_ticks() {
    while (g_source_remove_by_funcs_user_data(&g_timeout_funcs, nullptr) != FALSE) {
    }
}

TEST_F(SignInPages, TheTickComesSomeTimesASecond) {
    stop_earlier_ticks();
    run_interface([] {
        time_to_next_tick();
        std::int64_t shortest = std::numeric_limits<std::int64_t>::max();
        std::int64_t longest = 0;
        for (int i = 0; i < 3; ++i) { // one of them on a machine that is not busy
            const std::int64_t time = time_to_next_tick();
            shortest = std::min(shortest, time);
            longest = std::max(longest, time);
        }
        EXPECT_LT(shortest, 1'200'000);
        EXPECT_GE(longest, 150'000);
    });
}

class StyledSignInPages : public SignInPages {
  private:
    ProgramResources m_resources{"style.css", "velmo-app-icon.svg", "google-auth.svg"};
};

bool is_laid_out(GtkWidget* page) {
    return gtk_adjustment_get_page_size(scrolling_of(page)) > 1.0;
}

bool scrolls(GtkWidget* page) {
    GtkAdjustment* const position = scrolling_of(page);
    return gtk_adjustment_get_upper(position) > gtk_adjustment_get_page_size(position);
}

TEST_F(StyledSignInPages, BothStandWholeInAWindowOfTheDefaultSize) {
    for (const std::int32_t language : {k_language_spanish, k_language_english}) {
        g_language = language;
        run_interface([] {
            wait_until_maximised();
            resize_window(900, 650);
            for (GtkWidget* page : {g_login_page, g_register_page}) {
                gtk_stack_set_visible_child(GTK_STACK(g_main_stack), page);
                wait_until([page] { return is_laid_out(page); });
                EXPECT_FALSE(scrolls(page));
            }
        });
    }
}

TEST_F(StyledSignInPages, InALowAndNarrowWindowTheyScrollToWhatHasTheKeyboard) {
    run_interface([] {
        wait_until_maximised();
        resize_window(500, 400);
        EXPECT_LE(gtk_widget_get_width(g_window), 500);
        wait_until([] { return is_laid_out(g_login_page) && scrolls(g_login_page); });
        EXPECT_EQ(gtk_adjustment_get_value(scrolling_of(g_login_page)), 0.0);
        gtk_widget_grab_focus(g_google_login_btn);
        wait_until([] { return gtk_adjustment_get_value(scrolling_of(g_login_page)) > 100.0; });
    });
}

/// The field or button that has the keyboard.
GtkWidget* focused(const std::vector<GtkWidget*>& candidates) {
    for (GtkWidget* const candidate : candidates) {
        if (holds_keyboard(candidate)) {
            return candidate;
        }
    }
    return nullptr;
}

void expect_tab_order(const std::vector<GtkWidget*>& order) {
    for (std::size_t i = 0; i < order.size(); ++i) {
        EXPECT_EQ(focused(order), order[i]) << i;
        gtk_widget_child_focus(g_window, GTK_DIR_TAB_FORWARD);
    }
}

TEST_F(SignInPages, TheTabKeyGoesThroughThemFromTheTopDown) {
    run_interface([] {
        expect_tab_order(
            {g_username_entry, g_password_entry, g_login_btn, g_register_btn, g_google_login_btn});
        switch_to_register_page();
        expect_tab_order({g_register_username_entry, g_register_password_entry,
                          g_register_confirm_password_entry, g_register_create_btn,
                          g_register_back_btn});
    });
}

TEST_F(SignInPages, TheFirstEmptyFieldHasTheKeyboard) {
    run_interface([] {
        const std::vector<GtkWidget*> entries = {
            g_username_entry, g_password_entry, g_register_username_entry,
            g_register_password_entry, g_register_confirm_password_entry};
        EXPECT_EQ(focused(entries), g_username_entry);
        type(g_register_username_entry, "a@b.c");
        wait_until([] { return gtk_window_is_active(GTK_WINDOW(g_window)) != FALSE; });
        gtk_widget_grab_focus(g_register_btn);
        switch_to_register_page();
        EXPECT_EQ(focused(entries), g_register_password_entry);
        EXPECT_FALSE(gtk_editable_get_selection_bounds(GTK_EDITABLE(g_register_username_entry),
                                                       nullptr, nullptr));
        type(g_username_entry, "a@b.c");
        switch_to_login_page();
        EXPECT_EQ(focused(entries), g_password_entry);
        type(g_password_entry, "secret");
        switch_to_register_page();
        switch_to_login_page();
        EXPECT_EQ(focused(entries), g_password_entry) << "the last one, when none is empty";
    });
}

TEST_F(SignInPages, EnterGoesOnToTheNextFieldOfARegistration) {
    run_interface([] {
        switch_to_register_page();
        press_enter(g_register_username_entry);
        EXPECT_EQ(focused({g_register_password_entry}), g_register_password_entry);
        press_enter(g_register_password_entry);
        EXPECT_EQ(focused({g_register_confirm_password_entry}), g_register_confirm_password_entry);
    });
}

TEST_F(SignInPages, ANewVisitHidesWhatIsTyped) {
    run_interface([] {
        for (GtkWidget* entry : {g_register_password_entry, g_register_confirm_password_entry}) {
            gtk_text_set_visibility(text_within(entry), TRUE); // as the eye beside it does
        }
        on_register_clicked(nullptr, nullptr);
        for (GtkWidget* entry : {g_register_password_entry, g_register_confirm_password_entry}) {
            EXPECT_FALSE(gtk_text_get_visibility(text_within(entry)));
        }
    });
}

} // namespace
