// The hub's chat column, its rows, and pages of history shown in them.
#include "hub_chat_fixture.h"

#include "base/text.h"
#include "ui/hub/hub_chat_internal.h"
#include "ui/localisation.h"

#include <algorithm>
#include <utility>

namespace {

constexpr const char* k_time = "[2024-05-01-10:20:30]";

class HubChatRows : public HubChatTest {
  protected:
    static bool apply(const std::string& messages, bool prepend = false,
                      const std::string& more = "") {
        return apply_chat_history_payload(history_frame(messages, more).c_str(), prepend, false,
                                          nullptr);
    }

    struct Edges {
        int left;
        int right;
    };

    /// Of the character at this byte of the text, in the layout's own units.
    static Edges edges_of(PangoLayout* layout, std::size_t index) {
        PangoRectangle place;
        pango_layout_index_to_pos(layout, static_cast<int>(index), &place);
        return {std::min(place.x, place.x + place.width), std::max(place.x, place.x + place.width)};
    }

    static PangoLayout* header_layout(GtkWidget* row) {
        wait_until([row] { return gtk_widget_get_height(row) > 0; });
        return gtk_label_get_layout(GTK_LABEL(children_of(gtk_widget_get_first_child(row)).at(0)));
    }

    /// What is to be seen of a text: directions have marks that are not.
    static std::string without_marks(std::string text) {
        for (const std::string mark :
             {"\u200E", "\u202E", "\u2067", "\u2068", "\u2069", "\u2029", "\n"}) {
            for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark)) {
                text.erase(at, mark.size());
            }
        }
        return text;
    }

    static ChatRow row(const std::string& sender, const std::string& text) {
        return {sender + " " + k_time, text};
    }
};

TEST_F(HubChatRows, TheColumnHasTitleListAndInput) {
    show_column();
    GtkWidget* const column = gtk_window_get_child(GTK_WINDOW(g_window));
    EXPECT_TRUE(has_class(column, "settings-section"));
    EXPECT_TRUE(gtk_widget_get_hexpand(column));
    int width = 0;
    gtk_widget_get_size_request(column, &width, nullptr);
    EXPECT_EQ(width, 360);
    const std::vector<GtkWidget*> parts = children_of(column);
    EXPECT_EQ(parts, (std::vector<GtkWidget*>{g_hub_chat_title_label, g_hub_content_stack,
                                              g_hub_chat_input_box}));
    EXPECT_EQ(title(), "Selecciona un espacio o sala");
    EXPECT_TRUE(has_class(g_hub_chat_title_label, "settings-option-title"));
    EXPECT_EQ(shown_page(), "hub-room-chat");
    GtkStack* const stack = GTK_STACK(g_hub_content_stack);
    GtkWidget* const chat = gtk_stack_get_child_by_name(stack, "hub-room-chat");
    EXPECT_TRUE(gtk_widget_is_ancestor(g_hub_chat_scroll, chat));
    EXPECT_TRUE(gtk_widget_is_ancestor(g_hub_chat_loading_label, chat));
    EXPECT_TRUE(gtk_widget_is_ancestor(g_hub_chat_list, g_hub_chat_scroll));
    EXPECT_EQ(gtk_stack_get_child_by_name(stack, "hub-stream-view"), g_hub_stream_page);
    EXPECT_EQ(button_label(g_hub_chat_send_btn), "Enviar");
    EXPECT_FALSE(is_loading_shown());
}

TEST_F(HubChatRows, TheInputIsNamedByItsTooltipInTheLanguageThatItHas) {
    show_column();
    EXPECT_EQ(tooltip(g_hub_chat_input_view), "Escribe un mensaje...");
    const auto name = [] {
        const GCharPtr wrong(gtk_test_accessible_check_property(
            GTK_ACCESSIBLE(g_hub_chat_input_view), GTK_ACCESSIBLE_PROPERTY_LABEL, ""));
        return std::string(or_empty(wrong.get()));
    };
    EXPECT_NE(name().find("Escribe un mensaje..."), std::string::npos) << name();
    g_language = k_language_english;
    apply_language_to_ui();
    EXPECT_EQ(tooltip(g_hub_chat_input_view), "Write a message...");
    EXPECT_NE(name().find("Write a message..."), std::string::npos) << name();
}

