#!/usr/bin/env bash
# Sets up what is missing, builds, runs every test; the last line counts them. Arguments go to ctest (-R NAME).
#     scripts/test.sh                   the release build
#     scripts/test.sh --preset debug    the build with guard pages around every C++ allocation, assertions of the
#                                       library on, undefined behaviour trapped
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

preset=release
if [ "${1:-}" = --preset ]; then
    preset=${2:?--preset needs a name}
    shift 2
fi

scripts/build.sh "$preset"
. scripts/environment.sh

# The reader of logs runs on this machine too, with tests of its own.
cmake -S tools/lsdk-log -B build/host -G Ninja >build/host-configure.log 2>&1 || {
    cat build/host-configure.log
    exit 1
}
ninja -C build/host --quiet

start_wine
trap stop_wine EXIT

status=0
results=()
run_tests() { # FOLDER [CTEST ARGUMENTS]
    local folder=$1
    shift
    results+=("$root/$folder/test-results.xml")
    rm -f "$root/$folder/test-results.xml"
    ctest --test-dir "$folder" --parallel "$(nproc)" --output-on-failure --progress --no-tests=ignore \
        --output-junit "$root/$folder/test-results.xml" "$@" || status=1
}
run_tests build/host "$@"
run_tests "build/$preset" "$@"

python3 - "${results[@]}" <<'PYTHON' || status=1
import sys
import xml.etree.ElementTree as xml

total = failed = skipped = 0
for results in sys.argv[1:]:
    suite = xml.parse(results).getroot()
    total, failed = total + int(suite.get("tests")), failed + int(suite.get("failures"))
    skipped += int(suite.get("skipped")) + int(suite.get("disabled"))
    for case in suite.iter("testcase"):
        if case.get("status") == "fail":
            print("failed:", case.get("name"))
print(f"{total - failed - skipped} passed, {failed} failed" + (f", {skipped} skipped" if skipped else ""))
sys.exit(failed > 0 or total == 0)
PYTHON
exit $status
