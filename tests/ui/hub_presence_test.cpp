// Who is shown in the voice room that one is in, and when a space's members are asked for.
#include "hub_fixture.h"

#include "backend/identity.h"
#include "base/clock.h"
#include "base/text.h"
#include "ui/hub/hub_internal.h"
#include "ui/hub/hub_rooms_internal.h"
#include "ui/room/room_internal.h"

namespace {

constexpr const char* k_members = "GET /api/spaces/s1/members";

class HubPresence : public HubTest {
  protected:
    HubPresence() { answer(k_members, 200, R"({"members":[]})"); }
};

TEST_F(HubPresence, OfFortyPeersTheFirstThirtyTwoAreShown) {
    run_interface([] {
        show_hub_of_two_rooms();
        copy_text(g_hub_presence_room_id, "r1");
        std::vector<Peer> peers;
        for (int i = 0; i < 40; ++i) {
            peers.push_back(make_peer("p" + std::to_string(i), i % 2 != 0));
        }
        show_peers(peers);
        ASSERT_EQ(g_hub_room_presence_count, 33);
        EXPECT_EQ(present().at(0), "ana");
        EXPECT_EQ(present().at(1), "p0");
        EXPECT_EQ(present().at(32), "p31*");
        EXPECT_EQ(rows().size(), 3U + 33U);
    });
}

TEST_F(HubPresence, NamelessPeersAndANamelessUserAreLeftOut) {
    run_interface([] {
        show_hub_of_two_rooms();
        copy_text(g_hub_presence_room_id, "r1");
        g_username[0] = '\0';
        show_peers({make_peer(""), make_peer("leo", true), make_peer("")});
        EXPECT_EQ(present(), Texts{"leo*"});
    });
}

TEST_F(HubPresence, TheUserSpeaksWhileTheMeterSaysSoAndThePeersStay) {
    run_interface([] {
        show_hub_of_two_rooms();
        be_in_room("r1", {make_peer("leo", true)});
        g_is_speaking = true;
        resync_hub_room_presence();
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "    ana*", "    leo*", "  Cine"}));
        g_is_speaking = false;
        resync_hub_room_presence();
        EXPECT_EQ(present(), (Texts{"ana", "leo*"}));
    });
}

TEST_F(HubPresence, OutsideARoomNobodyIsPresent) {
    run_interface([this] {
        show_hub_of_two_rooms();
        g_hub_room_presence_count = 5;
        show_peers({make_peer("leo")});
        EXPECT_EQ(g_hub_room_presence_count, 0);
        EXPECT_EQ(requests(), Texts{});
        resync_hub_room_presence();
        EXPECT_EQ(g_hub_room_presence_count, 0);
    });
}

TEST_F(HubPresence, WhileJoiningTheListIsLeftAlone) {
    run_interface([] {
        show_hub_of_two_rooms();
        copy_text(g_hub_presence_room_id, "r1");
        g_joining_room_transition = true;
        show_peers({make_peer("leo")});
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine"}));
        EXPECT_EQ(present(), (Texts{"ana", "leo"}));
        g_joining_room_transition = false;
    });
}

TEST_F(HubPresence, ClearingForgetsTheRoomAndItsPeople) {
    run_interface([] {
        show_hub_of_two_rooms();
        be_in_room("r1", {make_peer("leo")});
        clear_hub_room_presence();
        EXPECT_STREQ(g_hub_presence_room_id, "");
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine"}));
        copy_text(g_hub_presence_room_id, "r1");
        resync_hub_room_presence();
        EXPECT_EQ(present(), Texts{"ana"});
    });
}

TEST_F(HubPresence, MembersAreAskedForOnceInTwentySeconds) {
    run_interface([this] {
        const FakeClock clock;
        show_hub_of_two_rooms();
        be_in_room("r1");
        clock_sleep_ms(20000);
        show_peers({make_peer("leo")});
        EXPECT_EQ(requests(), Texts{k_members});
        clock_sleep_ms(1);
        show_peers({});
        EXPECT_EQ(requests(), (Texts{k_members, k_members}));
        copy_text(g_selected_space_id, "s2"); // another space's are not these
        show_peers({});
        EXPECT_EQ(requests().back(), "GET /api/spaces/s2/members");
        copy_text(g_selected_space_id, "");
        show_peers({});
        EXPECT_EQ(requests().size(), 3U);
    });
}

