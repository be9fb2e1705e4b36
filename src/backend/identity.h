// Who is signed in. Written by the sign-in, the session restore and the log-out; read by every
// backend call. Main thread.
#pragma once

extern char g_user_id[64];
extern char g_username[64];
extern char g_user_email[128];
extern char g_session_token[256];
extern char g_display_name[64]; ///< the name that the user chose to show; empty: the user name
