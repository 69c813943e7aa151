# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

# packages.sh - installs what a step needs; sourced by ./brix and ./check.
#
# need_packages CHECK=PACKAGE... where CHECK is a command, or a file when it begins with '/'. Installs the packages of
# the checks that fail, as root or through sudo when that asks for no password; otherwise prints the command to run.

missing_packages() {
  local pair
  for pair in "$@"; do
    case ${pair%%=*} in
      /*) [[ -e ${pair%%=*} ]] ;;
      *) command -v "${pair%%=*}" >/dev/null 2>&1 ;;
    esac || printf '%s\n' "${pair#*=}"
  done | sort -u
}

need_packages() {
  local missing
  mapfile -t missing < <(missing_packages "$@")
  ((${#missing[@]})) || return 0
  local as_root=()
  if ! command -v apt-get >/dev/null 2>&1; then
    echo "Missing: ${missing[*]} (Debian's package names); please install them." >&2
    return 1
  fi
  if ((EUID != 0)); then
    if ! sudo -n true 2>/dev/null; then
      echo "Missing packages. Please run:  sudo apt-get install -y --no-install-recommends ${missing[*]}" >&2
      return 1
    fi
    as_root=(sudo -n)
  fi
  echo "Installing ${missing[*]} ..." >&2
  local install=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive
    apt-get install -y -qq --no-install-recommends "${missing[@]}")
  # Package lists may be absent or old: refresh them only when the first attempt fails.
  if ! "${install[@]}" >/dev/null 2>&1 </dev/null; then
    "${as_root[@]}" apt-get update -qq >&2 </dev/null || return 1
    "${install[@]}" >/dev/null </dev/null || return 1
  fi
  mapfile -t missing < <(missing_packages "$@")
  ((${#missing[@]} == 0)) || { echo "Still missing after installing: ${missing[*]}" >&2; return 1; }
}
