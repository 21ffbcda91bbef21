#!/usr/bin/env bash
# Checks that ./dev finds Clang's tools on a Mac, where Homebrew keeps them off the path, and installs no more than a
# command needs; with stand-ins for what it calls.
#
# Run from the top of the repository.
source testing/script.sh

mkdir -p "$folder/bin" "$folder/opt/llvm/bin" "$folder/tree"
# A copy, in which no build has left anything.
git ls-files -z --cached --others --exclude-standard | tar -c --null -T - | tar -x -C "$folder/tree"
git -C "$folder/tree" init --quiet
calls=$folder/calls

cat >"$folder/bin/brew" <<'STUB'
#!/usr/bin/env bash
case $1 in
  list) exit 1 ;; # nothing is installed
  --prefix) printf '%s\n' "$PREFIX/$2" ;;
  install) printf 'brew %s\n' "$*" >>"$CALLS" ;;
esac
STUB
for tool in opt/llvm/bin/clang-format opt/llvm/bin/clang-tidy bin/shellcheck bin/cmake; do
  cat >"$folder/$tool" <<'STUB'
#!/usr/bin/env bash
printf '%s %s\n' "$(basename "$0")" "$1" >>"$CALLS"
STUB
done
cat >>"$folder/bin/cmake" <<'STUB'
mkdir -p build/lint
printf '  "file": "%s/%s",\n' "$PWD" core/fan/FanError.cpp "$PWD" tests/MainTest.cpp >build/lint/compile_commands.json
STUB
for tool in clang-format clang-tidy; do # of another version, or not there at all
  printf '#!/bin/sh\nprintf "%s is not the one of Homebrew\\n"\nexit 1\n' "$tool" >"$folder/bin/$tool"
done
printf '#!/bin/sh\necho Darwin\n' >"$folder/bin/uname"
chmod +x "$folder"/bin/* "$folder"/opt/llvm/bin/*

dev() { PATH="$folder/bin:$PATH" CALLS="$calls" PREFIX="$folder/opt" "$folder/tree/dev" "$@" >"$folder/out" 2>&1; }

dev lint || failure "./dev lint failed"
for called in "clang-format --dry-run" "clang-tidy -p" "shellcheck -x" "brew install --quiet cmake ninja nlohmann-json cli11 googletest fish llvm shellcheck"; do
  grep -qF -- "$called" "$calls" || failure "not called: $called"
done
rm "$calls"
dev format || failure "./dev format failed"
grep -qF 'clang-format -i' "$calls" || failure "formats nothing"
grep -qxF 'brew install --quiet llvm' "$calls" || failure "installs something else"

# macOS's mktemp ignores TMPDIR unless the template names it.
if grep -rnE '\$\(mktemp( -d)?\)' dev tools tests prove .ci; then failure "mktemp without a template in TMPDIR"; fi
printf 'the tools for the form of the sources are those of Homebrew\n'
