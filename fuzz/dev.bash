# SPDX-License-Identifier: MIT

# Read by ./dev, whose functions this uses: building and running the fuzz targets.

# shellcheck shell=bash

# Each target has a folder of inputs that are worth trying.
fuzz_targets() { (cd fuzz/corpus && printf '%s\n' */) | tr -d /; }

build_fuzzers() {
    configure fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
        -DAPPLIST_SANITIZE=ON -DAPPLIST_FUZZ=ON
    quietly cmake --build build/fuzz --target "$@"
}

# run_fuzzer FUZZER TARGET FINDS OPTION…: what it says goes to build/fuzz/FUZZER.log, inputs that
# lead somewhere new to the folder FINDS, and those that break something to build/fuzz/crashes.
# Addresses are fixed where that is allowed: comparing pointers steers the fuzzer too, and a seed is
# to mean one run.
run_fuzzer() {
    local fuzzer=$1 target=$2 finds=$3 fixed=()
    shift 3
    mkdir -p "$finds" build/fuzz/crashes
    # Slower, but gets past the number at the end of a message.
    [ "$target" != request ] || set -- -use_value_profile=1 "$@"
    if setarch --addr-no-randomize true 2> /dev/null; then fixed=(setarch --addr-no-randomize); fi
    "${fixed[@]}" "build/fuzz/bin/$fuzzer" -reload=0 -max_len=1024 -timeout=10 \
        -artifact_prefix="build/fuzz/crashes/$target-" "$@" "$finds" "fuzz/corpus/$target" \
        > "build/fuzz/$fuzzer.log" 2>&1
}

fuzz_target() {
    local target=$1 seconds=$2 log=build/fuzz/fuzz_$1.log
    if run_fuzzer "fuzz_$target" "$target" "build/fuzz/corpus/$target" -max_total_time="$seconds"
    then
        say "$target: nothing in $(sed -n 's/^Done \([0-9]*\) runs.*/\1/p' "$log") runs"
        return
    fi
    grep -vE '^(INFO|#)' "$log" >&2 || true
    fail "reproduce with: build/fuzz/bin/fuzz_$target" \
        "$(sed -n 's/.*Test unit written to //p' "$log")"
}

# The fault must be found, and not by the corpus alone: then nothing would have been searched for.
find_planted_fault() {
    local target=$1 log=build/fuzz/fuzz_$1_planted.log scratch began=$SECONDS
    scratch=$(mktemp -d build/fuzz/scratch.XXXXXX)
    run_fuzzer "fuzz_${target}_planted" "$target" "$scratch" -runs=0 ||
        fail "$target: the corpus finds the planted fault by itself, see $log"
    run_fuzzer "fuzz_${target}_planted" "$target" "$scratch" -seed=1 -max_total_time=60 &&
        fail "$target: the planted fault was not found within 60 s, see $log"
    grep -q '^fuzz: not true: ' "$log" || fail "$target: something else was found, see $log"
    rm -r "$scratch"
    say "$target: the planted fault was found after $((SECONDS - began)) s"
}

# Adds what was found to the corpus: a smallest set of inputs that leads to all the same places.
keep_finds() {
    local target=$1 corpus=fuzz/corpus/$1 input
    "build/fuzz/bin/fuzz_$target" -merge=1 -use_counters=0 "$corpus" "build/fuzz/corpus/$target" \
        > "build/fuzz/merge_$target.log" 2>&1 || fail "see build/fuzz/merge_$target.log"
    for input in "$corpus"/*; do
        "build/fuzz/bin/fuzz_${target}_planted" -artifact_prefix=build/fuzz/crashes/planted- \
            "$input" > /dev/null 2>&1 || rm "$input"
    done
    say "$target: $(find "$corpus" -type f | wc -l) inputs in $corpus"
}

fuzz() {
    local action=fuzz targets today
    mapfile -t targets < <(fuzz_targets)
    case ${1:-} in
        --planted | --keep) action=${1#--} && shift ;;
    esac
    if [ $# -gt 0 ]; then
        [ -d "fuzz/corpus/$1" ] || fail "unknown target $1; use one of: ${targets[*]}"
        targets=("$1")
    elif [ "$action" = planted ]; then
        today=$(date +%j)
        targets=("${targets[10#$today % ${#targets[@]}]}")
    fi
    local target seconds=${2:-10}
    for target in "${targets[@]}"; do
        case $action in
            fuzz)
                build_fuzzers "fuzz_$target"
                fuzz_target "$target" "$seconds"
                ;;
            planted)
                build_fuzzers "fuzz_${target}_planted"
                find_planted_fault "$target"
                ;;
            keep)
                build_fuzzers "fuzz_$target" "fuzz_${target}_planted"
                keep_finds "$target"
                ;;
        esac
    done
}
