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