TEST_F(HubPresence, MembersThatAreRememberedTakeAnotherSpacesPlace) {
    answer(k_members, 200, R"({"members":[{"id":"u2","username":"luis"}]})");
    run_interface([this] {
        const FakeClock clock;
        show_hub_of_two_rooms();
        sync_hub_space_users_from_room_presence();
        copy_text(g_hub_space_users_space_id, "s2");
        g_hub_space_user_count = 0;
        sync_hub_space_users_from_room_presence();
        EXPECT_EQ(requests(), Texts{k_members});
        EXPECT_STREQ(g_hub_space_users_space_id, "s1");
        ASSERT_EQ(g_hub_space_user_count, 1);
        EXPECT_STREQ(g_hub_space_users[0].username, "luis");
    });
}

TEST_F(HubPresence, RefusedMembersAreNotAskedForAtEachChangeOfSpeaking) {
    answer(k_members, 403, R"({"error":"Solo para miembros"})");
    run_interface([this] {
        const FakeClock clock;
        show_hub_of_two_rooms();
        begin_hub_room_presence("r1");
        show_peers({});
        show_peers({make_peer("leo", true)});
        clock_sleep_ms(20000);
        resync_hub_room_presence();
        EXPECT_EQ(requests(), Texts{k_members});
        clock_sleep_ms(1);
        resync_hub_room_presence();
        resync_hub_room_presence();
        EXPECT_EQ(requests(), (Texts{k_members, k_members}));
        EXPECT_EQ(log_lines().back(),
                  "[HUB][SPACE][USERS] members-load-fail spaceId=s1 error=Solo para miembros");
        copy_text(g_selected_space_id, "s2"); // that one may be willing
        show_peers({});
        EXPECT_EQ(requests().back(), "GET /api/spaces/s2/members");
        EXPECT_EQ(requests().size(), 3U);
    });
}

TEST_F(HubPresence, TheWaitAfterARefusalBeginsWithTheAnswer) {
    answer(k_members, 403, "{}");
    run_interface([this] {
        const FakeClock clock;
        show_hub_of_two_rooms();
        begin_hub_room_presence("r1");
        at_each_request([] { clock_sleep_ms(30000); });
        show_peers({});
        show_peers({make_peer("leo")});
        EXPECT_EQ(requests(), Texts{k_members});
    });
}

TEST_F(HubPresence, EnteringARoomAsksForRefusedMembersOnce) {
    answer_voice();
    answer(k_members, 403, "{}");
    run_interface([this] {
        play_core();
        show_hub_of_two_rooms();
        run_room_text_and_voice_join(0, 0);
        EXPECT_EQ(requests(), Texts{k_members});
        run_room_text_and_voice_join(0, 1);
        EXPECT_EQ(requests(), (Texts{k_members, k_members}));
        EXPECT_EQ(present(), Texts{"ana"});
    });
}

TEST_F(HubPresence, LeavingARoomAsksForRefusedMembersOnce) {
    answer(k_members, 403, "{}");
    run_interface([this] {
        const FakeClock clock;
        play_core();
        show_hub_of_two_rooms();
        g_is_connected = true;
        begin_hub_room_presence("r1");
        show_peers({make_peer("leo")});
        clock_sleep_ms(20001);
        forget_requests();
        on_back_to_hub_clicked(nullptr, nullptr);
        EXPECT_EQ(requests(), Texts{k_members});
        EXPECT_EQ(list_lines(), (Texts{"Uno", "  General", "  Cine"}));
    });
}

TEST_F(HubPresence, MembersThatCannotBeLoadedAreOnlyLogged) {
    run_interface([this] {
        show_hub_of_two_rooms();
        answer(k_members, 403, R"({"error":"Solo para miembros"})");
        sync_hub_space_users_from_room_presence();
        EXPECT_EQ(log_lines().back(),
                  "[HUB][SPACE][USERS] members-load-fail spaceId=s1 error=Solo para miembros");
        EXPECT_TRUE(no_window_over_the_hub());
    });
}

TEST_F(HubPresence, TheRoomsPageShowsTheUserAlsoInAnEmptyList) {
    run_interface([] {
        switch_to_main_page();
        EXPECT_TRUE(children_of(g_peers_list).empty());
        g_is_connected = true;
        switch_to_main_page();
        EXPECT_EQ(children_of(g_peers_list).size(), 1U);
        switch_to_main_page();
        EXPECT_EQ(children_of(g_peers_list).size(), 1U);
        g_is_connected = false;
    });
}

} // namespace
