// Sending in the hub's chat: the button, the keys, and the height of the input.
#include "hub_chat_fixture.h"

#include "backend/hub_tables.h"
#include "base/text.h"
#include "chat/chat_connection.h"
#include "chat/scope_chat.h"
#include "support/fake_clock.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/localisation.h"

#include <algorithm>
#include <memory>

namespace {

bool g_fails_without_a_reason = false;

} // namespace

// In the way of what sends, which is built once more for it.
bool send_scripted_message(const char* scope_type, const char* scope_id, const char* text,
                           std::span<char> error);

bool send_scripted_message(const char* scope_type, const char* scope_id, const char* text,
                           std::span<char> error) {
    return !g_fails_without_a_reason &&
           backend_send_scope_chat_message(scope_type, scope_id, text, error);
}

namespace {

class HubChatSend : public HubChatTest {
  protected:
    void SetUp() override {
        show_column();
        copy_text(g_hub_chat_scope_type, "space");
        copy_text(g_hub_chat_scope_id, "s1");
    }

    static void click_send() { click(g_hub_chat_send_btn); }

    static std::string frame(const std::string& text) {
        return R"({"type":"message:send","spaceId":"s1","sessionToken":"tok","text":")" + text +
               "\"}";
    }

    /// What the message on the screen says; closes it.
    static Texts take_message() {
        GtkWindow* const dialog = wait_for_dialog();
        if (dialog == nullptr) {
            return {};
        }
        Texts texts = label_texts(GTK_WIDGET(dialog));
        close_dialog(dialog);
        return texts;
    }

    static void expect_message(const std::string& detail) {
        const Texts texts = take_message();
        EXPECT_NE(std::find(texts.begin(), texts.end(), "Sala"), texts.end());
        EXPECT_NE(std::find(texts.begin(), texts.end(), detail), texts.end())
            << testing::PrintToString(texts);
    }

    /// As the keyboard does it: the first of the view's controllers in the capture phase.
    static bool press(guint key, GdkModifierType state = GdkModifierType{}) {
        bool is_kept = false;
        for (const auto& controller :
             controllers_of(g_hub_chat_input_view, GTK_TYPE_EVENT_CONTROLLER_KEY)) {
            if (gtk_event_controller_get_propagation_phase(controller.get()) == GTK_PHASE_CAPTURE) {
                is_kept = press_key(controller.get(), key, state);
            }
        }
        return is_kept;
    }
};

TEST_F(HubChatSend, AMessageGoesOutAndTheInputIsEmptyThen) {
    open_channel();
    write_input("hola");
    click_send();
    EXPECT_EQ(sent_requests(), Texts{frame("hola")});
    EXPECT_EQ(input(), "");
    EXPECT_TRUE(row_widgets().empty()); // it comes with the history
    EXPECT_EQ(keyboard(), g_hub_chat_input_view);
}

TEST_F(HubChatSend, LinesBecomeOneAndBlanksAreTrimmed) {
    open_channel();
    write_input("  uno\n\n dos\t tres  ");
    click_send();
    EXPECT_EQ(sent_requests(), Texts{frame("uno dos tres")});
}

TEST_F(HubChatSend, WithoutAChatOneIsAskedForAndTheTextStays) {
    g_hub_chat_scope_id[0] = '\0';
    write_input("hola");
    click_send();
    expect_message("Selecciona primero una sala.");
    EXPECT_EQ(input(), "hola");
    g_hub_chat_scope_type[0] = '\0';
    copy_text(g_hub_chat_scope_id, "s1");
    write_input("");
    click_send();
    expect_message("Selecciona primero una sala.");
}

TEST_F(HubChatSend, WithoutATextOneIsAskedFor) {
    for (const char* const text : {"", " \n\t "}) {
        write_input(text);
        click_send();
        expect_message("Escribe un mensaje para enviar.");
        EXPECT_EQ(input(), text);
    }
    EXPECT_TRUE(server.openings().empty());
}

