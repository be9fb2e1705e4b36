# Two people at two clients, "left" and "right": their clients, their sound, the service that both are at. Sourced after
# tests/system/screen.sh by where they sit (side_by_side.sh); $pair, $language, $build and $case_dir are
# set.
# shellcheck shell=bash

: "${root:?}" "${pair:?}" "${language:?}" "${build:?}" "${case_dir:?}" "${least_median:?}"

speaking_colour='#3ecf7e'
declare -A kind=([left]=${pair%+*} [right]=${pair#*+}) pids=() windows=() user_folders=()
declare -A cards=([left]=1 [right]=2)
declare -A names=([left]=ana [right]=luis)
declare -A emails=([left]=ana@velmo.example [right]=luis@velmo.example)
declare -A passwords=([left]=Velmo-Ana-2024 [right]=Velmo-Luis-2024)
service_pid='' probe_pid=''

end_everything() {
  trap '' INT TERM
  local pid
  for pid in "${pids[@]}" $probe_pid $service_pid; do kill "$pid" 2>/dev/null; done
  wait
}
trap end_everything EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# shellcheck source=SCRIPTDIR/database.sh
. "$root/tests/system/database.sh"

# What stands on the screen in the case's language.
if [ "$language" = en ]; then
  declare -A texts=([enter]='Log in' [hub]='Your spaces' [send]='Send')
else
  declare -A texts=([enter]='Ingresar' [hub]='Tus espacios' [send]='Enviar')
fi

# start_hub_service: at the ports where clients ask.
start_hub_service() {
  "$build/service/velmo-service" --demo --verbose --data "$case_dir/data" >>"$case_dir/service.out" \
    2>>"$case_dir/service.err" &
  service_pid=$!
  until_true 20 curl -s -o /dev/null http://127.0.0.1:3600/ ||
    complain "the service does not listen: $(tail -n 3 "$case_dir/service.err")"
}

# make_user_folder WHO: with the settings that its client starts with.
make_user_folder() {
  local config=$case_dir/config-$1
  if [ "${kind[$1]}" = wine ]; then
    # Any program makes the prefix and the folder in it.
    "$root/scripts/wine-run" cmd /c ver >/dev/null 2>&1
    config=$(find "$VELMO_DISPLAY_FOLDER/wineprefix/drive_c/users" -type d -path '*/AppData/Roaming' | head -n 1)
  fi
  user_folders[$1]=$config/VelmoTalkPro
  mkdir -p "${user_folders[$1]}"
  printf 'language=%s\ndisplay_name=\n' "$language" >"${user_folders[$1]}/settings.txt"
}

# open_client WHO: in a folder of its own, with a microphone and a loudspeaker of its own, in its place on the screen.
open_client() {
  local folder=$case_dir/$1 known program=("$build/velmo")
  known=$(windows_on_screen)
  mkdir -p "$folder"
  ln -sfn "$root/resources" "$folder/resources"
  [ "${kind[$1]}" = linux ] || program=("$root/scripts/wine-run" "$root/build/velmo-windows/velmo.exe")
  make_user_folder "$1"
  (
    cd "$folder" || exit 1
    export XDG_CONFIG_HOME=$case_dir/config-$1
    mkdir -p "$XDG_CONFIG_HOME/gtk-4.0"
    printf '[Settings]\ngtk-font-name=DejaVu Sans 10\n' >"$XDG_CONFIG_HOME/gtk-4.0/settings.ini"
    export PULSE_SOURCE=microphone_${cards[$1]} PULSE_SINK=speaker_${cards[$1]}
    # Wine's GTK logs one critical message of its own: the system names no font there.
    [ "${kind[$1]}" = linux ] || unset G_DEBUG VELMO_SYSROOT
    exec "${program[@]}" >>client.out 2>>client.err </dev/null
  ) &
  pids[$1]=$!
  found_window=''
  until_true 60 new_window_or_end "$1" "$known" || true
  [ -n "$found_window" ] || complain "no window of $1 appeared: $(tail -n 3 "$folder/client.err")"
  windows[$1]=$found_window
  place_window "$1"
}

# new_window_or_end WHO KNOWN: a window of this client's, or its end: then none is waited for.
new_window_or_end() { new_window "$2" || ! kill -0 "${pids[$1]}" 2>/dev/null; }

# new_window KNOWN: one of a client that is not among these, each between blanks.
new_window() {
  local window
  for window in $(xdotool search --onlyvisible --name '^Velmo' 2>/dev/null); do
    [[ $1 == *" $window "* ]] || {
      found_window=$window
      return 0
    }
  done
  return 1
}

# sign_in WHO: types address and password.
sign_in() {
  turn_to "$1"
  wait_for "${texts[enter]}"
  write "${emails[$1]}"
  press Tab
  write "${passwords[$1]}"
  press Return
  wait_for "${texts[hub]}"
}

# double_click TEXT: its lowest place.
double_click() {
  local x y
  place_of '$' "$1"
  point_at "$x" "$y"
  xdotool click --repeat 2 --delay 60 1
}

# watch_dot NAME: the mark before this name, at the window that it is turn of, is what dot_is looks at from now on.
watch_dot() {
  local x y part
  place_of '$' "$1"
  IFS=x+ read -r -a part <<<"$screen_part"
  dot_part=60x16+$((x - 60 + ${part[2]:-0}))+$((y - 7 + ${part[3]:-0}))
}

# dot_is speaking|silent: there and then; words have pauses.
dot_is() { import -window root -crop "$dot_part" +repage png:- | dot_looks "$1"; }

# picture_of_speaking NAME: of all the screen while the dot shows it.
picture_of_speaking() {
  dot_is speaking || return
  screen_part='' shot "$1"
  convert "$case_dir/$1.png" -crop "$dot_part" +repage png:- | dot_looks speaking
}

# dot_looks speaking|silent: on the picture of it that is read.
dot_looks() {
  local lit
  lit=$(convert - -fuzz 8% -fill black +opaque "$speaking_colour" -fill white -opaque "$speaking_colour" \
    -format '%[fx:int(mean*w*h)]' info:)
  case $1 in
  speaking) [ "$lit" -gt 8 ] ;;
  silent) [ "$lit" = 0 ] ;;
  esac
}

