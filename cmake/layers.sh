#!/usr/bin/env bash
# Which folder may include which: fails with one line per include that points upwards. CMake
# cannot see this, for all folders share one include root and the machine folders end in one
# library.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# Every folder may also include itself. Tests and benchmarks stand above all and may include
# anything; examples have what is installed.
declare -A below=(
  [platform]=""
  [entities]="platform"
  [agent]="entities platform"
  [clients]="agent entities platform"
  [elements]="clients agent entities platform"
  [topology]="elements agent entities platform"
  [switch]="agent entities platform"
  [host]="entities platform"
  [examples]="entities platform"
  [tests]="platform entities agent clients elements topology switch host"
  [bench]="platform entities agent clients elements topology switch host"
)
# Folders that use the standard library alone; <cxxabi.h> is part of it. Whoever loads a module needs
# dlopen, which the platform alone may use.
plain=" platform entities agent clients elements topology switch "

folders=()
for folder in "${!below[@]}"; do
  if [[ -d $folder ]]; then folders+=("$folder"); fi
done

faults=0
fault() {
  printf '%s: %s\n' "$1" "$2" >&2
  faults=$((faults + 1))
}

while IFS=: read -r file line text; do
  folder=${file%%/*}
  where="$file:$line"
  if [[ $text =~ \#[[:space:]]*include[[:space:]]*\"([^\"]+)\" ]]; then
    header=${BASH_REMATCH[1]}
    target=${header%%/*}
    if [[ $header != */* || -z ${below[$target]+known} ]]; then
      fault "$where" "\"$header\" does not start with a folder of the repository's root"
    elif [[ $target != "$folder" && " ${below[$folder]} " != *" $target "* ]]; then
      fault "$where" \
        "$folder/ must not include \"$header\"; it stands on: ${below[$folder]:-nothing}"
    fi
  elif [[ $plain == *" $folder "* && $text =~ \#[[:space:]]*include[[:space:]]*\<([^\>]+)\> ]]; then
    header=${BASH_REMATCH[1]}
    if [[ $header == *[./]* && $header != cxxabi.h && $folder/$header != platform/dlfcn.h &&
      $folder/$header != platform/emmintrin.h ]]; then
      fault "$where" "$folder/ uses the standard library alone, but includes <$header>"
    fi
  fi
done < <(grep -rnE --include='*.h' --include='*.cc' '^[[:space:]]*#[[:space:]]*include' \
  "${folders[@]}" | sort)

if ((faults > 0)); then
  echo "layers: $faults include(s) break the layering" >&2
  exit 1
fi
