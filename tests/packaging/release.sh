#!/usr/bin/env bash
# Prepares releases with ./dev release, in a temporary clone.
#
# usage: release.sh VERSION: the version of the build.
# Run from the top of the repository.
source testing/script.sh

version=$1

# Creates a separate repository with the current files, committed or not, and without tags.
clone=$folder/clone
mkdir "$clone"
git ls-files --cached --others --exclude-standard -z \
  | while IFS= read -r -d '' file; do if [ -f "$file" ]; then printf '%s\0' "$file"; fi; done \
  | tar --null -T - -cf - | tar -xf - -C "$clone"
git -C "$clone" init --quiet --initial-branch main
git -C "$clone" config user.name Tester
git -C "$clone" config user.email tester@example.com
git -C "$clone" config tag.gpgSign false
git -C "$clone" config commit.gpgSign false
commit() { git -C "$clone" add --all && git -C "$clone" commit --quiet --allow-empty --message "$1"; }
unreleased() { printf '# Changelog\n\n## Unreleased\n\n- %s\n' "$1" >"$clone/CHANGELOG.md"; }
unreleased "Something new."
commit "The beginning"

release() { "$clone/dev" release "$@" >"$folder/out" 2>&1; }
# refused STATUS TEXT ARGUMENT...: the release fails with this message and changes nothing.
refused() {
  local expected=$1 text=$2 status=0 before
  before=$(state)
  shift 2
  release "$@" || status=$?
  [ "$status" -eq "$expected" ] || failure "\"release $*\" exits with $status, not $expected"
  grep -qF -- "$text" "$folder/out" || failure "\"release $*\" does not print: $text"
  [ "$(state)" = "$before" ] || failure "\"release $*\" changed the repository"
}
state() {
  git -C "$clone" log --format=%H
  git -C "$clone" tag --list
  git -C "$clone" diff
  find "$clone/build" -type f 2>/dev/null || true # the folder does not exist before the first release
}

# --- refused releases
for wrong in 1.2 1.2.3.4 v1.2.3 1.02.3 1.2.3-rc1 one; do refused 2 "is not a version" "$wrong"; done
refused 2 "needs a version"
refused 2 "takes one version" 1.2.3 1.2.4
refused 2 "unknown argument" 1.2.3 --force
refused 1 "is below $version" 0.0.1
touch "$clone/forgotten"
refused 1 "uncommitted changes" 1.2.3
rm "$clone/forgotten"
echo >>"$clone/README.md"
refused 1 "uncommitted changes" 1.2.3
git -C "$clone" checkout --quiet README.md

# --- a dry run prints all steps and runs none
refused 0 "git tag --annotate v1.2.3" 1.2.3 --dry-run
refused 0 "SHA256SUMS" 1.2.3 --dry-run

# --- a release
today=$(date -u +%Y-%m-%d)
release 1.2.3 || failure "1.2.3 is not prepared"
[ "$(git -C "$clone" describe --exact-match)" = v1.2.3 ] || failure "the newest commit is not tagged"
[ -z "$(git -C "$clone" status --porcelain)" ] || failure "files are left uncommitted"
grep -qF 'project(KeloHelper VERSION 1.2.3 ' "$clone/CMakeLists.txt" || failure "the version is not set"
diff - "$clone/CHANGELOG.md" <<EOT || failure "the changelog differs"
# Changelog

## Unreleased

## 1.2.3 ($today)

- Something new.
EOT
[ "$(git -C "$clone" diff --name-only HEAD~ | tr '\n' ' ')" = "CHANGELOG.md CMakeLists.txt " ] \
  || failure "files other than the version and the changelog were changed"

# --- its archive
made=$clone/build/dist
# shellcheck source=tools/dev/release.sh
source "$clone/tools/dev/release.sh"
diff <(cd "$made" && checksum kelo-helper-1.2.3.tar.gz) "$made/SHA256SUMS" || failure "the checksum is wrong"
tar -xzf "$made/kelo-helper-1.2.3.tar.gz" -C "$folder"
diff -r "$folder/kelo-helper-1.2.3" "$clone" --exclude .git --exclude build || failure "the archive contains other files"
[ -s "$folder/kelo-helper-1.2.3/THIRD_PARTY_NOTICES.md" ] || failure "the archive lacks the notices"
cp "$made/kelo-helper-1.2.3.tar.gz" "$folder/first.tar.gz"
# The command in docs/releasing.md produces the same bytes.
documented=$(grep '^git .*archive --format=tar' docs/releasing.md) || failure "docs/releasing.md shows no command"
[ "$(cd "$clone" && bash -c "$documented" | cut -d ' ' -f 1)" = "$(cut -d ' ' -f 1 "$made/SHA256SUMS")" ] \
  || failure "the command in docs/releasing.md produces different bytes"
# A second archive has the same bytes, although its folder, time and umask differ.
git clone --quiet --no-local "$clone" "$folder/second" 2>/dev/null
sleep 1.1
(
  umask 077
  cd "$folder/second"
  archive 1.2.3
)
cmp "$folder/first.tar.gz" "$folder/second/build/dist/kelo-helper-1.2.3.tar.gz" || failure "the bytes differ"

# --- later releases
refused 1 "lists nothing" 1.2.4
unreleased "Something newer."
commit "Go on"
refused 1 "1.2.3 is already released" 1.2.3
refused 1 "1.2.2 is not above 1.2.3" 1.2.2
git -C "$clone" tag v1.10.0
git -C "$clone" tag v2.0.0-rc1 # not a release version
refused 1 "1.9.0 is not above 1.10.0" 1.9.0
release 1.11.0 || failure "1.11.0 is not prepared"
printf 'releases are prepared correctly\n'
