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
start_wine
trap stop_wine EXIT

results=build/$preset/test-results.xml
rm -f "$results"
status=0
ctest --test-dir "build/$preset" --parallel "$(nproc)" --output-on-failure --progress --output-junit "$root/$results" "$@" || status=$?

python3 - "$results" <<'PYTHON' || status=1
import sys
import xml.etree.ElementTree as xml

suite = xml.parse(sys.argv[1]).getroot()
total, failed = int(suite.get("tests")), int(suite.get("failures"))
skipped = int(suite.get("skipped")) + int(suite.get("disabled"))
for case in suite.iter("testcase"):
    if case.get("status") == "fail":
        print("failed:", case.get("name"))
print(f"{total - failed - skipped} passed, {failed} failed" + (f", {skipped} skipped" if skipped else ""))
sys.exit(failed > 0 or total == 0)
PYTHON
exit $status
