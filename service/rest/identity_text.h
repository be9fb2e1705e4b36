// The answer to whoever has signed in. Used by the answers about signing in.
#pragma once

#include "service/store/accounts.h"

#include <string>
#include <string_view>

/// {"id","username","email","sessionToken"}. `status` is put first where it is not empty.
std::string identity_text(const Account& account, std::string_view token,
                          std::string_view status = {});
