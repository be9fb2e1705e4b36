// Answers about spaces and their pictures. Called through the table of routes.
#include "service/rest/rest_handlers.h"
#include "service/rest/space_answers.h"
#include "service/store/members.h"
#include "service/store/store_limits.h"
#include "service/store/text_rules.h"

#include <nlohmann/json.hpp>
#include <sodium.h>

#include <algorithm>
#include <array>
#include <vector>

namespace {

// The bytes of a standard base64 text; empty for anything else.
std::string decode_base64(const std::string& text) {
    std::string bytes(text.size() / 4 * 3, '\0');
    std::size_t size = 0;
    const int result =
        sodium_base642bin(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(), text.data(),
                          text.size(), nullptr, &size, nullptr, sodium_base64_VARIANT_ORIGINAL);
    bytes.resize(result == 0 ? size : 0);
    return bytes;
}

bool is_known_image_type(const std::string& type) {
    constexpr std::array<std::string_view, 4> k_types{"image/png", "image/jpeg", "image/webp",
                                                      "image/gif"};
    return std::find(k_types.begin(), k_types.end(), type) != k_types.end();
}

// The picture of a new space, empty when none was sent or, with the call's refusal, when it is
// none. Its bytes say what it is: the client goes by the file's name, too.
std::optional<Image> read_image(RestCall& call) {
    const std::string* const base64 = call.optional_text("imageBase64");
    const std::string* const type = call.refusal ? nullptr : call.optional_text("imageMimeType");
    if (call.refusal || base64 == nullptr || base64->empty()) {
        return std::nullopt;
    }
    if (type != nullptr && !type->empty() && !is_known_image_type(*type)) {
        call.refusal = error_answer(415, "La imagen debe ser PNG, JPEG, WEBP o GIF");
        return std::nullopt;
    }
    std::string bytes = decode_base64(*base64);
    if (bytes.empty()) {
        call.refusal = error_answer(400, "La imagen no está bien codificada");
        return std::nullopt;
    }
    if (bytes.size() > k_max_image_bytes) {
        call.refusal = error_answer(413, "La imagen debe ser de 5 MB o menos");
        return std::nullopt;
    }
    std::optional<Image> image = make_image(std::move(bytes));
    if (!image) {
        call.refusal = error_answer(415, "La imagen debe ser PNG, JPEG, WEBP o GIF");
    }
    return image;
}

} // namespace

std::optional<RestAnswer> handle_list_spaces(RestCall& call) {
    const std::vector<Space> spaces = list_spaces(call.database(), call.account.id);
    const std::vector<InvitedSpace> invited =
        list_invited_spaces(call.database(), call.account.email,
                            k_max_spaces_of_account - static_cast<std::int64_t>(spaces.size()));

    // The account's own spaces go first when there is not room for all; invitations stand before
    // them in the list, for the client takes the last space of a name for the one it has just made.
    ListText own("spaces", k_max_spaces_answer_bytes);
    for (const Space& space : spaces) {
        own.append(space_text(space, space.owner_id == call.account.id ? SpaceRole::owner
                                                                       : SpaceRole::member));
    }
    for (auto one = invited.rbegin(); one != invited.rend(); ++one) {
        own.prepend(space_text(one->space, SpaceRole::invited, one->invitation_id));
    }
    return json_answer(200, own.text());
}

std::optional<RestAnswer> handle_create_space(RestCall& call) {
    const std::string* const given_name = call.required_text("name");
    if (given_name == nullptr) {
        return call.refusal;
    }
    const std::optional<std::string> name = clean_name(*given_name);
    if (!name) {
        return error_answer(400, "El nombre del espacio debe tener de 2 a 64 caracteres");
    }
    const std::optional<Image> image = read_image(call);
    if (call.refusal) {
        return call.refusal;
    }
    if (count_spaces(call.database(), call.account.id) >= k_max_spaces_of_account) {
        return error_answer(409, "Ya estás en 32 espacios, que es el máximo");
    }
    const std::optional<Space> space = create_space(
        call.database(), call.account, {*name, "", image ? &*image : nullptr}, call.now());
    if (!space) {
        return failure_answer();
    }
    return json_answer(201, space_text(*space, SpaceRole::owner));
}

std::optional<RestAnswer> handle_join_by_code(RestCall& call) {
    const std::string* const typed = call.required_text("inviteCode");
    if (typed == nullptr) {
        return call.refusal;
    }
    const std::string code = typed_invite_code(*typed);
    const std::optional<Space> space =
        code.empty() ? std::nullopt : find_space_by_code(call.database(), code);
    if (!space) {
        return error_answer(404, "No hay ningún espacio con ese código");
    }
    if (std::optional<RestAnswer> refusal = join_space(call, *space)) {
        return refusal;
    }
    const bool is_owner = space->owner_id == call.account.id;
    return json_answer(200, space_text(*space, is_owner ? SpaceRole::owner : SpaceRole::member));
}

std::optional<RestAnswer> handle_space_image(RestCall& call) {
    const std::optional<Space> space = find_space(call.database(), call.ids[0]);
    if (!space) {
        return error_answer(404, "Ese espacio no existe");
    }
    // Whoever is invited sees the picture beside the invitation.
    if (find_role(call.database(), *space, call.account) == SpaceRole::none) {
        return error_answer(403, "No perteneces a ese espacio");
    }
    const std::optional<Image> image = find_image_head(call.database(), space->id);
    if (!image) {
        return error_answer(404, "Ese espacio no tiene imagen");
    }
    const std::string etag = "\"" + image->etag + "\"";
    RestAnswer answer;
    answer.headers = {{"ETag", etag}, {"Cache-Control", "private, no-cache"}};
    if (call.request.if_none_match == etag) {
        answer.status = 304;
        return answer;
    }
    answer.content_type = image->content_type;
    answer.shared_body = call.context.images.get(
        space->id + image->etag, [&] { return load_image_data(call.database(), space->id); });
    return answer;
}
