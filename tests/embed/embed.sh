#!/usr/bin/env bash
# A build, installed and moved, is all that a program needs which embeds Fabrion:
#
#   embed.sh BUILD SOURCE CXX [FLAG...]
#
# installs BUILD, moves the installed tree to another place, builds examples/embed there, once with
# find_package and once with pkg-config alone, and compares what the two print with output.txt. The
# FLAGs go to every compilation: with a sanitizer in the libraries it has to be in the program too.
set -euo pipefail

build=$1 source=$2 cxx=$3
shift 3
flags=("$@")
export LC_ALL=C
work="$build/embed"
# Neither an installed Fabrion nor the environment may stand in for what was installed here.
unset LD_LIBRARY_PATH CMAKE_PREFIX_PATH PKG_CONFIG_PATH CXXFLAGS LDFLAGS

fail() {
  printf 'embed.sh: %s\n' "$*" >&2
  exit 1
}
same() {
  diff -u "$1" - || fail "$2: not what $1 has"
}
# The dynamic section, as `readelf -d` words it, has this entry.
has() {
  readelf -d "$1" | grep -qF -- "$2" || fail "$1 has no $2"
}

rm -rf "$work"
mkdir -p "$work"
cmake --install "$build" --prefix "$work/first" >"$work/install.log"
mv "$work/first" "$work/moved"
prefix="$work/moved"

# Where things are is the package's to say; no text of it may know the place it was installed to, or
# where it was built.
package=$(dirname "$(find "$prefix" -name FabrionConfig.cmake)")
pc=$(find "$prefix" -name fabrion.pc)
if grep -rFl -e "$build" -e "$source" "$package" "$pc"; then
  fail "these name a folder of the building machine"
fi
export PKG_CONFIG_LIBDIR=${pc%/*}
libraries=$(realpath "$(pkg-config --variable=libdir fabrion)")
module=$(realpath "$(pkg-config --variable=moduledir fabrion)/FabrionSm.so")

has "$libraries/libfabrion_platform.so" "soname: [libfabrion_platform.so.1]"
has "$libraries/libfabrion_entities.so" "soname: [libfabrion_entities.so.1]"
has "$libraries/libfabrion_entities.so" "(RUNPATH)            Library runpath: [\$ORIGIN]"
has "$module" "(RUNPATH)            Library runpath: [\$ORIGIN/"
has "$prefix/bin/fabrion" "(RUNPATH)            Library runpath: [\$ORIGIN/"

echo "the program finds libraries and module"
cp "$source/examples/two-switches.yaml" "$work"
(cd / && "$prefix/bin/fabrion" run "$work/two-switches.yaml") |
  same "$source/tests/data/two-switches.txt" "fabrion run"
[[ "fabrion $(pkg-config --modversion fabrion)" == "$("$prefix/bin/fabrion" --version)"* ]] ||
  fail "program and package differ in their version"

echo "manual page and completions are those of the program"
"$prefix/bin/fabrion" man | same "$prefix/share/man/man1/fabrion.1" "fabrion man"
"$prefix/bin/fabrion" completion bash |
  same "$prefix/share/bash-completion/completions/fabrion" "fabrion completion bash"

launcher=()
if command -v ccache >/dev/null; then launcher=(ccache); fi

echo "find_package"
cp -R "$source/examples/embed" "$work/example"
cmake -S "$work/example" -B "$work/cmake" -G Ninja "-DCMAKE_PREFIX_PATH=$prefix" \
  "-DCMAKE_CXX_COMPILER=$cxx" "-DCMAKE_CXX_COMPILER_LAUNCHER=${launcher[*]}" \
  "-DCMAKE_CXX_FLAGS=${flags[*]}" >"$work/cmake.log"
cmake --build "$work/cmake" --target controller >>"$work/cmake.log" || fail "$(<"$work/cmake.log")"
# The target prints nothing but what the program does.
cmake --build "$work/cmake" --target run -- --quiet |
  same "$source/tests/embed/output.txt" "the example by find_package"

echo "pkg-config"
# With the strictest warnings that we hold ourselves to: the headers raise none in the program.
# shellcheck disable=SC2046
"${launcher[@]}" "$cxx" -std=c++20 -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror \
  "${flags[@]}" -c -o "$work/main.o" $(pkg-config --cflags fabrion) "$work/example/main.cc"
# shellcheck disable=SC2046
"$cxx" "${flags[@]}" -o "$work/controller" "$work/main.o" $(pkg-config --libs fabrion)
LD_LIBRARY_PATH=$libraries "$work/controller" "$module" |
  same "$source/tests/embed/output.txt" "the example by pkg-config"

# A mistake is told, not a crash.
if LD_LIBRARY_PATH=$libraries "$work/controller" /nowhere.so 2>"$work/mistake"; then
  fail "a module that is not there was loaded"
fi
echo "there is no module /nowhere.so" | same "$work/mistake" "a missing module"

rm -rf "$work"
