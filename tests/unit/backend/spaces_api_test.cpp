// The spaces API's requests and failures: every call to the byte, every status, every sentence.
#include "backend/spaces_api.h"

#include "backend/endpoints.h"
#include "backend/hub_tables.h"
#include "backend/identity.h"
#include "base/text.h"
#include "unit/backend/calls_fixture.h"

#include <algorithm>
#include <string>
#include <vector>

namespace {

constexpr const char* k_spaces_url = "http://backend.test:3600/api/spaces?sessionToken=the-token";
constexpr const char* k_rooms_url =
    "http://backend.test:3600/api/spaces/s1/rooms?sessionToken=the-token";

struct SpacesCall {
    const char* name;
    bool (*run)(std::span<char> error);
    WebCall request;
    std::vector<std::uint32_t> success;
    const char* follow_up_url; ///< of the GET that a success brings; empty: none
    std::size_t answer_size;
    const char* unreachable;
    const char* refused; ///< before " (HTTP n)"
};

const SpacesCall k_calls[] = {
    {"load spaces",
     [](std::span<char> error) { return backend_load_spaces(error); },
     {"GET", k_spaces_url, "", false},
     {200},
     "",
     16384,
     "No se pudo consultar espacios en backend",
     "Consulta de espacios falló"},
    {"create space",
     [](std::span<char> error) { return backend_create_space("Casa", nullptr, nullptr, error); },
     {"POST", "http://backend.test:3600/api/spaces",
      R"({"sessionToken":"the-token","name":"Casa","description":""})", true},
     {201},
     k_spaces_url,
     8192,
     "No se pudo crear espacio en backend",
     "Creación de espacio falló"},
    {"join by code",
     [](std::span<char> error) { return backend_join_space_by_code("ABCD", error); },
     {"POST", "http://backend.test:3600/api/spaces/join-by-code",
      R"({"sessionToken":"the-token","inviteCode":"ABCD"})", true},
     {200},
     k_spaces_url,
     4096,
     "No se pudo unir al espacio con código",
     "Unirse por código falló"},
    {"create invitation",
     [](std::span<char> error) { return backend_create_space_invitation("s1", "a@x.es", error); },
     {"POST", "http://backend.test:3600/api/spaces/s1/invitations",
      R"({"sessionToken":"the-token","invitedEmail":"a@x.es"})", true},
     {200, 201},
     "",
     4096,
     "No se pudo enviar invitación en backend",
     "Invitación falló"},
    {"accept invitation",
     [](std::span<char> error) { return backend_accept_space_invitation("i1", error); },
     {"POST", "http://backend.test:3600/api/spaces/invitations/i1/accept",
      R"({"sessionToken":"the-token"})", true},
     {200},
     k_spaces_url,
     4096,
     "No se pudo aceptar invitación en backend",
     "Aceptar invitación falló"},
    {"decline invitation",
     [](std::span<char> error) { return backend_decline_space_invitation("i1", error); },
     {"POST", "http://backend.test:3600/api/spaces/invitations/i1/decline",
      R"({"sessionToken":"the-token"})", true},
     {200},
     k_spaces_url,
     4096,
     "No se pudo rechazar invitación en backend",
     "Rechazar invitación falló"},
    {"load members",
     [](std::span<char> error) { return backend_load_space_members("s1", error); },
     {"GET", "http://backend.test:3600/api/spaces/s1/members?sessionToken=the-token", "", false},
     {200},
     "",
     32768,
     "No se pudo consultar miembros del espacio",
     "Consulta de miembros falló"},
    {"load rooms",
     [](std::span<char> error) { return backend_load_rooms("s1", error); },
     {"GET", k_rooms_url, "", false},
     {200},
     "",
     16384,
     "No se pudo consultar salas en backend",
     "Consulta de salas falló"},
    {"create room",
     [](std::span<char> error) { return backend_create_room("s1", "Cocina", error); },
     {"POST", "http://backend.test:3600/api/spaces/s1/rooms",
      R"({"sessionToken":"the-token","name":"Cocina"})", true},
     {201},
     k_rooms_url,
     4096,
     "No se pudo crear sala en backend",
     "Creación de sala falló"},
    {"delete room",
     [](std::span<char> error) { return backend_delete_room("s1", "r1", "Cocina", error); },
     {"DELETE", "http://backend.test:3600/api/spaces/s1/rooms/r1",
      R"({"sessionToken":"the-token","confirmName":"Cocina"})", true},
     {200},
     k_rooms_url,
     4096,
     "No se pudo eliminar sala en backend",
     "Eliminación de sala falló"},
};

using SpacesApi = CallsTest;

TEST_F(SpacesApi, EveryCallSendsItsRequestAndItsFollowUp) {
    for (const SpacesCall& call : k_calls) {
        for (const std::uint32_t status : call.success) {
            SCOPED_TRACE(call.name);
            web.forget_calls();
            web.answer(status, "{}");
            web.answer_always({.body = "[]"});
            EXPECT_TRUE(call.run(error));
            EXPECT_EQ(take_error(), "");
            ASSERT_EQ(web.calls().size(), *call.follow_up_url != '\0' ? 2U : 1U);
            EXPECT_EQ(web.calls()[0], call.request);
            if (*call.follow_up_url != '\0') {
                EXPECT_EQ(web.calls()[1], (WebCall{"GET", call.follow_up_url, "", false}));
            }
        }
    }
}

TEST_F(SpacesApi, NobodyAnswering) {
    for (const SpacesCall& call : k_calls) {
        SCOPED_TRACE(call.name);
        web.forget_calls();
        EXPECT_FALSE(call.run(error));
        EXPECT_EQ(take_error(), call.unreachable);
        EXPECT_EQ(web.calls().size(), 1U);
    }
}

TEST_F(SpacesApi, EveryOtherStatusIsARefusalThatNamesIt) {
    for (const SpacesCall& call : k_calls) {
        for (const std::uint32_t status : k_statuses) {
            if (std::ranges::find(call.success, status) != call.success.end()) {
                continue;
            }
            SCOPED_TRACE(call.name + std::to_string(status));
            web.forget_calls();
            web.answer(status, R"([{"id":"x","name":"y"}])");
            EXPECT_FALSE(call.run(error));
            EXPECT_EQ(take_error(),
                      std::string(call.refused) + " (HTTP " + std::to_string(status) + ")");
            EXPECT_EQ(web.calls().size(), 1U);
        }
    }
}

TEST_F(SpacesApi, ARefusalTellsTheServersReasonWhenItHasOne) {
    for (const SpacesCall& call : k_calls) {
        SCOPED_TRACE(call.name);
        web.answer(403, R"({"error":"No puedes"})");
        EXPECT_FALSE(call.run(error));
        EXPECT_EQ(take_error(), "No puedes");
        web.answer(403, json_object({{"error", std::string(400, 'e')}}));
        EXPECT_FALSE(call.run(error));
        EXPECT_EQ(take_error(), std::string(255, 'e'));
    }
}

TEST_F(SpacesApi, AReasonThatIsNoTextCountsAsNone) {
    for (const SpacesCall& call : k_calls) {
        for (const char* body : {"", "{}", R"({"error":""})", R"({"error":{"error":7}})"}) {
            SCOPED_TRACE(std::string(call.name) + body);
            web.answer(500, body);
            EXPECT_FALSE(call.run(error));
            EXPECT_EQ(take_error(), std::string(call.refused) + " (HTTP 500)");
        }
    }
}

TEST_F(SpacesApi, AnAnswerWithoutAStatusIsARefusal) {
    for (const SpacesCall& call : k_calls) {
        SCOPED_TRACE(call.name);
        web.answer({.status = std::nullopt, .body = "[]"});
        EXPECT_FALSE(call.run(error));
        EXPECT_EQ(take_error(), std::string(call.refused) + " (HTTP 0)");
    }
}

TEST_F(SpacesApi, AnAnswerIsReadUpToItsBufferOnly) {
    for (const SpacesCall& call : k_calls) {
        SCOPED_TRACE(call.name);
        const std::string tail = R"(,"error":"why"})";
        const std::string head = R"({"x":1)";
        // The value's last letter is the last byte that is read, then the first that is not.
        const std::size_t filler = call.answer_size - 1 - head.size() - tail.size() + 2;
        web.answer(400, head + std::string(filler, ' ') + tail);
        EXPECT_FALSE(call.run(error));
        EXPECT_EQ(take_error(), "why");
        web.answer(400, head + std::string(filler + 1, ' ') + tail);
        EXPECT_FALSE(call.run(error));
        EXPECT_EQ(take_error(), "wh");
    }
}

TEST_F(SpacesApi, AFailedFollowUpFailsTheCallWithItsSentence) {
    for (const SpacesCall& call : k_calls) {
        if (*call.follow_up_url == '\0') {
            continue;
        }
        SCOPED_TRACE(call.name);
        const bool loads_rooms = call.follow_up_url == k_rooms_url;
        web.answer(call.success[0], "{}");
        web.answer_unreachable();
        EXPECT_FALSE(call.run(error));
        EXPECT_EQ(take_error(), loads_rooms ? "No se pudo consultar salas en backend"
                                            : "No se pudo consultar espacios en backend");
        web.answer(call.success[0], "{}");
        web.answer(500, "");
        EXPECT_FALSE(call.run(error));
        EXPECT_EQ(take_error(), loads_rooms ? "Consulta de salas falló (HTTP 500)"
                                            : "Consulta de espacios falló (HTTP 500)");
    }
}

TEST_F(SpacesApi, CallersWithoutAnErrorBufferAreServed) {
    for (const SpacesCall& call : k_calls) {
        EXPECT_FALSE(call.run({}));
        web.answer(500, R"({"error":"x"})");
        EXPECT_FALSE(call.run({}));
    }
}

TEST_F(SpacesApi, WithoutASessionNoSpacesAreAskedFor) {
    copy_text(g_session_token, "");
    web.answer_always({.body = "[]"});
    EXPECT_FALSE(backend_load_spaces(error));
    EXPECT_EQ(take_error(), "No hay sesión activa");
    EXPECT_TRUE(web.calls().empty());
}

TEST_F(SpacesApi, WithoutASpaceNoMembersAreAskedFor) {
    web.answer_always({.body = "[]"});
    for (const char* space_id : {"", static_cast<const char*>(nullptr)}) {
        EXPECT_FALSE(backend_load_space_members(space_id, error));
        EXPECT_EQ(take_error(), "space_id inválido");
    }
    EXPECT_TRUE(web.calls().empty());
}

TEST_F(SpacesApi, ATokenIsEscapedInBodiesAndGivenAsItIsInAddresses) {
    copy_text(g_session_token, "a\"b\\c/+=&");
    web.answer_always({.body = "[]"});
    EXPECT_TRUE(backend_load_rooms("s1", error));
    EXPECT_EQ(web.last_call().url,
              "http://backend.test:3600/api/spaces/s1/rooms?sessionToken=a\"b\\c/+=&");
    EXPECT_TRUE(backend_create_space_invitation("s1", "e", error));
    EXPECT_EQ(web.last_call().body, R"({"sessionToken":"a\"b\\c/+=&","invitedEmail":"e"})");
}