TEST_F(HubChatRows, ARowShowsSenderTimeAndText) {
    show_column();
    append_hub_chat_row("Ana", "hola", "2024-05-01T10:20:30.000Z");
    EXPECT_EQ(rows(), (ChatRows{{"Ana [2024-05-01-10:20:30]", "hola"}}));
    GtkWidget* const widget = row_widgets().at(0);
    EXPECT_FALSE(gtk_list_box_row_get_activatable(GTK_LIST_BOX_ROW(widget)));
    EXPECT_FALSE(gtk_list_box_row_get_selectable(GTK_LIST_BOX_ROW(widget)));
    for (GtkWidget* const label : children_of(gtk_widget_get_first_child(widget))) {
        EXPECT_TRUE(gtk_label_get_wrap(GTK_LABEL(label)));
        EXPECT_EQ(gtk_label_get_xalign(GTK_LABEL(label)), 0.0F);
    }
}

TEST_F(HubChatRows, WithoutATimeTheSenderStandsAlone) {
    show_column();
    append_hub_chat_row("Ana", "hola", "");
    append_hub_chat_row("Luis", "adiós", nullptr);
    EXPECT_EQ(rows(), (ChatRows{{"Ana", "hola"}, {"Luis", "adiós"}}));
}

TEST_F(HubChatRows, ATimeThatIsNoneShowsTheCurrentOne) {
    show_column();
    append_hub_chat_row("Ana", "hola", "yesterday");
    std::string header = rows().at(0).header;
    std::ranges::replace_if(
        header, [](char c) { return c >= '0' && c <= '9'; }, '#');
    EXPECT_EQ(header, "Ana [####-##-##-##:##:##]");
}

TEST_F(HubChatRows, AMessageWithoutASenderIsADashs) {
    show_column();
    append_hub_chat_row("", "hola", nullptr);
    append_hub_chat_row(nullptr, "hola", nullptr);
    EXPECT_EQ(rows(), (ChatRows{{"-", "hola"}, {"-", "hola"}}));
}

TEST_F(HubChatRows, MarkupAndOddBytesAreText) {
    show_column();
    append_hub_chat_row("<b>A&B</b>", "<i>&amp;</i>\xC3(\nsegunda", "2024-05-01T10:20:30");
    EXPECT_EQ(rows(), (ChatRows{row("<b>A&B</b>", "<i>&amp;</i>\uFFFD(\nsegunda")}));
}

TEST_F(HubChatRows, ACharacterCutAtTheEndOfANameOrATextIsLeftOut) {
    show_column();
    append_hub_chat_row("Jos\xC3", "ma\xC3", "2024-05-01T10:20:30");
    EXPECT_EQ(rows(), (ChatRows{row("Jos", "ma")}));
}

TEST_F(HubChatRows, AHeaderIsCutAtItsBuffer) {
    show_column();
    append_hub_chat_row(std::string(300, 'n').c_str(), "hola", "2024-05-01T10:20:30");
    EXPECT_EQ(rows().at(0).header, std::string(195, 'n'));
}

TEST_F(HubChatRows, AHeadersCutLeavesNoPartOfACharacter) {
    show_column();
    std::string name = "n";
    for (int i = 0; i < 150; ++i) {
        name += "ñ"; // two bytes each: the buffer's end is within one
    }
    append_hub_chat_row(name.c_str(), "hola", "2024-05-01T10:20:30");
    name.resize(195);
    EXPECT_EQ(rows().at(0).header, name);
    append_hub_chat_row(("n" + name).c_str(), "hola", nullptr);
    EXPECT_EQ(rows().at(1).header, "n" + name.substr(0, 193));
}

TEST_F(HubChatRows, ASendersOddBytesDoNotPushTheTimeOut) {
    show_column();
    append_hub_chat_row(std::string(95, '\xFF').c_str(), "hola", "2024-05-01T10:20:30");
    std::string name;
    for (int i = 0; i < 95; ++i) {
        name += "\uFFFD"; // three bytes for one
    }
    EXPECT_EQ(rows(), (ChatRows{row(name, "hola")}));
}

TEST_F(HubChatRows, AnyPartOfACharacterAtANamesEndIsLeftOut) {
    show_column();
    for (const char* const part : {"\xC3", "\xE2", "\xE2\x82", "\xF0\x9F\x98"}) {
        append_hub_chat_row((std::string("Ana") + part).c_str(), "hola", "2024-05-01T10:20:30");
        EXPECT_EQ(rows().back(), row("Ana", "hola"));
    }
    append_hub_chat_row("Ana\u20AC", "hola", "2024-05-01T10:20:30");
    append_hub_chat_row("\xC3", "hola", "2024-05-01T10:20:30");
    EXPECT_EQ(rows().at(4), row("Ana\u20AC", "hola"));
    EXPECT_EQ(rows().at(5), row("-", "hola"));
}

