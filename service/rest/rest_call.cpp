// See service/rest/rest_call.h.
#include "service/rest/rest_call.h"

#include <chrono>

WallTime system_wall_time() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

const std::string* RestCall::optional_text(const char* key) {
    if (fields.is_other(key)) {
        refusal = error_answer(400, std::string("El campo ") + key + " debe ser un texto");
        return nullptr;
    }
    return fields.find(key);
}

const std::string* RestCall::required_text(const char* key) {
    const std::string* const text = optional_text(key);
    if (text == nullptr && !refusal) {
        refusal = error_answer(400, std::string("Falta el campo ") + key);
    }
    return text;
}
