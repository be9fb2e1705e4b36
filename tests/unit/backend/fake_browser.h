// The browser of platform/desktop.h in memory: what it was asked to open.
#pragma once

#include <string>
#include <vector>

/// The addresses opened since the last reset.
const std::vector<std::string>& fake_browser_opened();

/// Forgets them; `works` is what the next openings return.
void fake_browser_reset(bool works = true);
