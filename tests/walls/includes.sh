#!/usr/bin/env bash
# Fails when a folder includes what includes.txt does not list for it.
#
# Run from the top of the repository.
# shellcheck disable=SC2016 # the variables are those of awk
set -euo pipefail

table=tests/walls/includes.txt
find . \( -name '*build*' -o -name .git \) -prune -o \( -name '*.h' -o -name '*.cpp' -o -name '*.mm' \) -print \
  | sed 's|^\./||' | sort | xargs awk -v table="$table" '
  function folder_of(path) { return sub(/\/[^\/]*$/, "", path) ? path : "." }
  # Whether one of the words of a list, in which * stands for anything, is the text.
  function is_among(text, list,    words, count, i, stem) {
    count = split(list, words, " ")
    for (i = 1; i <= count; i++) {
      stem = words[i]
      if (stem == text) return 1
      if (sub(/\*>?$/, "", stem) && (index(text, stem) == 1 || text "/" == stem)) return 1
    }
    return 0
  }
  # The line of the table that a folder falls under: its own, or that of the nearest folder above.
  function line_of(folder) {
    while (!(folder in allowed)) if (!sub(/\/[^\/]*$/, "", folder)) return ""
    return folder
  }
  function complain(why) { printf "%s:%d: %s: %s\n", FILENAME, FNR, $0, why; failed = 1 }

  BEGIN {
    while ((getline line <table) > 0) {
      if (line ~ /^(#|$)/) continue
      folder = line; sub(/:.*/, "", folder)
      list = line; sub(/^[^:]*: */, "", list)
      if (sub(/^never /, "", folder)) { never_in = folder; never = list; continue }
      allowed[folder] = list
      libraries = libraries " " list
    }
    gsub(/ [a-z][^ ]*|<system>/, " ", libraries)
    if (never == "" || length(allowed) == 0) { print table ": there is no rule"; exit failed = 1 }
  }
  /^[ \t]*#[ \t]*(include|import)/ {
    count++
    folder = folder_of(FILENAME)
    rule = line_of(folder)
    if (rule == "") { complain(table " has no line for " folder); next }
    says = table " says \"" rule ": " allowed[rule] "\""
    if (match($0, /<[^>]*>/)) {
      header = substr($0, RSTART, RLENGTH)
      if (is_among(folder, never_in) && is_among(header, never)) { complain("never in " folder); next }
      if (header ~ /^<([a-z_]+|std(int|def)\.h)>$/) next
      if (is_among(header, libraries)) { if (!is_among(header, allowed[rule])) complain(says) }
      else if (!is_among("<system>", allowed[rule])) complain(says)
    } else if (match($0, /"[^"]*"/)) {
      header = substr($0, RSTART + 1, RLENGTH - 2)
      target = folder_of(header)
      if (target != folder && !is_among(target, allowed[rule])) complain(says)
    } else complain("includes no name")
  }
  END {
    if (failed) exit 1
    if (count == 0) { print "nothing includes anything"; exit 1 }
    printf "%d includes are as they may be\n", count
  }'
