// The lines of the room's chat.
#include "ui_harness.h"

#include <gtest/gtest.h>

#include <cctype>

namespace {

class RoomChat : public testing::Test {
  protected:
    void SetUp() override {
        gtk_init();
        m_buffer = create_room_chat_buffer();
        keep(g_chat_buffer, m_buffer.get());
    }
    void TearDown() override {
        m_buffer.reset();
        EXPECT_EQ(g_chat_buffer, nullptr);
    }

    static std::string text() {
        GtkTextIter start;
        GtkTextIter end;
        gtk_text_buffer_get_bounds(g_chat_buffer, &start, &end);
        const GCharPtr contents(gtk_text_buffer_get_text(g_chat_buffer, &start, &end, FALSE));
        return contents.get();
    }

    /// With every digit as '#': the time is whatever it is.
    static std::string without_digits(std::string contents) {
        for (char& character : contents) {
            if (std::isdigit(static_cast<unsigned char>(character)) != 0) {
                character = '#';
            }
        }
        return contents;
    }

    /// The text that carries a tag.
    static std::string tagged(const char* name) {
        GtkTextTag* const tag =
            gtk_text_tag_table_lookup(gtk_text_buffer_get_tag_table(g_chat_buffer), name);
        if (tag == nullptr) {
            return "no such tag";
        }
        std::string result;
        GtkTextIter iter;
        gtk_text_buffer_get_start_iter(g_chat_buffer, &iter);
        while (!gtk_text_iter_is_end(&iter)) {
            if (gtk_text_iter_has_tag(&iter, tag)) {
                char character[6];
                const int length = g_unichar_to_utf8(gtk_text_iter_get_char(&iter), character);
                result.append(character, static_cast<std::size_t>(length));
            }
            gtk_text_iter_forward_char(&iter);
        }
        return result;
    }

