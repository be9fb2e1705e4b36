// See service/rest/consent_page.h.
#include "service/rest/consent_page.h"

#include "base/ascii.h"
#include "base/glib_owner.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

enum Language { spanish, english };

// Both languages of one text.
using Text = std::array<const char*, 2>;

constexpr Text k_language_code{"es", "en"};
constexpr Text k_title{"Elige una cuenta", "Choose an account"};
constexpr Text k_subtitle{"para entrar en Velmo. Son cuentas de prueba: no hace falta contraseña.",
                          "to sign in to Velmo. These are demo accounts: no password needed."};
constexpr Text k_cancel{"Cancelar", "Cancel"};

struct End {
    int status;
    Text title;
    Text text;
};
constexpr std::array<End, 3> k_ends{{
    {200,
     {"Ya has entrado", "You are signed in"},
     {"Puedes cerrar esta página y volver a Velmo.",
      "You may close this page and go back to Velmo."}},
    {200,
     {"Inicio de sesión cancelado", "Sign-in cancelled"},
     {"Puedes cerrar esta página y volver a Velmo.",
      "You may close this page and go back to Velmo."}},
    {404,
     {"Este enlace ya no vale", "This link is no longer valid"},
     {"Vuelve a Velmo y empieza de nuevo.", "Go back to Velmo and start again."}},
}};

constexpr const char* k_style = R"css(
:root{color-scheme:dark}
*{box-sizing:border-box}
body{margin:0;min-height:100vh;display:flex;align-items:center;justify-content:center;padding:24px;
background:radial-gradient(circle at 30% 20%,#1d2447,#0b0e1a 70%);color:#e8ebf7;
font:16px/1.5 system-ui,"Segoe UI",sans-serif}
main{width:100%;max-width:400px;background:#151a2e;border:1px solid #2a3154;border-radius:16px;
padding:32px;box-shadow:0 24px 64px #0009}
h1{margin:0 0 4px;font-size:24px}
p{margin:0 0 24px;color:#a4acce}
p:last-child{margin:0}
form{display:flex;flex-direction:column;gap:10px}
button{font:inherit;text-align:left;padding:12px 16px;border-radius:10px;border:1px solid #2a3154;
background:#1d2340;color:inherit;cursor:pointer}
button:hover{border-color:#7c8cff}
button:focus-visible{outline:3px solid #7c8cff;outline-offset:2px}
button b,button span{display:block}
button span{color:#a4acce;font-size:14px}
button.cancel{text-align:center;background:none;color:#a4acce;margin-top:8px}
)css";

// The quality that an Accept-Language header gives to a language; 0 when it does not name it.
double quality_of(std::string_view header, std::string_view code) {
    double best = 0;
    while (!header.empty()) {
        std::string_view item = header.substr(0, header.find(','));
        header.remove_prefix(std::min(item.size() + 1, header.size()));
        item.remove_prefix(std::min(item.find_first_not_of(" \t"), item.size()));
        if (!ascii_equals(item.substr(0, item.find_first_of("-; \t")), code)) {
            continue;
        }
        const std::size_t weight = item.find("q=");
        const double quality =
            weight == std::string_view::npos
                ? 1.0
                : g_ascii_strtod(std::string(item.substr(weight + 2)).c_str(), nullptr);
        best = std::max(best, quality);
    }
    return best;
}

Language choose_language(const std::string& accept_language) {
    return quality_of(accept_language, "en") > quality_of(accept_language, "es") ? english
                                                                                 : spanish;
}

std::string escaped(const std::string& text) {
    return GCharPtr(g_markup_escape_text(text.c_str(), -1)).get();
}

RestAnswer page(int status, Language language, const char* title, const std::string& content) {
    RestAnswer answer;
    answer.status = status;
    answer.content_type = "text/html; charset=utf-8";
    answer.body = std::string("<!DOCTYPE html>\n<html lang=\"") + k_language_code[language] +
                  "\">\n<head>\n<meta charset=\"utf-8\">\n"
                  "<meta name=\"viewport\" content=\"width=device-width,initial-scale=1\">\n"
                  "<title>" +
                  title + " – Velmo</title>\n<style>" + k_style +
                  "</style>\n</head>\n<body>\n<main>\n<h1>" + title + "</h1>\n" + content +
                  "</main>\n</body>\n</html>\n";
    answer.headers = {
        {"Content-Security-Policy", "default-src 'none'; style-src 'unsafe-inline'; "
                                    "form-action 'self'; base-uri 'none'; frame-ancestors 'none'"},
        {"Referrer-Policy", "no-referrer"},
        {"Vary", "Accept-Language"},
    };
    return answer;
}

} // namespace

RestAnswer consent_form(const std::vector<Account>& accounts, const std::string& accept_language) {
    const Language language = choose_language(accept_language);
    std::string content =
        std::string("<p>") + k_subtitle[language] + "</p>\n<form method=\"post\">\n";
    for (const Account& account : accounts) {
        content += "<button name=\"account\" value=\"" + escaped(account.id) + "\"><b>" +
                   escaped(account.username) + "</b><span>" + escaped(account.email) +
                   "</span></button>\n";
    }
    content += std::string("<button class=\"cancel\" name=\"cancel\" value=\"1\">") +
               k_cancel[language] + "</button>\n</form>\n";
    return page(200, language, k_title[language], content);
}

RestAnswer consent_end_page(ConsentEnd end, const std::string& accept_language) {
    const Language language = choose_language(accept_language);
    const End& texts = k_ends[static_cast<std::size_t>(end)];
    return page(texts.status, language, texts.title[language],
                std::string("<p>") + texts.text[language] + "</p>\n");
}
