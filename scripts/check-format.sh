#!/usr/bin/env bash
# Fails, listing the files, when a C++ file of the tree (tracked, or new and not ignored) is not as
# clang-format would write it with the repository's .clang-format. With --fix, formats them instead.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    mapfile -t files < <(git ls-files --cached --others --exclude-standard '*.cpp' '*.h')
else
    mapfile -t files < <(find . -path ./build -prune -o -type f \( -name '*.cpp' -o -name '*.h' \) -print | sort)
fi
if [ "${1:-}" = "--fix" ]; then
    clang-format -i "${files[@]}"
    exit 0
fi
unformatted=()
for file in "${files[@]}"; do
    if ! clang-format --dry-run --Werror "$file" >/dev/null 2>&1; then
        unformatted+=("$file")
    fi
done
if [ ${#unformatted[@]} -ne 0 ]; then
    echo "Not formatted (run scripts/check-format.sh --fix):" >&2
    printf '  %s\n' "${unformatted[@]}" >&2
    exit 1
fi
echo "All ${#files[@]} C++ files are formatted."
