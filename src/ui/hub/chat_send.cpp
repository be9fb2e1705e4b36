// Sending what was written in the hub's chat. Called by its button and by the keys of its input.
// See ui/hub/hub_chat_internal.h.
#include "ui/hub/hub_chat_internal.h"

#include "backend/hub_tables.h"
#include "base/text.h"
#include "chat/scope_chat.h"
#include "ui/localisation.h"
#include "ui/sanitisers.h"

namespace {

/// An input method is at work in the input: its keys, Return among them, are its own.
bool g_is_composing = false;

void on_preedit_changed(GtkTextView*, const char* preedit, gpointer) {
    g_is_composing = !is_empty(preedit);
}

GtkTextBuffer* input_buffer() {
    return gtk_text_view_get_buffer(GTK_TEXT_VIEW(g_hub_chat_input_view));
}

/// Valid until the sanitiser's next call.
const char* read_input() {
    GtkTextIter start;
    GtkTextIter end;
    gtk_text_buffer_get_bounds(input_buffer(), &start, &end);
    const GCharPtr text(gtk_text_buffer_get_text(input_buffer(), &start, &end, FALSE));
    return sanitize_chat_text(text.get());
}

void show_room_message(const char* text, GuiMessageType type) {
    GUI_ShowMessage(tr("msg_title_room"), text, type);
}

} // namespace

void watch_hub_chat_input() {
    g_is_composing = false;
    g_signal_connect(g_hub_chat_input_view, "preedit-changed", G_CALLBACK(on_preedit_changed),
                     nullptr);
    // Before the view's own keys, which would break the line.
    GtkEventController* const keys = gtk_event_controller_key_new();
    gtk_event_controller_set_propagation_phase(keys, GTK_PHASE_CAPTURE);
    g_signal_connect(keys, "key-pressed", G_CALLBACK(on_hub_chat_key_pressed), nullptr);
    gtk_widget_add_controller(g_hub_chat_input_view, keys);
}

void on_hub_chat_send_clicked(GtkWidget*, gpointer) {
    if (g_hub_chat_input_view == nullptr) {
        return;
    }
    const char* const text = read_input();
    if (!has_hub_chat_scope()) {
        show_room_message(tr("msg_chat_select_first"), k_gui_message_warning);
        return;
    }
    if (is_empty(text)) {
        show_room_message(tr("msg_chat_text_required"), k_gui_message_warning);
        return;
    }
    char error[256] = "";
    if (!backend_send_scope_chat_message(g_hub_chat_scope_type, g_hub_chat_scope_id, text, error)) {
        show_room_message(first_filled(error, tr("msg_chat_send_failed")), k_gui_message_error);
        return;
    }
    gtk_text_buffer_set_text(input_buffer(), "", 0);
    gtk_widget_grab_focus(g_hub_chat_input_view);
    refresh_hub_chat_if_missed(); // sending may have restarted the channel
}

gboolean on_hub_chat_key_pressed(GtkEventControllerKey*, guint key, guint, GdkModifierType state,
                                 gpointer) {
    const bool is_enter = key == GDK_KEY_Return || key == GDK_KEY_KP_Enter;
    if (!is_enter || (state & GDK_SHIFT_MASK) != 0 || g_is_composing) {
        return FALSE;
    }
    on_hub_chat_send_clicked(g_hub_chat_send_btn, nullptr);
    return TRUE;
}
