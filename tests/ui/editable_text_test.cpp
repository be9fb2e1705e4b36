// Text fields, read through a sanitiser.
#include "ui/editable_text.h"

#include "ui/gobject_ptr.h"
#include "ui/sanitisers.h"

#include <gtest/gtest.h>

#include <string>

namespace {

GObjectPtr<GtkWidget> owned(GtkWidget* widget) {
    return GObjectPtr<GtkWidget>(GTK_WIDGET(g_object_ref_sink(widget)));
}

std::string read_as(GtkWidget* field, const char* typed, Sanitiser sanitiser) {
    gtk_editable_set_text(GTK_EDITABLE(field), typed);
    return get_sanitized_editable_text(GTK_EDITABLE(field), sanitiser);
}

TEST(EditableText, GoesThroughTheChosenSanitiser) {
    const auto field = owned(gtk_entry_new());
    EXPECT_EQ(read_as(field.get(), " Ana.Perez@Example.COM ", sanitize_email),
              "ana.perez@example.com");
    EXPECT_EQ(read_as(field.get(), "José María", sanitize_username), "JosMara");
    EXPECT_EQ(read_as(field.get(), "  My   Room!! ", sanitize_space_name), "My Room");
    EXPECT_EQ(read_as(field.get(), "ab-12 CD_3!", sanitize_invite_code), "ab-12CD_3");
    EXPECT_EQ(read_as(field.get(), " ¡Hola\u00A0 Ana! ", sanitize_chat_text), "¡Hola Ana!");
}

TEST(EditableText, IsReadFromAPasswordField) {
    const auto field = owned(gtk_password_entry_new());
    EXPECT_EQ(read_as(field.get(), " Contraseña 1 ", sanitize_password_input), " Contraseña 1 ");
}

TEST(EditableText, LeavesTheFieldAsItIs) {
    const auto field = owned(gtk_entry_new());
    EXPECT_EQ(read_as(field.get(), " A ", sanitize_email), "a");
    EXPECT_STREQ(gtk_editable_get_text(GTK_EDITABLE(field.get())), " A ");
}

TEST(EditableText, IsTheSanitisersOwnBuffer) {
    const auto field = owned(gtk_entry_new());
    gtk_editable_set_text(GTK_EDITABLE(field.get()), "sala");
    const char* const result =
        get_sanitized_editable_text(GTK_EDITABLE(field.get()), sanitize_space_name);
    EXPECT_STREQ(result, "sala");
    EXPECT_EQ(sanitize_space_name("otra"), result);
}

TEST(EditableText, OfAnEmptyFieldIsEmpty) {
    const auto field = owned(gtk_entry_new());
    EXPECT_STREQ(get_sanitized_editable_text(GTK_EDITABLE(field.get()), sanitize_chat_text), "");
}

TEST(EditableText, OfNothingIsEmpty) {
    const auto field = owned(gtk_entry_new());
    gtk_editable_set_text(GTK_EDITABLE(field.get()), "x");
    EXPECT_STREQ(get_sanitized_editable_text(nullptr, sanitize_email), "");
    EXPECT_STREQ(get_sanitized_editable_text(GTK_EDITABLE(field.get()), nullptr), "");
    EXPECT_STREQ(get_sanitized_editable_text(nullptr, nullptr), "");
}

} // namespace
