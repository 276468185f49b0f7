#!/usr/bin/env bash
# What takes too long for every change, and is run before a release: coverage, the analysers, fuzzing for a quarter of an hour
# each reader, a long soak, and the Debian packages in an empty system.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/dependencies.sh

forget_counts() {
  [ ! -d build/coverage ] || find build/coverage -name '*.gcda' -delete
}

coverage() {
  forget_counts
  build_preset coverage  # lists the tests, and counts that
  forget_counts
  ctest --preset coverage --no-tests=error -j "$(nproc)" | tail -n 3
  gcovr --config scripts/coverage.cfg --root . --object-directory build/coverage
}

# Without the va_list checker, which takes a list that va_start has just begun for an uninitialised one.
clang_analyzer() {
  build_preset clang
  git ls-files 'platform/src/*.cpp' 'src/*.cpp' 'host/*.cpp' 'cli/*.cpp' |
    xargs -d '\n' -P "$(nproc)" -n 4 clang-tidy --quiet --checks='-*,clang-analyzer-*,-clang-analyzer-valist*' --warnings-as-errors='*' \
      -p build/clang
}

# A level repeated in each class, a count of changes that assignment raises, and a value that try_emplace leaves alone, are
# meant. Members of class types have constructors, which cppcheck does not see in every template; clang-tidy looks for those
# that have none.
cppcheck_sources() {
  git ls-files 'platform/src/*.cpp' 'src/*.cpp' 'host/*.cpp' 'cli/*.cpp' |
    xargs -d '\n' cppcheck --std=c++20 --language=c++ --enable=warning,performance,portability --quiet \
      --suppress=duplInheritedMember --suppress=operatorEqVarError --suppress=accessMoved --suppress=uninitMemberVar --error-exitcode=1 -Iplatform/include -Iinclude -Ihost
}

# A quarter of an hour for each reader, and cases with seeds that no other run has had.
long_runs() {
  scripts/fuzz.sh all 900 "$(nproc)"
  scripts/soak.sh 20 "$(date +%s)"
}

require_packages "${build_packages[@]}" "${check_packages[@]}" "${fuzz_packages[@]}" "${release_packages[@]}"
step "coverage" coverage
step "clang analyzer" clang_analyzer
step "cppcheck" cppcheck_sources
step "long runs" long_runs
step "packages" scripts/check-packages.sh
echo "All release checks passed."
