// The popups while the program waits for a server.
#include "ui_harness.h"

#include "ui/localisation.h"

#include <gtest/gtest.h>

namespace {

struct Popup {
    GtkWidget*& slot;
    void (*show)();
    void (*hide)();
    const char* text_key;
};

const Popup k_popups[] = {
    {g_google_connecting_popup, show_google_connecting_popup, hide_google_connecting_popup,
     "msg_google_connecting"},
    {g_loading_popup, [] { show_loading_popup(nullptr); }, hide_loading_popup,
     "msg_loading_channel"},
};

std::string text_of(GtkWidget* popup) {
    const std::vector<std::string> texts = label_texts(gtk_window_get_child(GTK_WINDOW(popup)));
    return texts.size() == 1 ? texts[0] : "not one text";
}

/// Whether its text stands out from an opaque background.
bool shows_text(GtkWidget* popup) {
    graphene_rect_t label;
    const Pixels pixels = paint_widget(popup);
    if (!gtk_widget_compute_bounds(
            gtk_widget_get_last_child(gtk_window_get_child(GTK_WINDOW(popup))), popup, &label)) {
        return false;
    }
    const int left = static_cast<int>(label.origin.x);
    const int top = static_cast<int>(label.origin.y);
    const std::uint32_t background = pixels.at(left, top);
    bool has_ink = false;
    for (int y = top; y < top + static_cast<int>(label.size.height); ++y) {
        for (int x = left; x < left + static_cast<int>(label.size.width); ++x) {
            has_ink = has_ink || pixels.at(x, y) != background;
        }
    }
    return has_ink && background >> 24 == 0xFF;
}

TEST(WaitingPopup, IsASmallModalWindowOverTheMainOne) {
    run_interface([] {
        for (const Popup& popup : k_popups) {
            popup.show();
            ASSERT_NE(popup.slot, nullptr);
            GtkWindow* const window = GTK_WINDOW(popup.slot);
            EXPECT_EQ(gtk_window_get_transient_for(window), GTK_WINDOW(g_window));
            EXPECT_TRUE(gtk_window_get_modal(window));
            EXPECT_FALSE(gtk_window_get_decorated(window));
            EXPECT_FALSE(gtk_window_get_resizable(window));
            int width = 0;
            int height = 0;
            gtk_window_get_default_size(window, &width, &height);
            EXPECT_EQ(width, 320);
            EXPECT_EQ(height, 120);
            popup.hide();
        }
    });
}

TEST(WaitingPopup, HoldsARunningSpinnerOverItsText) {
    for (const std::int32_t language : {k_language_english, k_language_spanish}) {
        g_language = language;
        run_interface([] {
            for (const Popup& popup : k_popups) {
                popup.show();
                GtkWidget* const box = gtk_window_get_child(GTK_WINDOW(popup.slot));
                ASSERT_TRUE(GTK_IS_BOX(box));
                EXPECT_EQ(gtk_orientable_get_orientation(GTK_ORIENTABLE(box)),
                          GTK_ORIENTATION_VERTICAL);
                EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(box)), 10);
                EXPECT_TRUE(gtk_widget_has_css_class(box, "login-container"));
                EXPECT_EQ(gtk_widget_get_margin_start(box), 20);
                EXPECT_EQ(gtk_widget_get_margin_end(box), 20);
                EXPECT_EQ(gtk_widget_get_margin_top(box), 20);
                EXPECT_EQ(gtk_widget_get_margin_bottom(box), 20);
                const std::vector<GtkWidget*> parts = children_of(box);
                ASSERT_EQ(parts.size(), 2U);
                ASSERT_TRUE(GTK_IS_SPINNER(parts[0]));
                EXPECT_TRUE(gtk_spinner_get_spinning(GTK_SPINNER(parts[0])));
                EXPECT_EQ(gtk_widget_get_halign(parts[0]), GTK_ALIGN_CENTER);
                EXPECT_EQ(gtk_widget_get_halign(parts[1]), GTK_ALIGN_CENTER);
                EXPECT_EQ(text_of(popup.slot), tr(popup.text_key));
                popup.hide();
            }
        });
    }
}