TEST_F(HubChatRows, ANameFromRightToLeftKeepsItsPlaceBeforeTheTime) {
    show_column();
    for (const std::string name :
         {"Ana", "ليلى", "דנה", "Ana דנה", "ليلى 12", "\u202EAna", "\u2067Ana", "\u2069דנה",
          "\u2069\u202EAna", "\u2069\u2069\u202Eאבא", "\u2029דנה", "Ana\nדנה"}) {
        append_hub_chat_row(name.c_str(), "hola", "2024-05-01T10:20:30");
        EXPECT_EQ(without_marks(rows().back().header), without_marks(row(name, "").header));
        PangoLayout* const header = header_layout(row_widgets().back());
        const std::string text = pango_layout_get_text(header);
        const std::size_t time = text.rfind('[');
        // From the left: the name, the bracket, the time's own characters, the other bracket.
        Edges last{0, 0};
        for (std::size_t i = 0; i < time; ++i) {
            const Edges at = edges_of(header, i);
            EXPECT_LE(at.right, edges_of(header, time).left) << name << " " << i;
            last = {0, std::max(last.right, at.right)};
        }
        for (std::size_t i = time; i < text.size(); ++i) {
            const Edges at = edges_of(header, i);
            EXPECT_GE(at.left, last.right) << name << " " << i;
            last = at;
        }
        PangoRectangle place;
        pango_layout_get_extents(header, nullptr, &place);
        EXPECT_EQ(place.x, 0) << name;
    }
}

TEST_F(HubChatRows, ANameFromRightToLeftAloneStandsAtTheLeft) {
    show_column();
    append_hub_chat_row("ليلى", "hola", nullptr);
    PangoLayout* const header = header_layout(row_widgets().back());
    pango_layout_set_width(header, 400 * PANGO_SCALE); // more than it needs
    PangoRectangle place;
    pango_layout_get_extents(header, nullptr, &place);
    EXPECT_EQ(place.x, 0);
}

TEST_F(HubChatRows, ANameFromRightToLeftIsBoldToItsEnd) {
    show_column();
    append_hub_chat_row("דנה", "hola", "2024-05-01T10:20:30");
    PangoLayout* const header = header_layout(row_widgets().back());
    const std::string_view text = pango_layout_get_text(header);
    const auto is_bold = [header](std::size_t index) {
        PangoAttrIterator* const at =
            pango_attr_list_get_iterator(pango_layout_get_attributes(header));
        const auto is_there = [at, index] {
            int start = 0;
            int end = 0;
            pango_attr_iterator_range(at, &start, &end);
            return static_cast<int>(index) < end;
        };
        while (!is_there() && pango_attr_iterator_next(at)) {
        }
        const bool bold = pango_attr_iterator_get(at, PANGO_ATTR_WEIGHT) != nullptr;
        pango_attr_iterator_destroy(at);
        return bold;
    };
    EXPECT_TRUE(is_bold(text.find("ה")));
    EXPECT_FALSE(is_bold(text.find(' ')));
    EXPECT_FALSE(is_bold(text.find('[')));
}

TEST_F(HubChatRows, LongWordsLeaveTheColumnItsWidth) {
    show_column(440, 500);
    append_hub_chat_row(std::string(95, 'W').c_str(), std::string(511, 'W').c_str(),
                        "2024-05-01T10:20:30");
    wait_until([] { return gtk_widget_get_height(row_widgets().at(0)) > 0; });
    int minimum = 0;
    gtk_widget_measure(gtk_window_get_child(GTK_WINDOW(g_window)), GTK_ORIENTATION_HORIZONTAL, -1,
                       &minimum, nullptr, nullptr, nullptr);
    EXPECT_EQ(minimum, 360);
    set_hub_chat_title(std::string(127, 'W').c_str());
    gtk_widget_measure(gtk_window_get_child(GTK_WINDOW(g_window)), GTK_ORIENTATION_HORIZONTAL, -1,
                       &minimum, nullptr, nullptr, nullptr);
    EXPECT_EQ(minimum, 360);
}

