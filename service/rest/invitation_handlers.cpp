// Answers about members and invitations. Called through the table of routes.
#include "service/rest/rest_handlers.h"
#include "service/rest/space_answers.h"
#include "service/store/invitations.h"
#include "service/store/members.h"
#include "service/store/store_limits.h"
#include "service/store/text_rules.h"

#include <nlohmann/json.hpp>

namespace {

// Flat, and without braces in any text: clients look for them alone.
std::string member_text(const Account& member) {
    AnswerJson json;
    json["id"] = member.id;
    json["username"] = member.username;
    json["displayName"] = member.username;
    json["email"] = member.email;
    return compact_text(json);
}

std::string invitation_text(const Invitation& invitation) {
    AnswerJson json;
    json["id"] = invitation.id;
    json["spaceId"] = invitation.space_id;
    json["invitedEmail"] = invitation.email;
    json["status"] = "pending";
    return compact_text(json);
}

// The invitation of the path, for the invited only. Empty, with the call's refusal set, otherwise.
std::optional<Invitation> find_own_invitation(RestCall& call) {
    std::optional<Invitation> invitation = find_invitation(call.database(), call.ids[0]);
    if (!invitation) {
        call.refusal = error_answer(404, "Esa invitación no existe o ya fue respondida");
    } else if (invitation->email != call.account.email) {
        call.refusal = error_answer(403, "Esa invitación no es para ti");
        invitation.reset();
    }
    return invitation;
}

} // namespace

std::optional<RestAnswer> handle_list_members(RestCall& call) {
    const std::optional<Space> space = find_space_as_member(call);
    if (!space) {
        return call.refusal;
    }
    ListText members("members", k_max_members_answer_bytes);
    for (const Account& member : list_members(call.database(), space->id, k_max_members_of_space)) {
        if (!members.append(member_text(member))) {
            break;
        }
    }
    return json_answer(200, members.text());
}

std::optional<RestAnswer> handle_invite(RestCall& call) {
    const std::string* const given = call.required_text("invitedEmail");
    if (given == nullptr) {
        return call.refusal;
    }
    const std::optional<Space> space = find_space_as_member(call);
    if (!space) {
        return call.refusal;
    }
    const std::string email = clean_email(*given);
    if (!is_plausible_email(email)) {
        return error_answer(400, "El correo electrónico no es válido");
    }
    const std::optional<Account> account = find_account_by_email(call.database(), email);
    if (account && is_member(call.database(), space->id, account->id)) {
        return error_answer(409, "Esa persona ya está en el espacio");
    }
    if (const auto waiting = find_invitation_of(call.database(), space->id, email)) {
        return json_answer(200, invitation_text(*waiting));
    }
    if (count_invitations(call.database(), space->id) >= k_max_invitations_of_space) {
        return error_answer(409, "El espacio tiene demasiadas invitaciones sin responder");
    }
    const std::optional<Invitation> invitation =
        add_invitation(call.database(), {space->id, email, call.account.id}, call.now());
    if (!invitation) {
        return failure_answer();
    }
    return json_answer(201, invitation_text(*invitation));
}

std::optional<RestAnswer> handle_accept_invitation(RestCall& call) {
    const std::optional<Invitation> invitation = find_own_invitation(call);
    if (!invitation) {
        return call.refusal;
    }
    const std::optional<Space> space = find_space(call.database(), invitation->space_id);
    if (!space) {
        return error_answer(404, "Ese espacio no existe");
    }
    if (std::optional<RestAnswer> refusal = join_space(call, *space)) {
        return refusal;
    }
    return json_answer(200, space_text(*space, SpaceRole::member));
}

std::optional<RestAnswer> handle_decline_invitation(RestCall& call) {
    const std::optional<Invitation> invitation = find_own_invitation(call);
    if (!invitation) {
        return call.refusal;
    }
    if (!delete_invitation_of(call.database(), invitation->space_id, invitation->email)) {
        return failure_answer();
    }
    return json_answer(200, compact_text({{"id", invitation->id}, {"status", "declined"}}));
}
