#!/usr/bin/env bash
# Measures kelo beside FFmpeg on this machine, all in one run, and writes docs/PERFORMANCE.md:
#   1. each effect's frame time (kelo_bench, 1920x1080, 24 bits) beside its nearest xfade
#      transition, both on one thread;
#   2. a whole 1080p slideshow made by `kelo slideshow`, by the equivalent ffmpeg xfade chain,
#      and by the encoder alone on kelo's own frames (wall, CPU, peak memory, frames);
#   3. a 60-frame dissolve rendered to animated WebP and to GIF.
# The file is written whole (under a temporary name, then renamed), keeping everything below the
# notes marker line of the existing file. Nothing is written when a measurement fails.
#
# Usage: bench/compare.sh [BUILD_FOLDER]      (default: build; `make compare` builds first)
# Environment: RUNS (default 3) runs of each effect, xfade and format figure, the best kept;
# SLIDESHOW_RUNS (default 2) of each slideshow; TMPDIR for the work folder (about 6 GB is
# needed there for a moment: kelo's raw frames for the encoder-alone run).
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
if [ "${1:-}" = -h ] || [ "${1:-}" = --help ]; then
  sed -n '2,16p' "${BASH_SOURCE[0]}" | sed 's/^# \{0,1\}//'
  exit 0
fi
build=${1:-$root/build}
doc=$root/docs/PERFORMANCE.md
marker='<!-- notes: kept by bench/compare.sh -->'
runs=${RUNS:-3}
slideshowRuns=${SLIDESHOW_RUNS:-2}

die() {
  echo "compare: error: $*" >&2
  exit 1
}
say() { echo "compare: $*" >&2; }

[[ $runs =~ ^[1-9][0-9]*$ ]] || die "RUNS must be a positive whole number, not '$runs'"
[[ $slideshowRuns =~ ^[1-9][0-9]*$ ]] || die "SLIDESHOW_RUNS must be a positive whole number"
[ -d "$build" ] || die "no build folder $build (run make compare, or make build first)"
build=$(cd "$build" && pwd)
kelo=$build/kelo
bench=$build/bench/kelo_bench
[ -x "$kelo" ] || die "$kelo is missing (make build)"
[ -x "$bench" ] || die "$bench is missing (a build with benchmarks: make build)"
for tool in ffmpeg ffprobe jq taskset awk; do
  command -v "$tool" >/dev/null || die "$tool is missing (make deps)"
done
[ -x /usr/bin/time ] || die "/usr/bin/time is missing (make deps installs the package time)"
# (Whole lists first: grep -q stopping early would break ffmpeg's pipe, a failure under pipefail.)
[[ $(ffmpeg -hide_banner -filters 2>/dev/null) == *" xfade "* ]] || die "this ffmpeg has no xfade filter"
[[ $(ffmpeg -hide_banner -encoders 2>/dev/null) == *libx264* ]] || die "this ffmpeg has no libx264"

work=$(mktemp -d "${TMPDIR:-/tmp}/kelo-compare.XXXXXX")
trap 'rm -rf "$work"; rm -f "$doc.new.$$"' EXIT
started=$(date +%s)
load() { cut -d' ' -f1-3 /proc/loadavg; }
loadBefore=$(load)

# One processor for the one-thread figures: the first this process may run on.
cpu=$(awk '/^Cpus_allowed_list/ { split($2, a, /[-,]/); print a[1] }' /proc/self/status)

# awk arithmetic and formatting: calc 'a / b' prints the value with the given decimals.
calc() { awk "BEGIN { printf \"%.${2:-2}f\", $1 }"; }
minimum() { printf '%s\n' "$@" | awk 'NR == 1 || $1 < m { m = $1 } END { print m }'; }

# ---- Measuring one command: wall and CPU time, peak memory of its whole process tree.