TEST_F(SpacesApi, ATokenOfQuotesOnlyFitsItsEscapeBuffer) {
    copy_text(g_session_token, std::string(255, '"'));
    web.answer_always({.status = 500});
    const std::string token = plainly_escaped(g_session_token, 512);
    EXPECT_EQ(token.size(), 510U);
    EXPECT_FALSE(backend_delete_room("s", "r", "n", error));
    EXPECT_EQ(web.last_call().body, R"({"sessionToken":")" + token + R"(","confirmName":"n"})");
    EXPECT_FALSE(backend_create_space("n", nullptr, nullptr, error));
    EXPECT_EQ(web.last_call().body,
              R"({"sessionToken":")" + token + R"(","name":"n","description":""})");
}

TEST_F(SpacesApi, IdentifiersStandInAddressesAsTheyAre) {
    web.answer_always({.body = "[]"});
    EXPECT_TRUE(backend_load_rooms("a b/../%s\"", error));
    EXPECT_EQ(web.last_call().url,
              "http://backend.test:3600/api/spaces/a b/../%s\"/rooms?sessionToken=the-token");
}

TEST_F(SpacesApi, MissingTextsAreSentEmpty) {
    web.answer_always({.status = 500});
    EXPECT_FALSE(backend_delete_room(nullptr, nullptr, nullptr, error));
    EXPECT_EQ(web.last_call(), (WebCall{"DELETE", "http://backend.test:3600/api/spaces//rooms/",
                                        R"({"sessionToken":"the-token","confirmName":""})", true}));
    EXPECT_FALSE(backend_create_space(nullptr, nullptr, nullptr, error));
    EXPECT_EQ(web.last_call().body, R"({"sessionToken":"the-token","name":"","description":""})");
}

