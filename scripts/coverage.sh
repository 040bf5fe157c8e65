#!/usr/bin/env bash
# Builds with counters, runs every test, and prints which lines and branches of src/ ran, by file and in total. Fails if a
# test fails or a line never ran. Arguments go to ctest (-R NAME); the figures are then those of these tests.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

command -v gcovr >/dev/null || {
    as_root=()
    [ "$(id -u)" -eq 0 ] || as_root=(sudo)
    echo "Installing: gcovr"
    "${as_root[@]}" apt-get update -qq
    DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends gcovr >/dev/null
}
scripts/build.sh coverage
. scripts/environment.sh
start_wine
trap stop_wine EXIT

# Counters are written to where the objects were compiled, as Wine sees it from any folder and drive.
export GCOV_PREFIX=Z:
find build/coverage -name '*.gcda' -delete
status=0
# Left out: what holds only of an executable that ships, and a last call, behind which this build writes its counters.
ctest --test-dir build/coverage --parallel "$(nproc)" --output-on-failure --progress \
    --exclude-regex 'ImageTest|BrokenImage|LauncherTest.TheTraceIsCompleteUpToTheLastCall' "$@" || status=1

# Left out: the branches that only an exception takes, which every call that can throw has, and the compiler's mark
# behind an instruction that does not return.
counts=build/coverage/coverage.json
gcovr --root . --object-directory build/coverage --gcov-executable x86_64-w64-mingw32-gcov-posix -j "$(nproc)" \
    --filter src/ --exclude-throw-branches --exclude-unreachable-branches \
    --exclude-lines-by-pattern '\s*__builtin_unreachable\(\);' \
    --json --output "$counts" build/coverage/src build/coverage/tests
gcovr --root . --add-tracefile "$counts" --branches
gcovr --root . --add-tracefile "$counts"

python3 - "$counts" <<'PYTHON' || status=1
import json
import sys

# Lines that nothing can reach, each with its reason in docs/testing.md.
UNREACHABLE = {("src/run/Main.cpp", "return exception.hresult();")}

missed = set()
for file in json.load(open(sys.argv[1]))["files"]:
    source = open(file["file"], encoding="utf-8").read().split("\n")
    for line in file["lines"]:
        if line["count"] == 0 and not line["gcovr/noncode"]:
            text = source[line["line_number"] - 1].strip()
            missed.add((file["file"], text))
            if (file["file"], text) not in UNREACHABLE:
                print(f"never ran: {file['file']}:{line['line_number']}: {text}")
for file, text in UNREACHABLE - missed:
    print(f"ran, or is gone, and is still listed as unreachable: {file}: {text}")
print("every line ran, but for", len(UNREACHABLE)) if missed == UNREACHABLE else sys.exit(1)
PYTHON
exit $status
