#!/usr/bin/env bash
# The main job: installs what is missing, builds, and runs the drutils tool on a
# real example.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh build -DCMAKE_BUILD_TYPE=RelWithDebInfo
tool=build/tools/drutils/drutils
set -x
"$tool" --version
"$tool" name check "Layer 1" "A*B" "\\U+00C4rger"
"$tool" path info "$PWD/tests/../README.md"
