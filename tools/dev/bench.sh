# shellcheck shell=bash
# Compares the cost of the helper with the minimum cost of the same work. Sourced by ./dev.

bench_programs=(bench_client bench_empty bench_in_memory bench_many_clients bench_responder
  bench_ticker)

command_bench() {
  require_linux
  ensure_packages build bench
  case " $* " in *" peers "*) install_debian_packages thinkfan fancontrol ;; esac
  # shellcheck disable=SC2154 # set in stage.sh
  build bench "${stage_programs[@]}" "${bench_programs[@]}" pictures
  local folder=build/bench-installation # outside the folders that `built` searches
  lay_out "$folder" bench
  if [ "$*" = shipping ]; then
    compare_shipping "$folder"
    return
  fi
  cp "$(built bench bench_client)" "$folder/bench_client"
  stage_sign "$folder" bench_client app.kelo.Kelo
  cp "$(built bench bench_many_clients)" "$folder/bench_many_clients"
  stage_sign "$folder" bench_many_clients app.kelo.helper
  if [ "$*" != --record ]; then
    measure "$folder" bench "$@"
    if [ -z "${*#--brief}" ] || [[ " $* " == *" size "* ]]; then mac_sizes; fi
    return
  fi
  measure "$folder" first
  measure "$folder" second
  bench_python figures.py record build/bench/first.json build/bench/second.json
  "$(built bench pictures)" draw docs/pictures/performance.json docs/pictures/performance.svg
  say "recorded: docs/performance.md and its picture"
}

bench_python() { PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 "bench/$1" "${@:2}"; }

# measure FOLDER RUN [ARGUMENT...]: writes build/bench/RUN.json and a picture of it.
measure() {
  say "measuring; writing the figures to build/bench/$2.json"
  bench_python run.py "$1" "$(dirname "$(built bench bench_in_memory)")" "build/bench/$2.json" "${@:3}"
  "$(built bench pictures)" draw "build/bench/$2.json" "build/bench/$2.svg"
}

# Compares the shipped build with a release build, which lacks the hardening, the link-time optimisation and the
# optimisation for size.
compare_shipping() {
  local build helper
  cmake --preset bench -B build/bench-plain -DKELO_SHIP=OFF >/dev/null
  cmake --build build/bench-plain --target app.kelo.helper bench_in_memory
  for build in bench-plain bench; do
    helper=$(mktemp "${TMPDIR:-/tmp}/kelo.XXXXXX")
    strip -o "$helper" "$(built $build app.kelo.helper)"
    printf '%s\napp.kelo.helper %40d KiB\n' "$build" "$(($(stat -c %s "$helper") / 1024))"
    rm "$helper"
    bench_python run.py "$1" "$(dirname "$(built $build bench_in_memory)")" build/bench/shipping.json memory-machine \
      | grep '^memory-machine.*ns$'
  done
}

# Prints the size of the helper for both Mac processors. This build optimises for size, but Apple's linker would also
# remove unused code.
mac_sizes() {
  ensure_packages macos
  local folder=build/bench-macos processor tools
  tools=$(dirname "$(readlink -f "$(command -v clang++)")") # the tools of the same version as the compiler
  if ! mac_helper "$folder" >"$folder.log" 2>&1; then
    cat "$folder.log" >&2
    return 1
  fi
  for processor in arm64 x86_64; do
    "$tools/llvm-lipo" -thin "$processor" -output "$folder/$processor" "$folder/app.kelo.helper"
    "$tools/llvm-strip" "$folder/$processor"
    printf 'size.app.kelo.helper.%s %d KiB\n' "$processor" "$(($(stat -c %s "$folder/$processor") / 1024))"
  done
}

# mac_helper FOLDER: builds the helper with our own declarations in place of Apple's SDK.
mac_helper() {
  cmake -S . -B "$1" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$PWD/tests/platform/macos/sdk/Toolchain.cmake" \
    -DKELO_COMPILER="$(command -v clang++)" -DKELO_JSON_VERSION=3.11.3 -DKELO_TESTS=OFF \
    -DCMAKE_OSX_ARCHITECTURES='arm64;x86_64' -DCMAKE_BUILD_TYPE=MinSizeRel || return
  cmake --build "$1" --target app.kelo.helper
}
