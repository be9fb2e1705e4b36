# Two people at two clients side by side on one screen, as scripts/hub has them. Sourced after tests/system/screen.sh;
# $pair, $language, $build and $case_dir are set.
# shellcheck shell=bash

: "${root:?}" "${least_median:?}"
# Of a window: the columns before the chat. A narrow one has scrolled the user's out of sight.
list_width=670 narrow_list_width=384
half_width=1366 screen_height=768
declare -A parts=([left]=${half_width}x$screen_height+0+0 [right]=${half_width}x$screen_height+$half_width+0)
# shellcheck source=SCRIPTDIR/two_clients.sh
. "$root/tests/system/two_clients.sh"

# turn_to WHO: what follows happens at this person's client.
turn_to() {
  who=$1
  client_pid=${pids[$who]-} client_window=${windows[$who]-} screen_part=${parts[$who]}
  [ -z "$client_window" ] || timeout 30 xdotool windowactivate --sync "$client_window"
}

windows_on_screen() { printf ' %s ' "${windows[*]}"; }

# picture NAME: both windows.
picture() { screen_part='' shot "$1"; }

# picture_of WHO NAME: without turning to that window.
picture_of() { screen_part=${parts[$1]} shot "$2"; }

# place_window WHO: into this person's half of the screen, of which a client that is coming up takes all at first.
place_window() { until_true 20 is_placed "$1" || complain "the window of $1 does not go where it should"; }

is_placed() {
  local part wide left
  IFS=x+ read -r -a part <<<"${parts[$1]}"
  read -r left wide < <(wmctrl -lG | awk -v id="$(printf '0x%08x' "${windows[$1]}")" '$1 == id { print $3, $5 }')
  [ "${left:--1}" != "${part[2]}" ] || [ "$wide" -gt "${part[0]}" ] || return 0
  if [ "${kind[$1]}" = wine ]; then
    # Wine does not let the window manager do it, but there is the button in the title bar; and it keeps the size that
    # the window has then, 900 x 650.
    [ "${wide:-0}" -lt $((2 * half_width)) ] || xdotool mousemove --sync $((2 * half_width - 59)) 19 click 1
  else
    wmctrl -i -r "${windows[$1]}" -b remove,maximized_vert,maximized_horz
  fi
  wmctrl -i -r "${windows[$1]}" -e "0,${part[2]},${part[3]},${part[0]},${part[1]}"
  sleep 0.3
  return 1
}

# in_list COMMAND...: sees only the columns before the chat, in which the same names stand.
in_list() {
  local width=$list_width screen_part
  [ "${kind[$who]}" = linux ] || width=$narrow_list_width
  screen_part=${width}x${parts[$who]#*x}
  "$@"
}
