// What the login and the register page are built from. Used by these two only.
#pragma once

#include <gtk/gtk.h>

#include <initializer_list>

constexpr int k_sign_in_margin = 32;

struct SignInForm {
    GtkWidget* page;      ///< for the page stack
    GtkWidget* container; ///< takes the widgets, from the top down
};

/// A page with an empty form in its middle; it scrolls where the window is too low for the form.
SignInForm create_sign_in_form(int spacing);

/// Appends to the form and returns the button, with this style class and that of the forms.
GtkWidget* append_button(const SignInForm& form, GtkWidget* button, const char* kind_class);

/// A field with its name over it, which also names it to whoever does not see them side by side.
struct SignInField {
    GtkWidget* label;
    GtkWidget* entry;
};

SignInField append_address_field(const SignInForm& form, const char* label_key,
                                 const char* placeholder_key);
SignInField append_password_field(const SignInForm& form, const char* label_key,
                                  const char* placeholder_key);
