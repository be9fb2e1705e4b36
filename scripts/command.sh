# Runs a command for the scripts that give it a server of its own. Sourced by with-sound and with-web-server, which end
# their server when they exit.
# shellcheck shell=bash

# run_command COMMAND [ARGUMENT...]: returns its status. In the background, so that a signal to this script alone
# reaches the command as well; a terminal's interrupt reaches both by itself, and is the command's to heed. The script
# outlives the command in any case.
run_command() {
  local child status
  (
    trap - INT QUIT
    exec "$@"
  ) <&0 &
  child=$!
  # shellcheck disable=SC2064 # this child
  trap "kill -TERM $child 2>/dev/null" TERM HUP
  trap '' INT
  # A signal ends the waiting, not the command.
  while wait "$child"; status=$?; [ "$status" -gt 128 ] && kill -0 "$child" 2>/dev/null; do :; done
  # When the command ended just then, its own status is still to be asked for, unless the shell has lost it.
  if [ "$status" -gt 128 ] && ! jobs -rp | grep -qx "$child"; then
    wait "$child"
    status=$?
  fi
  return "$status"
}
