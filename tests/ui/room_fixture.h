// What the tests of the room view share: who is there, the network's other ends, and what the
// view's rows and its chat show.
#pragma once

#include "interface_fixture.h"

#include "support/fake_web_exchange.h"
#include "support/fake_web_socket.h"

#include <string>
#include <vector>

/// Ana, shown as Anita, is signed in; nobody else is there, and she is in no room. The chat server
/// is friendly.
class RoomTest : public InterfaceTest {
  protected:
    RoomTest();
    ~RoomTest() override;

    FakeWeb web;
    FakeWebSocketServer chat_server;
};

void show_peers(const std::vector<Peer>& peers);

/// One participant as the list shows it.
struct PeerRow {
    GtkWidget* row;
    GtkWidget* box;
    GtkWidget* dot;
    GtkWidget* microphone;
    GtkWidget* name;
    GtkWidget* button; ///< null for none
};

std::vector<PeerRow> peer_rows();
Texts peer_names();
Texts speaking_names(); ///< those whose dot says so

/// Of a row's button; "" where there is none.
std::string button_label(const PeerRow& row);

/// What the room's chat shows, with every digit as '#': the time is whatever it is.
std::string chat_lines();

/// Runs the interface with the program's own style in place of the built-in one.
int run_styled_interface(const std::function<void()>& body);
