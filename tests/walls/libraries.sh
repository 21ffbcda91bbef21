#!/usr/bin/env bash
# Fails if a folder includes a forbidden header of an operating system or a library, or a path with "..". Our own
# headers need no list, because the compiler finds only the headers of linked targets.
#
# Run from the top of the repository.
# shellcheck disable=SC2016 # the variables belong to awk
set -euo pipefail

# Lists the libraries that each folder and its subfolders may include; <system> allows all headers of an operating
# system. Every folder may include the C++ standard library.
table='
protocol <nlohmann/json.hpp>
core
helper
client <CLI/CLI.hpp> <system>
client/view
client/doctor <system>
client/terminal <system>
platform <system>
platform/linux/signing <sodium.h> <system>
samples <system>
simulator/model
simulator/link <nlohmann/json.hpp> <system>
simulator/server <system>
simulator/tools/pictures <CLI/CLI.hpp> <nlohmann/json.hpp>
simulator/tools/rehearsal <CLI/CLI.hpp> <nlohmann/json.hpp> <system>
simulator/tools/simmac <CLI/CLI.hpp> <system>
simulator/tools/simsign <CLI/CLI.hpp> <sodium.h> <system>
testing <gmock/gmock.h> <gtest/gtest.h> <nlohmann/json.hpp> <system>
tests <gmock/gmock.h> <gtest/gtest.h> <gtest/gtest-spi.h> <nlohmann/json.hpp> <system>
tests/conformance <gmock/gmock.h> <gtest/gtest.h>
tests/core <gmock/gmock.h> <gtest/gtest.h>
tests/platform <gmock/gmock.h> <gtest/gtest.h> <gtest/gtest-spi.h> <sodium.h> <system>
tests/protocol <gmock/gmock.h> <gtest/gtest.h> <nlohmann/json.hpp>
fuzz <system>
bench <benchmark/benchmark.h> <sodium.h> <system>
prove
prove/processes <CLI/CLI.hpp> <nlohmann/json.hpp> <system>
tools/mutants <gtest/gtest.h>'

# Excludes headers of the standard library that access a clock, a thread or a file.
never='<chrono> <ctime> <thread> <mutex> <shared_mutex> <condition_variable> <future> <semaphore> <filesystem> <fstream>
  <iostream> <cstdio> <csignal>'

find . \( -name '*build*' -o -name .git \) -prune -o \( -name '*.h' -o -name '*.cpp' -o -name '*.mm' \) -print | sed 's|^\./||' \
  | xargs awk -v table="$table" -v never="$never" '
  function complain(why) { printf "%s:%d: %s: %s\n", FILENAME, FNR, $0, why; failed = 1 }
  BEGIN {
    count = split(table, lines, "\n")
    for (i = 2; i <= count; i++) { folder = lines[i]; sub(/ .*/, "", folder); allowed[folder] = lines[i] " " }
    libraries = table
    gsub(/<system>/, "", libraries)
  }
  FNR == 1 {
    folder = FILENAME
    do sub(/\/?[^\/]*$/, "", folder); while (folder != "" && !(folder in allowed))
    if (folder == "") complain("the table of this test lacks its folder")
  }
  /^[ \t]*#[ \t]*(include|import)/ {
    includes++
    if (/"[^"]*\.\.\//) complain("the path contains ..")
    if (!match($0, /<[^>]*>/)) next
    header = substr($0, RSTART, RLENGTH)
    if (folder ~ /^(protocol|core)$/ && index(never, header)) complain("forbidden in " folder)
    if (header ~ /^<([a-z_]+|std(int|def)\.h)>$/) next
    if (!index(allowed[folder], index(libraries, header) ? header : "<system>")) complain(folder " may not include it")
  }
  END {
    if (failed) exit 1
    if (includes == 0) { print "no includes found"; exit 1 }
    printf "%d includes are allowed\n", includes
  }'
