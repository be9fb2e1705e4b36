# The actors of the voice room tests: service, relay, participants, microphones and loudspeakers. Sourced by
# scripts/voice-room; every case runs in a subshell of its own with $case_dir (its folder) and $first_card set.
# shellcheck shell=bash

# shellcheck source=SCRIPTDIR/waiting.sh
. "$root/tests/system/waiting.sh"

# By the participants' numbers; spoken_by tells who speaks a voice that is not his own.
declare -A peer_pid=() peer_fd=() peer_kind=() peer_card=() spoken_by=()
service_pid='' relay_pid=''
used_before=()     # of the processors, by process, in ms
longest_stall_ms=0 # in this case's measurements

note() { printf '%s\n' "$*" >>"$case_dir/notes"; }

# A failure is the programs' and final, or one of the sound, which may have an excuse: that the machine was disturbed, or
# where the ring's reader and writer happened to be.
fail_for_good() {
  printf '%s\n' "$*" >>"$case_dir/failures"
  : >"$case_dir/final"
}

fail_by_sound() { printf '%s\n' "$*" >>"$case_dir/failures"; }

excuse() { printf '%s\n' "$2" >>"$case_dir/excused-by-$1"; }

# give_up TEXT: ends the case as failed.
give_up() {
  fail_for_good "$*"
  exit 1
}

# holds CONDITION: an awk condition on numbers; nothing holds of what is none (nan, inf, a word).
holds() { [[ ! $1 =~ [a-df-zA-Z] ]] && awk "BEGIN { exit !($1) }"; }

# check CONDITION TEXT: the text is what is said when it does not hold. check_sound: the same of what a machine that comes
# late does to sound.
check() { holds "$1" || fail_for_good "$2: $1 does not hold"; }
check_sound() { holds "$1" || fail_by_sound "$2: $1 does not hold"; }

# sum EXPRESSION: what awk makes of it.
sum() { awk "BEGIN { print $1 }"; }

# pause SECONDS: unlike a plain sleep, a signal ends it.
pause() {
  sleep "$1" &
  wait $!
}

# end PID...: asks, then insists.
end() {
  local pid
  for pid in "$@"; do
    kill -TERM "$pid" 2>/dev/null || continue
    until_true 3 gone "$pid" || kill -KILL "$pid" 2>/dev/null
    wait "$pid" 2>/dev/null
  done
}

# stop_program NAME PID: the orderly way; it must end well.
stop_program() {
  kill -TERM "$2" 2>/dev/null
  if until_true 10 gone "$2"; then
    wait "$2" || fail_for_good "$1 ended with $?"
  else
    fail_for_good "$1 did not end"
    end_hard "$2"
  fi
}

# must_live: all programs of this case.
must_live() {
  local number
  for number in "${!peer_pid[@]}"; do
    gone "${peer_pid[$number]}" && give_up "peer $number ended before its time: $(tail -n 1 "$case_dir/peer-$number.log")"
  done
  gone "$service_pid" && give_up "the service ended before its time: $(tail -n 1 "$case_dir/service.log")"
  [ -z "$relay_pid" ] || ! gone "$relay_pid" || give_up "the relay ended before its time"
}

end_hard() {
  kill -KILL "$1"
  wait "$1" 2>/dev/null
}

gone() { ! kill -0 "$1" 2>/dev/null || grep -q '^State:.Z' "/proc/$1/status" 2>/dev/null; }

# clean_up_by FUNCTION: at the end, also by a signal. The terminal's and the parent's come together, and the second does
# not end the cleaning.
clean_up_by() {
  # shellcheck disable=SC2064 # the function's name is known now
  trap "$1" EXIT
  trap 'trap "" INT TERM; exit 130' INT
  trap 'trap "" INT TERM; exit 143' TERM
}

