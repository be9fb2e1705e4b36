# Waiting for something that a program does. Sourced by the system tests' other files.
# shellcheck shell=bash

# until_true SECONDS COMMAND...: tries until it succeeds. A machine that stood still has not used up the time: it is
# tried twenty times at least.
until_true() {
  local end=$((SECONDS + $1)) tries=0
  shift
  until "$@"; do
    [ $((++tries)) -lt 20 ] || [ $SECONDS -le $end ] || return 1
    sleep 0.05
  done
}

# ended_within SECONDS PID
ended_within() { timeout "$1" tail -s 0.1 --pid="$2" -f /dev/null; }

# closes_with_keys WINDOW PID: until the program has ended, as a person does who presses again when nothing happened: now
# and then the first key on a display does not reach the window manager.
closes_with_keys() {
  local presses=3
  while [ $((presses--)) -gt 0 ]; do
    timeout 30 xdotool windowactivate --sync "$1" key --clearmodifiers alt+F4
    ! ended_within 10 "$2" || return 0
  done
  return 1
}
