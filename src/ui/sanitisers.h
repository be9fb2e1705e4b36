// Clean what a user typed before it is used or sent: one rule per kind of input. Called for every
// text field, and for names that come back from a file. Without GTK.
//
// Each returns a static buffer of its own, valid until its next call, and takes a NUL-terminated
// text (null counts as empty), which may be such a buffer. Main thread. Never fails: what is too
// long is cut, what is not allowed is left out.
#pragma once

/// A display name: letters, digits, "-" and "_" of ASCII; at most 63.
const char* sanitize_username(const char* text);

/// A name of a space or room: letters, digits, "-", "_", "." and single blanks between them; at
/// most 127 bytes.
const char* sanitize_space_name(const char* text);

/// An e-mail address: in lower case, without blanks around it; the first 127 bytes of `text`.
const char* sanitize_email(const char* text);

/// An invitation code: letters, digits, "-" and "_"; at most 127.
const char* sanitize_invite_code(const char* text);

/// A password: everything but control bytes; at most 255 bytes.
const char* sanitize_password_input(const char* text);

/// A chat message: valid UTF-8 on one line, with single blanks; at most 2,046 bytes.
const char* sanitize_chat_text(const char* text);

/// True when there is something before the first "@" and, after it, something on both sides of the
/// last dot. Nothing else is checked.
bool is_valid_email(const char* text);