end_all() {
  trap '' INT TERM
  trap - EXIT
  # What has just been started is in no variable yet.
  local children
  mapfile -t children < <(jobs -p)
  [ ${#children[@]} -eq 0 ] || kill -TERM "${children[@]}" 2>/dev/null
  end "${children[@]}"
  [ ! -e "$case_dir/wineprefix" ] || WINEPREFIX=$case_dir/wineprefix wineserver -k
  rm -rf "$case_dir/wineprefix"
}

# prepare_wine: a prefix for this case alone. The programs of a prefix share one server and its clock, and while it
# starts another case's programs, those that talk wait for it and lose sound.
prepare_wine() {
  WINEPREFIX=$VELMO_WINEPREFIX "$root/scripts/wine-prefix" "$case_dir/wineprefix" || give_up "Wine has no prefix"
  export VELMO_WINEPREFIX=$case_dir/wineprefix
  # Starts Wine's own programs, which then do not disturb the measurement.
  "$root/scripts/wine-run" "$wine_peer_program" --version >/dev/null || give_up "Wine cannot run $wine_peer_program"
}

# run_first COMMAND...: becomes the command, in a session of its own and, where that is allowed, ahead of whatever
# else keeps the machine busy. It is the programs' sound that is tested, not the machine.
run_first() {
  exec setsid bash -c '{ echo -10 >/proc/self/autogroup; renice -n -10 $$; } >/dev/null 2>&1; exec "$@"' run_first "$@"
}

# start_service [PORT]: sets service_pid and port.
start_service() {
  rm -f "$case_dir/service.log" # of a service that has ended
  run_first "$service_program" --voice-port "${1:-0}" --rest-port 0 --chat-port 0 --data "$case_dir/data" \
    >"$case_dir/service.log" 2>&1 </dev/null &
  service_pid=$!
  until_true 10 grep -qs '^voice: listening on' "$case_dir/service.log" ||
    give_up "the service did not start: $(tail -n 2 "$case_dir/service.log")"
  port=$(sed -n 's/^voice: listening on .*:\([0-9]*\)$/\1/p' "$case_dir/service.log")
}

# start_relay OPTION...: a bad network before the service; clients then reach it at $port.
start_relay() {
  run_first "$relay_program" --to "127.0.0.1:$port" "$@" >"$case_dir/relay.log" 2>&1 </dev/null &
  relay_pid=$!
  until_true 10 grep -qs '^lossy relay: ' "$case_dir/relay.log" ||
    give_up "the relay did not start: $(tail -n 2 "$case_dir/relay.log")"
  port=$(sed -n 's/^lossy relay: 127.0.0.1:\([0-9]*\) to .*/\1/p' "$case_dir/relay.log")
}

# start_peer NUMBER KIND: participant NUMBER of this case, with the sound card of that number.
start_peer() {
  local number=$1 kind=$2 card=$((first_card + $1 - 1)) program=("$peer_program") fd
  [ "$kind" = linux ] || program=("$root/scripts/wine-run" "$wine_peer_program")
  peer_kind[$number]=$kind
  peer_card[$number]=$card
  rm -f "$case_dir/commands-$number"
  mkfifo "$case_dir/commands-$number"
  : >"$case_dir/peer-$number.log"
  mkdir -p "$case_dir/folder-$number"
  (
    cd "$case_dir/folder-$number" || exit 1
    export PULSE_SOURCE=microphone_$card PULSE_SINK=speaker_$card
    run_first "${program[@]}" \
      --server "127.0.0.1:$port" --room test-room --name "peer-$number" --report --report-every 0.25 \
      >>"$case_dir/peer-$number.log" 2>&1 <"$case_dir/commands-$number"
  ) &
  peer_pid[$number]=$!
  exec {fd}>"$case_dir/commands-$number"
  peer_fd[$number]=$fd
}

peer_said() { grep -q "$2" "$case_dir/peer-$1.log" 2>/dev/null; }

is_inside_or_gone() { peer_said "$1" '^state: in room' || gone "${peer_pid[$1]}"; }

# await_peers NUMBER...: until each is in the room and talks about it.
await_peers() {
  local number
  for number in "$@"; do
    until_true 40 is_inside_or_gone "$number"
    peer_said "$number" '^state: in room' ||
      give_up "peer $number (${peer_kind[$number]}) did not enter the room: $(tail -n 2 "$case_dir/peer-$number.log")"
  done
}

# tell NUMBER COMMAND: types a command into a participant.
tell() {
  local number=$1
  shift
  printf '%s\n' "$*" >&"${peer_fd[$number]}"
}

# end_room NUMBER...: these participants and the service, the orderly way.
end_room() {
  local number
  must_live
  for number in "$@"; do stop_peer "$number"; done
  stop_program "the service" "$service_pid"
}

# stop_peer NUMBER: a participant that does not leave by itself has failed.
stop_peer() {
  local number=$1 pid=${peer_pid[$1]} fd=${peer_fd[$1]}
  gone "$pid" || tell "$number" quit
  exec {fd}>&-
  if until_true 10 gone "$pid"; then
    wait "$pid" || fail_for_good "peer $number (${peer_kind[$number]}) ended with $?"
  else
    fail_for_good "peer $number (${peer_kind[$number]}) did not quit"
    end "$pid"
  fi
}

# mark NUMBER...: the figures that are reported from now on are this measurement's.
mark() {
  local number
  for number in "$@"; do
    grep -c . "$case_dir/peer-$number.log" >"$case_dir/mark-$number"
  done
}

# reported NUMBER KEY [mean|min|max|last|count]: from the figures since the mark.
reported() {
  tail -n "+$(($(cat "$case_dir/mark-$1" 2>/dev/null || echo 0) + 1))" "$case_dir/peer-$1.log" |
    grep -o "\"$2\": *-\{0,1\}[0-9.]*" | sed 's/.*: *//' |
    awk -v how="${3:-mean}" '
      { last = $1; sum += $1 }
      NR == 1 || $1 < min { min = $1 }
      NR == 1 || $1 > max { max = $1 }
      END {
        if (how == "count") print NR
        else if (NR == 0) print "nan"
        else print how == "mean" ? sum / NR : how == "min" ? min : how == "max" ? max : last
      }'
}

# ring_is_clear NUMBER: whether the playback ring's reader and writer are so far apart that neither jitter nor what
# a case does to them lets them meet: lost time brings the writer nearer to the reader before it.
ring_is_clear() {
  awk -v ring="$(reported "$1" ring_delay_ms last)" -v margin="$ring_margin_ms" \
    'BEGIN { exit !(ring != "nan" && ring >= margin + 50 && ring <= 250 - margin - 15) }'
}

# measure NAME SECONDS NUMBER...: speech into those participants' microphones; these and all loudspeakers recorded
# on one clock. Runs in the background as $probe_pid, and has begun when this returns.
measure() {
  local name=$1 length=$2
  shift 2
  options=()
  play_options "$@"
  record_options "$name" "$@"
  start_probe "$name" "$length"
}

# listen NAME SECONDS NUMBER...: the same without the speech, which somebody else plays.
listen() {
  local name=$1 length=$2
  shift 2
  options=()
  record_options "$name" "$@"
  start_probe "$name" "$length"
}

# talk_on SECONDS NUMBER...: speech into those participants' microphones, on and on.
talk_on() {
  local length=$1
  shift
  options=(--loop)
  play_options "$@"
  start_probe talk-on "$length"
}

play_options() {
  local number
  for number in "$@"; do
    options+=(--play "${talker_files[$((number - 1))]}:voice_${peer_card[$number]}")
  done
}

record_options() {
  local name=$1 number
  shift
  for number in "$@"; do
    options+=(--record "voice_${peer_card[$number]}.monitor:$name-said-$number.wav")
  done
  for number in "${!peer_card[@]}"; do
    options+=(--record "speaker_${peer_card[$number]}.monitor:$name-heard-$number.wav")
  done
}

# start_probe NAME SECONDS: with $options.
start_probe() {
  local pid
  measured=$2
  must_live
  used_before=()
  for pid in "${peer_pid[@]}" "$service_pid" $relay_pid; do used_before[pid]=$(processor_ms "$pid"); done
  waited_before=$(waited_for_processors)
  stolen_before=$(stolen_from_machine)
  probe_log=$case_dir/$1-probe.log
  (cd "$case_dir" && run_first "$probe_program" run --seconds "$2" "${options[@]}") >"$probe_log" 2>&1 </dev/null &
  probe_pid=$!
  until_true 15 grep -qs '^started' "$probe_log" || give_up "the probe did not start: $(tail -n 2 "$probe_log")"
}

await_measurement() {
  local stall share=0 stolen=0 status pid used most_used=0
  wait "$probe_pid"
  status=$?
  must_live
  stall=$(sed -n 's/^longest_stall_ms=//p' "$probe_log")
  stall=${stall:-0}
  for pid in "${!used_before[@]}"; do
    used=$((($(processor_ms "$pid") - used_before[pid]) / measured))
    [ "$used" -le "$most_used" ] || most_used=$used
    check "$used <= $most_processor_ms" "$(tr '\0' ' ' <"/proc/$pid/cmdline"): processor time in ms a second"
  done
  # The kernel's figures are of the real clock, and a patient one has waited for what they tell.
  if [ "$patient" = no ]; then
    share=$((($(waited_for_processors) - waited_before) / (measured * 10000)))
    [ "$share" -le 100 ] || share=100
    stolen=$(($(stolen_from_machine) - stolen_before))
  fi
  note "processors short for $share % of the time, for $stall ms at most, taken for $stolen ms; no program used more than \
$most_used ms a second"
  longest_stall_ms=$(awk -v a="$stall" -v b="$longest_stall_ms" 'BEGIN { print (a > b ? a : b) }')
  if holds "$stall > $most_stall_ms || $share > $most_shortage"; then
    excuse machine "the machine was too busy"
  elif [ "$stolen" -gt $((measured * most_stolen_per_second_ms * $(nproc))) ]; then
    excuse machine "the machine itself stood still for $stolen ms"
  fi
  if [ "$status" -ne 0 ]; then
    fail_by_sound "the probe failed: $(grep -hE ' failed$|^velmo-sound-probe:' "$case_dir"/*-probe.log | head -n 2)"
    : >"$case_dir/ended"
    exit 1
  fi
}

# processor_ms PID: what a program has used of the processors, by itself or the system for it; nothing when it is gone.
processor_ms() {
  awk '{ sub(/.*\) /, ""); print ($12 + $13) * 10 }' "/proc/$1/stat" 2>/dev/null
}

# Milliseconds since the machine's start that its host gave to others while a program here wanted to run, of all
# processors together: where two were away at once, it is twice the time.
stolen_from_machine() {
  awk '/^cpu / { print $9 * 10; exit }' /proc/stat
}

# Microseconds since the machine's start in which some program waited for a processor; 0 where the kernel does not
# count them.
waited_for_processors() {
  local total
  total=$(sed -n 's/^some .*total=//p' /proc/pressure/cpu 2>/dev/null)
  echo "${total:-0}"
}
