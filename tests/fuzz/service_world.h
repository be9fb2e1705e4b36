// The service's demo data in memory, and names for what a corpus cannot know of it. Used by the
// fuzz targets of the REST and the chat half.
#pragma once

#include "fuzz/require.h"

#include "service/demo/demo_data.h"
#include "service/store/database.h"
#include "service/store/invitations.h"
#include "service/store/rooms.h"
#include "service/store/sessions.h"
#include "service/store/spaces.h"

#include <sodium.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

/// As cheap as the library lets a hash be.
constexpr PasswordCost k_cheap{1, 8192};
constexpr WallTime k_now = 1'700'000'000'000;

struct DemoWorld {
    std::unique_ptr<Database> database;
    /// T, U and V are the tokens of two members and a stranger, S is a space, R a room of it, G its
    /// general room, A a member's account, I the stranger's invitation.
    std::map<char, std::string> names;
    Room room; ///< R
};

inline DemoWorld make_demo_world() {
    constexpr WallTime k_later = k_now + 3'600'000; // when sessions end
    DemoWorld world;
    require(sodium_init() >= 0);
    std::string error;
    world.database = Database::open(":memory:", error);
    require(world.database != nullptr);
    Database& database = *world.database;
    require(make_demo_data(database, k_cheap, k_now, error));
    const auto account = [&](const char* email) { return *find_account_by_email(database, email); };
    const auto token = [&](const char* email) {
        return create_session(database, account(email).id, k_later);
    };
    const Account ana = account("ana@velmo.example");
    const Space space = list_spaces(database, ana.id)[0];
    const std::vector<Room> rooms = list_rooms(database, space.id);
    world.room = rooms[1];
    world.names = {{'T', token("ana@velmo.example")},
                   {'U', token("luis@velmo.example")},
                   {'V', token("kim@velmo.example")},
                   {'S', space.id},
                   {'R', rooms[1].id},
                   {'G', rooms[0].id},
                   {'A', ana.id},
                   {'I', find_invitation_of(database, space.id, "kim@velmo.example")->id}};
    return world;
}
