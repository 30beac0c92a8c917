#!/usr/bin/env bash
# Builds the library and every test (release), then runs the whole test suite.
# With ZARN_SANITIZE=ON in the environment the build uses AddressSanitizer and UBSan (directory build-asan).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
dir=build; type=Release; werror=ON; python=ON
# Under the sanitizers GCC reports false "maybe uninitialized" warnings inside the standard
# library (std::regex), so that build does not treat warnings as errors.
# The Python module is tested in the release build only (under the sanitizers the interpreter would
# need their runtime preloaded).
if [ "${ZARN_SANITIZE:-OFF}" = ON ]; then dir=build-asan; type=RelWithDebInfo; werror=OFF; python=OFF; fi
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=$type -DZARN_SANITIZE="${ZARN_SANITIZE:-OFF}" -DZARN_WARNINGS_AS_ERRORS=$werror \
  -DZARN_BUILD_PYTHON=$python >/dev/null
cmake --build "$dir" -j2
ctest --test-dir "$dir" -j2 --output-on-failure
