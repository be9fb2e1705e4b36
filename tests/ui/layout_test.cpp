// Every page in windows of three sizes and in both languages, full of long and odd texts: what is
// on the screen lies within what holds it, is not cut, and stands in line. A picture of each is
// left in the build folder.
#include "hub_fixture.h"
#include "layout_check.h"

#include "audio/audio_engine.h"
#include "backend/identity.h"
#include "base/text.h"
#include "core/peer.h"
#include "support/empty_hub_tables.h"
#include "support/fake_audio_endpoint.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/hub/space_users_internal.h"
#include "ui/localisation.h"
#include "ui/room/room_internal.h"
#include "ui/settings/settings_internal.h"

#include <filesystem>
#include <ostream>

namespace {

struct Size {
    const char* name;
    int width; ///< 0: the whole screen
    int height;
};

constexpr Size k_sizes[] = {{"900x650", 900, 650}, {"1366x768", 1366, 768}, {"maximised", 0, 0}};
constexpr std::int32_t k_languages[] = {k_language_spanish, k_language_english};
constexpr float k_column_gap = 12.0F;

struct Screen {
    std::int32_t language;
    Size size;
};

void PrintTo(const Screen& screen, std::ostream* out) {
    *out << screen.size.name << (screen.language == k_language_english ? " en" : " es");
}

std::vector<Screen> all_screens() {
    std::vector<Screen> screens;
    for (const std::int32_t language : k_languages) {
        for (const Size& size : k_sizes) {
            screens.push_back({language, size});
        }
    }
    return screens;
}

// Texts that no column is wide enough for, and scripts of other directions and heights.
const std::string k_word(60, 'W');
constexpr const char* k_long_name = "Asociación de vecinas y vecinos del barrio de la Estación";
constexpr const char* k_arabic = "مرحبا بالجميع في الغرفة";
constexpr const char* k_chinese = "大家好，歡迎來到這個聊天室";
constexpr const char* k_emoji = "Fiesta 🎉👩‍👩‍👧‍👦 hoy 🎤";
const std::string k_paragraph =
    "Este mensaje es tan largo que ninguna ventana lo muestra en una línea, y por eso tiene que "
    "seguir en la siguiente, y en otra más, sin que se pierda una palabra ni se salga de su sitio. "
    "Y todavía sigue un poco, para que también en una pantalla grande haga falta otra línea.";
const Texts k_odd_texts = {"Hola", k_long_name, k_word, k_arabic, k_chinese, k_emoji};

std::string odd_history() {
    std::string messages;
    const auto add = [&messages](const std::string& sender, const std::string& text) {
        messages += std::string(messages.empty() ? "" : ",") + R"({"senderDisplayName":")" +
                    sender + R"(","text":")" + text + R"(","createdAt":"2024-05-01T10:20:30Z"})";
    };
    add("luis", std::string(400, 'x'));
    for (const std::string& text : k_odd_texts) {
        add(text, k_paragraph);
        add("luis", text);
    }
    return R"({"type":"messages:history","spaceId":"s0","hasMore":false,"messages":[)" + messages +
           "]}";
}

int frames_drawn() {
    return static_cast<int>(
        gdk_frame_clock_get_frame_counter(gtk_widget_get_frame_clock(g_window)));
}

/// Until all that follows from what was done is laid out and drawn.
void settle() {
    update_login_layout_tick(nullptr);
    wait_for_page();
    for (int frame = 0; frame < 4; ++frame) {
        const int before = frames_drawn();
        gtk_widget_queue_draw(g_window);
        wait_until([before] { return frames_drawn() > before; });
        run_pending();
    }
}

void resize(const Size& size) {
    if (size.width == 0) {
        gtk_window_maximize(GTK_WINDOW(g_window));
        wait_until_maximised();
        return;
    }
    resize_window(size.width, size.height);
}

class Layout : public HubTest, public testing::WithParamInterface<Screen> {
  protected:
    void SetUp() override {
        g_language = GetParam().language;
        copy_text(g_username, "ana_de_la_estacion_y_del_barrio");
        copy_text(g_user_email, "ana.de.la.estacion.y.del.barrio@asociacion.velmo.example");
    }

    /// Runs `body` in a window of the size.
    static void in_window(const std::function<void()>& body) {
        run_interface([&body] {
            // What the pointer happens to rest on is neither lit nor given a tooltip.
            gtk_widget_set_can_target(g_window, FALSE);
            wait_until_maximised();
            resize(GetParam().size);
            body();
        });
    }

    /// The page as it is now: without a fault, and in a picture.
    static void expect_well_laid_out(const std::string& page) {
        settle();
        EXPECT_EQ(layout_faults(g_window), Texts{});
        keep_picture(page);
    }

    static void fill_spaces() {
        for (std::size_t i = 0; i < k_odd_texts.size(); ++i) {
            HubSpace& space = add_space("s" + std::to_string(i), k_odd_texts[i]);
            if (i == 1) {
                make_invitation(space, "i1");
            }
        }
    }

