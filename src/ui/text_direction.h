// Names of right-to-left writing within a line that runs from left to right. Called by the chat.
#pragma once

#include <string>

/// `text`, which is UTF-8, as the beginning of a line that stays left-aligned, and that goes on at
/// its right, whatever writing it is in. Only a text that turns a line around is changed: marks
/// that are not to be seen are added, its own controls of direction and line ends are left out.
std::string begin_left_to_right(const std::string& text);
