# What a person does at the client's window and sees on it. Sourced by system tests that run in scripts/with-display;
# pictures are left in $case_dir. With two clients, $screen_part is the half of the screen that counts, as the reader of
# pictures writes it: WIDTHxHEIGHT+X+Y.
# shellcheck shell=bash

: "${root:?}" "${case_dir:?}"
# shellcheck source=SCRIPTDIR/waiting.sh
. "$root/tests/system/waiting.sh"
client_pid='' client_window='' screen_part=''

# The reader's threads mostly wait for each other, and other cases may want the processors.
export OMP_THREAD_LIMIT=1

# complain TEXT: ends the case as failed, with a picture of what there was.
complain() {
  shot failed
  printf '%s: %s (%s)\n' "$(basename "$case_dir")" "$*" "$case_dir/failed.png" >&2
  exit 1
}

shot() { import -window root ${screen_part:+-crop "$screen_part" +repage} "$case_dir/$1.png"; }

# sees TEXT: whether it stands on the screen now.
sees() {
  shot now &&
    "$root/tests/system/screen_text" "$case_dir/now.png" "$@" >"$case_dir/place"
}

sees_not() { ! sees "$@"; }

# wait_for TEXT: until it stands on the screen.
wait_for() { until_true 30 sees "$@" || complain "'$*' never appeared"; }

wait_while() { until_true 30 sees_not "$@" || complain "'$*' never went away"; }

# place_of NUMBER TEXT: sets x and y to this one of its places (1 the highest, $ the lowest).
place_of() {
  wait_for "$2"
  read -r x y < <(sed -n "$1p" "$case_dir/place") && [ -n "$y" ] || complain "'$2' stands in no one place"
}

# point_at X Y: moves the mouse there, within the part of the screen that counts.
point_at() {
  local part
  IFS=x+ read -r -a part <<<"$screen_part"
  xdotool mousemove --sync "$(($1 + ${part[2]:-0}))" "$(($2 + ${part[3]:-0}))"
}

# click_at NUMBER DOWN TEXT: one of its places, as place_of, or so many pixels below.
click_at() {
  local x y
  place_of "$1" "$3"
  point_at "$x" "$((y + $2))"
  xdotool click 1
}

# click TEXT: the lowest place where it stands; a button is below its page's title.
click() { click_at '$' 0 "$1"; }

press() { xdotool key --clearmodifiers "$@"; }

write() { xdotool type --delay 15 -- "$1"; }

# From the middle of a label to that of the field under it, in pixels; and more than any field of a test holds.
label_to_field=32
longest_content=40

# fill LABEL CONTENT: replaces what the field under its label holds. The highest place is the label's; the field may say
# the same while it is empty.
fill() {
  click_at 1 "$label_to_field" "$1"
  # Key by key: of the keys that select all of it none arrives under Wine.
  press End
  xdotool key --delay 5 --repeat "$longest_content" BackSpace
  write "$2"
}

# start_client COMMAND...: in $case_dir, until its window is there.
start_client() {
  (cd "$case_dir" && exec "$@" >>client.out 2>>client.err </dev/null) &
  client_pid=$!
  client_window=$(timeout 60 xdotool search --sync --onlyvisible --name '^Velmo' | head -n 1)
  [ -n "$client_window" ] || complain "no window appeared"
  timeout 30 xdotool windowactivate --sync "$client_window"
}

client_is_active() { [ "$(xdotool getactivewindow 2>/dev/null)" = "$client_window" ]; }

# close_client: as its user does; it must end well.
close_client() {
  ended_after_close "$client_window" "$client_pid" || {
    kill "$client_pid"
    complain "the client did not end"
  }
  wait "$client_pid" || complain "the client ended with $?"
  client_pid=''
}