# Every process under $1 (not $1 itself, /usr/bin/time): its VmHWM (peak resident set) kept
# in peakOf[pid], the largest seen. VmHWM never falls, so sampling every 50 ms misses at most the
# growth of a process's last 50 ms.
sampleTree() {
  local queue=("$1") pid key value rest children kids
  while ((${#queue[@]})); do
    pid=${queue[0]}
    queue=("${queue[@]:1}")
    if [ "$pid" != "$1" ]; then
      key='' value=''
      { while read -r key value rest; do [ "$key" = VmHWM: ] && break; done </proc/"$pid"/status; } \
        2>/dev/null || true
      if [ "${key:-}" = VmHWM: ] && [ -n "$value" ] && ((value > ${peakOf[$pid]:-0})); then
        peakOf[$pid]=$value
      fi
    fi
    for children in /proc/"$pid"/task/*/children; do
      kids=()
      { read -r -a kids <"$children"; } 2>/dev/null || true
      queue+=("${kids[@]}")
      # The command itself is the only child of /usr/bin/time.
      if [ "$pid" = "$1" ] && ((${#kids[@]})); then commandPid=${kids[0]}; fi
    done
  done
}

# Runs "$@" to completion (its output in $work/run.log) and sets mWall (s), mCpu (user + sys of
# the command and every child it waited for, s, from /usr/bin/time) and mPeak (MiB: the sum over
# the command and its children of each one's own peak resident set, so a program and the encoder
# it feeds count together) and mOwn (MiB: the command's own peak, without its children).
measure() {
  declare -gA peakOf=()
  commandPid=
  /usr/bin/time -f '%e %U %S' -o "$work/time.txt" "$@" >"$work/run.log" 2>&1 &
  local top=$! status=0 user sys peak=0 pid
  while kill -0 "$top" 2>/dev/null; do
    sampleTree "$top"
    sleep 0.05
  done
  wait "$top" || status=$?
  if [ "$status" -ne 0 ]; then
    tail -5 "$work/run.log" >&2
    die "failed ($status): $*"
  fi
  read -r mWall user sys <"$work/time.txt"
  mCpu=$(calc "$user + $sys")
  for pid in "${!peakOf[@]}"; do peak=$((peak + peakOf[$pid])); done
  mPeak=$(calc "$peak / 1024" 0)
  mOwn=$(calc "${peakOf[${commandPid:-none}]:-0} / 1024" 0)
}

# Frames and seconds of a video's first stream, by decoding it.
framesOf() {
  ffprobe -v error -count_frames -select_streams v:0 \
    -show_entries stream=nb_read_frames -of csv=p=0 "$1"
}
secondsOf() {
  calc "$(ffprobe -v error -show_entries format=duration -of csv=p=0 "$1")" 2
}
# Frames of an animated WebP: its ANMF chunks (RIFF: fourcc, little-endian size, even padding).
webpFrames() {
  local file=$1 offset=12 total size count=0
  total=$(stat -c %s "$file")
  while ((offset + 8 <= total)); do
    size=$(od -An -tu4 --endian=little -j $((offset + 4)) -N4 "$file" | tr -d ' ')
    [ "$(dd if="$file" bs=1 skip="$offset" count=4 status=none)" = ANMF ] && count=$((count + 1))
    offset=$((offset + 8 + size + size % 2))
  done
  echo "$count"
}

# ---- Ten different 1080p pictures, made deterministically from FFmpeg's test sources.
pictures=$work/pictures
mkdir -p "$pictures"
sources=(
  "testsrc2=size=1920x1080" "mandelbrot=size=1920x1080"
  "gradients=size=1920x1080:seed=7:nb_colors=4" "cellauto=size=1920x1080:rule=110:seed=3"
  "life=size=1920x1080:seed=5:ratio=0.3:mold=8:life_color=#ffcc33:death_color=#203050:mold_color=#806040"
  "smptehdbars=size=1920x1080" "testsrc=size=1920x1080,hue=h=120"
  "mandelbrot=size=1920x1080:start_x=-0.745:start_y=0.11:start_scale=0.02:inner=period"
  "gradients=size=1920x1080:seed=11:nb_colors=8" "cellauto=size=1920x1080:rule=30:seed=9,negate"
)
say "making ${#sources[@]} pictures"
picturesList=()
for i in "${!sources[@]}"; do
  # Odd ones JPEG, even ones PNG, as a folder of photos and graphics would mix them.
  if ((i % 2 == 0)); then name=$(printf '%02d.jpg' $((i + 1))) options=(-q:v 2); else
    name=$(printf '%02d.png' $((i + 1))) options=(-pix_fmt rgb24)
  fi
  ffmpeg -hide_banner -nostdin -loglevel error -y -f lavfi -i "${sources[$i]}" -frames:v 1 \
    "${options[@]}" "$pictures/$name" || die "ffmpeg could not make $name from ${sources[$i]}"
  picturesList+=("$pictures/$name")
done

# ---- 1. Effects against xfade.
# kelo row in kelo_bench (24 bits, 1920x1080) and its nearest xfade transition.
pairs=(
  "Dissolve fade" "Dither dissolve" "Push slideleft" "Cover wipeleft" "Crush squeezeh"
  "ShutterBands/columns hlslice" "Twirl zoomin"
)
rowFilter=$(printf '%s|' "${pairs[@]%% *}")
say "kelo_bench: ${#pairs[@]} effects, $runs repetitions, on processor $cpu"
taskset -c "$cpu" "$bench" --benchmark_filter="^(${rowFilter%|})/24bit/1920x1080/" \
  --benchmark_min_time=1 --benchmark_repetitions="$runs" \
  --benchmark_out="$work/effects.json" --benchmark_out_format=json >/dev/null 2>"$work/bench.log" ||
  { tail -5 "$work/bench.log" >&2; die "kelo_bench failed"; }

# Per row: best CPU ms, best wall ms, median x_reference over the repetitions.
keloFigures() {
  jq -r --arg prefix "$1/24bit/1920x1080/" '
    [.benchmarks[] | select(.run_type == "iteration" and (.name | startswith($prefix)))
      | select(.error_occurred != true)] as $rows
    | if ($rows | length) == 0 then "missing" else
        [($rows | map(.effect_cpu_ms) | min), ($rows | map(.real_time) | min),
         ($rows | map(.x_reference) | sort | .[length / 2 | floor])] | @tsv end' \
    "$work/effects.json"
}

# xfade on one thread in planar RGB. Each picture is decoded once, converted to gbrp once and
# looped (the loop hands out references to that one frame). Run "in" has all N output frames
# inside the transition (offset 0, duration N frames); run "out" passes the same N frames of the
# first input through (offset far past the end). Both decode both pictures (the graph is set up
# only once every input has a frame) and start the same; their CPU difference over N is one
# transition frame.
xfadeFrames=90
xfadeA=${picturesList[0]}
xfadeB=${picturesList[1]}
xfadeCpu() {
  local transition=$1 offset=$2
  taskset -c "$cpu" ffmpeg -hide_banner -nostdin -nostats -benchmark \
    -threads 1 -filter_threads 1 -filter_complex_threads 1 \
    -framerate 30 -threads 1 -i "$xfadeA" -framerate 30 -threads 1 -i "$xfadeB" \
    -filter_complex "[0]format=gbrp,loop=loop=-1:size=1,setpts=N/30/TB[a];[1]format=gbrp,loop=loop=-1:size=1,setpts=N/30/TB[b];[a][b]xfade=transition=$transition:duration=$(calc "$xfadeFrames / 30" 3):offset=$offset" \
    -threads 1 -frames:v "$xfadeFrames" -f null - 2>"$work/xfade.log" ||
    { tail -3 "$work/xfade.log" >&2; die "ffmpeg xfade $transition failed"; }
  grep -q "frame= *$xfadeFrames " "$work/xfade.log" || die "xfade $transition gave other than $xfadeFrames frames"
  awk '/bench: utime=/ { split($2, u, /[=s]/); split($3, s, /[=s]/); printf "%.4f", u[2] + s[2] }' \
    "$work/xfade.log"
}

# "ShutterBands/columns" -> "ShutterBands (columns)"
rowTitle() { if [[ $1 == */* ]]; then echo "${1%%/*} (${1#*/})"; else echo "$1"; fi; }
effectRows=()
effectsMet=0
for pair in "${pairs[@]}"; do
  row=${pair%% *} transition=${pair##* }
  figures=$(keloFigures "$row")
  [ "$figures" != missing ] || die "kelo_bench gave no row $row/24bit/1920x1080"
  read -r keloCpu keloWall keloRatio <<<"$figures"
  say "xfade $transition: $runs x 2 runs of $xfadeFrames frames"
  inside=() outside=()
  for ((r = 0; r < runs; ++r)); do
    cpuIn=$(xfadeCpu "$transition" 0)
    cpuOut=$(xfadeCpu "$transition" 1000)
    inside+=("$cpuIn") outside+=("$cpuOut")
  done
  xfadeMs=$(calc "($(minimum "${inside[@]}") - $(minimum "${outside[@]}")) * 1000 / $xfadeFrames" 3)
  ratio=$(calc "$xfadeMs / $keloCpu" 1)
  if awk "BEGIN { exit !($xfadeMs >= 2 * $keloCpu) }"; then
    met=yes
    effectsMet=$((effectsMet + 1))
  else
    met=no
  fi
  effectRows+=("| $(rowTitle "$row") | $(calc "$keloCpu" 2) | $(calc "$keloWall" 2) | $(calc "$keloRatio" 2) | \`$transition\` | $(calc "$xfadeMs" 2) | ${ratio}x | $met |")
done

# ---- 2. The slideshow, three ways: 10 pictures, 2 s each, 1 s dissolves, 30 fps, H.264.
hold=2 fade=1 fps=30 count=${#picturesList[@]}
x264=(-c:v libx264 -preset veryfast -crf 20 -pix_fmt yuv420p -movflags +faststart)

chainInputs=()
chainFilter=
previous=0
for ((k = 0; k < count; ++k)); do
  # Each picture is on screen for its hold and the transitions on either side of it.
  seconds=$((hold + (k > 0 ? fade : 0) + (k < count - 1 ? fade : 0)))
  chainInputs+=(-loop 1 -framerate "$fps" -t "$seconds" -i "${picturesList[$k]}")
  if ((k > 0)); then
    offset=$((k * (hold + fade) - fade))
    chainFilter+="[$previous][$k]xfade=transition=fade:duration=$fade:offset=$offset"
    if ((k < count - 1)); then chainFilter+="[x$k];"; else chainFilter+=",format=yuv420p[v]"; fi
    previous=x$k
  fi
done
keloShow=("$kelo" slideshow "${picturesList[@]}" --hold "$hold" --duration "$fade" --fps "$fps"
  -t DissolveTransition --quiet)

declare -A best
keep() { # keep NAME VALUE: the smallest value seen for NAME
  if [ -z "${best[$1]:-}" ] || awk "BEGIN { exit !($2 < ${best[$1]}) }"; then best[$1]=$2; fi
}
for ((r = 1; r <= slideshowRuns; ++r)); do
  say "slideshow run $r of $slideshowRuns: kelo"
  rm -f "$work/kelo.mp4"
  measure "${keloShow[@]}" -o "$work/kelo.mp4"
  keep keloWall "$mWall"; keep keloCpu "$mCpu"; keep keloPeak "$mPeak"; keep keloOwn "$mOwn"
  keep keloChild "$((mPeak - mOwn))"
  say "slideshow run $r of $slideshowRuns: ffmpeg xfade chain"
  measure ffmpeg -hide_banner -nostdin -loglevel error -y "${chainInputs[@]}" \
    -filter_complex "$chainFilter" -map '[v]' "${x264[@]}" "$work/chain.mp4"
  keep chainWall "$mWall"; keep chainCpu "$mCpu"; keep chainPeak "$mPeak"
done
say "slideshow: kelo's frames as raw RGB (not timed), then the encoder alone"
rm -f "$work/frames.rgb"
"${keloShow[@]}" -o "$work/frames.rgb" >/dev/null || die "kelo could not write raw frames"
rawFrames=$(($(stat -c %s "$work/frames.rgb") / (1920 * 1080 * 3)))
for ((r = 1; r <= slideshowRuns; ++r)); do
  measure ffmpeg -hide_banner -nostdin -loglevel error -y -f rawvideo -pix_fmt rgb24 \
    -s 1920x1080 -framerate "$fps" -i "$work/frames.rgb" "${x264[@]}" -f mp4 "$work/encoder.mp4"
  keep encoderWall "$mWall"; keep encoderCpu "$mCpu"; keep encoderPeak "$mPeak"
done
rm -f "$work/frames.rgb"
expectedFrames=$((count * hold * fps + (count - 1) * fade * fps))
keloFrames=$(framesOf "$work/kelo.mp4")
keloSeconds=$(secondsOf "$work/kelo.mp4")
chainFrames=$(framesOf "$work/chain.mp4")
chainSeconds=$(secondsOf "$work/chain.mp4")
encoderFrames=$(framesOf "$work/encoder.mp4")
encoderSeconds=$(secondsOf "$work/encoder.mp4")
sameLength=yes
for frames in "$keloFrames" "$chainFrames" "$encoderFrames" "$rawFrames"; do
  [ "$frames" = "$expectedFrames" ] || sameLength=no
done

# ---- 3. Output formats: a 60-frame 1920x1080 dissolve to animated WebP and to GIF.
formatRows=()
for format in webp gif; do
  say "render to $format, $runs runs"
  for ((r = 1; r <= runs; ++r)); do
    rm -f "$work/dissolve.$format"
    measure "$kelo" render --from "${picturesList[0]}" --to "${picturesList[1]}" \
      -t DissolveTransition --duration 2 --fps 30 --quiet -o "$work/dissolve.$format"
    keep "${format}Wall" "$mWall"; keep "${format}Cpu" "$mCpu"
  done
  if [ "$format" = webp ]; then frames=$(webpFrames "$work/dissolve.webp"); else
    frames=$(framesOf "$work/dissolve.gif")
  fi
  [ "$frames" = 60 ] || die "the $format dissolve has $frames frames, not 60"
  size=$(stat -c %s "$work/dissolve.$format")
  formatRows+=("| $format | ${best[${format}Wall]} | ${best[${format}Cpu]} | $frames | $(calc "$frames / ${best[${format}Wall]}" 1) | $(calc "$frames / ${best[${format}Cpu]}" 1) | $(calc "$size / 1048576" 1) |")
done

# ---- The document.
commit=$(git -C "$root" rev-parse --short HEAD 2>/dev/null || echo unknown)
[ -z "$(git -C "$root" status --porcelain --untracked-files=no 2>/dev/null)" ] ||
  commit="$commit (with uncommitted changes)"
cpuModel=$(awk -F': *' '/^model name/ { print $2; exit }' /proc/cpuinfo)
wallRatio=$(calc "${best[chainWall]} / ${best[keloWall]}" 2)
memoryRatio=$(calc "${best[keloPeak]} / ${best[chainPeak]}" 2)
encoderRatio=$(calc "${best[keloCpu]} / ${best[encoderCpu]}" 2)
verdict() { if awk "BEGIN { exit !($1) }"; then echo met; else echo "not met"; fi; }
sourceList=$(printf '\x60%s\x60, ' "${sources[@]}")
sourceList=${sourceList%, }
pictureNames=()
for picture in "${picturesList[@]}"; do pictureNames+=("$(basename "$picture")"); done
# The chain's command as run, with the pictures' file names only, one input per line and one
# xfade per line (a backslash ends each line but the last, so it can be pasted into a shell).
next=$' \\\n  '
chainCommand="ffmpeg -y"
for ((i = 0; i < ${#chainInputs[@]}; i += 8)); do  # -loop 1 -framerate F -t T -i PICTURE
  chainCommand+="$next${chainInputs[*]:i:7} $(basename "${chainInputs[i + 7]}")"
done
chainCommand+="$next-filter_complex \"${chainFilter//;/;$next}\"$next-map '[v]' ${x264[*]} chain.mp4"

{
  cat <<EOF
# Performance

Generated by \`bench/compare.sh\` (\`make compare\`) in one run on one machine; everything above
the notes is rewritten by each run. Figures from a shared machine move by up to 1.5-2x between
runs; compare figures within one run, and read the ratios rather than the times.

## Machine

| | |
|---|---|
| CPU | $cpuModel |
| cores | $(nproc) |
| date | $(date -u '+%Y-%m-%d %H:%M UTC') |
| kelo commit | $commit |
| ffmpeg | $(ffmpeg -version | awk 'NR == 1 { version = $3 } END { print version }') |
| load average (1, 5, 15 min) | $loadBefore at the start, $(load) at the end |
| run took | $(( $(date +%s) - started )) s |

## Effects against FFmpeg's xfade

1920x1080, 24-bit RGB, one thread each, milliseconds per frame. Target: every effect at least 2x
faster than its xfade counterpart; **$effectsMet of ${#pairs[@]} meet it**.

| kelo effect | kelo CPU ms | kelo wall ms | x_reference | xfade | xfade CPU ms | xfade / kelo | 2x |
|---|---:|---:|---:|---|---:|---:|---|
$(printf '%s\n' "${effectRows[@]}")

- **kelo**: \`kelo_bench\` rows \`<effect>/24bit/1920x1080\` run on processor $cpu only
  (\`taskset\`, so the host's OpenCV operations get one thread too), $runs repetitions of at least
  1 s. Each frame is DoTransition on two 1920x1080 pictures and the result released, progress
  walking through the inside of a 30-frame transition (the dither at 0.5, its heaviest frame).
  *CPU ms* is the process's CPU time per frame (\`effect_cpu_ms\`), *wall ms* the steady-clock
  time per frame, both the best repetition; *x_reference* (median) is the frame time over one
  pass that reads two pictures and writes one, timed alternately in the same loop.
- **xfade**: \`ffmpeg -threads 1 -filter_threads 1 -filter_complex_threads 1\`, on the same
  processor. Two 1080p pictures are each decoded once, converted to planar RGB once
  (\`format=gbrp\`) and looped (\`loop=-1:1\` hands out references to that one frame);
  \`xfade=transition=T:duration=3:offset=O\`, $xfadeFrames frames to the null muxer. The run with
  offset 0 has all $xfadeFrames frames inside the transition; the run with offset 1000 passes
  the same $xfadeFrames frames of the first picture through. Both decode both pictures (the
  filter graph is set up only once every input has a frame) and start up alike, so the
  difference of their CPU time (user + sys from \`-benchmark\`), divided by $xfadeFrames, is one
  transition frame. $runs runs of each kind, the smallest CPU time of each kind kept. Not in the
  difference: the second picture's loop hands out $xfadeFrames references only in the first run
  (microseconds).
- Pairs: the nearest xfade transition to each effect; ShutterBands is 5 vertical slats opening
  from their middles against \`hlslice\`.

## A whole slideshow

$count different 1920x1080 pictures (made from FFmpeg's test sources, JPEG and PNG), $hold s
each, $fade s dissolves, $fps fps, H.264 (\`${x264[*]}\`): $expectedFrames frames, $(calc "$expectedFrames / $fps" 1) s.

| run | wall s | CPU s | peak memory MiB | frames | seconds |
|---|---:|---:|---:|---:|---:|
| kelo slideshow to MP4 | ${best[keloWall]} | ${best[keloCpu]} | ${best[keloPeak]} | $keloFrames | $keloSeconds |
| ffmpeg xfade chain to MP4 | ${best[chainWall]} | ${best[chainCpu]} | ${best[chainPeak]} | $chainFrames | $chainSeconds |
| the encoder alone on kelo's frames | ${best[encoderWall]} | ${best[encoderCpu]} | ${best[encoderPeak]} | $encoderFrames | $encoderSeconds |

- kelo against the ffmpeg chain: **${wallRatio}x** faster in wall time (target 1.5x:
  $(verdict "$wallRatio >= 1.5")), **${memoryRatio}** of its peak memory (target under 0.5:
  $(verdict "$memoryRatio < 0.5")).
- kelo's whole run against the encoder alone: **${encoderRatio}x** the encoder's CPU time.
- Of kelo's peak memory, kelo's own process held **${best[keloOwn]} MiB** and its \`ffmpeg\` child
  ${best[keloChild]} MiB (the encoder alone: ${best[encoderPeak]} MiB).
- Same length: $sameLength (all three videos and kelo's raw frames have $expectedFrames frames).

How each was run ($slideshowRuns runs each; the smallest wall, CPU and memory figure kept). The
pictures: one frame of each of these FFmpeg sources, JPEG and PNG by turns:
$sourceList.

kelo, which pipes raw RGB frames to an \`ffmpeg\` child that encodes them:

\`\`\`sh
kelo slideshow ${pictureNames[*]} \\
  --hold $hold --duration $fade --fps $fps -t DissolveTransition --quiet -o kelo.mp4
\`\`\`

The ffmpeg chain: each picture looped for the seconds it is on screen, a fade at each
transition's start; ffmpeg's default threads, as a user would run it:

\`\`\`sh
$chainCommand
\`\`\`

The encoder alone: kelo first writes the same frames as raw RGB to a file (not timed), then the
encoder reads that file; this is the encoder's share of kelo's run:

\`\`\`sh
kelo slideshow ... --quiet -o frames.rgb
ffmpeg -y -f rawvideo -pix_fmt rgb24 -s 1920x1080 -framerate $fps -i frames.rgb \\
  ${x264[*]} -f mp4 encoder.mp4
\`\`\`

Wall and CPU time: \`/usr/bin/time\` (CPU = user + sys of the program and the children it waited
for, so kelo's ffmpeg child counts). Peak memory: every 50 ms the script reads VmHWM (a
process's own peak resident set) from \`/proc/PID/status\` of every process under the command
and adds up each one's largest value; for kelo that is kelo plus its ffmpeg child (an upper
bound of what they held at one moment; GNU time's maximum resident set would give only the
larger of the two).

## Output formats

A 60-frame dissolve of two 1920x1080 pictures, \`kelo render -t DissolveTransition --duration 2
--fps 30 -o dissolve.webp\` (and \`.gif\`), $runs runs each, the smallest times kept. Frames
counted in the files (WebP: its ANMF chunks; GIF: decoded by ffprobe).

| output | wall s | CPU s | frames | frames/s (wall) | frames/s (CPU) | file MiB |
|---|---:|---:|---:|---:|---:|---:|
$(printf '%s\n' "${formatRows[@]}")

## How to rerun

\`\`\`sh
make compare                 # builds, measures (a few minutes), rewrites this file
RUNS=5 SLIDESHOW_RUNS=3 bench/compare.sh build
\`\`\`

It needs \`ffmpeg\` with \`xfade\` and libx264, \`ffprobe\`, \`jq\` and \`/usr/bin/time\` (\`make deps\`),
and about 6 GB free under \`\$TMPDIR\` for a moment. Close other work first: everything here
shares the machine's cores.

EOF
  if [ -f "$doc" ] && grep -qF "$marker" "$doc"; then
    awk -v marker="$marker" 'kept || $0 == marker { kept = 1; print }' "$doc"
  else
    printf '%s\n\n## Notes\n\n(Hand-written; bench/compare.sh keeps this section.)\n' "$marker"
  fi
} >"$doc.new.$$"
mv "$doc.new.$$" "$doc"
say "wrote $doc in $(($(date +%s) - started)) s"