    void fill_hub() {
        fill_spaces();
        Texts rooms;
        for (std::size_t i = 0; i < k_odd_texts.size(); ++i) {
            rooms.push_back("r" + std::to_string(i) + ":" + k_odd_texts[i]);
        }
        answer_rooms("s0", rooms);
        chat.answer("messages:history", [](const std::string&) { return Texts{odd_history()}; });
        show_hub();
        select(0);
        wait_until([] { return children_of(g_hub_chat_list).size() > k_odd_texts.size(); });
        fill_presence("r1");
        refresh_hub_server_list();
        fill_users();
        append_hub_chat_row("luis", "Una línea\ny otra", "2024-05-01T10:20:30.000Z");
    }

    static void fill_users() {
        g_is_connected = true;
        copy_text(g_hub_space_users_space_id, "s0");
        copy_text(g_hub_servers[0].adminUserId, "u1");
        g_hub_space_user_count = 0;
        const auto add = [](const char* id, const std::string& name, const std::string& email) {
            HubSpaceUser& user = g_hub_space_users[g_hub_space_user_count++];
            user = {};
            copy_text(user.id, id);
            copy_text(user.displayName, name);
            copy_text(user.username, "luis");
            copy_text(user.email, email);
        };
        add("u1", "ana", g_user_email);
        for (const std::string& name : k_odd_texts) {
            add("u2", name, name.size() % 2 == 0 ? name : "");
        }
        refresh_hub_space_users_list();
    }

    static void fill_presence(const char* room_id) {
        copy_text(g_hub_presence_room_id, room_id);
        g_hub_room_presence_count = 0;
        for (const std::string& name : k_odd_texts) {
            HubPresence& person = g_hub_room_presence[g_hub_room_presence_count];
            copy_text(person.username, name);
            person.speaking = g_hub_room_presence_count++ % 2 == 0;
        }
    }

  private:
    static void keep_picture(const std::string& page) {
        Pixels pixels = paint_widget(g_window);
        cairo_surface_t* const surface = cairo_image_surface_create_for_data(
            reinterpret_cast<unsigned char*>(pixels.data.data()), CAIRO_FORMAT_ARGB32, pixels.width,
            pixels.height, pixels.width * 4);
        const std::filesystem::path folder = VELMO_PICTURES;
        std::filesystem::create_directories(folder);
        const std::string name = page + "-" + GetParam().size.name +
                                 (GetParam().language == k_language_english ? "-en" : "-es");
        EXPECT_EQ(cairo_surface_write_to_png(surface, (folder / (name + ".png")).string().c_str()),
                  CAIRO_STATUS_SUCCESS);
        cairo_surface_destroy(surface);
    }
};

void expect_same_sides(const std::vector<GtkWidget*>& widgets) {
    for (GtkWidget* const widget : widgets) {
        EXPECT_NEAR(edges_of(widget).left, edges_of(widgets[0]).left, 1.0F);
        EXPECT_NEAR(edges_of(widget).right, edges_of(widgets[0]).right, 1.0F);
    }
}

float middle_of(GtkWidget* widget) {
    return (edges_of(widget).top + edges_of(widget).bottom) / 2;
}

void expect_columns_in_line() {
    const std::vector<GtkWidget*> columns = {
        column_of(g_hub_user_email_label), column_of(g_servers_list),
        column_of(g_hub_content_stack), column_of(g_hub_space_users_list)};
    for (std::size_t i = 0; i + 1 < columns.size(); ++i) {
        const Edges left = edges_of(columns[i]);
        const Edges right = edges_of(columns[i + 1]);
        EXPECT_NEAR(left.top, right.top, 1.0F);
        EXPECT_NEAR(left.bottom, right.bottom, 1.0F);
        EXPECT_NEAR(right.left - left.right, k_column_gap, 1.0F);
    }
    for (GtkWidget* const title :
         {g_hub_title_label, g_hub_chat_title_label, g_hub_space_users_title_label}) {
        EXPECT_NEAR(middle_of(title), middle_of(g_hub_spaces_title_label), 1.0F);
    }
    EXPECT_NEAR(edges_of(gtk_widget_get_ancestor(g_servers_list, GTK_TYPE_SCROLLED_WINDOW)).top,
                edges_of(g_hub_content_stack).top, 1.0F);
    expect_same_sides(children_of(columns[0]));
    expect_same_sides({gtk_widget_get_parent(g_hub_spaces_title_label),
                       gtk_widget_get_ancestor(g_servers_list, GTK_TYPE_SCROLLED_WINDOW)});
    expect_same_sides(children_of(columns[2]));
    expect_same_sides({g_hub_space_users_title_label,
                       gtk_widget_get_ancestor(g_hub_space_users_list, GTK_TYPE_SCROLLED_WINDOW)});
}

void expect_rows_of_one_height(GtkWidget* list) {
    for (GtkWidget* const row : children_of(list)) {
        EXPECT_EQ(gtk_widget_get_height(row),
                  gtk_widget_get_height(gtk_widget_get_first_child(list)));
    }
}

TEST_P(Layout, TheHubHoldsLongAndOddTexts) {
    in_window([this] {
        fill_hub();
        expect_well_laid_out("hub");
        expect_columns_in_line();
    });
}