    GObjectPtr<GtkTextBuffer> m_buffer;
};

TEST_F(RoomChat, AMessageIsOneLineOfTimeSenderAndText) {
    GUI_AddChatMessage("Ana", "¡Hola!");
    EXPECT_EQ(without_digits(text()), "[##:##] Ana: ¡Hola!\n");
    EXPECT_EQ(without_digits(tagged("time")), "[##:##] ");
    EXPECT_EQ(tagged("username"), "Ana: ");
    EXPECT_EQ(tagged("white_text"), "¡Hola!");
}

TEST_F(RoomChat, TheTimeIsTheLocalOne) {
    const auto local_time = [] {
        GDateTime* const now = g_date_time_new_now_local();
        const GCharPtr formatted(g_date_time_format(now, "[%H:%M] "));
        g_date_time_unref(now);
        return std::string(formatted.get());
    };
    const std::string before = local_time();
    GUI_AddSystemMessage("x");
    const std::string after = local_time();
    const std::string shown = tagged("time");
    EXPECT_TRUE(shown == before || shown == after) << shown;
}

TEST_F(RoomChat, ASystemLineIsTimeAndText) {
    GUI_AddSystemMessage("Te has unido al canal");
    EXPECT_EQ(without_digits(text()), "[##:##] Te has unido al canal\n");
    EXPECT_EQ(tagged("system"), "Te has unido al canal");
    EXPECT_EQ(tagged("white_text"), "no such tag");
}

TEST_F(RoomChat, LinesFollowEachOther) {
    GUI_AddSystemMessage("uno");
    GUI_AddChatMessage("Ana", "dos");
    GUI_AddChatMessage("Luis", "tres");
    EXPECT_EQ(without_digits(text()), "[##:##] uno\n[##:##] Ana: dos\n[##:##] Luis: tres\n");
}

TEST_F(RoomChat, ALongSenderIsCutAt79BytesAndStaysValid) {
    GUI_AddChatMessage(std::string(100, 'n').c_str(), "x");
    EXPECT_EQ(tagged("username"), std::string(79, 'n'));
    GUI_ClearChat();
    GUI_AddChatMessage((std::string(78, 'n') + "ñ").c_str(), "x");
    EXPECT_EQ(tagged("username"), std::string(78, 'n'));
}

TEST_F(RoomChat, BytesThatAreNoTextDoNotEndTheProgram) {
    GUI_AddChatMessage(nullptr, nullptr);
    GUI_AddChatMessage("\xFF", "\xC3(");
    GUI_AddSystemMessage("\xF0\x9F");
    EXPECT_EQ(tagged("username"), ": \uFFFD: ");
    EXPECT_EQ(tagged("white_text"), "\uFFFD(");
    EXPECT_EQ(tagged("system"), "");
}

TEST_F(RoomChat, ClearingEmptiesIt) {
    GUI_AddChatMessage("Ana", "x");
    GUI_ClearChat();
    EXPECT_EQ(text(), "");
    GUI_AddSystemMessage("y");
    EXPECT_EQ(tagged("system"), "y");
}

TEST_F(RoomChat, TagsLookAsDesigned) {
    GUI_AddChatMessage("a", "b");
    struct Expected {
        const char* name;
        const char* foreground;
        int weight;
        PangoStyle style;
        double scale;
    };
    constexpr Expected k_expected[] = {
        {"username", "#5865f2", 700, PANGO_STYLE_NORMAL, 1.0},
        {"system", "#949ba4", 400, PANGO_STYLE_ITALIC, 1.0},
        {"time", "#6d6f78", 400, PANGO_STYLE_NORMAL, 0.85},
        {"white_text", "#ffffff", 400, PANGO_STYLE_NORMAL, 1.0},
    };
    for (const Expected& expected : k_expected) {
        GtkTextTag* const tag =
            gtk_text_tag_table_lookup(gtk_text_buffer_get_tag_table(g_chat_buffer), expected.name);
        ASSERT_NE(tag, nullptr) << expected.name;
        GdkRGBA* colour = nullptr;
        int weight = 0;
        PangoStyle style = PANGO_STYLE_OBLIQUE;
        double scale = 0.0;
        g_object_get(tag, "foreground-rgba", &colour, "weight", &weight, "style", &style, "scale",
                     &scale, nullptr);
        GdkRGBA expected_colour;
        gdk_rgba_parse(&expected_colour, expected.foreground);
        EXPECT_TRUE(gdk_rgba_equal(colour, &expected_colour)) << expected.name;
        gdk_rgba_free(colour);
        EXPECT_EQ(weight, expected.weight) << expected.name;
        EXPECT_EQ(style, expected.style) << expected.name;
        EXPECT_DOUBLE_EQ(scale, expected.scale) << expected.name;
    }
}

TEST_F(RoomChat, AMessageScrollsTheViewButASystemLineDoesNot) {
    run_interface([] {
        GtkWidget* const view = gtk_text_view_new_with_buffer(g_chat_buffer);
        GtkWidget* const scrolled = gtk_scrolled_window_new();
        gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scrolled), view);
        gtk_widget_set_size_request(scrolled, 200, 100);
        gtk_box_append(GTK_BOX(g_rooms_page), scrolled);
        switch_to_rooms_page();
        keep(g_chat_view, view);
        GtkAdjustment* const position =
            gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(scrolled));
        const auto is_laid_out = [position] {
            return gtk_adjustment_get_page_size(position) >= 100.0 &&
                   gtk_adjustment_get_upper(position) > 1000.0;
        };
        for (int i = 0; i < 100; ++i) {
            GUI_AddSystemMessage("x");
        }
        wait_until([] { return gtk_window_is_maximized(GTK_WINDOW(g_window)) != FALSE; });
        wait_until(is_laid_out);
        EXPECT_EQ(gtk_adjustment_get_value(position), 0.0);
        GUI_AddChatMessage("Ana", "x");
        wait_until([position] {
            return gtk_adjustment_get_value(position) + gtk_adjustment_get_page_size(position) >=
                   gtk_adjustment_get_upper(position) - 1.0;
        });
    });
    EXPECT_EQ(g_chat_view, nullptr);
}

} // namespace
