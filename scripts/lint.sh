#!/usr/bin/env bash
# clang-tidy and cppcheck over the product, and clang as a second compiler.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/setup.sh
mkdir -p build/lint
cmake --preset lint -DLSDK_TESTS=OFF >build/lint/configure.log

gcc=/usr/lib/gcc/x86_64-w64-mingw32/12-posix
# GCC's own folder of intrinsics does not parse in clang and is left out.
system=(--target=x86_64-w64-mingw32
    -isystem "$gcc/include/c++" -isystem "$gcc/include/c++/x86_64-w64-mingw32" -isystem "$gcc/include/c++/backward"
    -isystem /usr/x86_64-w64-mingw32/include)
mapfile -t sources < <(git ls-files --cached --others --exclude-standard 'src/*.cpp')

echo "clang ..."
for source in "${sources[@]}"; do
    clang-14 "${system[@]}" -std=c++20 -fsyntax-only -Wall -Wextra -Wpedantic -Wshadow -Werror \
        -DUNICODE -D_UNICODE -D_WIN32_WINNT=0x0A00 -Isrc "$source"
done
echo "cppcheck ..."
cppcheck --std=c++20 --platform=win64 --library=windows --library=std --enable=warning,performance,portability \
    --suppress=missingIncludeSystem --inline-suppr --error-exitcode=1 --quiet -Isrc src
echo "clang-tidy ..."
printf '%s\n' "${sources[@]}" | xargs -P "$(nproc)" -n 4 clang-tidy-14 --quiet -p build/lint \
    --extra-arg-before=--target=x86_64-w64-mingw32 --extra-arg=-Wno-unknown-warning-option $(printf -- '--extra-arg=%s ' "${system[@]:1}")
