#!/usr/bin/env bash
# Formats all sources in place; with --check only names those that are not formatted.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

mode=(-i)
[ "${1:-}" = --check ] && mode=(--dry-run --Werror)
git ls-files --cached --others --exclude-standard '*.h' '*.cpp' | xargs clang-format-14 "${mode[@]}"
