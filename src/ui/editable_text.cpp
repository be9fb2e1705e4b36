// See ui/editable_text.h.
#include "ui/editable_text.h"

#include "base/text.h"

const char* get_sanitized_editable_text(GtkEditable* editable, Sanitiser sanitiser) {
    if (editable == nullptr || sanitiser == nullptr) {
        return "";
    }
    const char* const text = gtk_editable_get_text(editable);
    return sanitiser(or_empty(text));
}
