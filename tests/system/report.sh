# What the voice room tests print when all cases are over: the table, where to listen, the one line of figures. Sourced
# by scripts/voice-room; reads what the cases left in their folders.
# shellcheck shell=bash

print_table() {
  local index
  [ -n "${VELMO_VOICE_ROOM_DECIDES-}" ] || cat <<'TEXT'
corr.   how like what was heard is to what was said (1: the same), on the whole, and 95% of it at least
gaps    silence where somebody spoke: how often, and how long together
level   how much louder it is, dB; own: how much of itself somebody hears; jumps: how often the delay changed
delay   from one microphone to the other's loudspeaker, ms, and its parts; the ring's part, up to 250 ms, is
        decided by the moment of joining, and "fixed" is the delay without it

TEXT
  for index in "${!cases[@]}"; do
    [ -s "$out/case-$((index + 1))/rows" ] || continue
    printf '%s\n' "$(case_title "${cases[index]}")"
    awk -F'|' '
      function number(value, format) { return value == "" || value == "nan" ? "-" : sprintf(format, value) }
      NR == FNR { width = length($1) > width ? length($1) : width; next }
      FNR == 1 { printf "  %-*s  corr.    95%%         gaps  level   own  jumps   delay\n", width, "" }
      {
        gaps = $4 + 0 == 0 ? "0" : $4 " (" $5 " ms)"
        level = $6 < 0.005 && $6 > -0.005 ? 0 : $6
        printf "  %-*s %6.4f %6.4f %12s %6.2f %5s %6d %7.1f\n", width, $1, $2, $3, gaps, level, number($7, "%.2f"), $8, $9
        if (NF >= 13) {
          printf "      delay = capture %s + net+mix %s + wait %s + ring %s + render %s; fixed %s\n",
            number($10, "%.1f"), number($9 - $10 - $11 - $12 - $13, "%.1f"), number($11, "%.1f"), number($12, "%.1f"),
            number($13, "%.1f"), number($9 - $12, "%.1f")
        }
      }' "$out/case-$((index + 1))/rows" "$out/case-$((index + 1))/rows"
    # What explains a figure: of interest where something failed, or to who looks at everything.
    [ "$failed" -eq 0 ] && [ "${#cases[@]}" -eq 1 ] || sed '$d; s/^/  /' "$out/case-$((index + 1))/notes"
  done
}

# The one line of figures. Delays are those of the pairs and threes.
print_summary() {
  cat "$out"/case-*/rows "$out"/patient/case-*/rows 2>/dev/null | awk -F'|' -v cases="${#cases[@]}" \
    -v failed="$failed" -v repeated="$repeated" -v undecided="${#undecided[@]}" '
    $2 != "nan" && (worst == "" || $2 < worst) { worst = $2 }
    { gap_ms += $5; rows++ }
    NF >= 13 { delay[n++] = $9; fixed += $9 - $12 }
    END {
      printf "voice-room: %d of %d cases, %d recordings, correlation %.4f at worst, gaps %d ms", cases - failed, cases, rows, worst, gap_ms
      if (n) { for (i in delay) sum += delay[i]; printf ", delay %.0f ms, fixed parts %.0f ms", sum / n, fixed / n }
      if (repeated) printf ", played again %d times", repeated
      if (undecided) printf ", %d by the patient clock", undecided
      printf ": %s\n", failed ? "failed" : "ok"
    }'
}

print_recordings() {
  local listen
  listen=$(find "$out" -name '*-heard-1.wav' | sort | head -n 1)
  [ -z "$listen" ] || echo "What was heard: $listen and its like, beside what was said"
}
