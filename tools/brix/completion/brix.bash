# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

# Completion of brix for bash; needs no helper package.
_brix() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command='' options='' i
  local limits='--max-depth --max-size --max-ratio'
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case ${COMP_WORDS[i]} in
      id | ls | x | cat) command=${COMP_WORDS[i]} && break ;;
    esac
  done
  COMPREPLY=()
  case $command in
    '')
      mapfile -t COMPREPLY < <(compgen -W 'id ls x cat --help --version' -- "$word")
      return
      ;;
    id) options='--jobs --json --help' ;;
    ls) options="--jobs --json $limits --help" ;;
    x) options="--output --jobs --verbose $limits --help" ;;
    cat) options="--nth $limits --help" ;;
  esac
  case $before in
    -o | --output)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -d -- "$word")
      return
      ;;
    -j | --jobs | --nth | --max-depth | --max-size | --max-ratio) return ;; # a number
  esac
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
  else
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  fi
}
complete -F _brix brix
