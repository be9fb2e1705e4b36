// See service/rest/space_answers.h.
#include "service/rest/space_answers.h"

#include "service/store/database.h"
#include "service/store/invitations.h"
#include "service/store/members.h"
#include "service/store/random_text.h"
#include "service/store/store_limits.h"

#include <nlohmann/json.hpp>

ListText::ListText(std::string_view key, std::size_t max_bytes)
    : m_head("{\"" + std::string(key) + "\":["), m_max_bytes(max_bytes) {}

bool ListText::has_room_for(std::string_view object) {
    constexpr std::size_t k_comma_and_end = 3;
    m_is_full = m_is_full ||
                m_head.size() + m_objects.size() + object.size() + k_comma_and_end > m_max_bytes;
    return !m_is_full;
}

bool ListText::append(std::string_view object) {
    if (!has_room_for(object)) {
        return false;
    }
    m_objects += m_objects.empty() ? "" : ",";
    m_objects += object;
    return true;
}

bool ListText::prepend(std::string_view object) {
    if (!has_room_for(object)) {
        return false;
    }
    m_objects.insert(0, m_objects.empty() ? "" : ",");
    m_objects.insert(0, object);
    return true;
}

std::string space_text(const Space& space, SpaceRole role, std::string_view invitation_id) {
    const bool is_inside = role == SpaceRole::owner || role == SpaceRole::member;
    AnswerJson json;
    json["id"] = space.id;
    json["name"] = space.name;
    json["description"] = space.description;
    json["inviteCode"] = is_inside ? shown_invite_code(space.invite_code) : std::string();
    json["hasImage"] = space.has_image;
    json["imageUrl"] = space.has_image ? "/api/spaces/" + space.id + "/image" : std::string();
    json["adminUserId"] = space.owner_id;
    json["knownBy"] = role == SpaceRole::owner ? "owner" : is_inside ? "member" : "invited";
    if (!is_inside) {
        json["invitationStatus"] = "pending";
        json["invitationId"] = invitation_id;
    }
    return compact_text(json);
}

std::optional<RestAnswer> join_space(RestCall& call, const Space& space) {
    Database& database = call.database();
    if (is_member(database, space.id, call.account.id)) {
        return std::nullopt;
    }
    if (count_spaces(database, call.account.id) >= k_max_spaces_of_account) {
        return error_answer(409, "Ya estás en 32 espacios, que es el máximo");
    }
    if (count_members(database, space.id) >= k_max_members_of_space) {
        return error_answer(409, "El espacio está completo");
    }
    if (!add_member(database, space.id, call.account.id, call.now()) ||
        !delete_invitation_of(database, space.id, call.account.email)) {
        return failure_answer();
    }
    return std::nullopt;
}

std::optional<Space> find_space_as_member(RestCall& call) {
    std::optional<Space> space = find_space(call.database(), call.ids[0]);
    if (!space) {
        call.refusal = error_answer(404, "Ese espacio no existe");
    } else if (!is_member(call.database(), space->id, call.account.id)) {
        call.refusal = error_answer(403, "No perteneces a ese espacio");
        space.reset();
    }
    return space;
}
