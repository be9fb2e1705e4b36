// What the core's own files share.
#pragma once

#include <mutex>

/// Guards the roster and AppState::username. Never held while the interface is called: the facade
/// may call back into the roster.
extern std::mutex g_roster_mutex;
