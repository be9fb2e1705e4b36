// See chat/history_recovery_log.h.
#include "chat/history_recovery_log.h"

#include "backend/json_scan.h"
#include "base/local_time.h"
#include "base/text.h"

#include <cstdio>

void append_chat_history_raw_log(const char* room_id, bool prepend, bool applied,
                                 const char* payload) {
    // The same bytes on every system.
    std::FILE* const file = std::fopen("chat_history_recovery.log", "ab");
    if (file == nullptr) {
        return;
    }
    char stamp[32];
    format_local_time(stamp, "%Y-%m-%d %H:%M:%S");
    std::fprintf(file, "[%s] roomId=%s prepend=%s applied=%s textFields=%d\n", stamp,
                 first_filled(room_id, "-"), prepend ? "true" : "false", applied ? "true" : "false",
                 int{count_json_field_occurrences(payload, "\"text\":\"")});
    std::fprintf(file, "%s\n----\n", or_empty(payload));
    std::fclose(file);
}
