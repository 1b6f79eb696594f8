#!/bin/sh
# Installs the frei0r plug-ins of a build: the plug-ins flat in PLUGINS (where MLT and GStreamer
# look), the runtime, host modules, transitions module and their data in PLUGINS/_binARM64 (where
# the plug-ins look), and the Kdenlive descriptions in KDENLIVE. Every file is copied under a
# hidden name first and renamed once all are copied, so a failure (a full disk) leaves the
# installed files as they were.
#
#   frei0r/install.sh BUILD PLUGINS KDENLIVE
set -eu
build=$1 plugins=$2 kdenlive=$3
modules=$plugins/_binARM64

ls "$build"/frei0r-plugins/kelo_*.so >/dev/null 2>&1 ||
  { echo "install-frei0r: no plug-ins in $build/frei0r-plugins (build the kelo_frei0r target)" >&2; exit 1; }
mkdir -p "$plugins" "$modules" "$kdenlive"

staged=""
cleanup() { for file in $staged; do rm -f "$(dirname "$file")/.$(basename "$file").part"; done; }
trap 'cleanup; echo "install-frei0r: failed; nothing was replaced" >&2' EXIT

# Copies $1 to the folder $2 under a hidden name.
stage() {
  target=$2/$(basename "$1")
  cp "$1" "$2/.$(basename "$1").part"
  staged="$staged $target"
}
for file in "$build"/frei0r-plugins/kelo_*.so; do stage "$file" "$plugins"; done
for file in "$build"/_binARM64/*.so "$build"/_binARM64/*.strings "$build"/_binARM64/components.manifest; do
  stage "$file" "$modules"
done
for file in "$build"/frei0r-kdenlive/kelo_*.xml; do stage "$file" "$kdenlive"; done
for file in $staged; do mv -f "$(dirname "$file")/.$(basename "$file").part" "$file"; done
trap - EXIT
echo "Installed $(ls "$build"/frei0r-plugins/kelo_*.so | wc -l) plug-ins in $plugins, their modules in $modules"
echo "and the Kdenlive descriptions in $kdenlive"
