// Counts wrong passwords per e-mail address, so that nobody tries them all. Called by the login.
#pragma once

#include "service/rest/rest_limits.h"
#include "service/store/store_limits.h"
#include "service/store/wall_time.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>

/// Every try counts as a wrong one from its beginning until it is known to be right, so that many
/// at once are not more than as many in turn. Addresses without an account count too: the answers
/// must not tell which have one. Those that none can have, being too long, are never remembered.
class WrongPasswords {
  public:
    /// False, and nothing is counted, while there were too many.
    bool charge(const std::string& email, WallTime now) {
        if (email.size() > k_max_email_bytes) {
            return true;
        }
        const auto found = m_debts.find(email);
        const WallTime owed = found != m_debts.end() ? found->second - now : 0;
        // More than anybody can owe: the system's clock was set back.
        const WallTime before = owed > k_allowed || owed < 0 ? 0 : owed;
        if (before + k_wrong_password_ms > k_allowed) {
            return false;
        }
        if (found == m_debts.end() && m_debts.size() >= k_wrong_password_addresses) {
            make_room(now);
        }
        m_debts[email] = now + before + k_wrong_password_ms;
        return true;
    }

    /// Takes one try back that came to nothing.
    void refund(const std::string& email) {
        const auto found = m_debts.find(email);
        if (found != m_debts.end()) {
            found->second -= k_wrong_password_ms;
        }
    }

    /// The password was right: nothing is owed any more.
    void forgive(const std::string& email) { m_debts.erase(email); }

    /// Forgets the addresses that owe nothing.
    void forget_settled(WallTime now) {
        std::erase_if(m_debts, [&](const auto& entry) {
            return entry.second <= now || entry.second > now + k_allowed;
        });
    }

    /// How many addresses are remembered.
    std::size_t size() const { return m_debts.size(); }

  private:
    static constexpr WallTime k_allowed = k_wrong_passwords * k_wrong_password_ms;

    void make_room(WallTime now) {
        forget_settled(now);
        if (m_debts.size() >= k_wrong_password_addresses) {
            m_debts.erase(
                std::min_element(m_debts.begin(), m_debts.end(),
                                 [](const auto& a, const auto& b) { return a.second < b.second; }));
        }
    }

    std::map<std::string, WallTime> m_debts; // when an address has all its tries again
};
