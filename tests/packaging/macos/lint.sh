#!/usr/bin/env bash
# Checks that ./dev finds Clang's tools on a Mac, where Homebrew does not add them to PATH, and installs only the
# packages that a command needs. Uses stand-ins for the programs that ./dev calls.
#
# Run from the top of the repository.
source testing/script.sh

mkdir -p "$folder/bin" "$folder/opt/llvm/bin" "$folder/tree"
# Copies the checkout without build folders.
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
for tool in clang-format clang-tidy; do # another version, which must not be used
  printf '#!/bin/sh\nprintf "%s is not from Homebrew\\n"\nexit 1\n' "$tool" >"$folder/bin/$tool"
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
grep -qF 'clang-format -i' "$calls" || failure "no file is formatted"
grep -qxF 'brew install --quiet llvm' "$calls" || failure "other packages are installed"

# On macOS, mktemp ignores TMPDIR unless the template contains it.
if grep -rnE '\$\(mktemp( -d)?\)' dev tools tests prove .ci; then failure "mktemp without a template in TMPDIR"; fi
printf 'lint and format use the tools of Homebrew\n'
