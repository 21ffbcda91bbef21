# shellcheck shell=bash
# Runs the mutation tests. Sourced by ./dev.

# prove_mutants [FOLDER] [--sample N] [--seed S] [--survivors]
prove_mutants() {
  command -v apt-get >/dev/null || fail "mutation testing needs Debian's Python bindings for Clang"
  ensure_packages build test
  install_debian_packages "python3-clang-$(clang -dumpversion | cut -d. -f1)"
  mkdir -p build/mutants
  PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 tools/mutants/mutants.py "$@"
}