TEST_F(HubChatSend, AMessageThatCannotBeSentStays) {
    const FakeClock clock;
    server.refuse_openings("connect-host", 1);
    write_input("hola");
    click_send();
    expect_message("No se pudo enviar mensaje por socket de chat");
    EXPECT_EQ(input(), "hola");
    EXPECT_TRUE(web.calls().empty());
}

TEST_F(HubChatSend, ARoomsMessageGoesOverTheBackendWithoutAChannel) {
    const FakeClock clock;
    server.refuse_openings("connect-host", 1);
    copy_text(g_hub_chat_scope_type, "room");
    copy_text(g_hub_chat_scope_id, "r1");
    web.answer(201, "{}");
    write_input("hola");
    click_send();
    EXPECT_EQ(web.last_call().url, "http://b/api/chats/room/r1/messages");
    EXPECT_EQ(web.last_call().body, R"({"sessionToken":"tok","text":"hola"})");
    EXPECT_EQ(input(), "");
}

TEST_F(HubChatSend, ReturnAndKeypadEnterSend) {
    open_channel();
    write_input("uno");
    EXPECT_TRUE(press(GDK_KEY_Return));
    EXPECT_EQ(input(), "");
    write_input("dos");
    EXPECT_TRUE(press(GDK_KEY_KP_Enter, GDK_CONTROL_MASK));
    EXPECT_EQ(sent_requests(), (Texts{frame("uno"), frame("dos")}));
}

TEST_F(HubChatSend, WithShiftAndOtherKeysTheTextViewGoesOn) {
    open_channel();
    write_input("uno");
    EXPECT_FALSE(press(GDK_KEY_Return, GDK_SHIFT_MASK));
    EXPECT_FALSE(press(GDK_KEY_KP_Enter, GDK_SHIFT_MASK));
    EXPECT_FALSE(press(GDK_KEY_a));
    EXPECT_FALSE(press(GDK_KEY_space));
    EXPECT_EQ(sent_requests(), Texts{});
    EXPECT_EQ(input(), "uno");
}

TEST_F(HubChatSend, ReturnEndsWhatAnInputMethodComposesBeforeItSends) {
    open_channel();
    write_input("uno");
    g_signal_emit_by_name(g_hub_chat_input_view, "preedit-changed", "´");
    EXPECT_FALSE(press(GDK_KEY_Return));
    g_signal_emit_by_name(g_hub_chat_input_view, "preedit-changed", "");
    EXPECT_TRUE(press(GDK_KEY_Return));
    EXPECT_EQ(sent_requests(), Texts{frame("uno")});
}

TEST_F(HubChatSend, OfAScopeThatIsNoneTheMessageSaysSo) {
    copy_text(g_hub_chat_scope_type, "nothing");
    write_input("hola");
    click_send();
    expect_message("scope inválido para chat");
}

TEST_F(HubChatSend, ASendThatFailsWithoutAReasonHasTheOwnWords) {
    g_fails_without_a_reason = true;
    write_input("hola");
    click_send();
    expect_message("No se pudo enviar el mensaje");
    EXPECT_EQ(input(), "hola");
    g_language = k_language_english;
    click_send();
    const Texts texts = take_message();
    g_fails_without_a_reason = false;
    EXPECT_NE(std::find(texts.begin(), texts.end(), "Could not send message"), texts.end());
    EXPECT_TRUE(server.openings().empty());
}

TEST_F(HubChatSend, OnesOwnMessageIsShownOnceTheHistoryIsLoadedAgain) {
    server.answer("messages:history", [](const std::string&) {
        return Texts{history_frame(history_message("Anita", "mío"))};
    });
    open_channel();
    write_input("mío");
    click_send();
    say(live_message("Anita", "mío")); // its echo
    EXPECT_TRUE(row_widgets().empty());
    ASSERT_TRUE(load_space_chat_by_index(0));
    ASSERT_TRUE(wait_until([] { return !row_widgets().empty(); }));
    EXPECT_EQ(rows(), (ChatRows{{"Anita [2024-05-01-10:20:30]", "mío"}}));
}

