#!/usr/bin/env bash
# Installs what the build needs, builds Murvel and runs every test suite.
#
#   scripts/test.sh          the default preset
#   scripts/test.sh asan     the same under AddressSanitizer and UndefinedBehaviorSanitizer
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-default}"

./scripts/install-deps.sh
cmake --preset "$preset"
cmake --build --preset "$preset" -j "$(nproc)"
ctest --preset "$preset" -j "$(nproc)" --output-on-failure
