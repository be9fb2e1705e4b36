// See backend/identity.h.
#include "backend/identity.h"

char g_user_id[64] = "";
char g_username[64] = "";
char g_user_email[128] = "";
char g_session_token[256] = "";
char g_display_name[64] = "";
