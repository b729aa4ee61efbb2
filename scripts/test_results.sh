# Sourced by test.sh: runs checks and GoogleTest programs and keeps count of their cases.
# Every result is one line "passed failed skipped label" in $results; what runs beside the rest
# has a file of its own, $work/results-NAME.

record() { printf '%s %s %s %s\n' "$2" "$3" "$4" "$1" >>"$results"; }

say() { printf '\n== %s\n' "$*"; }

# check LABEL COMMAND...: one case, passed when the command succeeds.
check() {
  local label=$1 log=$work/${1//[^A-Za-z0-9_-]/_}.log
  shift
  if "$@" >"$log" 2>&1; then
    record "$label" 1 0 0
    printf 'passed   %s\n' "$label"
  else
    record "$label" 0 1 0
    printf 'FAILED   %s\n' "$label"
    tail -n 30 "$log"
    return 1
  fi
}

# skip LABEL REASON: counted as skipped; with CI set, as a failure.
skip() {
  printf '\n!!!!!!!! SKIPPED  %s: %s\n\n' "$1" "$2"
  if [ -n "${CI:-}" ]; then record "$1" 0 1 0; else record "$1" 0 0 1; fi
}

# Counts the cases in a GoogleTest log; a program that ended before its last case adds one
# failure, and so does one that reports none but ends with an error.
count_cases() { # log exit_code label
  local passed failed skipped announced
  read -r passed failed skipped announced < <(tr -d '\r' <"$1" | awk '
    /^\[       OK \] .* ms\)$/ { passed++ }
    /^\[  FAILED  \] .* ms\)$/ { failed++ }
    /^\[  SKIPPED \] .* ms\)$/ { skipped++ }
    /^\[==========\] Running [0-9]+ test/ { announced = $3 }
    END { print passed + 0, failed + 0, skipped + 0, announced + 0 }')
  if [ $((passed + failed + skipped)) -lt "$announced" ] || { [ "$2" != 0 ] && [ "$failed" = 0 ]; }; then
    failed=$((failed + 1))
    printf 'FAILED   %s ended early, exit code %s\n' "$3" "$2"
    tail -n 25 "$1"
  fi
  record "$3" "$passed" "$failed" "$skipped"
  if [ "$failed" != 0 ]; then
    tr -d '\r' <"$1" | awk '/^\[ RUN      \]/ { text = "" } { text = text $0 "\n" }
      /^\[  FAILED  \] .* ms\)$/ { printf "%s", text }' | head -n 120
  fi
  printf '%-8s %s: %s passed, %s failed, %s skipped\n' \
    "$([ "$failed" = 0 ] && echo passed || echo FAILED)" "$3" "$passed" "$failed" "$skipped"
}

# One of several processes that share the cases of a program, in a directory of its own.
run_shard() { # label index count command...
  local label=$1 index=$2 count=$3 directory=$work/$1-$2 code=0
  shift 3
  mkdir -p "$directory"
  (
    cd "$directory" || exit 1
    export GTEST_TOTAL_SHARDS=$count GTEST_SHARD_INDEX=$index
    export TEST_TMPDIR=$directory/ TMPDIR=$directory
    exec timeout "${test_seconds:-420}" "$@" --gtest_color=no
  ) >"$work/$label-$index.log" 2>&1 || code=$?
  echo "$code" >"$work/$label-$index.code"
}

# gtest_processes COUNT LABEL COMMAND...: runs a GoogleTest program as COUNT processes side by
# side, each with its share of the cases.
gtest_processes() {
  local count=$1 label=$2 index shards=()
  shift 2
  for ((index = 0; index < count; ++index)); do
    run_shard "$label" "$index" "$count" "$@" &
    shards+=($!)
  done
  wait "${shards[@]}"
  for ((index = 0; index < count; ++index)); do
    count_cases "$work/$label-$index.log" "$(cat "$work/$label-$index.code")" "$label ($((index + 1))/$count)"
  done
}

# gtest LABEL COMMAND...: for programs whose cases share nothing. More processes than two
# processors need, since a few long cases fall to one of them.
gtest() { gtest_processes 4 "$@"; }

# gtest_alone LABEL COMMAND...: for programs whose cases use what a machine has only one of.
gtest_alone() { gtest_processes 1 "$@"; }

# The one last line; fails when anything failed or nothing passed.
summary() {
  local passed failed skipped
  read -r passed failed skipped < <(awk '{ p += $1; f += $2; s += $3 }
    END { print p + 0, f + 0, s + 0 }' "$work"/results*)
  if [ "$failed" != 0 ]; then
    printf '\nfailed:\n'
    awk '$2 > 0 { $1 = $3 = ""; print "  " $0 }' "$work"/results*
  fi
  printf '%s passed, %s failed, %s skipped\n' "$passed" "$failed" "$skipped"
  [ "$failed" = 0 ] && [ "$passed" != 0 ]
}
