# What is said in the system tests: three talkers, whom nobody takes for each other. Sourced by scripts/voice-room and
# scripts/hub, which set $speech_seconds; kept in build/speech. make_speech sets talker_files.
# shellcheck shell=bash

: "${root:?}" "${speech_seconds:?}"

# speech NUMBER VOICE SPEED MIX TEXT: a talker of the cast, $speech_seconds long, at a level of its own in each channel.
speech() {
  local file new
  file=$speech_folder/talker-$1-$(printf '%s ' "$speech_seconds" "$@" | cksum | cut -d' ' -f1).wav
  new=$speech_folder/new-$1-$$
  talker_files+=("$file")
  [ ! -e "$file" ] || return 0
  # shellcheck disable=SC2086 # the mix is two words
  espeak-ng -v "$2" -s "$3" -w "$new-mono.wav" "$5" &&
    sox -V1 "$new-mono.wav" -r 48000 -c 2 -b 16 "$new.wav" remix $4 gain -n -4 pad 0.2 0.2 repeat 99 trim 0 "$speech_seconds" &&
    rm -f "$new-mono.wav" && mv "$new.wav" "$file"
}

make_speech() {
  speech_folder=$root/build/speech
  talker_files=()
  mkdir -p "$speech_folder" || return 1
  speech 1 es 150 "1 1v0.5" "Buenos días a todos. Mañana por la tarde iremos a la playa con los amigos de siempre, y
    después cenaremos en el puerto mirando los barcos que regresan. ¿Quién quiere venir con nosotros?" &&
    speech 2 en-gb+f3 165 "1v0.5 1" "The quick brown fox jumps over the lazy dog, while seven wise owls watch the
      silver moon above the quiet harbour. Nobody expected the second storm to arrive before noon." &&
    speech 3 en-us+m7 140 "1 1v0.7" "Please bring the large wooden boxes up to the fourth floor, and put them under the
      window next to the garden door. Thank you very much for all your patience today."
}
