#!/usr/bin/env bash
# The main job: installs what is missing, builds, and runs the drutils tool on
# real files written by other CAD programs (tests/data): a plot style table shown,
# converted to a named table and drawn as a swatch sheet, a printer configuration
# shown, a table as JSON built back and compared, a drawing's lock files read; then the printer commands on a private
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
# Tables as source: the JSON form, a table built back from it, a changed pen, and
# the difference by meaning (exit status 1: different).
"$tool" style show --json tests/data/color-dependent-custom.ctb >"$out/custom.json"
"$tool" style build --force "$out/custom.json" "$out/rebuilt.ctb"
"$tool" style set "$out/rebuilt.ctb" 7 screen=50 lineweight=0.35mm
"$tool" style diff tests/data/color-dependent-custom.ctb "$out/rebuilt.ctb" || true
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
# Settings on a store of the example's own: a profile made, filled, copied and
# moved through a registry file, and a profile exported by another CAD program
# (its product prefix rewritten to this product's) imported from another version.
export DRUTILS_REGISTRY_DB="$(cd "$out" && pwd)/registry.db"
rm -f "$DRUTILS_REGISTRY_DB" "$DRUTILS_REGISTRY_DB"-*
"$tool" profile create Work --description "drawing office"
"$tool" profile use Work
"$tool" config set --type integer Config MassPropAccuracy 4
"$tool" config set --type rect 24 rect/Main 10,20,800,600
"$tool" config set Setup Server '\\cad\share'
"$tool" config list --json Config
"$tool" config get 24 rect/Main
"$tool" profile copy Work Home
"$tool" profile export --force Work "$out/work.reg"
"$tool" profile import --force "$out/work.reg" --name Laptop --description "from work.reg"
sed 's/Software\\Autodesk\\AutoCAD\\R16\.2\\ACAD-4001:409/Software\\Corvane\\Draftium\\V16x64\\de_DE/g' \
    tests/data/profile-export-regedit4.arg >"$out/lae.reg"
"$tool" reg import "$out/lae.reg"
"$tool" config get Profiles lae/UserName
"$tool" profile list
"$tool" reg export --force V17x64/en_US/Profiles/lae "$out/lae-export.reg"
# The same table from Python (Debian's python3, the module built above).
PYTHONPATH=build/python /usr/bin/python3 - "$out/rebuilt.ctb" <<'PY'
import sys, drutils
table = drutils.PlotStyleTable.read(sys.argv[1])
pen = table.style_for_color(7)
print(f"{table!r}: colour 7 plots with screen {pen.screen}, lineweight {pen.lineweight_mm} mm")
PY
