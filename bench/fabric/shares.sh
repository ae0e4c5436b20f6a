#!/usr/bin/env bash
# Tells what a load spends its instructions on, counted by callgrind in a fabric of 25 leaves and
# 1,000 servers: shares.sh PROGRAM [FUNCTIONS]. A function's own instructions count where the
# function is; what the compiler drew into another counts there. The FUNCTIONS (20) with the most
# are named.
set -euo pipefail
export LC_ALL=C

program=$1
functions=${2:-20}
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
if ! setarch -R valgrind --tool=callgrind --toggle-collect='Bench::World::World*' \
  --callgrind-out-file="$out/count" "$program" scale --leaves 25 --servers 1000 >"$out/log" 2>&1; then
  cat "$out/log" >&2
  exit 1
fi
callgrind_annotate --threshold=100 --show-percs=no "$out/count" >"$out/text"

# Lines are COUNT FILE:FUNCTION [OBJECT].
awk -v functions="$functions" '
  function kindOf(name) {
    if (name ~ /BrindleUtils|VlanList/) return "VLAN list text"
    if (name ~ /Quillo|malloc|^_int_|free|unlink_chunk|operator (new|delete)|AllocTrack/)
      return "allocation"
    if (name ~ /^(Velo::)?(Impl::)?(Velo::Impl::)?HashMap|Velo::HashMap|Velo::hash|Velo::Children|Velo::Values|Velo::Entries/)
      return "runtime: collections"
    if (name ~ /^Velo::(Notifiee|Reactor|Frame|Reaction|PtrInterface|Machine)/)
      return "runtime: notification and reactors"
    if (name ~ /^Velo::Ptr/) return "runtime: pointers"
    if (name ~ /^(non-virtual thunk to )?Velo::|Fastmark|Nimbo/) return "runtime: other"
    if (name ~ /Fabrion::Agent/) return "machines"
    if (name ~ /Bench::/) return "the benchmark"
    if (name ~ /Fabrion::|VxlanController|NetworkTopology|ControllerProxy/) return "entities"
    if (name ~ /mem(cmp|cpy|move|set)|str(cmp|len)/) return "memory functions of the C library"
    return "other"
  }
  /^ *[0-9,]+ +[^ ]+:/ {
    count = $1
    gsub(",", "", count)
    name = $0
    sub(/^ *[0-9,]+ +[^:]*:/, "", name)
    sub(/ \[[^]]*\]$/, "", name)
    share[kindOf(name)] += count
    all += count
    if (++lines <= functions) top[lines] = sprintf("%14d  %.110s", count, name)
  }
  END {
    for (kind in share) printf "%6.1f %%  %s\n", 100 * share[kind] / all, kind | "sort -rn"
    close("sort -rn")
    print ""
    for (i = 1; i <= functions && i <= lines; ++i) print top[i]
  }' "$out/text"
