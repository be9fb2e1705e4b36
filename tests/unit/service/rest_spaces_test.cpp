// Spaces: making, listing, joining, pictures.
#include "unit/service/rest_fixture.h"

#include <algorithm>

namespace {

using RestSpaces = RestTest;

// The smallest PNG: one pixel.
constexpr const char* k_png =
    "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJg"
    "gg==";

std::string base64(const std::string& bytes) {
    std::string text(sodium_base64_encoded_len(bytes.size(), sodium_base64_VARIANT_ORIGINAL), '\0');
    sodium_bin2base64(text.data(), text.size(),
                      reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                      sodium_base64_VARIANT_ORIGINAL);
    text.pop_back();
    return text;
}

TEST_F(RestSpaces, NewSpaceIsAnsweredWith201AndListedWithItsOwner) {
    const Person ana = sign_up("ana@example.org");
    const Reply made =
        post_as(ana, "/api/spaces", {{"name", "  Mi espacio "}, {"description", ""}});
    EXPECT_EQ(made.status, 201);
    const Json spaces = get_as(ana, "/api/spaces").json["spaces"];
    ASSERT_EQ(spaces.size(), 1U);
    EXPECT_EQ(spaces[0], made.json);
    EXPECT_EQ(spaces[0]["name"], "Mi espacio");
    EXPECT_EQ(spaces[0]["description"], "");
    EXPECT_EQ(spaces[0]["adminUserId"], ana.id);
    EXPECT_EQ(spaces[0]["knownBy"], "owner");
    EXPECT_EQ(spaces[0]["hasImage"], false);
    EXPECT_EQ(spaces[0]["imageUrl"], "");
    EXPECT_FALSE(spaces[0].contains("invitationId"));
    const std::string code = spaces[0]["inviteCode"].get<std::string>();
    EXPECT_EQ(code.size(), 14U);
    EXPECT_EQ(code[4], '-');
    EXPECT_EQ(code[9], '-');
    EXPECT_EQ(code.find_first_not_of("ABCDEFGHJKLMNPQRSTUVWXYZ23456789-"), std::string::npos);
}

TEST_F(RestSpaces, NamesHave2To64Characters) {
    const Person ana = sign_up("ana@example.org");
    for (const std::string& name : {std::string(), std::string("a"), std::string("  a  "),
                                    std::string(65, 'a'), std::string("a\nb"),
                                    std::string("a\x01"
                                                "b"),
                                    std::string("a\xC2\x85"
                                                "b"),
                                    std::string("a\xE2\x80\xAE"
                                                "b")}) {
        EXPECT_EQ(post_as(ana, "/api/spaces", {{"name", name}}).status, 400) << name;
    }
    for (const std::string& name : {std::string("ab"), std::string(64, 'a'), std::string("ñu"),
                                    std::string("a } { \" \\ b")}) {
        const Reply reply = post_as(ana, "/api/spaces", {{"name", name}});
        EXPECT_EQ(reply.status, 201) << name;
        EXPECT_EQ(reply.string("name"), name);
    }
    EXPECT_EQ(post_as(ana, "/api/spaces").status, 400);
    EXPECT_EQ(post_as(ana, "/api/spaces", {{"name", 7}}).status, 400);
}

TEST_F(RestSpaces, BeginWithTheRoomGeneral) {
    const Person ana = sign_up("ana@example.org");
    const Json rooms = get_as(ana, "/api/spaces/" + make_space(ana) + "/rooms").json["rooms"];
    ASSERT_EQ(rooms.size(), 1U);
    EXPECT_EQ(rooms[0]["name"], "General");
}

TEST_F(RestSpaces, ListIsTheAccountsOwn) {
    const Person ana = sign_up("ana@example.org");
    const Person eva = sign_up("eva@example.org");
    make_space(ana);
    EXPECT_EQ(get_as(eva, "/api/spaces").text, R"({"spaces":[]})");
}

TEST_F(RestSpaces, CodeLetsAnybodyInHoweverItIsTyped) {
    const Person ana = sign_up("ana@example.org");
    const std::string space_id = make_space(ana);
    std::string code = invite_code(ana, space_id);
    std::vector<std::string> typed{code};
    typed.push_back(code);
    std::erase(typed.back(), '-');
    typed.push_back(code);
    for (char& c : typed.back()) {
        c = static_cast<char>(std::tolower(c));
    }
    for (std::size_t i = 0; i < typed.size(); ++i) {
        const Person guest = sign_up("guest" + std::to_string(i) + "@example.org");
        const Reply joined = post_as(guest, "/api/spaces/join-by-code", {{"inviteCode", typed[i]}});
        EXPECT_EQ(joined.status, 200) << typed[i];
        EXPECT_EQ(joined.string("id"), space_id);
        const Json spaces = get_as(guest, "/api/spaces").json["spaces"];
        ASSERT_EQ(spaces.size(), 1U);
        EXPECT_EQ(spaces[0]["knownBy"], "member");
        EXPECT_EQ(spaces[0]["inviteCode"], code);
        EXPECT_EQ(spaces[0]["adminUserId"], ana.id);
    }
}

TEST_F(RestSpaces, JoiningTwiceChangesNothing) {
    const Person ana = sign_up("ana@example.org");
    const std::string space_id = make_space(ana);
    const std::string before = dump();
    const Reply again =
        post_as(ana, "/api/spaces/join-by-code", {{"inviteCode", invite_code(ana, space_id)}});
    EXPECT_EQ(again.status, 200);
    EXPECT_EQ(again.string("knownBy"), "owner");
    EXPECT_EQ(dump(), before);
}

TEST_F(RestSpaces, WrongCodesAre404) {
    const Person ana = sign_up("ana@example.org");
    make_space(ana);
    for (const char* const code : {"", "-", "AAAA-AAAA-AAAA", "%", "' OR 1=1 --", "AAAA",
                                   "IIII-0000-1111", "AAAA-AAAA-AAAA-A"}) {
        EXPECT_EQ(post_as(ana, "/api/spaces/join-by-code", {{"inviteCode", code}}).status, 404)
            << code;
    }
    EXPECT_EQ(post_as(ana, "/api/spaces/join-by-code").status, 400);
}

TEST_F(RestSpaces, NewestSpaceIsTheLastOfTheList) {
    const Person ana = sign_up("ana@example.org");
    const Person eva = sign_up("eva@example.org");
    for (int i = 0; i < 3; ++i) {
        make_space(ana, "Igual");
    }
    const std::string evas = make_space(eva, "Igual");
    post_as(eva, "/api/spaces/" + evas + "/invitations", {{"invitedEmail", ana.email}});
    const std::string newest = make_space(ana, "Igual");
    const Json spaces = get_as(ana, "/api/spaces").json["spaces"];
    ASSERT_EQ(spaces.size(), 5U);
    EXPECT_EQ(spaces[0]["id"], evas); // invitations first
    EXPECT_EQ(spaces[4]["id"], newest);
}

TEST_F(RestSpaces, NobodyIsInMoreThan32) {
    const Person ana = sign_up("ana@example.org");
    const Person eva = sign_up("eva@example.org");
    for (int i = 0; i < 32; ++i) {
        make_space(ana, "Espacio " + std::to_string(i));
    }
    EXPECT_EQ(post_as(ana, "/api/spaces", {{"name", "Uno de más"}}).status, 409);
    const std::string evas = make_space(eva);
    EXPECT_EQ(
        post_as(ana, "/api/spaces/join-by-code", {{"inviteCode", invite_code(eva, evas)}}).status,
        409);
    EXPECT_EQ(get_as(ana, "/api/spaces").json["spaces"].size(), 32U);
}

TEST_F(RestSpaces, LongestListStaysReadableForTheClient) {
    const Person ana = sign_up("ana@example.org");
    for (int i = 0; i < 32; ++i) {
        const Reply made =
            post_as(ana, "/api/spaces", {{"name", std::string(64, '"')}, {"imageBase64", k_png}});
        ASSERT_EQ(made.status, 201);
    }
    const Reply all = get_as(ana, "/api/spaces");
    EXPECT_EQ(all.json["spaces"].size(), 32U);
    EXPECT_LT(all.text.size(), 16'000U);

    // Invitations with names as long: those that do not fit are left out whole.
    const Person eva = sign_up("eva@example.org");
    for (int i = 0; i < 2; ++i) {
        const Person host = sign_up("host" + std::to_string(i) + "@example.org");
        for (int j = 0; j < 32; ++j) {
            const std::string id = make_space(host, std::string(64, '\\'));
            post_as(host, "/api/spaces/" + id + "/invitations", {{"invitedEmail", eva.email}});
        }
    }
    const std::string own = make_space(eva);
    const Reply invited = get_as(eva, "/api/spaces");
    ASSERT_TRUE(invited.json.is_object());
    EXPECT_LT(invited.text.size(), 16'000U);
    EXPECT_GT(invited.json["spaces"].size(), 25U);
    EXPECT_LE(invited.json["spaces"].size(), 32U);
    EXPECT_EQ(invited.json["spaces"].back()["id"], own);
}

TEST_F(RestSpaces, PictureIsServedWithItsTypeAndTag) {
    const Person ana = sign_up("ana@example.org");
    const Reply made =
        post_as(ana, "/api/spaces",
                {{"name", "Con foto"}, {"imageBase64", k_png}, {"imageMimeType", "image/png"}});
    ASSERT_EQ(made.status, 201);
    EXPECT_EQ(made.json["hasImage"], true);
    const std::string url = made.string("imageUrl");
    EXPECT_EQ(url, "/api/spaces/" + made.string("id") + "/image");

    const Reply image = get_as(ana, url);
    EXPECT_EQ(image.status, 200);
    EXPECT_EQ(image.answer.content_type, "image/png");
    EXPECT_EQ(base64(image.text), k_png);

    RestRequest again;
    again.method = "GET";
    again.path = url;
    again.query = "sessionToken=" + ana.token;
    ASSERT_EQ(std::string_view(image.answer.headers[0].first), "ETag");
    again.if_none_match = image.answer.headers[0].second;
    const Reply same = send(again);
    EXPECT_EQ(same.status, 304);
    EXPECT_EQ(same.text, "");
    again.if_none_match = "\"other\"";
    EXPECT_EQ(send(again).status, 200);
}

TEST_F(RestSpaces, PictureIsForMembersAndTheInvited) {
    const Person ana = sign_up("ana@example.org");
    const Person eva = sign_up("eva@example.org");
    const std::string id =
        post_as(ana, "/api/spaces", {{"name", "Con foto"}, {"imageBase64", k_png}}).string("id");
    const std::string url = "/api/spaces/" + id + "/image";
    EXPECT_EQ(get_as(eva, url).status, 403);
    post_as(ana, "/api/spaces/" + id + "/invitations", {{"invitedEmail", eva.email}});
    EXPECT_EQ(get_as(eva, url).status, 200);
    EXPECT_EQ(get(url).status, 401);
    EXPECT_EQ(get_as(ana, "/api/spaces/" + make_space(ana) + "/image").status, 404);
    EXPECT_EQ(get_as(ana, "/api/spaces/" + random_id() + "/image").status, 404);
}

TEST_F(RestSpaces, ContentOfAPictureDecidesWhatItIs) {
    const Person ana = sign_up("ana@example.org");
    const auto make = [&](const std::string& bytes, const std::string& type) {
        return post_as(
            ana, "/api/spaces",
            {{"name", "Con foto"}, {"imageBase64", base64(bytes)}, {"imageMimeType", type}});
    };
    const auto served = [&](const Reply& made) {
        return get_as(ana, made.string("imageUrl")).answer.content_type;
    };
    EXPECT_EQ(served(make("\xFF\xD8\xFF\xE0 jpeg", "image/jpeg")), "image/jpeg");
    EXPECT_EQ(served(make("GIF89a ...", "image/gif")), "image/gif");
    EXPECT_EQ(served(make("RIFF....WEBPVP8 ", "image/webp")), "image/webp");
    EXPECT_EQ(served(make("GIF87a ...", "image/png")), "image/gif"); // misnamed
    EXPECT_EQ(make("<html>", "image/png").status, 415);
    EXPECT_EQ(make("RIFF....WAVEfmt ", "image/webp").status, 415);
    EXPECT_EQ(make("GIF89a ...", "text/html").status, 415);
    EXPECT_EQ(make("GIF89a ...", "image/svg+xml").status, 415);
}

TEST_F(RestSpaces, BadBase64Is400) {
    const Person ana = sign_up("ana@example.org");
    for (const char* const text : {"@@@@", "abc", "iVBORw0KGgo", "R0lG ODlh", "R0lGODlh="}) {
        EXPECT_EQ(post_as(ana, "/api/spaces", {{"name", "Con foto"}, {"imageBase64", text}}).status,
                  400)
            << text;
    }
    EXPECT_EQ(post_as(ana, "/api/spaces", {{"name", "Con foto"}, {"imageBase64", 5}}).status, 400);
    // No picture at all.
    const Reply none = post_as(ana, "/api/spaces",
                               {{"name", "Sin foto"}, {"imageBase64", ""}, {"imageMimeType", ""}});
    EXPECT_EQ(none.status, 201);
    EXPECT_EQ(none.json["hasImage"], false);
}

TEST_F(RestSpaces, PictureOf5MegabytesIsTakenAndOneByteMoreIsNot) {
    const Person ana = sign_up("ana@example.org");
    std::string bytes = "GIF89a";
    bytes.resize(5 * 1024 * 1024, 'x');
    const Reply made =
        post_as(ana, "/api/spaces", {{"name", "Grande"}, {"imageBase64", base64(bytes)}});
    EXPECT_EQ(made.status, 201);
    EXPECT_EQ(get_as(ana, made.string("imageUrl")).text, bytes);
    EXPECT_EQ(
        post_as(ana, "/api/spaces", {{"name", "Grande"}, {"imageBase64", base64(bytes + "x")}})
            .status,
        413);
}

} // namespace
