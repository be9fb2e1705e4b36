// What the tests of the hub share: the whole interface over a scripted backend, chat server and
// voice server, with a signed-in user. The chat server is friendly unless told otherwise.
#pragma once

#include "interface_fixture.h"

#include "support/fake_udp_socket.h"
#include "support/fake_web_exchange.h"
#include "support/fake_web_socket.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

/// What an alert says, and the kind that its caller gave it, which is not to be seen: the handlers
/// are built once more into the test program, with a recorder in their way.
struct Alert {
    int kind;
    std::string title;
    std::string detail;

    bool operator==(const Alert&) const = default;
};
void PrintTo(const Alert& alert, std::ostream* out);

Alert information(const std::string& title, const std::string& detail);
Alert warning(const std::string& title, const std::string& detail);
Alert failure(const std::string& title, const std::string& detail);

class HubTest : public InterfaceTest {
  protected:
    HubTest();
    ~HubTest() override;

    /// The answer to "METHOD /path", from now on. What has none gets 404 and {}.
    void answer(const std::string& request, std::uint32_t status, const std::string& body);
    /// Nobody answers to it, from now on.
    void refuse(const std::string& request);
    /// The rooms of a space, "id:name" each.
    void answer_rooms(const std::string& space_id, const Texts& rooms);
    /// "METHOD /path" of every request so far, without its query; requests() leaves out those for
    /// pictures, which every new row of a space makes.
    Texts all_requests() const;
    Texts requests() const;
    std::string last_url() const { return m_web.last_call().url; }
    /// Of the latest one "METHOD /path"; empty without one.
    std::string body_of_request(const std::string& request) const;
    std::string body_of_last_request() const { return m_web.last_call().body; }
    void forget_requests() { m_web.forget_calls(); }
    void at_each_request(std::function<void()> callback) { m_at_request = std::move(callback); }

    /// What happens in the loop of the popup that is shown next.
    static void do_behind_popup(void (*action)());
    static void close_window_behind_popup();
    static void load_spaces_behind_popup();

    /// The hub in its window, laid out.
    static void show_hub();
    /// With the space "s1", which is selected, and its rooms "r1" and "r2".
    static void show_hub_of_two_rooms();

    // Who is in the voice room.
    static void show_peers(const std::vector<Peer>& peers);
    static void be_in_room(const char* room_id, const std::vector<Peer>& peers = {});
    /// The names of the table, with "*" behind who speaks.
    static Texts present();

    // The hub's list.
    /// A line for each row: "Name", "  Room", "    Person", with "*" behind who speaks.
    static Texts list_lines();
    static void select(std::size_t index);
    static void activate(std::size_t index);
    // The list's own key signals.
    static void press_on_list(const char* signal);
    static void move_cursor(int lines);
    /// Enter on a row, which GTK keeps until the key has been dealt with.
    static void press_enter_on(std::size_t index);

    /// What the popup on the screen says; "no popup" for none.
    static std::string popup_text();

    /// Waits for the alert over the window, reads and closes it.
    static Alert take_alert();
    static bool no_window_over_the_hub() { return find_dialog() == nullptr; }

    /// The voice server lets everybody in.
    void answer_voice();
    /// What the voice server was told, in order: "connect", "join r1", "speaking 1", "leave {}" and
    /// "disconnect".
    Texts voice_journal() const;

    /// Registers what the core does: connects, joins, leaves, and says so to the interface. Of a
    /// connection that fails it shows a message of its own and no state.
    static void play_core();

    /// The lines of the hub's log since the test began, without their times.
    static Texts log_lines();
    /// Those about clicks.
    static Texts click_lines();

    FakeWebSocketServer chat;

  private:
    void answer_request();

    ProgramResources m_resources;
    FakeWeb m_web;
    std::map<std::string, FakeWebAnswer> m_answers;
    std::function<void()> m_at_request;
    FakeClock m_clock;

  protected:
    FakeUdp voice{m_clock};
};

/// While it lives, sleeping takes a twentieth of the time, and the clock does not notice.
class QuickClock {
  public:
    QuickClock();
    ~QuickClock();
    QuickClock(const QuickClock&) = delete;
    QuickClock& operator=(const QuickClock&) = delete;
};