TEST_F(HubChatRows, AShortChatStandsAtTheBottom) {
    show_column();
    append_hub_chat_row("Ana", "hola", nullptr);
    settle();
    GtkWidget* const row = row_widgets().at(0);
    const double end = place_of(row) + gtk_widget_get_height(row);
    const double below = gtk_widget_get_height(g_hub_chat_scroll) - end;
    EXPECT_GE(below, 0.0);
    EXPECT_LT(below, 20.0) << "the list's own edge";
    EXPECT_LT(gtk_widget_get_height(row), 80);
}

// Thousands of texts would each be laid out for a width that they never get.
TEST_F(HubChatRows, NobodyAsksHowHighTheListIsAtItsLeastWidth) {
    show_column(440, 500);
    append_hub_chat_row("Ana", std::string(511, 'W').c_str(), nullptr);
    settle();
    const auto measured = [](GtkWidget* widget, GtkOrientation orientation) {
        std::pair<int, int> sizes;
        gtk_widget_measure(widget, orientation, -1, &sizes.first, &sizes.second, nullptr, nullptr);
        return sizes;
    };
    GtkWidget* const viewport = gtk_widget_get_first_child(g_hub_chat_scroll);
    ASSERT_TRUE(GTK_IS_VIEWPORT(viewport));
    EXPECT_EQ(measured(viewport, GTK_ORIENTATION_VERTICAL), std::pair(0, 0));
    EXPECT_GT(gtk_widget_get_height(g_hub_chat_list), 200);
    const std::pair<int, int> width = measured(g_hub_chat_list, GTK_ORIENTATION_HORIZONTAL);
    append_hub_chat_row("Ana", "hola", nullptr);
    EXPECT_EQ(measured(g_hub_chat_list, GTK_ORIENTATION_HORIZONTAL), width);
    EXPECT_EQ(width.first, width.second);
}

TEST_F(HubChatRows, ATextCanBeSelectedToCopyIt) {
    show_column();
    append_hub_chat_row("Ana", "hola", nullptr);
    const std::vector<GtkWidget*> labels =
        children_of(gtk_widget_get_first_child(row_widgets().at(0)));
    EXPECT_TRUE(gtk_label_get_selectable(GTK_LABEL(labels.at(1))));
}

TEST_F(HubChatRows, TheLoadingLabelMovesNothing) {
    show_column();
    for (int i = 0; i < 40; ++i) {
        append_hub_chat_row("Ana", "hola", nullptr);
    }
    wait_until([] { return gtk_widget_get_height(row_widgets().back()) > 0 && is_at_bottom(); });
    // From the lower edge, which a window manager may still be moving.
    const auto place = [last = row_widgets().back()] {
        return place_of(last) - gtk_widget_get_height(g_hub_chat_scroll);
    };
    settle();
    const double before = place();
    set_hub_chat_loading_indicator(true);
    wait_until([] { return gtk_widget_get_height(g_hub_chat_loading_label) > 0; });
    settle();
    EXPECT_EQ(place(), before);
    EXPECT_EQ(label(g_hub_chat_loading_label), "Cargando historial...");
}

TEST_F(HubChatRows, TheTitleIsCutAtItsBufferAndStandsWholeInTheTooltip) {
    show_column();
    set_hub_chat_title((std::string(126, 'a') + "ñ").c_str());
    EXPECT_EQ(title(), std::string(126, 'a'));
    settle();
    EXPECT_TRUE(tells_cut_text(g_hub_chat_title_label));
    set_hub_chat_title("Sala");
    settle();
    EXPECT_FALSE(tells_cut_text(g_hub_chat_title_label));
}

// ---- pages of history

TEST_F(HubChatRows, APageTakesThePlaceOfWhatWasShownInItsOrder) {
    show_column();
    append_hub_chat_row("viejo", "viejo", nullptr);
    EXPECT_TRUE(apply(history_message("Ana", "uno") + "," + history_message("Luis", "dos")));
    EXPECT_EQ(rows(), (ChatRows{row("Ana", "uno"), row("Luis", "dos")}));
}

TEST_F(HubChatRows, AnOlderPageGoesOnTopInItsOwnOrder) {
    show_column();
    apply(history_message("Ana", "tres") + "," + history_message("Ana", "cuatro"));
    EXPECT_TRUE(apply(history_message("Ana", "uno") + "," + history_message("Ana", "dos"), true));
    EXPECT_EQ(rows(), (ChatRows{row("Ana", "uno"), row("Ana", "dos"), row("Ana", "tres"),
                                row("Ana", "cuatro")}));
}

