// The lines of the room's chat: how they look, where the reader is, and what is sent.
#include "room_fixture.h"

#include "backend/identity.h"
#include "base/text.h"
#include "ui/room/room_internal.h"

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
    EXPECT_EQ(chat_lines(), "[##:##] Ana: ¡Hola!\n");
    EXPECT_EQ(tagged("time").size(), 8U);
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
    EXPECT_EQ(chat_lines(), "[##:##] Te has unido al canal\n");
    EXPECT_EQ(tagged("system"), "Te has unido al canal");
    EXPECT_EQ(tagged("white_text"), "no such tag");
}

TEST_F(RoomChat, LinesFollowEachOther) {
    GUI_AddSystemMessage("uno");
    GUI_AddChatMessage("Ana", "dos");
    GUI_AddChatMessage("Luis", "tres");
    EXPECT_EQ(chat_lines(), "[##:##] uno\n[##:##] Ana: dos\n[##:##] Luis: tres\n");
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
    EXPECT_EQ(chat_lines(), "");
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

TEST_F(RoomChat, ALongWordIsBrokenWithoutAHyphen) {
    GUI_AddChatMessage("a", "b");
    for (const char* name : {"white_text", "system"}) {
        gboolean hyphens = TRUE;
        g_object_get(gtk_text_tag_table_lookup(gtk_text_buffer_get_tag_table(g_chat_buffer), name),
                     "insert-hyphens", &hyphens, nullptr);
        EXPECT_FALSE(hyphens) << name;
    }
}

/// The chat in the real view.
class RoomChatView : public RoomTest {
  protected:
    static GtkAdjustment* position() {
        return gtk_scrollable_get_vadjustment(GTK_SCROLLABLE(g_chat_view));
    }
    /// Whether the newest line, which is at the text's end, is in view.
    static bool is_at_bottom() {
        const double height = gtk_adjustment_get_page_size(position());
        const double bottom = gtk_adjustment_get_upper(position()) - height;
        return bottom > 0.0 && gtk_adjustment_get_value(position()) >= bottom - 1.0 &&
               static_cast<int>(height) == gtk_widget_get_height(g_chat_view);
    }

    /// Shows the room, with `lines` lines of the system in its chat.
    static void show(int lines) {
        switch_to_main_page();
        for (int i = 0; i < lines; ++i) {
            GUI_AddSystemMessage("x");
        }
        wait_until_maximised();
        wait_until([lines] {
            return gtk_adjustment_get_page_size(position()) > 100.0 &&
                   gtk_adjustment_get_upper(position()) > 10.0 * lines;
        });
    }

    /// Lets the participants take some of the chat's height.
    static void make_lower() {
        const double before = gtk_adjustment_get_page_size(position());
        show_peers({make_peer("a"), make_peer("b"), make_peer("c")});
        wait_until([before] { return gtk_adjustment_get_page_size(position()) < before - 50.0; });
    }
};

TEST_F(RoomChatView, AMessageScrollsTheViewButASystemLineDoesNot) {
    run_interface([] {
        show(100);
        wait_for_pictures(k_scroll_pictures);
        EXPECT_EQ(gtk_adjustment_get_value(position()), 0.0);
        GUI_AddChatMessage("Ana", "x");
        wait_until(is_at_bottom);
        const double before = gtk_adjustment_get_upper(position());
        GUI_AddSystemMessage("x"); // at once
        wait_until([before] { return gtk_adjustment_get_upper(position()) > before; });
        wait_for_pictures(k_scroll_pictures);
        EXPECT_FALSE(is_at_bottom());
    });
    EXPECT_EQ(g_chat_view, nullptr);
    EXPECT_EQ(g_chat_buffer, nullptr);
}

TEST_F(RoomChatView, TheLastOfSeveralMessagesIsSeenThoughEachComesWhileTheViewMoves) {
    run_interface([] {
        show(100);
        for (int i = 0; i < 5; ++i) {
            GUI_AddChatMessage("Ana", "x");
            wait_for_pictures(2);
        }
        wait_until(is_at_bottom);
        wait_for_pictures(k_scroll_pictures);
        wait_until(is_at_bottom); // for good
    });
}

TEST_F(RoomChatView, WhoeverReadsElsewhereWithTheInsertionPointIsNotTakenAway) {
    run_interface([] {
        show(100);
        GtkTextIter start;
        gtk_text_buffer_get_start_iter(g_chat_buffer, &start);
        gtk_text_buffer_place_cursor(g_chat_buffer, &start);
        GUI_AddChatMessage("Ana", "x");
        wait_for_pictures(k_scroll_pictures);
        EXPECT_EQ(gtk_adjustment_get_value(position()), 0.0);
    });
}

TEST_F(RoomChatView, AMessageBringsTheViewUpToTheInsertionPoint) {
    run_interface([] {
        show(100);
        GUI_AddChatMessage("Ana", "x");
        wait_until(is_at_bottom);
        GtkTextIter start;
        gtk_text_buffer_get_start_iter(g_chat_buffer, &start);
        gtk_text_buffer_place_cursor(g_chat_buffer, &start);
        GUI_AddChatMessage("Ana", "x");
        wait_until([] { return gtk_adjustment_get_value(position()) < 20.0; });
        wait_for_pictures(k_scroll_pictures);
        EXPECT_LT(gtk_adjustment_get_value(position()), 20.0);
    });
}

TEST_F(RoomChatView, WhoScrollsUpRightAfterAMessageIsNotTakenBack) {
    run_interface([] {
        show(100);
        const auto heights = [] {
            return std::pair(gtk_adjustment_get_upper(position()),
                             gtk_adjustment_get_page_size(position()));
        };
        wait_until([heights] {
            GUI_AddChatMessage("Ana", "x");
            wait_until(is_at_bottom);
            wait_for_pictures(2);
            const auto before = heights();
            gtk_adjustment_set_value(position(), 100.0);
            wait_for_pictures(k_scroll_pictures);
            return heights() == before; // else the window was still finding its size
        });
        EXPECT_EQ(gtk_adjustment_get_value(position()), 100.0);
    });
}

TEST_F(RoomChatView, WhoScrollsUpAsALineIsFoundIsNotTakenBack) {
    run_interface([] {
        show(100);
        wait_for_pictures(k_scroll_pictures);
        GUI_AddChatMessage("Ana", "x");
        wait_until(is_at_bottom);
        wait_for_pictures(2);
        gtk_adjustment_set_upper(position(), gtk_adjustment_get_upper(position()) + 20.0);
        gtk_adjustment_set_value(position(), 100.0);
        wait_for_pictures(k_scroll_pictures);
        EXPECT_EQ(gtk_adjustment_get_value(position()), 100.0);
    });
}

TEST_F(RoomChatView, MessagesThatCameBeforeTheRoomWasShownAreSeenToTheLast) {
    run_interface([] {
        for (int i = 0; i < 100; ++i) {
            GUI_AddChatMessage("Ana", "x");
        }
        show(0);
        wait_until(is_at_bottom);
        wait_for_pictures(k_scroll_pictures);
        wait_until(is_at_bottom); // for good
    });
}

TEST_F(RoomChatView, AReaderOfTheNewestMessageStaysWithItWhenTheViewGetsLower) {
    run_interface([] {
        show(100);
        GUI_AddChatMessage("Ana", "x");
        wait_until(is_at_bottom);
        make_lower();
        wait_until(is_at_bottom);
    });
}

TEST_F(RoomChatView, AReaderOfOlderMessagesStaysThereWhenTheViewGetsLower) {
    run_interface([] {
        show(100);
        GUI_AddChatMessage("Ana", "x");
        wait_until(is_at_bottom);
        wait_for_pictures(k_scroll_pictures); // the view has come to rest
        gtk_adjustment_set_value(position(), 100.0);
        wait_for_pictures(k_scroll_pictures);
        make_lower();
        wait_for_pictures(k_scroll_pictures);
        EXPECT_EQ(gtk_adjustment_get_value(position()), 100.0);
    });
}

/// What the core was given to send, and what the view showed at that moment.
struct Sent {
    std::string text;
    std::string lines;
};

std::vector<Sent> g_sent;

class RoomChatSending : public RoomTest {
  protected:
    RoomChatSending() {
        g_sent.clear();
        GUI_SetChatSendCallback([](const char* text) { g_sent.push_back({text, chat_lines()}); });
    }

    static GtkWidget* send_button() { return gtk_widget_get_next_sibling(g_chat_entry); }
};

TEST_F(RoomChatSending, OnesOwnMessageIsShownFirstThenSentThenTheEntryIsEmpty) {
    run_interface([] {
        type(g_chat_entry, "Hola");
        click(send_button());
        ASSERT_EQ(g_sent.size(), 1U);
        EXPECT_EQ(g_sent[0].text, "Hola");
        EXPECT_EQ(g_sent[0].lines, "[##:##] Anita: Hola\n");
        EXPECT_EQ(chat_lines(), g_sent[0].lines);
        EXPECT_EQ(typed(g_chat_entry), "");
    });
}

TEST_F(RoomChatSending, EnterSendsToo) {
    run_interface([] {
        type(g_chat_entry, "Hola");
        press_enter(g_chat_entry);
        ASSERT_EQ(g_sent.size(), 1U);
        EXPECT_EQ(g_sent[0].text, "Hola");
        EXPECT_EQ(typed(g_chat_entry), "");
    });
}

TEST_F(RoomChatSending, WithoutADisplayNameTheUserNameIsShown) {
    run_interface([] {
        copy_text(g_display_name, "");
        type(g_chat_entry, "Hola");
        on_chat_send_clicked(nullptr, nullptr);
        EXPECT_EQ(chat_lines(), "[##:##] ana: Hola\n");
    });
}

TEST_F(RoomChatSending, WhatIsSentAndShownIsCleaned) {
    run_interface([] {
        type(g_chat_entry, "  uno\t\tdos  ");
        on_chat_send_clicked(nullptr, nullptr);
        ASSERT_EQ(g_sent.size(), 1U);
        EXPECT_EQ(g_sent[0].text, "uno dos");
        EXPECT_EQ(chat_lines(), "[##:##] Anita: uno dos\n");
    });
}

TEST_F(RoomChatSending, ALongMessageIsCutAtItsLimit) {
    run_interface([] {
        type(g_chat_entry, std::string(3000, 'x'));
        on_chat_send_clicked(nullptr, nullptr);
        ASSERT_EQ(g_sent.size(), 1U);
        EXPECT_EQ(g_sent[0].text, std::string(2046, 'x'));
    });
}

TEST_F(RoomChatSending, WhatIsNothingOnceCleanedIsNotSentAndStaysInTheEntry) {
    run_interface([] {
        for (const char* text : {"", "   ", " \t \u00A0 \u0007 "}) {
            type(g_chat_entry, text);
            const std::string before = typed(g_chat_entry);
            on_chat_send_clicked(nullptr, nullptr);
            on_chat_entry_activate(nullptr, nullptr);
            EXPECT_EQ(typed(g_chat_entry), before);
        }
        EXPECT_TRUE(g_sent.empty());
        EXPECT_EQ(chat_lines(), "");
    });
}

TEST_F(RoomChatSending, WithNobodyToSendItIsShownAllTheSame) {
    run_interface([] {
        GUI_SetChatSendCallback(nullptr);
        type(g_chat_entry, "Hola");
        on_chat_send_clicked(nullptr, nullptr);
        EXPECT_EQ(chat_lines(), "[##:##] Anita: Hola\n");
        EXPECT_EQ(typed(g_chat_entry), "");
    });
}

TEST_F(RoomChatSending, WithoutAWindowNothingIsSent) {
    on_chat_send_clicked(nullptr, nullptr);
    on_chat_entry_activate(nullptr, nullptr);
    EXPECT_TRUE(g_sent.empty());
}

} // namespace
