# What is played through in a voice room, one function a scenario, and how it is judged. Sourced by
# scripts/voice-room; each scenario runs as the actors of tests/system/room.sh and ends with participants that
# hear each other.
# shellcheck shell=bash

# figure KEY LINE: a value from name=value words.
figure() {
  local word
  for word in $2; do
    [ "${word%%=*}" = "$1" ] && printf '%s' "${word#*=}" && return
  done
  printf 'nan'
}

# hears NAME LISTENER "TALKER..." [FROM TO [WHERE]]: judges what reached the listener's loudspeaker in the
# measurement NAME, the times in seconds; WHERE is another card's loudspeaker.
hears() {
  local name=$1 listener=$2 talkers=$3 section=() where=${6:-$2} arguments=() talker line
  [ $# -lt 5 ] || section=(--from "$4" --to "$5")
  for talker in $talkers; do
    arguments+=(--reference "$case_dir/$name-said-$talker.wav")
  done
  if [ -e "$case_dir/$name-said-$listener.wav" ]; then
    arguments+=(--absent "$case_dir/$name-said-$listener.wav")
  fi
  line=$(cd "$case_dir" && "$probe_program" compare "${arguments[@]}" "${section[@]}" \
    --recording "$case_dir/$name-heard-$where.wav" 2>&1) || give_up "$line"
  judge "$listener" "$talkers" "$line" "${@:4:2}"
}

# judge LISTENER "TALKER..." LINE [FROM TO]: holds the figures against the thresholds and adds a row of the table,
# with the parts of the delay when the whole measurement was judged. $change_ms is what the correlation may miss.
judge() {
  local listener=$1 talkers=$2 line=$3 who talker length missed_ms=${change_ms:-0}
  length=$(awk "BEGIN { print ${5:-$measured} - ${4:-0} }")
  who="${peer_kind[$listener]} $listener hears"
  for talker in $talkers; do who+=" ${peer_kind[${spoken_by[$talker]-$talker}]} $talker"; done
  [ $# -lt 5 ] || who+=" ($4-$5 s)"
  check_sound "$(figure windows "$line") >= $(sum "$length * $least_windows_per_second")" "$who: too little was said"
  check_sound "$(figure tracked "$line") >= $(sum "$least_correlation - $missed_ms / 1000 / $length")" "$who: correlation"
  check_sound "$(figure median "$line") >= $least_median" "$who: median correlation"
  # A short section has too few windows for this one.
  [ $# -ge 5 ] ||
    check_sound "$(figure p5 "$line") >= $least_window_correlation" "$who: correlation of the worst 5 %"
  check_sound "$(figure jumps "$line") <= $most_jumps" "$who: jumps of the delay"
  check_sound "$(figure gap_ms "$line") <= $most_gap_ms" "$who: gaps in ms"
  check_sound "$(figure level_db "$line") <= $most_level_db && $(figure level_db "$line") >= -$most_level_db" \
    "$who: level in dB"
  if [ "$(figure trace "$line")" != nan ]; then
    check "$(figure trace "$line") <= $(sum "$most_own_voice / sqrt($length)")" "$who: and itself"
  fi
  if [ $# -lt 5 ]; then
    add_row "$who" "$line" "$(delay_parts "$listener" "${talkers%% *}")"
  else
    add_row "$who" "$line" ""
  fi
}

# delay_parts LISTENER TALKER: means of what the two reported since the mark, in ms: capture, jitter wait, ring,
# render. The clients' round trip is no part of it: answers within a millisecond do not count for it, so on one
# machine it stays near the 60 ms that it begins with.
delay_parts() {
  reported "$2" capture_delay_ms
  reported "$1" target_delay_ms
  reported "$1" ring_delay_ms
  reported "$1" render_delay_ms
}

# add_row WHO LINE PARTS
add_row() {
  local key figures=() parts
  for key in tracked p5 gaps gap_ms level_db trace jumps delay_ms; do
    figures+=("$(figure "$key" "$2")")
  done
  read -r -d '' -a parts <<<"$3"
  (IFS='|'; printf '%s|%s|%s\n' "$1" "${figures[*]}" "${parts[*]-}") >>"$case_dir/rows"
}

# silent NAME LISTENER FROM TO [WHERE]: nothing may reach the listener's loudspeaker in that time. It begins 1 s after the
# command that it follows.
silent() {
  local line
  line=$("$probe_program" level "$case_dir/$1-heard-${5:-$2}.wav" --from "$3" --to "$4") || give_up "$line"
  local checking=check
  holds "$longest_stall_ms < 500" || checking=check_sound
  $checking "$(figure peak_db "$line") <= $most_silence_db" "${peer_kind[$2]-} $2 should have heard nothing from $3 s to $4 s"
}

# settle NUMBER...: before a measurement, leads every participant to a playback ring whose reader and writer are
# apart. Where they are depends on the moment of joining only, and they stay there; a stay outside the room of
# some milliseconds moves them.
settle() {
  local number tries away ring
  for number in "$@"; do
    for ((tries = 0; tries < 6; tries++)); do
      mark "$number"
      until_true 10 has_reported "$number" 3 || give_up "peer $number (${peer_kind[$number]}) reports nothing"
      ring_is_clear "$number" && break
      ring=$(reported "$number" ring_delay_ms last)
      note "peer $number: reader and writer of its ring are $ring ms apart; it leaves and enters again"
      away=$(awk -v ring="$ring" 'BEGIN { ms = (ring + 110) % 250; print (ms < 40 ? ms + 250 : ms) / 1000 }')
      tell "$number" leave
      pause "$away"
      tell "$number" join test-room
    done
  done
}

has_reported() { awk -v n="$(reported "$1" ring_delay_ms count)" -v least="$2" 'BEGIN { exit !(n >= least) }'; }

# look_for_edges NUMBER...: a pause in the stream moves the ring's writer against its reader, by chance also to
# where they collide; a failure of the sound is then the ring's, not the case's, and the case is played once more.
look_for_edges() {
  local number low high
  for number in "$@"; do
    low=$(reported "$number" ring_delay_ms min)
    high=$(reported "$number" ring_delay_ms max)
    check "$low <= $high" "peer $number: no report of its ring"
    if holds "$low < $ring_margin_ms || $high > 250 - $ring_margin_ms"; then
      note "peer $number: reader and writer of its ring were from $low to $high ms apart"
      excuse ring "reader and writer of a ring nearly met"
    fi
  done
}

open_room() {
  local number=0 kind
  start_service
  for kind in "$@"; do
    number=$((number + 1))
    start_peer "$number" "$kind"
  done
}

# Two talk at the same time; each hears the other and not itself.
scenario_pair() {
  open_room "$1" "$2"
  await_peers 1 2
  settle 1 2
  mark 1 2
  measure talk "$talk_seconds" 1 2
  await_measurement
  look_for_edges 1 2
  hears talk 2 1
  hears talk 1 2
  end_room 1 2
}

# Two talk at the same time; the third hears the sum, each of them only the other.
scenario_three() {
  open_room linux linux linux
  await_peers 1 2 3
  settle 1 2 3
  mark 1 2 3
  measure talk "$talk_seconds" 1 2
  await_measurement
  look_for_edges 1 2 3
  hears talk 3 "1 2"
  hears talk 2 1
  hears talk 1 2
  end_room 1 2 3
}

# interrupted COMMAND COMMAND: participant 1 is told the first command after 4 s and the second after 8 s. A stream
# that pauses for 4 s, or for the 2 s that the service holds it less, misses whole turns of the ring: its writer goes
# on about where it was.
interrupted() {
  open_room linux linux
  await_peers 1 2
  settle 1 2
  mark 1 2
  measure talk 14 1 2
  pause 4
  tell 1 "$1"
  pause 4
  tell 1 "$2"
  mark 1 2
  await_measurement
  look_for_edges 1 2
  hears talk 2 1 0 3.5
  hears talk 1 2 0 3.5
}

# Who left is not heard and hears nothing; who comes back does both again.
scenario_rejoin() {
  interrupted leave "join test-room"
  silent talk 2 5 7.8
  silent talk 1 5 7.8
  hears talk 2 1 9 14
  hears talk 1 2 9 14
  end_room 1 2
}

# Who is muted is not heard, but hears.
scenario_mute() {
  interrupted mute unmute
  silent talk 2 5 7.8
  hears talk 1 2 4 8
  hears talk 2 1 9 14
  hears talk 1 2 9 14
  end_room 1 2
}

# Who is deafened hears nothing, but is heard.
scenario_deafen() {
  interrupted deafen undeafen
  silent talk 1 5 7.8
  hears talk 2 1 4 8
  hears talk 2 1 9 14
  hears talk 1 2 9 14
  end_room 1 2
}

# The service dies without a word and comes back at the same address, where it knows nobody: the clients are
# told, end, and new ones meet there. When it ends in order, they are told, too.
scenario_server_restart() {
  local number
  open_room linux linux
  await_peers 1 2
  end_hard "$service_pid"
  pause 1
  start_service "$port"
  for number in 1 2; do
    await_session_end "$number"
    start_peer "$number" linux
  done
  await_peers 1 2
  settle 1 2
  mark 1 2
  measure talk 6 1 2
  await_measurement
  look_for_edges 1 2
  hears talk 2 1
  hears talk 1 2
  stop_program "the service" "$service_pid"
  await_session_end 1
  await_session_end 2
}

# await_session_end NUMBER: the participant must end because its session did, and say so.
await_session_end() {
  until_true 10 gone "${peer_pid[$1]}" || give_up "peer $1 did not notice that its session had ended"
  wait "${peer_pid[$1]}"
  [ $? -eq 6 ] || give_up "peer $1 did not say that its session had ended"
}

# While both talk, 2 changes to another loudspeaker, 1 to another microphone with another voice in it, and 2
# back.
scenario_device_change() {
  local spare=$((first_card + 2))
  open_room linux linux
  peer_card[3]=$spare
  spoken_by[3]=1
  await_peers 1 2
  settle 1 2
  measure talk 20 1 2 3
  pause 4
  tell 2 output "Virtual speaker $spare"
  pause 5
  tell 1 input "Virtual microphone $spare"
  pause 5
  tell 2 output "Virtual speaker ${peer_card[2]}"
  mark 1 2
  await_measurement
  look_for_edges 1 2
  hears talk 2 1 0 3.5
  hears talk 2 1 5.5 8.5 3
  silent talk 2 6 13.5
  hears talk 2 3 10.5 13.5 3
  hears talk 2 3 15.5 20
  silent talk 2 16 20 3
  hears talk 1 2 0 3.5
  hears talk 1 2 5.5 8.5
  hears talk 1 2 10.5 13.5
  hears talk 1 2 15.5 20
  change_ms=$most_change_ms hears talk 1 2 0 8.5
  change_ms=$most_change_ms hears talk 1 2 10.5 20
  end_room 1 2
}

# Ten minutes over a bad network: nobody dies, nothing grows, no queue runs over. A client asks once for its session and
# once for its room, and when that is lost, its person has to ask again; so these are spared. Nobody is led to a clear
# ring either: it would not stay so, as every lost packet moves the ring's writer, and who leaves has to ask again.
scenario_soak() {
  local number settled
  start_service
  start_relay --loss 1 --jitter 30 --reorder 2 --spare 100
  for number in 1 2; do start_peer "$number" linux; done
  await_peers 1 2
  mark 1 2
  talk_on "$soak_seconds" 1 2
  local talking_pid=$probe_pid
  watch_memory "${peer_pid[1]}" "${peer_pid[2]}" "$service_pid"
  listen begin 10 1 2
  await_measurement
  pause $((soak_seconds - 24))
  listen end 10 1 2
  await_measurement
  settled=$((soak_seconds > 120 ? 60 : soak_seconds / 2))
  judge_memory "$settled" "peer 1" "peer 2" service
  for number in 1 2; do
    check "$(reported "$number" queued_packets max) <= $most_queued_packets" "peer $number: packets in its queue"
    note "peer $number: at most $(reported "$number" queued_packets max) packets queued, jitter estimate up to $(
      reported "$number" jitter_ms max) ms, wait up to $(reported "$number" target_delay_ms max) ms"
  done
  for name in begin end; do
    hears_through_losses "$name" 2 1
    hears_through_losses "$name" 1 2
  done
  wait "$talking_pid" || fail_for_good "the probe that talked ended with $?"
  end_room 1 2
  stop_program "the relay" "$relay_pid"
  note "$(grep 'lossy relay: to' "$case_dir/relay.log" | sed 's/lossy relay: //' | paste -sd';')"
}

# Every packet that is lost on its way to a listener moves the listener's delay by 10 ms, so only windows are
# judged, each at its own delay.
hears_through_losses() {
  local line
  line=$(cd "$case_dir" && "$probe_program" compare --reference "$1-said-$3.wav" --absent "$1-said-$2.wav" \
    --recording "$1-heard-$2.wav" 2>&1) || give_up "$line"
  check_sound "$(figure median "$line") >= $least_median_through_losses" "peer $2 hears $3, $1: median correlation"
  add_row "peer $2 hears $3, $1" "$line" ""
}

# watch_memory PID...: every second into memory, in KiB, for each what is resident and what of that is its own: the
# heap and the stacks, without the pages of program files and of the sound server's pool.
watch_memory() {
  (
    while :; do
      for pid in "$@"; do
        awk '/^(VmRSS|RssAnon)/ { printf "%s ", $2 }' "/proc/$pid/status" 2>/dev/null || exit
      done
      echo
      sleep 1
    done >"$case_dir/memory"
  ) &
}

# judge_memory SETTLED NAME...: after so many seconds nothing may grow any more. Over the sound server's pool the
# program has no say: it grows a little with the longest stall so far.
judge_memory() {
  local settled=$1 column=1 name
  shift
  for name in "$@"; do
    judge_growth check_sound "$settled" "$column" "$name, resident" "$most_growth_kib"
    judge_growth check "$settled" "$((column + 1))" "$name, its own" "$most_own_growth_kib"
    column=$((column + 2))
  done
}

judge_growth() {
  local checking=$1 before after
  shift
  read -r before after < <(awk -v settled="$1" -v column="$2" '
    { part = NR > settled; if ($column > max[part]) max[part] = $column }
    END { print max[0] + 0, max[1] + 0 }' "$case_dir/memory")
  note "$3: $before KiB in the first $1 s, at most $after KiB later"
  $checking "$after > 0 && $after - $before <= $4" "$3: memory grew, in KiB"
}