TEST_P(Layout, TheHubOfNobodyIsWellLaidOut) {
    in_window([] {
        show_hub();
        expect_well_laid_out("hub-empty");
        expect_columns_in_line();
    });
}

// Where they do not all find room the user's and the members' are out of sight, and all of them.
void expect_no_column_cut(bool is_narrow) {
    settle();
    const Edges page = edges_of(g_hub_page);
    const Edges user = edges_of(column_of(g_hub_user_email_label));
    const Edges spaces = edges_of(column_of(g_servers_list));
    EXPECT_NEAR(is_narrow ? user.right : user.left - k_column_gap, page.left, 1.0F);
    EXPECT_NEAR(spaces.left, (is_narrow ? page.left : user.right) + k_column_gap, 1.0F);
    GtkWidget* const last = is_narrow ? g_hub_content_stack : g_hub_space_users_list;
    EXPECT_NEAR(edges_of(column_of(last)).right, page.right - k_column_gap, 1.0F);
}

TEST_P(Layout, WithASpaceChosenNoColumnIsCut) {
    in_window([this] {
        fill_hub();
        expect_no_column_cut(GetParam().size.width == 900);
    });
}

TEST_P(Layout, WithASpaceChosenNoColumnIsCutInAWindowOfAnotherSize) {
    in_window([this] {
        fill_hub();
        for (const Size& size : {k_sizes[1], k_sizes[0], k_sizes[1], k_sizes[0], k_sizes[2]}) {
            resize(size);
            expect_no_column_cut(size.width == 900);
        }
    });
}

void expect_settings_in_line() {
    const std::vector<GtkWidget*> sections =
        children_of(gtk_widget_get_parent(column_of(g_logout_btn)));
    expect_same_sides(sections);
    expect_same_sides({g_input_device_combo, g_output_device_combo, g_input_volume_scale,
                       g_output_volume_scale, g_audio_meter});
}

TEST_P(Layout, TheSettingsAreWellLaidOut) {
    for (const std::string& name : {std::string("Micrófono"), k_word + k_word}) {
        fake_audio::add_endpoint(AudioFlow::capture, name, name);
    }
    fake_audio::set_default(AudioFlow::capture, k_word + k_word);
    ASSERT_EQ(Audio_Init(), 1);
    in_window([] {
        show_hub();
        gtk_notebook_set_current_page(GTK_NOTEBOOK(g_hub_notebook), 1);
        GUI_UpdateAudioLevel(0.6F);
        update_audio_meter(nullptr);
        expect_well_laid_out("settings");
        expect_settings_in_line();
        GtkAdjustment* const scrolling = scrolling_of(g_logout_btn);
        gtk_adjustment_set_value(scrolling, gtk_adjustment_get_upper(scrolling));
        click(g_test_audio_btn);
        expect_well_laid_out("settings-end");
    });
    Audio_Cleanup();
    fake_audio::reset();
}

TEST_P(Layout, TheRoomsPageHoldsLongAndOddTexts) {
    in_window([] {
        add_space("s0", "Uno");
        g_selected_server_index = 0;
        for (std::size_t i = 0; i < k_odd_texts.size(); ++i) {
            add_rooms({"r" + std::to_string(i) + ":" + k_odd_texts[i]});
            copy_text(g_hub_rooms[i].description, k_odd_texts[k_odd_texts.size() - 1 - i]);
        }
        fill_presence("r1");
        refresh_room_list();
        switch_to_rooms_page();
        expect_well_laid_out("rooms");
        GtkWidget* const section = column_of(g_rooms_list);
        expect_same_sides(children_of(section));
    });
}

TEST_P(Layout, TheRoomHoldsLongAndOddTexts) {
    in_window([] {
        copy_text(g_current_room, k_long_name);
        std::vector<Peer> peers;
        for (const std::string& name : k_odd_texts) {
            peers.push_back(make_peer(name, peers.size() % 2 == 0));
        }
        GUI_UpdatePeerList(peers.data(), static_cast<int>(peers.size()));
        for (const std::string& text : k_odd_texts) {
            GUI_AddChatMessage(text.c_str(), k_paragraph.c_str());
            GUI_AddChatMessage("luis", text.c_str());
            GUI_AddSystemMessage(text.c_str());
        }
        switch_to_main_page();
        expect_well_laid_out("room");
        expect_same_sides(children_of(g_channel_tab));
        expect_rows_of_one_height(g_peers_list);
    });
}

TEST_P(Layout, TheSignInPagesAreWellLaidOut) {
    in_window([] {
        switch_to_login_page();
        type(g_username_entry, g_user_email);
        expect_well_laid_out("login");
        switch_to_register_page();
        expect_well_laid_out("register");
    });
}

std::string name_of_screen(const testing::TestParamInfo<Screen>& screen) {
    const bool is_english = screen.param.language == k_language_english;
    return std::string(is_english ? "English_" : "Spanish_") + screen.param.size.name;
}

INSTANTIATE_TEST_SUITE_P(EveryScreen, Layout, testing::ValuesIn(all_screens()), name_of_screen);

} // namespace
