#!/usr/bin/env bash
# Builds the zarn2d command-line tool (release) and runs it on its built-in demo input.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j2 --target zarn2d_cli
./build/tools/zarn2d "$@"
