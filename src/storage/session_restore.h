// Signs a returning user in at start-up from the saved session. Called by the shell, on the main
// thread.
#pragma once

/// Asks the backend whether the saved session holds, takes it over and loads the spaces; blocks for
/// these requests. A session that does not hold, or cannot be asked about, is deleted. True when a
/// user is signed in afterwards.
bool try_auto_restore_session();
