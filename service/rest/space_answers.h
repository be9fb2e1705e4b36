// What the answers about spaces, members, rooms and chats have in common. Used by the handlers.
#pragma once

#include "service/rest/rest_call.h"
#include "service/store/spaces.h"

#include <string>
#include <string_view>

/// The text {"KEY":[...]}, which never grows beyond a number of bytes: what does not fit is left
/// out whole, and so is everything after it.
class ListText {
  public:
    ListText(std::string_view key, std::size_t max_bytes);

    /// Adds an object at the end, or at the beginning. False when it does not fit.
    bool append(std::string_view object);
    bool prepend(std::string_view object);

    std::string text() const { return m_head + m_objects + "]}"; }

  private:
    bool has_room_for(std::string_view object);

    std::string m_head;
    std::string m_objects;
    std::size_t m_max_bytes;
    bool m_is_full = false;
};

/// {"id","name","description","inviteCode","hasImage","imageUrl","adminUserId","knownBy"}, for
/// somebody invited without the code and with "invitationStatus" and "invitationId".
std::string space_text(const Space& space, SpaceRole role, std::string_view invitation_id = {});

/// Makes the caller a member, unless it is one. An answer when that cannot be.
std::optional<RestAnswer> join_space(RestCall& call, const Space& space);

/// The space of the path's first id, for members of it only. Empty, with the call's refusal set,
/// when there is none or the caller is no member.
std::optional<Space> find_space_as_member(RestCall& call);
