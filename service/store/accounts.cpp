// See service/store/accounts.h.
#include "service/store/accounts.h"

#include "service/store/accounts_internal.h"
#include "service/store/random_text.h"
#include "service/store/store_limits.h"
#include "service/store/text_rules.h"

#include <sodium.h>

#include <utility>

namespace {

constexpr int k_counted_names = 20;

constexpr auto k_find_by_email = sql_text(k_select_account, " FROM accounts WHERE email = ?");
constexpr auto k_find_demo =
    sql_text(k_select_account, " FROM accounts WHERE id = ? AND is_demo = 1");
constexpr auto k_list_demo =
    sql_text(k_select_account, " FROM accounts WHERE is_demo = 1 ORDER BY username");

bool is_username_free(Database& database, const std::string& name) {
    Statement find(database, "SELECT 1 FROM accounts WHERE username = ?", name);
    return !find.next();
}

// ana, ana2, ana3 ...; when those are gone, one with a long number, rather than a walk through
// thousands of them.
std::string free_username(Database& database, const std::string& base) {
    std::string name = base;
    for (int number = 2; !is_username_free(database, name); ++number) {
        const std::string suffix = number <= k_counted_names
                                       ? std::to_string(number)
                                       : std::to_string(randombytes_uniform(1'000'000'000));
        name = base.substr(0, k_max_username_bytes - suffix.size()) + suffix;
    }
    return name;
}

} // namespace

std::optional<Account> create_account(Database& database, const NewAccount& account, WallTime now) {
    Transaction transaction(database);
    if (find_account_by_email(database, account.email)) {
        return std::nullopt;
    }
    const Account created{random_id(), free_username(database, username_base(account.email)),
                          account.email};
    Statement insert(
        database,
        "INSERT INTO accounts (id, username, email, password_hash, is_demo, created_at)"
        " VALUES (?, ?, ?, ?, ?, ?)",
        created.id, created.username, created.email, account.password_hash, account.is_demo, now);
    if (!insert.run() || !transaction.commit()) {
        return std::nullopt;
    }
    return created;
}

std::optional<Account> find_account_by_email(Database& database, std::string_view email) {
    Statement find(database, k_find_by_email.data(), email);
    return next_account(find);
}

std::string find_password_hash(Database& database, std::string_view account_id) {
    Statement find(database, "SELECT password_hash FROM accounts WHERE id = ?", account_id);
    return find.next() ? find.text(0) : std::string();
}

std::optional<Account> find_demo_account(Database& database, std::string_view account_id) {
    Statement find(database, k_find_demo.data(), account_id);
    return next_account(find);
}

std::vector<Account> list_demo_accounts(Database& database) {
    Statement list(database, k_list_demo.data());
    std::vector<Account> accounts;
    while (std::optional<Account> account = next_account(list)) {
        accounts.push_back(std::move(*account));
    }
    return accounts;
}
