#!/usr/bin/env bash
# Counts the instructions of single events with callgrind: instructions.sh PROGRAM [--check]
# [SERVERS...]. The same program gives the same counts on any machine: inputs are fixed, and so is
# where things lie in memory. --check fails when an event takes 2 % more in a larger fabric, or when
# a request takes 5 % more for a third and fourth port than for a second.
set -euo pipefail
export LC_ALL=C

program=$1
shift
check=false
if [[ ${1:-} == --check ]]; then
  check=true
  shift
fi
sizes=("$@")
if ((${#sizes[@]} == 0)); then
  sizes=(100 10000)
  if ! $check; then sizes+=(100000); fi
fi

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
# One file for each event, OUT.NUMBER. The dump at the end holds nothing.
if ! setarch -R valgrind --tool=callgrind --instr-atstart=no --callgrind-out-file="$out/count" \
  "$program" instructions "${sizes[@]}" >"$out/log" 2>&1; then
  cat "$out/log" >&2
  exit 1
fi
if [[ -n ${FABRION_CALLGRIND_KEEP:-} ]]; then cp "$out"/count.* "$FABRION_CALLGRIND_KEEP"; fi

mapfile -t counts < <(ls -v "$out"/count.*)
# Servers with one link, two and four stand in fabrics of 241.
awk -v check="$check" '
  BEGIN {
    printf "%-18s %8s %6s %13s %8s\n", "EVENT", "SERVERS", "PORTS", "INSTRUCTIONS", "RATIO"
  }
  /^desc: Trigger: Client Request: / { event = $5; servers = $6; ports = $7; events = $8 }
  # Stands once in each file, at its end.
  /^totals: / && event != "" {
    each = $2 / events
    ratio = ""
    if (servers == 241) {
      count[event, ports] = each
    } else {
      if (!(event in first)) first[event] = each
      ratio = each / first[event]
      if (ratio > 1.02) missed[event " with " servers " servers"]
      ratio = sprintf("%.4f", ratio)
    }
    names[event]
    printf "%-18s %8d %6d %13.0f %8s\n", event, servers, ports, each, ratio
    event = ""
  }
  END {
    print ""
    # Of a move it is one link that moves, however many there are.
    for (event in names) {
      if (event !~ /^request/) continue
      one = count[event, 2] - count[event, 1]
      two = (count[event, 4] - count[event, 2]) / 2
      printf "%-18s %.0f for a second port, %.0f for each of two more\n", event, one, two
      if (two > 1.05 * one) missed[event " by ports"]
    }
    for (what in missed) { print "grows: " what; failed = 1 }
    if (check == "true" && failed) exit 1
  }' "${counts[@]}"