struct TypedValue {
    const char* name;
    void (*run)(const char* value, std::span<char> error);
    const char* head;
    const char* tail;
};

constexpr TypedValue k_typed_values[] = {
    {"space name",
     [](const char* value, std::span<char> error) {
         EXPECT_FALSE(backend_create_space(value, nullptr, nullptr, error));
     },
     R"({"sessionToken":"the-token","name":")", R"(","description":""})"},
    {"invite code",
     [](const char* value, std::span<char> error) {
         EXPECT_FALSE(backend_join_space_by_code(value, error));
     },
     R"({"sessionToken":"the-token","inviteCode":")", R"("})"},
    {"invited e-mail",
     [](const char* value, std::span<char> error) {
         EXPECT_FALSE(backend_create_space_invitation("s1", value, error));
     },
     R"({"sessionToken":"the-token","invitedEmail":")", R"("})"},
    {"room name",
     [](const char* value, std::span<char> error) {
         EXPECT_FALSE(backend_create_room("s1", value, error));
     },
     R"({"sessionToken":"the-token","name":")", R"("})"},
    {"confirmation",
     [](const char* value, std::span<char> error) {
         EXPECT_FALSE(backend_delete_room("s1", "r1", value, error));
     },
     R"({"sessionToken":"the-token","confirmName":")", R"("})"},
};