# talk SECONDS NAME WHO...: speech into those people's microphones; these and both loudspeakers are recorded. Runs in
# the background until heard_by asks for it.
talk() {
  local length=$1 name=$2 person options=()
  shift 2
  for person in "$@"; do
    options+=(--play "${talker_files[$((cards[$person] - 1))]}:voice_${cards[$person]}"
      --record "voice_${cards[$person]}.monitor:$name-said-$person.wav")
  done
  for person in left right; do options+=(--record "speaker_${cards[$person]}.monitor:$name-heard-$person.wav"); done
  (cd "$case_dir" && exec "$build/tests/support/velmo-sound-probe" run --seconds "$length" "${options[@]}") \
    >"$case_dir/$name-probe.log" 2>&1 </dev/null &
  probe_pid=$!
  until_true 15 grep -qs '^started' "$case_dir/$name-probe.log" ||
    complain "the probe did not start: $(tail -n 2 "$case_dir/$name-probe.log")"
}

talk_is_over() {
  local status=0
  wait "$probe_pid" || status=$?
  probe_pid=''
  # 1: its clock check failed, the delays mean little; what was heard is judged all the same.
  [ "$status" -le 1 ] || complain "the probe ended with $status"
}

# heard NAME LISTENER TALKER: sets heard_median, heard_delay and heard_line, which says how well; status 1 where what
# was heard was not the talker, or hardly.
heard() {
  heard_line=$(cd "$case_dir" && "$build/tests/support/velmo-sound-probe" compare --reference "$1-said-$3.wav" \
    --recording "$1-heard-$2.wav" 2>&1) || complain "$heard_line"
  printf '%s\n' "$heard_line" >>"$case_dir/sound"
  [[ $heard_line =~ median=([0-9.]+) ]] || complain "nothing was heard: $heard_line"
  heard_median=${BASH_REMATCH[1]}
  [[ $heard_line =~ delay_ms=([0-9.]+) ]] && heard_delay=${BASH_REMATCH[1]}
  awk -v median="$heard_median" -v least="$least_median" 'BEGIN { exit !(median >= least) }'
}
