// See widget_access.h.
#include "widget_access.h"

#include "base/text.h"

#include <utility>

namespace {

void collect_labels(GtkWidget* widget, Texts& texts) {
    if (GTK_IS_LABEL(widget)) {
        texts.push_back(label(widget));
    }
    for (GtkWidget* child : children_of(widget)) {
        collect_labels(child, texts);
    }
}

} // namespace

std::vector<GtkWidget*> children_of(GtkWidget* widget) {
    std::vector<GtkWidget*> children;
    for (GtkWidget* child = gtk_widget_get_first_child(widget); child != nullptr;
         child = gtk_widget_get_next_sibling(child)) {
        children.push_back(child);
    }
    return children;
}

GtkWidget* find_widget(GtkWidget* widget, GType type) {
    if (g_type_is_a(G_OBJECT_TYPE(widget), type)) {
        return widget;
    }
    for (GtkWidget* child : children_of(widget)) {
        if (GtkWidget* const found = find_widget(child, type)) {
            return found;
        }
    }
    return nullptr;
}

GtkWidget* column_of(GtkWidget* widget) {
    while (widget != nullptr && !has_class(widget, "settings-section")) {
        widget = gtk_widget_get_parent(widget);
    }
    return widget;
}

GtkAdjustment* scrolling_of(GtkWidget* widget) {
    return gtk_scrolled_window_get_vadjustment(
        GTK_SCROLLED_WINDOW(gtk_widget_get_ancestor(widget, GTK_TYPE_SCROLLED_WINDOW)));
}

Texts label_texts(GtkWidget* widget) {
    Texts texts;
    collect_labels(widget, texts);
    return texts;
}

std::string label(GtkWidget* widget) {
    return gtk_label_get_text(GTK_LABEL(widget));
}

std::string contents(GtkTextBuffer* buffer) {
    GtkTextIter start;
    GtkTextIter end;
    gtk_text_buffer_get_bounds(buffer, &start, &end);
    const GCharPtr text(gtk_text_buffer_get_text(buffer, &start, &end, FALSE));
    return text.get();
}

std::string button_label(GtkWidget* button) {
    return or_empty(gtk_button_get_label(GTK_BUTTON(button)));
}

// What it says then is not to be read back.
bool tells_cut_text(GtkWidget* label) {
    const GObjectPtr<GtkTooltip> tooltip(
        static_cast<GtkTooltip*>(g_object_new(GTK_TYPE_TOOLTIP, nullptr)));
    gboolean is_told = FALSE;
    g_signal_emit_by_name(label, "query-tooltip", 0, 0, FALSE, tooltip.get(), &is_told);
    return is_told != FALSE;
}

std::string tooltip(GtkWidget* widget) {
    return or_empty(gtk_widget_get_tooltip_text(widget));
}

std::string placeholder(GtkWidget* entry) {
    char* text = nullptr;
    g_object_get(entry, "placeholder-text", &text, nullptr);
    const GCharPtr owner(text);
    return or_empty(text);
}

bool has_class(GtkWidget* widget, const char* css_class) {
    return gtk_widget_has_css_class(widget, css_class) != FALSE;
}

std::string text_data(GtkWidget* row, const char* key) {
    const auto* const text = static_cast<const char*>(g_object_get_data(G_OBJECT(row), key));
    return text == nullptr ? "none" : text;
}

int index_data(GtkWidget* row, const char* key) {
    return GPOINTER_TO_INT(g_object_get_data(G_OBJECT(row), key));
}

GtkText* text_within(GtkWidget* entry) {
    return GTK_TEXT(gtk_editable_get_delegate(GTK_EDITABLE(entry)));
}

GtkWidget* keyboard() {
    return gtk_window_get_focus(GTK_WINDOW(g_window));
}

bool holds_keyboard(GtkWidget* widget) {
    return keyboard() != nullptr &&
           (keyboard() == widget || gtk_widget_is_ancestor(keyboard(), widget) != FALSE);
}

void attach(GtkWidget*& slot, GtkWidget* widget, GtkWidget* box) {
    keep(slot, widget);
    gtk_box_append(GTK_BOX(box), widget);
}

void click(GtkWidget* button) {
    g_signal_emit_by_name(button, "clicked");
}

void press_enter(GtkWidget* entry) {
    g_signal_emit_by_name(entry, "activate");
}

void type(GtkWidget* entry, const std::string& text) {
    gtk_editable_set_text(GTK_EDITABLE(entry), text.c_str());
}

std::string typed(GtkWidget* entry) {
    return gtk_editable_get_text(GTK_EDITABLE(entry));
}

std::vector<GObjectPtr<GtkEventController>> controllers_of(GtkWidget* widget, GType type) {
    std::vector<GObjectPtr<GtkEventController>> controllers;
    const GObjectPtr<GListModel> all(gtk_widget_observe_controllers(widget));
    for (guint i = 0; i < g_list_model_get_n_items(all.get()); ++i) {
        GObjectPtr<GtkEventController> controller(
            GTK_EVENT_CONTROLLER(g_list_model_get_item(all.get(), i)));
        if (g_type_is_a(G_OBJECT_TYPE(controller.get()), type)) {
            controllers.push_back(std::move(controller));
        }
    }
    return controllers;
}

void press_tab() {
    g_signal_emit_by_name(g_window, "move-focus", GTK_DIR_TAB_FORWARD);
}

void press_shift_tab() {
    g_signal_emit_by_name(g_window, "move-focus", GTK_DIR_TAB_BACKWARD);
}

bool press_key(GtkEventController* controller, guint key, GdkModifierType state) {
    gboolean handled = FALSE;
    g_signal_emit_by_name(controller, "key-pressed", key, 0U, state, &handled);
    return handled != FALSE;
}
