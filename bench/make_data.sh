#!/usr/bin/env bash
# Writes one file of up to 48 MB of text, sources and programs taken from this machine's installed packages, for
# BRIX_BENCH_DATA. The mix is the same on machines with the same packages; compare figures within one run only.
set -eu
out=${1:?usage: make_data.sh OUTPUT}
limit=48000000
{
  find /usr/include /usr/share/doc /usr/share/perl -type f 2>/dev/null | LC_ALL=C sort | head -n 4000 | xargs -d '\n' cat | head -c 24000000
  find /usr/bin /usr/lib/x86_64-linux-gnu -maxdepth 1 -type f -size +64k 2>/dev/null | LC_ALL=C sort | xargs -d '\n' cat | head -c 24000000
} | head -c $limit > "$out"
ls -l "$out"
