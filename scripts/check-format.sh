#!/usr/bin/env bash
# Fails when a C++ file of the project is not formatted as .clang-format says.
set -euo pipefail
cd "$(dirname "$0")/.."
git ls-files -z -- '*.h' '*.cpp' | xargs -0 -r clang-format --dry-run --Werror
