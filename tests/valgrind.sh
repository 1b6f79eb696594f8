#!/usr/bin/env bash
# Memcheck over the kelo program: `kelo frame` and a short `kelo render` (64x48, three frames) of
# every transition `kelo list --names` gives, the renders through each output written without
# ffmpeg in turn. Any memory error or definite leak fails the run; the only leak accepted is the
# counter-cover factory's deliberate reference (tests/valgrind.supp).
# glibc's AVX2 string functions are turned off for the runs: valgrind 3.19 does not replace
# glibc's AVX2 wmemcmp, whose vector loads run past the compared range (safely, inside the
# page), and reports every std::wstring comparison as an invalid read.
# Usage: tests/valgrind.sh [BUILD_FOLDER]
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
kelo="$build/kelo"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# Two small pictures (328x58) from kelo's built-in ones, of one size: the flip gives a picture of
# the moving one's size, so pictures of two sizes make it fail in its first half.
"$kelo" sheet --cell 16x12 -t DissolveTransition --quiet -o from.png >/dev/null
"$kelo" sheet --cell 16x12 -t PushTransition --quiet -o to.png >/dev/null

runs=0 definite=0 suppressed=0
memcheck() {
  runs=$((runs + 1))
  if ! GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX2 valgrind --error-exitcode=1 \
      --errors-for-leak-kinds=definite --leak-check=full --show-leak-kinds=definite \
      --suppressions="$here/valgrind.supp" --log-file=memcheck.log \
      "$kelo" "$@" >/dev/null 2>kelo.err; then
    echo "valgrind: kelo $* failed:"
    cat kelo.err memcheck.log
    exit 1
  fi
  # The bytes definitely lost (0 when the leak summary has no such line) and suppressed.
  lost=$(sed -n 's/.*definitely lost: \([0-9,]*\) bytes.*/\1/p' memcheck.log | tr -d ,)
  kept=$(sed -n 's/.*suppressed: \([0-9,]*\) bytes.*/\1/p' memcheck.log | tr -d ,)
  definite=$((definite + ${lost:-0}))
  suppressed=$((suppressed + ${kept:-0}))
}

outputs=(render.gif render.webp 'frames/%02d.png' render.rgb)
index=0
for name in $("$kelo" list --names); do
  memcheck frame --from from.png --to to.png -t "$name" -p 0.4 -o frame.png
  output=${outputs[$((index % ${#outputs[@]}))]}
  memcheck render --from from.png --to to.png -t "$name" --size 64x48 -d 0.1 --fps 30 --quiet \
    -o "$output"
  index=$((index + 1))
  echo "valgrind: $name: frame and render ($output) clean"
done
# A timeline show: parsing, per-slide effects and settings, eased transitions, pan and zoom.
cat >show.json <<'SHOW'
{"defaults": {"hold": 0.1, "duration": 0.1, "easing": "ease-in-out", "motion": "auto"},
 "slides": [{"picture": "from.png", "transition": {"name": "PushTransition", "settings": {"Direction": "Left"}}},
            {"picture": "to.png", "transition": {"name": "DissolveTransition", "easing": "cubic-bezier(0.4,0,0.2,1)"}},
            {"picture": "from.png", "motion": "zoom-in"}]}
SHOW
memcheck slideshow --timeline show.json --size 64x48 --fps 30 --quiet -o show.rgb
echo "valgrind: timeline slideshow clean"
echo "valgrind: $runs runs of kelo, 0 errors, $definite bytes definitely lost," \
  "$suppressed bytes of the deliberate counter-cover leak suppressed"
