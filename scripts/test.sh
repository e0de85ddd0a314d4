#!/usr/bin/env bash
# Builds everything and runs every test: the unit tests and the Octave
# scripts in a normal build, then the unit tests again under
# AddressSanitizer and UndefinedBehaviorSanitizer, and the Octave scripts
# once more against a module built with both sanitizers, loaded into Octave
# with the sanitizer runtime preloaded: a memory error anywhere fails them.
set -u
cd "$(dirname "$0")/.."
. scripts/setup.sh
kinetra_setup || exit 1
jobs=$(nproc 2>/dev/null || echo 2)

run_suite() {  # name, build dir, cmake options...; $target and $tests narrow the build and the tests
    local name=$1 dir=$2
    shift 2
    echo "== $name: configure and build in $dir"
    cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKINETRA_WERROR=ON "$@" >"$dir.configure.log" 2>&1 \
        || { cat "$dir.configure.log"; return 1; }
    cmake --build "$dir" -j"$jobs" ${target:+--target "$target"} >"$dir.build.log" 2>&1 \
        || { tail -n 60 "$dir.build.log"; return 1; }
    echo "== $name: tests"
    (cd "$dir" && ctest --output-on-failure -j"$jobs" ${tests:+-R "$tests"} 2>&1) | tee "$dir.ctest.log"
}

mkdir -p build build-asan
run_suite "normal build" build
normal=$?
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
    run_suite "sanitizer build" build-asan -DKINETRA_SANITIZE=ON -DKINETRA_OCTAVE=OFF -DKINETRA_BENCH=OFF
sanitized=$?

# Octave itself is not instrumented: the ASan runtime must be the first
# library loaded, so it is preloaded, with leak detection off since Octave
# frees little of its own at exit. UBSan's runtime comes with the module.
asan_runtime=$(gcc -print-file-name=libasan.so)
octave_env="LD_PRELOAD=$asan_runtime;ASAN_OPTIONS=detect_leaks=0:abort_on_error=1"
octave_env="$octave_env;UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1"
mkdir -p build-asan-octave
target=kinetra_octave tests='^octave[.]' \
    run_suite "sanitized Octave module" build-asan-octave -DKINETRA_SANITIZE=ON -DKINETRA_OCTAVE=ON \
    -DKINETRA_BENCH=OFF "-DKINETRA_OCTAVE_ENV=$octave_env"
sanitized_octave=$?

# One closing line for all runs, counted from CTest's own summaries.
passed=0
failed=0
for log in build.ctest.log build-asan.ctest.log build-asan-octave.ctest.log; do
    line=$(grep -E '^[0-9]+% tests passed, [0-9]+ tests failed out of [0-9]+' "$log" 2>/dev/null | tail -n 1)
    if [ -z "$line" ]; then failed=$((failed + 1)); continue; fi
    f=$(echo "$line" | sed -E 's/.* ([0-9]+) tests failed out of ([0-9]+).*/\1/')
    t=$(echo "$line" | sed -E 's/.* ([0-9]+) tests failed out of ([0-9]+).*/\2/')
    passed=$((passed + t - f))
    failed=$((failed + f))
done
echo "$passed passed, $failed failed"
[ "$normal" -eq 0 ] && [ "$sanitized" -eq 0 ] && [ "$sanitized_octave" -eq 0 ] && [ "$failed" -eq 0 ]
