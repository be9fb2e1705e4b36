// See service/rest/rest_call.h.
#include "service/rest/rest_call.h"

#include "service/store/database.h"

#include <chrono>
#include <cstdio>

WallTime system_wall_time() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

void report_on_standard_error(const char* line) {
    std::fprintf(stderr, "velmo-service: %s\n", line);
}

bool RestContext::take_failure() {
    if (!database.take_failure()) {
        return false;
    }
    options.report(("the database failed: " + database.failure_text()).c_str());
    return true;
}

RestAnswer failure_answer() {
    return error_answer(500, "El servicio no puede leer o guardar sus datos");
}

RestAnswer no_session_answer() {
    return error_answer(401, "La sesión no es válida o ha caducado");
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
