// What the tests of the settings tab share: the hub with its sound, and what the core was told.
#pragma once

#include "hub_fixture.h"

#include "support/fake_audio_endpoint.h"

#include <string>
#include <vector>

/// Sound is set up when the interface runs; the endpoints come before that. What the interface
/// tells the core is written into a journal.
class SettingsTest : public HubTest {
  protected:
    SettingsTest();
    ~SettingsTest() override;

    /// Endpoints with these names, the first of them the default.
    static void add_microphones(const Texts& names);
    static void add_loudspeakers(const Texts& names);

    /// Runs the interface with the sound set up, on the settings tab.
    static void run_on_settings(const std::function<void()>& body);

    /// What the core was told, in order: "gain 2.00", "volume 0.50", "loopback on", "leave".
    static Texts& journal();
};

/// What a drop-down offers, and which of it is selected.
Texts choices(GtkWidget* combo);
guint chosen(GtkWidget* combo);
void choose(GtkWidget* combo, guint position);
