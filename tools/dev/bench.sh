# shellcheck shell=bash
# What the helper costs, measured beside what the same work costs at least. Sourced by ./dev.

bench_programs=(bench_chart bench_client bench_empty bench_in_memory bench_many_clients bench_responder bench_run
  bench_ticker)

command_bench() {
  require_linux
  ensure_packages
  install_debian_packages libbenchmark-dev
  case " $* " in *" peers "*) install_debian_packages thinkfan fancontrol ;; esac
  # shellcheck disable=SC2154 # they are in stage.sh
  build bench "${stage_programs[@]}" "${bench_programs[@]}"
  local folder=build/bench-installation # not where built looks for programs
  lay_out "$folder" bench
  cp "$(built bench bench_client)" "$folder/bench_client"
  stage_sign "$folder" bench_client app.kelo.Kelo
  cp "$(built bench bench_many_clients)" "$folder/bench_many_clients"
  stage_sign "$folder" bench_many_clients app.kelo.helper
  say "measuring; the figures go into build/bench/bench.json"
  "$(built bench bench_run)" "$folder" "$(dirname "$(built bench bench_run)")" build/bench/bench.json "$@"
  "$(built bench bench_chart)" build/bench/bench.json >build/bench/bench.svg
}