TEST_F(HubChatRows, HasMoreAndTheCursorAreThoseOfThePage) {
    show_column();
    apply(history_message("Ana", "uno"), false, R"("hasMore":true,"nextBefore":"c-1",)");
    EXPECT_TRUE(g_hub_chat_has_more_history);
    EXPECT_STREQ(g_hub_chat_next_before, "c-1");
    apply(history_message("Ana", "cero"), true);
    EXPECT_FALSE(g_hub_chat_has_more_history);
    EXPECT_STREQ(g_hub_chat_next_before, "");
    apply("", false, R"("hasMore":true,"nextBefore":")" + std::string(80, 'c') + "\",");
    EXPECT_EQ(g_hub_chat_next_before, std::string(63, 'c'));
}

TEST_F(HubChatRows, BlanksBetweenTheKeysDoNotMatter) {
    show_column();
    EXPECT_TRUE(apply_chat_history_payload(
        R"({ "hasMore" : true , "messages" : [ { "senderDisplayName" : "Ana" ,)"
        "\n"
        R"( "text" : "uno  dos" } ] })",
        false, false, nullptr));
    EXPECT_TRUE(g_hub_chat_has_more_history);
    EXPECT_EQ(rows(), (ChatRows{{"Ana", "uno  dos"}}));
}

TEST_F(HubChatRows, ATextIsCutAtAnEscapedQuote) {
    show_column();
    apply(history_message("Ana", R"(di \"hola\" ya)") + "," + history_message("Luis", "dos"));
    EXPECT_EQ(rows(), (ChatRows{row("Ana", R"(di \)"), row("Luis", "dos")}));
}

TEST_F(HubChatRows, ValuesAreCutAtTheirBuffers) {
    show_column();
    apply(history_message(std::string(200, 's'), std::string(900, 't')));
    EXPECT_EQ(rows(), (ChatRows{row(std::string(95, 's'), std::string(511, 't'))}));
}

TEST_F(HubChatRows, AMessageWithoutATimeHasNone) {
    show_column();
    apply(R"({"senderDisplayName":"Ana","text":"uno"})");
    EXPECT_EQ(rows(), (ChatRows{{"Ana", "uno"}}));
}

TEST_F(HubChatRows, AtMost256MessagesOfAPageAreShown) {
    show_column();
    std::string messages;
    for (int i = 0; i < 300; ++i) {
        messages += (i > 0 ? "," : "") + history_message("A", std::to_string(i));
    }
    apply(messages);
    ASSERT_EQ(rows().size(), 256U);
    EXPECT_EQ(rows().front(), row("A", "0"));
    EXPECT_EQ(rows().back(), row("A", "255"));
}

TEST_F(HubChatRows, AnEmptySenderInAPageIsADashs) {
    show_column();
    apply(history_message("", "uno") + "," + history_message("Luis", "dos"));
    EXPECT_EQ(rows(), (ChatRows{row("-", "uno"), row("Luis", "dos")}));
}

TEST_F(HubChatRows, AMessageWithoutASenderOrATextEndsThePage) {
    show_column();
    apply(history_message("Ana", "uno") + R"(,{"senderDisplayName":"Luis"})");
    EXPECT_EQ(rows(), (ChatRows{row("Ana", "uno")}));
}

TEST_F(HubChatRows, APageWithoutMessagesSaysSo) {
    show_column();
    apply(history_message("Ana", "uno"));
    for (const char* const payload : {R"({"messages":[]})", "{}", "", "{\"messages\":"}) {
        EXPECT_TRUE(apply_chat_history_payload(payload, false, false, nullptr));
        EXPECT_EQ(rows(), (ChatRows{{"-", "Aún no hay mensajes."}})) << payload;
    }
    EXPECT_TRUE(apply_chat_history_payload(nullptr, false, false, nullptr));
    EXPECT_EQ(rows().size(), 1U);
}

TEST_F(HubChatRows, AnOlderPageWithoutMessagesChangesNothing) {
    show_column();
    apply(history_message("Ana", "uno"));
    EXPECT_TRUE(apply("", true));
    EXPECT_EQ(rows(), (ChatRows{row("Ana", "uno")}));
}

