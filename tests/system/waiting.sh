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

# ended_after_close WINDOW PID: asks the window manager to close the window and waits for the program's end. Not by the
# keys for it, of which now and then the first on a display does not reach the window manager.
ended_after_close() {
  wmctrl -i -c "$1"
  timeout 30 tail -s 0.1 --pid="$2" -f /dev/null
}
