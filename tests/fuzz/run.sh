#!/bin/sh
# run.sh SECONDS BUILD_DIR: builds the fuzzers with clang in BUILD_DIR and runs each for that long, side by side, on
# seeds made anew and on what earlier runs in the same folder have found. Exit status 1 on a finding, which stays in
# BUILD_DIR/findings.
set -eu
if [ $# -ne 2 ]; then
  echo "usage: $0 SECONDS BUILD_DIR" >&2
  exit 2
fi
seconds=$1
build=$2
here=$(cd "$(dirname "$0")" && pwd)
cmake -S "$here/../.." -B "$build" -G Ninja -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DMIREL_FUZZ=ON \
  -DMIREL_TESTS=OFF >"$build.log" 2>&1 || { cat "$build.log" >&2; exit 1; }
ninja -C "$build" fuzz_obj fuzz_mtl fuzz_ply fuzz_fbx fuzz_picture
ruby "$here/make_corpus.rb" "$build/seeds"
mkdir -p "$build/findings"
status=0
running=
for target in obj mtl ply fbx picture; do
  mkdir -p "$build/corpus/$target"
  # A whole FBX scene does not fit into what is plenty for the others.
  longest=4096
  dictionary=
  models=
  if [ "$target" = fbx ]; then
    longest=16384
    dictionary=-dict=$build/seeds/fbx.dict
    # Real files too, where there are some.
    models=${MIREL_SHARED:-$here/../../../shared}/models/fbx
    if [ ! -d "$models" ]; then models=; fi
  fi
  echo "fuzz_$target: $seconds s"
  "$build/bin/fuzz_$target" "$build/corpus/$target" "$build/seeds/$target" ${models:+"$models"} \
    -max_total_time="$seconds" -max_len="$longest" ${dictionary:+"$dictionary"} -timeout=10 -rss_limit_mb=1024 \
    -artifact_prefix="$build/findings/$target-" >"$build/fuzz_$target.log" 2>&1 &
  running="$running $target=$!"
done
for entry in $running; do
  target=${entry%=*}
  if ! wait "${entry#*=}"; then
    tail -60 "$build/fuzz_$target.log" >&2
    status=1
  fi
  tail -1 "$build/fuzz_$target.log"
done
exit $status
