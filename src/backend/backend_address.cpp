// The backend that this program was built for. See backend/endpoints.h.
#include "backend/endpoints.h"

const char* get_selected_backend_url() {
    return VELMO_BACKEND_URL;
}
