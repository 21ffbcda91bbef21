# shellcheck shell=bash
# Prepares a release. Sourced by ./dev.
# shellcheck disable=SC2016 # the variables are those of awk

release_folder=build/dist

command_release() {
  local version='' saying=false
  while [ $# -gt 0 ]; do
    case $1 in
      --dry-run) saying=true; shift ;;
      -*) usage "unknown argument \"$1\" for release" ;;
      *) [ -z "$version" ] || usage "release takes one version"; version=$1; shift ;;
    esac
  done
  [ -n "$version" ] || usage "release needs a version, such as 1.2.3"
  refuse_release "$version"
  say "set the version, and date the changelog"
  run_as "CMakeLists.txt: project(… VERSION $version …)" set_version "$version"
  run_as "CHANGELOG.md: \"## Unreleased\" becomes \"## $version ($(release_date))\"" date_changelog "$version"
  say "commit and tag"
  run git commit --quiet --message "Release $version" -- CMakeLists.txt CHANGELOG.md
  run git tag --annotate "v$version" --message "Kelo helper $version"
  say "make the source archive and its checksum"
  run_as "$release_folder/kelo-helper-$version.tar.gz, $release_folder/SHA256SUMS" archive "$version"
  $saying || say "prepared in $release_folder; to publish it: git push --follow-tags. To undo it:" \
    "git tag -d v$version && git reset --keep HEAD~"
}

# refuse_release VERSION: exits with the reason if the version cannot be released. Changes nothing.
refuse_release() {
  local last
  is_semantic_version "$1" || usage "\"$1\" is not a version: it needs three numbers without leading zeros, such as 1.2.3"
  [ -z "$(git status --porcelain)" ] || fail "there are uncommitted changes: commit or stash them first"
  last=$(last_released)
  if git rev-parse --quiet --verify "refs/tags/v$1" >/dev/null; then
    fail "$1 is already released; the last release is $last"
  fi
  if [ -n "$last" ]; then
    is_above "$1" "$last" || fail "$1 is not above $last, the last release"
  elif is_above "$(current_version)" "$1"; then
    fail "$1 is below $(current_version), the version of the sources"
  fi
  [ -n "$(unreleased_changes)" ] || fail "CHANGELOG.md lists nothing below \"## Unreleased\""
}

is_semantic_version() { [[ $1 =~ ^(0|[1-9][0-9]*)\.(0|[1-9][0-9]*)\.(0|[1-9][0-9]*)$ ]]; }

# Prints the highest tagged version.
last_released() {
  local tag highest=''
  for tag in $(git tag --list 'v*'); do
    is_semantic_version "${tag#v}" || continue
    if [ -z "$highest" ] || is_above "${tag#v}" "$highest"; then highest=${tag#v}; fi
  done
  printf '%s' "$highest"
}

# is_above VERSION OTHER
is_above() {
  local i one two
  IFS=. read -ra one <<<"$1"
  IFS=. read -ra two <<<"$2"
  for i in 0 1 2; do
    [ "${one[i]}" -eq "${two[i]}" ] || { [ "${one[i]}" -gt "${two[i]}" ]; return; }
  done
  return 1
}

current_version() { sed -n 's/^project(KeloHelper VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt; }

set_version() {
  rewrite CMakeLists.txt -v version="$1" \
    '/^project\(KeloHelper / { sub(/VERSION [0-9.]+/, "VERSION " version) } { print }'
  [ "$(current_version)" = "$1" ] || fail "the version in CMakeLists.txt cannot be set"
}

unreleased_changes() { awk '/^## /{ found = $0 == "## Unreleased"; next } found && NF' CHANGELOG.md; }

date_changelog() {
  rewrite CHANGELOG.md -v heading="## $1 ($(release_date))" \
    '{ print } $0 == "## Unreleased" { print ""; print heading }'
}

release_date() { date -u +%Y-%m-%d; }

# rewrite FILE AWK-ARGUMENT...
rewrite() {
  local new
  new=$(awk "${@:2}" "$1")
  printf '%s\n' "$new" >"$1"
}

# Writes the source archive and its checksum. The archive of a tag always has the same bytes: all files have the time of
# the commit, and gzip stores neither a name nor a time.
archive() {
  local name=kelo-helper-$1
  mkdir -p "$release_folder"
  git -c tar.umask=0022 archive --format=tar --prefix="$name/" "v$1" | gzip -n -9 >"$release_folder/$name.tar.gz"
  (cd "$release_folder" && checksum "$name.tar.gz" >SHA256SUMS)
}

checksum() { if command -v sha256sum >/dev/null; then sha256sum "$@"; else shasum -a 256 "$@"; fi; }
