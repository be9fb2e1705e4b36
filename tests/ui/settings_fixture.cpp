// See settings_fixture.h.
#include "settings_fixture.h"

#include "audio/audio_engine.h"
#include "base/text.h"
#include "ui/hub/hub_internal.h"

namespace {

Texts g_journal;

void note(const char* what, float value) {
    char line[32];
    format_text(line, "%s %.2f", what, static_cast<double>(value));
    g_journal.emplace_back(line);
}

} // namespace

SettingsTest::SettingsTest() {
    fake_audio::reset();
    g_journal.clear();
    GUI_SetGainCallback([](float value) { note("gain", value); });
    GUI_SetVolumeCallback([](float value) { note("volume", value); });
    GUI_SetLoopbackCallback(
        [](bool on) { g_journal.emplace_back(on ? "loopback on" : "loopback off"); });
    GUI_SetLeaveRoomCallback([] { g_journal.emplace_back("leave"); });
}

SettingsTest::~SettingsTest() {
    Audio_Cleanup();
    EXPECT_EQ(fake_audio::violations(), std::vector<std::string>{});
}

void SettingsTest::add_microphones(const Texts& names) {
    for (const std::string& name : names) {
        fake_audio::add_endpoint(AudioFlow::capture, "in " + name, name);
    }
}

void SettingsTest::add_loudspeakers(const Texts& names) {
    for (const std::string& name : names) {
        fake_audio::add_endpoint(AudioFlow::render, "out " + name, name);
    }
}

void SettingsTest::run_on_settings(const std::function<void()>& body) {
    ASSERT_EQ(Audio_Init(), 1);
    run_interface([&body] {
        show_hub();
        gtk_notebook_set_current_page(GTK_NOTEBOOK(g_hub_notebook), 1);
        wait_for_pictures();
        body();
    });
}

Texts& SettingsTest::journal() {
    return g_journal;
}

Texts choices(GtkWidget* combo) {
    GListModel* const model = gtk_drop_down_get_model(GTK_DROP_DOWN(combo));
    Texts texts;
    for (guint i = 0; i < g_list_model_get_n_items(model); ++i) {
        texts.emplace_back(gtk_string_list_get_string(GTK_STRING_LIST(model), i));
    }
    return texts;
}

guint chosen(GtkWidget* combo) {
    return gtk_drop_down_get_selected(GTK_DROP_DOWN(combo));
}

void choose(GtkWidget* combo, guint position) {
    gtk_drop_down_set_selected(GTK_DROP_DOWN(combo), position);
}
