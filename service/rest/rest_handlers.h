// The handlers of all routes. Called through the table of routes.
#pragma once

#include "service/rest/rest_call.h"

// Signing in (auth_handlers.cpp, google_handlers.cpp).
std::optional<RestAnswer> handle_login(RestCall& call);
std::optional<RestAnswer> handle_signup(RestCall& call);
std::optional<RestAnswer> handle_restore(RestCall& call);
std::optional<RestAnswer> handle_google_start(RestCall& call);
std::optional<RestAnswer> handle_google_poll(RestCall& call);
std::optional<RestAnswer> handle_consent_page(RestCall& call);
std::optional<RestAnswer> handle_consent(RestCall& call);

// Spaces (space_handlers.cpp), their members and invitations (invitation_handlers.cpp).
std::optional<RestAnswer> handle_list_spaces(RestCall& call);
std::optional<RestAnswer> handle_create_space(RestCall& call);
std::optional<RestAnswer> handle_join_by_code(RestCall& call);
std::optional<RestAnswer> handle_space_image(RestCall& call);
std::optional<RestAnswer> handle_list_members(RestCall& call);
std::optional<RestAnswer> handle_invite(RestCall& call);
std::optional<RestAnswer> handle_accept_invitation(RestCall& call);
std::optional<RestAnswer> handle_decline_invitation(RestCall& call);

// Rooms (room_handlers.cpp) and chats (chat_handlers.cpp).
std::optional<RestAnswer> handle_list_rooms(RestCall& call);
std::optional<RestAnswer> handle_create_room(RestCall& call);
std::optional<RestAnswer> handle_delete_room(RestCall& call);
std::optional<RestAnswer> handle_room_history(RestCall& call);
std::optional<RestAnswer> handle_space_history(RestCall& call);
std::optional<RestAnswer> handle_room_message(RestCall& call);
