#!/usr/bin/env bash
# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

# What a user writes to see everything in a nested ZIP with a tool that does not descend: extract, look for archives
# among what came out, extract those, until there are none, and read the leaves.
set -eu
tool=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
unpack() {
  mkdir "$2"
  case $tool in
    bsdtar) bsdtar -xf "$1" -C "$2" ;;
    7zz) 7zz x -bso0 -bsp0 -mmt1 -o"$2" "$1" ;;
  esac
}
unpack "$2" "$dir/top"
while mapfile -t archives < <(find "$dir" -name '*.zip') && [ ${#archives[@]} -ne 0 ]; do
  for archive in "${archives[@]}"; do
    unpack "$archive" "$archive.d"
    rm "$archive"
  done
done
find "$dir" -type f -exec cat {} +