TEST_F(SpacesApi, TypedValuesAreEscapedAndCutTo256Bytes) {
    web.answer_always({.status = 500});
    for (const TypedValue& typed : k_typed_values) {
        for (const std::string piece : {"x", "\"", "\\", "\n", "a\"", "\r\t"}) {
            SCOPED_TRACE(std::string(typed.name) + " " + piece);
            std::string value = piece;
            for (const std::size_t length : {1U, 127U, 128U, 254U, 255U, 600U}) {
                while (value.size() < length) {
                    value += piece;
                }
                typed.run(value.c_str(), error);
                EXPECT_EQ(web.last_call().body,
                          typed.head + plainly_escaped(value, 256) + typed.tail);
            }
        }
    }
}

TEST_F(SpacesApi, ANewSpaceCarriesItsImageOnlyWithAType) {
    web.answer_always({.status = 500});
    const std::string head = R"({"sessionToken":"the-token","name":"N","description":"")";
    EXPECT_FALSE(backend_create_space("N", "QUJD", "image/png", error));
    EXPECT_EQ(web.last_call().body, head + R"(,"imageBase64":"QUJD","imageMimeType":"image/png"})");
    for (const auto& [image, type] : {std::pair<const char*, const char*>{nullptr, "image/png"},
                                      {"", "image/png"},
                                      {"QUJD", nullptr},
                                      {"QUJD", ""},
                                      {nullptr, nullptr}}) {
        EXPECT_FALSE(backend_create_space("N", image, type, error));
        EXPECT_EQ(web.last_call().body, head + "}");
    }
}

TEST_F(SpacesApi, AnImagesTypeIsEscapedAndCutTo64Bytes) {
    web.answer_always({.status = 500});
    const std::string type = "a\"" + std::string(100, 't');
    EXPECT_FALSE(backend_create_space("N", "QUJD", type.c_str(), error));
    EXPECT_EQ(web.last_call().body, R"({"sessionToken":"the-token","name":"N","description":"")"
                                    R"(,"imageBase64":"QUJD","imageMimeType":")" +
                                        plainly_escaped(type, 64) + "\"}");
}

TEST_F(SpacesApi, AnImageOfAnySizeIsSentWhole) {
    web.answer_always({.status = 500});
    const std::string image(3'000'000, 'Q');
    EXPECT_FALSE(backend_create_space("N", image.c_str(), "image/png", error));
    EXPECT_NE(web.last_call().body.find(image + "\",\"imageMimeType\""), std::string::npos);
}

TEST_F(SpacesApi, TheLongestAddressesStillFit) {
    const std::string backend = "http://" + std::string(120, 'h');
    const std::string space(127, 's');
    const std::string room(63, 'r');
    copy_text(g_backend_url, backend);
    web.answer(500, "");
    EXPECT_FALSE(backend_delete_room(space.c_str(), room.c_str(), "Cocina", error));
    ASSERT_EQ(web.calls().size(), 1U);
    EXPECT_EQ(web.last_call().url, backend + "/api/spaces/" + space + "/rooms/" + room);
}

TEST_F(SpacesApi, AnAddressThatIsCutIsNotSent) {
    web.answer_always({.status = 200, .body = "[]"});
    // 3 bytes for one unit: too long for the buffer, not for the transport.
    std::string space_id;
    for (int i = 0; i < 400; ++i) {
        space_id += "\xE2\x82\xAC";
    }
    EXPECT_FALSE(backend_load_rooms(space_id.c_str(), error));
    EXPECT_EQ(take_error(), "No se pudo consultar salas en backend");
    EXPECT_TRUE(web.calls().empty());
}

TEST_F(SpacesApi, AnAddressThatTheTransportRefusesCountsAsNobodyAnswering) {
    web.answer_always({.status = 200, .body = "[]"});
    EXPECT_FALSE(backend_load_rooms(std::string(500, 's').c_str(), error));
    EXPECT_EQ(take_error(), "No se pudo consultar salas en backend");
    EXPECT_TRUE(web.calls().empty());
}

} // namespace