TEST_F(HubChatRows, TheFirstMessageTakesThePlaceOfTheEmptyNotice) {
    g_language = k_language_english;
    show_column();
    apply("");
    EXPECT_EQ(rows(), (ChatRows{{"-", "No messages yet."}}));
    append_hub_chat_row("Ana", "hola", nullptr);
    EXPECT_EQ(rows(), (ChatRows{{"Ana", "hola"}}));
    apply("");
    prepend_hub_chat_row("Luis", "adiós", nullptr);
    EXPECT_EQ(rows(), (ChatRows{{"Luis", "adiós"}}));
}

TEST_F(HubChatRows, TheNoticesChangeWithTheLanguage) {
    show_column();
    show_no_hub_chat();
    set_hub_chat_loading_indicator(true);
    g_language = k_language_english;
    apply_language_to_ui();
    EXPECT_EQ(rows(), (ChatRows{{"-", "No messages yet."}}));
    EXPECT_EQ(label(g_hub_chat_loading_label), tr("hub_chat_loading_history"));
    EXPECT_NE(label(g_hub_chat_loading_label), "Cargando historial...");
    append_hub_chat_row("Ana", "hola", nullptr); // the notice is gone: nothing is left to relabel
    g_language = k_language_spanish;
    apply_language_to_ui();
    EXPECT_EQ(rows(), (ChatRows{{"Ana", "hola"}}));
    EXPECT_EQ(label(g_hub_chat_loading_label), "Cargando historial...");
    apply("");
    apply(history_message("Ana", "hola")); // the same where another list took its place
    g_language = k_language_english;
    apply_language_to_ui();
    EXPECT_EQ(rows(), (ChatRows{row("Ana", "hola")}));
}

TEST_F(HubChatRows, AnotherNoticeStays) {
    show_column();
    show_hub_chat_notice("No se pudo cargar el chat del espacio");
    append_hub_chat_row("Ana", "hola", nullptr);
    EXPECT_EQ(rows(), (ChatRows{{"-", "No se pudo cargar el chat del espacio"}, {"Ana", "hola"}}));
}

TEST_F(HubChatRows, ThePagesTitleIsSetOnlyWhereAskedFor) {
    show_column();
    apply_chat_history_payload("{}", false, true, "Sala 1");
    EXPECT_EQ(title(), "Sala 1");
    apply_chat_history_payload("{}", false, false, "Sala 2");
    EXPECT_EQ(title(), "Sala 1");
    apply_chat_history_payload("{}", false, true, nullptr);
    EXPECT_EQ(title(), "Selecciona un espacio o sala");
}

TEST_F(HubChatRows, NoChatIsAsAtTheStart) {
    show_column();
    apply(history_message("Ana", "uno"), false, R"("hasMore":true,"nextBefore":"c",)");
    set_hub_chat_title("Sala");
    set_hub_chat_loading_indicator(true);
    show_no_hub_chat();
    EXPECT_EQ(rows(), (ChatRows{{"-", "Aún no hay mensajes."}}));
    EXPECT_EQ(title(), "Selecciona un espacio o sala");
    EXPECT_FALSE(g_hub_chat_has_more_history);
    EXPECT_STREQ(g_hub_chat_next_before, "");
    EXPECT_FALSE(is_loading_shown());
}

TEST_F(HubChatRows, TheKeyboardGoesToTheInputWhenItsRowGoes) {
    show_column();
    append_hub_chat_row("Ana", "hola", nullptr);
    gtk_widget_grab_focus(row_widgets().at(0));
    ASSERT_EQ(keyboard(), row_widgets().at(0));
    clear_hub_chat_list();
    EXPECT_EQ(keyboard(), g_hub_chat_input_view);
}

TEST_F(HubChatRows, WithoutAColumnNothingHappens) {
    ASSERT_EQ(g_hub_chat_list, nullptr);
    append_hub_chat_row("Ana", "hola", nullptr);
    prepend_hub_chat_row("Ana", "hola", nullptr);
    show_hub_chat_notice("x");
    show_no_hub_chat();
    set_hub_chat_loading_indicator(true);
    update_hub_chat_input_height(600);
    show_hub_room_chat_view();
    update_hub_stream_status_label();
    EXPECT_TRUE(apply(history_message("Ana", "uno"), true));
    EXPECT_TRUE(apply(history_message("Ana", "uno")));
    on_hub_chat_send_clicked(nullptr, nullptr);
    retry_hub_chat_page_at_top();
    EXPECT_EQ(g_hub_chat_list, nullptr);
}

} // namespace