TEST(WaitingPopup, IsOnTheScreenAndPaintedWhenShowReturns) {
    run_interface([] {
        for (const Popup& popup : k_popups) {
            popup.show();
            EXPECT_TRUE(gtk_widget_get_mapped(popup.slot));
            EXPECT_TRUE(gtk_window_is_active(GTK_WINDOW(popup.slot)));
            EXPECT_TRUE(shows_text(popup.slot));
            popup.hide();
        }
    });
}

TEST(WaitingPopup, ShowingAnotherOneKeepsTheFirst) {
    run_interface([] {
        show_loading_popup("uno");
        GtkWidget* const first = g_loading_popup;
        show_loading_popup("dos");
        EXPECT_EQ(g_loading_popup, first);
        EXPECT_EQ(text_of(first), "uno");
        hide_loading_popup();
        show_google_connecting_popup();
        GtkWidget* const google = g_google_connecting_popup;
        show_google_connecting_popup();
        EXPECT_EQ(g_google_connecting_popup, google);
        hide_google_connecting_popup();
        EXPECT_EQ(find_dialog(), nullptr);
    });
}

TEST(WaitingPopup, AnEmptyTextStandsForAChannel) {
    run_interface([] {
        show_loading_popup("");
        EXPECT_EQ(text_of(g_loading_popup), tr("msg_loading_channel"));
        hide_loading_popup();
    });
}

TEST(WaitingPopup, ATextOfOddBytesOrAnyLengthIsShown) {
    run_interface([] {
        show_loading_popup("<b>100 %s\xC3(");
        EXPECT_EQ(text_of(g_loading_popup), "<b>100 %s\uFFFD(");
        hide_loading_popup();
        show_loading_popup(std::string(2000, 'x').c_str());
        EXPECT_EQ(text_of(g_loading_popup), std::string(2000, 'x'));
        EXPECT_LE(gtk_widget_get_width(g_loading_popup), 500);
        hide_loading_popup();
    });
}

TEST(WaitingPopup, HidingDestroysItAndHidingNoneDoesNothing) {
    run_interface([] {
        for (const Popup& popup : k_popups) {
            popup.hide();
            popup.show();
            EXPECT_EQ(g_list_length(gtk_application_get_windows(g_app.get())), 1U);
            EXPECT_EQ(GTK_WIDGET(find_dialog()), popup.slot);
            popup.hide();
            EXPECT_EQ(popup.slot, nullptr);
            EXPECT_EQ(find_dialog(), nullptr);
            popup.hide();
        }
    });
}

TEST(WaitingPopup, WhoeverClosesItCanHideItAllTheSame) {
    run_interface([] {
        for (const Popup& popup : k_popups) {
            popup.show();
            close_dialog(GTK_WINDOW(popup.slot));
            EXPECT_EQ(popup.slot, nullptr);
            popup.hide();
        }
    });
}

TEST(WaitingPopup, ItGoesWithTheWindow) {
    run_interface([] {
        show_loading_popup("uno");
        show_google_connecting_popup();
        gtk_window_destroy(GTK_WINDOW(g_window));
        EXPECT_EQ(g_loading_popup, nullptr);
        EXPECT_EQ(g_google_connecting_popup, nullptr);
    });
}

TEST(WaitingPopup, ClosingTheWindowWhileOneComesUpIsNoHarm) {
    run_interface([] {
        // Before any picture, which an idle handler may miss.
        g_timeout_add_once(
            0, [](gpointer) { gtk_window_destroy(GTK_WINDOW(g_window)); }, nullptr);
        show_loading_popup("uno");
        EXPECT_EQ(g_window, nullptr);
        hide_loading_popup();
    });
    EXPECT_EQ(g_loading_popup, nullptr);
}

TEST(WaitingPopup, WithoutAWindowThereIsNoLoadingPopup) {
    ASSERT_EQ(g_window, nullptr);
    show_loading_popup("uno");
    EXPECT_EQ(g_loading_popup, nullptr);
}

} // namespace
