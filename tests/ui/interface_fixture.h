// What the fixtures of this folder build on: the state of the interface's modules as it is at the
// start of the program, and what fills it.
#pragma once

#include "ui_harness.h"

#include "backend/hub_tables.h"
#include "core/peer.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>
#include <string>
#include <vector>

/// Nobody is signed in, nothing is listed, and the user's own folder holds no file.
class InterfaceTest : public testing::Test {
  protected:
    InterfaceTest();
    ~InterfaceTest() override;

    /// As it is before each test and after it.
    static void forget_everything();

    /// Appends a space to the table; with rooms, "id:name" each, they are cached.
    static HubSpace& add_space(const std::string& id, const std::string& name,
                               const Texts& rooms = {});
    static void cache_rooms(HubSpace& space, const Texts& rooms);
    static void make_invitation(HubSpace& space, const std::string& invitation_id);
    /// Appends rooms to the table of the selected space's rooms.
    static void add_rooms(const Texts& rooms);
    /// Selects the space of the table, without what the list does then.
    static void be_in_space(std::int32_t index = 0);

    // The hub's list.
    static std::vector<GtkWidget*> rows();
    static GtkListBoxRow* row(std::size_t index);
    static GtkWidget* selected_row();
};

/// What is read out for the widget.
void expect_spoken_name(GtkWidget* widget, const char* name);
/// The same is its tooltip, and nothing else names it.
void expect_tooltip_and_name(GtkWidget* widget, const char* name);

Peer make_peer(const std::string& username, bool speaking = false);

/// A room of a text "id:name".
HubRoom make_room(const std::string& text);

// The files of the user's own folder; "" when there is none.
std::string session_file();
std::string settings_file();
void write_session_file(const std::string& contents);
void write_settings_file(const std::string& contents);

/// The folder that a test works in is two levels deep in its own, so that "../" is its own too.
class InnerFolderTest : public testing::Test {
  protected:
    InnerFolderTest();
    ~InnerFolderTest() override;

  private:
    std::filesystem::path m_before;
};

/// Copies of the program's own files in resources/, while it lives. The test's folder has none
/// before.
class ProgramResources {
  public:
    explicit ProgramResources(std::initializer_list<const char*> names = {"style.css"});
    ~ProgramResources();
    ProgramResources(const ProgramResources&) = delete;
    ProgramResources& operator=(const ProgramResources&) = delete;

  private:
    bool m_is_ours;
};
