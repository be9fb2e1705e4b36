// See service/demo/demo_data.h.
#include "service/demo/demo_data.h"

#include "service/store/accounts.h"
#include "service/store/database.h"
#include "service/store/invitations.h"
#include "service/store/members.h"
#include "service/store/messages.h"
#include "service/store/rooms.h"
#include "service/store/spaces.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace {

struct DemoAccount {
    const char* email;
    const char* password;
};

constexpr std::array<DemoAccount, 4> k_accounts{{
    {"ana@velmo.example", "Velmo-Ana-2024"},
    {"luis@velmo.example", "Velmo-Luis-2024"},
    {"marta@velmo.example", "Velmo-Marta-2024"},
    {"kim@velmo.example", "Velmo-Kim-2024"},
}};
enum { ana, luis, marta, kim };

struct DemoLine {
    int sender;
    const char* text;
};

// Beside the general room that each space has.
constexpr std::array<const char*, 3> k_rooms{"Música", "Juegos", "Proyecto"};
constexpr std::array<const char*, 1> k_reading_rooms{"Tertulia"};

constexpr std::array<DemoLine, 24> k_lines{{
    {ana, "¡Hola a todos! Este es el espacio de la comunidad."},
    {luis, "Hola, Ana. ¿Se oye bien el micrófono nuevo?"},
    {ana, "Perfecto, mucho mejor que ayer."},
    {marta, "Yo llego en diez minutos."},
    {luis, "Sin prisa, estamos en la sala Música."},
    {marta, "¿Qué escucháis hoy?"},
    {luis, "Un disco de jazz de 1959, grabado en dos tardes."},
    {ana, "La batería suena como si estuviera aquí al lado."},
    {marta, "Ya estoy. ¿Empezamos con el proyecto?"},
    {ana, "Sí: quedan la portada y el texto de la segunda página."},
    {luis, "La portada la tengo casi lista, falta elegir el color."},
    {marta, "El azul oscuro, sin duda."},
    {ana, "Voto por el azul también."},
    {luis, "Azul entonces. Lo subo esta noche."},
    {marta, "El texto lo reviso yo mañana por la mañana."},
    {ana, "Genial. ¿Partida el viernes a las nueve?"},
    {luis, "Apuntado."},
    {marta, "Yo también, pero que sea corta :)"},
    {ana, "Prometido, dos rondas como mucho."},
    {luis, "Eso dijiste la semana pasada…"},
    {marta, "Y acabamos a la una y media."},
    {ana, "Fue una final muy reñida."},
    {luis, "La revancha os espera."},
    {marta, "Hasta mañana a todos."},
}};

constexpr std::array<DemoLine, 5> k_reading_lines{{
    {marta, "Bienvenidos al club. ¿Qué leemos en diciembre?"},
    {luis, "Algo corto, que yo leo despacio."},
    {ana, "Cuentos, entonces: uno por semana."},
    {marta, "Me gusta. ¿Los jueves en la Tertulia?"},
    {luis, "Los jueves."},
}};

constexpr int k_history_rounds = 6; // more than one page
constexpr WallTime k_minute_ms = 60'000;
constexpr WallTime k_day_ms = 24 * 60 * k_minute_ms;

using DemoAccounts = std::array<Account, k_accounts.size()>;

std::string hash_password(PasswordPool& pool, const char* password) {
    std::string result;
    pool.hash(password, [&](const std::string& hash) { result = hash; });
    return result;
}

struct History {
    ChatScope scope;
    std::span<const DemoLine> lines;
    int rounds;
};

bool write_history(Database& database, const DemoAccounts& accounts, const History& history,
                   WallTime now) {
    WallTime time = now - history.rounds * k_day_ms;
    for (int round = 0; round < history.rounds; ++round, time += k_day_ms) {
        WallTime moment = time;
        for (const DemoLine& line : history.lines) {
            const Account& sender = accounts[static_cast<std::size_t>(line.sender)];
            moment += 2 * k_minute_ms;
            if (!add_message(database, history.scope, {sender.id, sender.username, line.text},
                             moment)) {
                return false;
            }
        }
    }
    return true;
}

// A space of ana's that luis and marta are in, too.
std::optional<std::string> make_space(Database& database, const DemoAccounts& accounts,
                                      const char* name, std::span<const char* const> rooms,
                                      WallTime now) {
    const std::optional<Space> space =
        create_space(database, accounts[ana], {name, "", nullptr}, now);
    if (!space) {
        return std::nullopt;
    }
    for (const int member : {luis, marta}) {
        if (!add_member(database, space->id, accounts[static_cast<std::size_t>(member)].id, now)) {
            return std::nullopt;
        }
    }
    for (const char* const room : rooms) {
        if (!add_room(database, {space->id, room, accounts[ana].id}, now)) {
            return std::nullopt;
        }
    }
    return space->id;
}

// Two spaces, and kim invited to the first.
bool make_spaces(Database& database, const DemoAccounts& accounts, WallTime now) {
    const auto community = make_space(database, accounts, "Comunidad Velmo", k_rooms, now);
    const auto reading =
        make_space(database, accounts, "Club de lectura", k_reading_rooms, now + 1);
    if (!community || !reading) {
        return false;
    }
    const std::vector<Room> rooms = list_rooms(database, *community);
    return add_invitation(database, {*community, accounts[kim].email, accounts[ana].id}, now) &&
           !rooms.empty() &&
           write_history(database, accounts, {{*community, rooms[0].id}, k_lines, k_history_rounds},
                         now) &&
           write_history(database, accounts, {{*community, {}}, k_lines, 1}, now) &&
           write_history(database, accounts, {{*reading, {}}, k_reading_lines, 1}, now);
}

} // namespace

bool make_demo_data(Database& database, PasswordCost cost, WallTime now, std::string& error) {
    if (!list_demo_accounts(database).empty()) {
        return true;
    }
    Transaction transaction(database);
    PasswordPool passwords(0, cost);
    DemoAccounts accounts;
    for (std::size_t i = 0; i < k_accounts.size(); ++i) {
        const std::string hash = hash_password(passwords, k_accounts[i].password);
        if (find_account_by_email(database, k_accounts[i].email)) {
            error = std::string("no demo data: ") + k_accounts[i].email + " is somebody's account";
            return false;
        }
        const std::optional<Account> account =
            hash.empty() ? std::nullopt
                         : create_account(database, {k_accounts[i].email, hash, true}, now);
        if (!account) {
            error = "cannot write the demo data: " + database.failure_text();
            return false;
        }
        accounts[i] = *account;
    }
    if (!make_spaces(database, accounts, now) || !transaction.commit()) {
        error = "cannot write the demo data: " + database.failure_text();
        return false;
    }
    return true;
}

std::vector<DemoLogin> demo_logins() {
    std::vector<DemoLogin> logins;
    logins.reserve(k_accounts.size());
    for (const DemoAccount& account : k_accounts) {
        logins.push_back({account.email, account.password});
    }
    return logins;
}