TEST_F(HubChatSend, TabLeavesTheInput) {
    EXPECT_FALSE(gtk_text_view_get_accepts_tab(GTK_TEXT_VIEW(g_hub_chat_input_view)));
}

TEST_F(HubChatSend, TheLayoutTickGivesTheInputAPartOfTheWindowsHeight) {
    for (const int height : {400, 560, 700, 2000}) {
        show_column(480, height, height); // a window manager may miss another size of the same one
        ASSERT_TRUE(wait_until([height] { return gtk_widget_get_height(g_window) == height; }));
        update_hub_chat_input_height(0);
        EXPECT_EQ(update_login_layout_tick(nullptr), G_SOURCE_CONTINUE);
        int width = 0;
        int input_height = 0;
        gtk_widget_get_size_request(g_hub_chat_input_box, &width, &input_height);
        EXPECT_EQ(input_height, std::clamp(height * 15 / 100, 84, 220));
        EXPECT_EQ(width, -1);
        ASSERT_TRUE(wait_until([input_height] {
            return gtk_widget_get_height(g_hub_chat_input_box) == input_height;
        }));
    }
}

/// The window's height and the input's, in every picture that is painted.
struct PaintedHeights {
    int window;
    int input;
};

gboolean note_heights(GSignalInvocationHint*, guint, const GValue*, gpointer heights) {
    if (g_window != nullptr && g_hub_chat_input_box != nullptr &&
        gtk_widget_get_height(g_window) > 0) {
        int input = 0;
        gtk_widget_get_size_request(g_hub_chat_input_box, nullptr, &input);
        static_cast<std::vector<PaintedHeights>*>(heights)->push_back(
            {gtk_widget_get_height(g_window), input});
    }
    return TRUE;
}

TEST_F(HubChatTest, TheInputHasItsHeightFromTheFirstPictureOfTheWindowOn) {
    std::vector<PaintedHeights> heights;
    const std::unique_ptr<void, decltype(&g_type_class_unref)> frame_clock(
        g_type_class_ref(GDK_TYPE_FRAME_CLOCK), g_type_class_unref);
    const guint paint = g_signal_lookup("paint", GDK_TYPE_FRAME_CLOCK);
    const gulong hook = g_signal_add_emission_hook(paint, 0, note_heights, &heights, nullptr);
    run_interface([&heights] {
        wait_until_maximised();
        wait_until([&heights] {
            gtk_widget_queue_draw(g_window);
            return !heights.empty() && heights.back().window > 650;
        });
    });
    g_signal_remove_emission_hook(paint, hook);
    for (const PaintedHeights& painted : heights) {
        EXPECT_EQ(painted.input, std::clamp(painted.window * 15 / 100, 84, 220)) << painted.window;
    }
    ASSERT_FALSE(heights.empty());
    EXPECT_GT(heights.back().input, 97);
}

TEST_F(HubChatSend, TheInputsHeightFollowsTheWindows) {
    struct Case {
        std::int32_t window;
        int input;
    };
    for (const Case& c : {Case{400, 84}, Case{2000, 220}, Case{566, 84}, Case{567, 85},
                          Case{1000, 150}, Case{999, 149}, Case{1466, 219}, Case{1467, 220},
                          Case{0, 84}, Case{-5, 84}, Case{2147483647, 220}}) {
        update_hub_chat_input_height(c.window);
        int width = 0;
        int height = 0;
        gtk_widget_get_size_request(g_hub_chat_input_box, &width, &height);
        EXPECT_EQ(height, c.input) << c.window;
        EXPECT_EQ(width, -1);
    }
}

} // namespace
