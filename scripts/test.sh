#!/usr/bin/env bash
# Builds everything and runs every test: the unit tests and the Octave
# scripts in a normal build, then the unit tests again under
# AddressSanitizer and UndefinedBehaviorSanitizer, and the Octave scripts
# once more against a module built with both sanitizers, loaded into Octave
# with the sanitizer runtime preloaded: a memory error anywhere fails them;
# and the fits on worker threads under ThreadSanitizer.
#
# Then the Octave package: built by scripts/build_package.sh, installed with
# pkg into a temporary prefix (HOME too is a temporary folder, so the user's
# own packages are untouched), loaded in a fresh Octave, which must call
# kinetra.mex, print the overview for 'help kinetra' and run the fit of that
# help's example. It counts as one test. 'bash scripts/test.sh package' runs
# this check alone.
set -u
cd "$(dirname "$0")/.."
. scripts/setup.sh
kinetra_setup || exit 1
jobs=$(nproc 2>/dev/null || echo 2)

package_check() {
    local tmp tarball rc
    tmp=$(mktemp -d)
    echo "== Octave package: build, install into $tmp, load and fit"
    tarball=$(bash scripts/build_package.sh "$tmp") || { rm -rf "$tmp"; return 1; }
    local setup="pkg prefix $tmp/packages $tmp/packages-arch; pkg local_list $tmp/octave_packages;"
    HOME=$tmp octave --no-gui --norc --quiet --no-window-system \
        --eval "$setup pkg install -verbose $tarball" >"$tmp/install.log" 2>&1 \
        || { tail -n 40 "$tmp/install.log"; rm -rf "$tmp"; return 1; }
    HOME=$tmp octave --no-gui --norc --quiet --no-window-system --eval "$setup pkg load kinetra;
        where = which ('kinetra');
        assert (! isempty (regexp (where, '[.]mex$')), 'kinetra resolves to %s, not the module', where);
        txt = get_help_text ('kinetra');
        assert (! isempty (strfind (txt, 'Pharmacokinetic modelling of dynamic images')), 'help kinetra: no overview');
        % The example of the help text, run as it stands.
        ex = regexp (txt, '@group\n(.*?)@end group', 'tokens', 'once'){1};
        eval (ex);
        rel = abs (k1(:) - k1true(:)) ./ k1true(:);
        assert (median (rel) < 0.05, 'k1 off by %g', median (rel));
        printf ('package: %s, k1 median relative error %.2g\n', where, median (rel));" \
        >"$tmp/load.log" 2>&1
    rc=$?
    grep -E '^package: |^error' "$tmp/load.log" | grep -v 'execution_exception. while preparing to exit'
    [ "$rc" -eq 0 ] && echo "package test: passed" || { tail -n 30 "$tmp/load.log"; echo "package test: failed"; }
    rm -rf "$tmp"
    return "$rc"
}

if [ "${1:-}" = package ]; then
    package_check
    exit $?
fi

run_suite() {  # name, build dir, cmake options...; $target and $tests narrow the build and the tests
    local name=$1 dir=$2
    shift 2
    echo "== $name: configure and build in $dir"
    cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKINETRA_WERROR=ON "$@" >"$dir.configure.log" 2>&1 \
        || { cat "$dir.configure.log"; return 1; }
    # shellcheck disable=SC2086  # $target may name several targets
    cmake --build "$dir" -j"$jobs" ${target:+--target $target} >"$dir.build.log" 2>&1 \
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

# The voxel walk on worker threads under ThreadSanitizer: the tests that fit
# on several threads, with at least two threads whatever the machine.
mkdir -p build-tsan
KINETRA_THREADS=3 TSAN_OPTIONS=halt_on_error=1 target="test_fit test_util test_model" \
    tests='^(ParallelWalk|MessageTest|Threads|BatchEvaluate|Sequences|OptimizerWalk)[.]' \
    run_suite "thread sanitizer build" build-tsan -DKINETRA_TSAN=ON -DKINETRA_OCTAVE=OFF -DKINETRA_BENCH=OFF
threaded=$?

# One closing line for all runs, counted from CTest's own summaries and the
# package check.
passed=0
failed=0
for log in build.ctest.log build-asan.ctest.log build-asan-octave.ctest.log build-tsan.ctest.log; do
    line=$(grep -E '^[0-9]+% tests passed, [0-9]+ tests failed out of [0-9]+' "$log" 2>/dev/null | tail -n 1)
    if [ -z "$line" ]; then failed=$((failed + 1)); continue; fi
    f=$(echo "$line" | sed -E 's/.* ([0-9]+) tests failed out of ([0-9]+).*/\1/')
    t=$(echo "$line" | sed -E 's/.* ([0-9]+) tests failed out of ([0-9]+).*/\2/')
    passed=$((passed + t - f))
    failed=$((failed + f))
done
package_check
packaged=$?
if [ "$packaged" -eq 0 ]; then passed=$((passed + 1)); else failed=$((failed + 1)); fi
echo "$passed passed, $failed failed"
[ "$normal" -eq 0 ] && [ "$sanitized" -eq 0 ] && [ "$sanitized_octave" -eq 0 ] && [ "$threaded" -eq 0 ] &&
    [ "$failed" -eq 0 ]
