#!/usr/bin/env bash
# The old name of bench/run.
exec "$(dirname "$0")/run" "$@"
