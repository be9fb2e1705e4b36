// The pages that stand in for Google's: who do you want to be? Called by the answers about Google
// sign-in.
#pragma once

#include "service/rest/rest_message.h"
#include "service/store/accounts.h"

#include <string>
#include <vector>

/// The form with one button for each account. `accept_language` chooses between Spanish, which is
/// also the default, and English.
RestAnswer consent_form(const std::vector<Account>& accounts, const std::string& accept_language);

enum class ConsentEnd { signed_in, cancelled, unknown };

/// What the person sees after that, or in place of the form.
RestAnswer consent_end_page(ConsentEnd end, const std::string& accept_language);
