# What two people do in a space: choose it, enter its rooms, write and talk. Sourced after tests/system/two_clients.sh;
# $space, $room and $other_room are set, and $case_name, which findings begin with.
# shellcheck shell=bash

: "${case_name:?}" "${talk_seconds:?}"

# open_space WHO: chooses the space; its rooms and its newest messages come.
open_space() {
  turn_to "$1"
  click "$space"
  wait_for "$room"
}

# enter_room WHO ROOM: by a double click on its row.
enter_room() {
  turn_to "$1"
  in_list double_click "$2"
}

# say WHO TEXT: writes it in the chat and sends it with Enter.
say() {
  turn_to "$1"
  click_input
  write "$2"
  press Return
}

# click_input: into the text field at the bottom of the chat.
click_input() {
  local x y
  place_of '$' "${texts[send]}"
  point_at "$((x - 120))" "$y"
  xdotool click 1
}

reads() {
  turn_to "$1"
  wait_for "$2"
}

# meets WHO NAME: sees this person in the room.
meets() {
  turn_to "$1"
  in_list wait_for "$2"
}

# speaks WHO NAME OTHER: alone, for a while; the other sees when somebody speaks and when nobody does. Status as heard.
speaks() {
  dot_is silent || complain "${names[$3]} sees ${names[$1]} speak, who is silent"
  talk "$talk_seconds" "$2" "$1"
  until_true "$talk_seconds" picture_of_speaking "$2" ||
    complain "${names[$3]} does not see that ${names[$1]} speaks"
  talk_is_over
  until_true 6 dot_is silent || complain "${names[$3]} still sees ${names[$1]} speak"
  heard "$2" "$3" "$1"
}

# come_again WHO OTHER ROOM: leaves the room in which the other is, and enters it again.
come_again() {
  local away=$other_room
  [ "$3" = "$room" ] || away=$room
  enter_room "$1" "$away"
  in_list wait_while "${names[$2]}"
  enter_room "$1" "$3"
  meets "$1" "${names[$2]}"
}

# talks WHO NAME ROOM: the other in it hears it. Where the reader and the writer of a listener's ring nearly meet,
# which entering anew changes, or where the machine is too busy, there are holes: three attempts.
talks() {
  local other=right attempt=1
  [ "$1" = left ] || other=left
  local people="${names[$other]} hears ${names[$1]}"
  turn_to "$other"
  in_list watch_dot "${names[$1]}"
  until speaks "$1" "$2" "$other"; do
    [ $((attempt++)) -lt 3 ] || complain "$people badly, three times: $heard_line"
    echo "$case_name: $people badly: enters again" >&2
    come_again "$other" "$1" "$3"
    in_list watch_dot "${names[$1]}"
  done
  local sound=$heard_median
  if [ -n "${tour-}" ]; then
    echo "$people $heard_delay ms after it was said; likeness $sound (1: unchanged)"
  else
    echo "$case_name: $people after $heard_delay ms, median correlation $sound"
  fi
}
