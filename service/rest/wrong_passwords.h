// Counts wrong passwords per e-mail address, so that nobody tries them all. Called by the login.
#pragma once

#include "service/rest/rest_limits.h"

#include <algorithm>
#include <map>
#include <string>

/// Addresses without an account count too: the answers must not tell which have one.
class WrongPasswords {
  public:
    /// False while there were too many.
    bool may_try(const std::string& email, WallTime now) const {
        const auto found = m_debts.find(email);
        // More than anybody can owe: the system's clock was set back.
        return found == m_debts.end() || found->second.until - now < k_allowed ||
               found->second.until - now > 2 * k_allowed;
    }

    void note_wrong(const std::string& email, WallTime now) {
        if (m_debts.size() >= k_wrong_password_addresses) {
            forget(now);
        }
        Debt& debt = m_debts[email];
        debt.until = std::min(std::max(debt.until, now) + k_wrong_password_ms, now + 2 * k_allowed);
    }

    void note_right(const std::string& email) { m_debts.erase(email); }

  private:
    // What is owed is the time until an address has all its tries again.
    struct Debt {
        WallTime until = 0;
    };
    static constexpr WallTime k_allowed = k_wrong_passwords * k_wrong_password_ms;

    void forget(WallTime now) {
        std::erase_if(m_debts, [&](const auto& entry) { return entry.second.until <= now; });
        if (m_debts.size() >= k_wrong_password_addresses) {
            m_debts.erase(
                std::min_element(m_debts.begin(), m_debts.end(), [](const auto& a, const auto& b) {
                    return a.second.until < b.second.until;
                }));
        }
    }

    std::map<std::string, Debt> m_debts;
};
