#!/usr/bin/env bash
# The main job: installs what is missing, builds, and runs the drutils tool on
# real files written by other CAD programs (tests/data): a plot style table shown,
# converted to a named table and drawn as a swatch sheet, a printer configuration
# shown, a drawing's lock files read; then the printer commands on a private
# CUPS scheduler with known queues (never the machine's own printers).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh build -DCMAKE_BUILD_TYPE=RelWithDebInfo
tool=build/tools/drutils/drutils
out=${DRUTILS_EXAMPLE_OUT:-build/example}
mkdir -p "$out"
set -x
"$tool" --version
"$tool" pia check tests/data/*.ctb tests/data/*.stb tests/data/*.pc3
"$tool" style show tests/data/color-dependent-custom.ctb
"$tool" style convert --force tests/data/color-dependent-custom.ctb "$out/converted.stb"
"$tool" style show "$out/converted.stb"
"$tool" style render --force tests/data/color-dependent-custom.ctb "$out/swatches.svg"
"$tool" pc3 show tests/data/printer-hpgl-extra-blocks.pc3
cp tests/data/drawing.dwl tests/data/drawing.dwl2 "$out"/ && : >"$out/drawing.dwg"
"$tool" lock status "$out/drawing.dwg"
"$tool" name check "Layer 1" "\\U+00C4rger"
set +x
scheduler=$(mktemp -d)
trap 'scripts/cups-test-server.sh stop "$scheduler/cups"; rm -rf "$scheduler"' EXIT
scripts/cups-test-server.sh start "$scheduler/cups" $$
eval "$(scripts/cups-test-server.sh env "$scheduler/cups")"
set -x
"$tool" printers
"$tool" papers Laser_Color
"$tool" pc3 new --force Laser_Color "$out/laser.pc3"
"$tool" pc3 show "$out/laser.pc3"
"$tool" pc3 new --force "Print As PDF" "$out/pdf.pc3"
"$tool" pc3 apply "$out/laser.pc3"
