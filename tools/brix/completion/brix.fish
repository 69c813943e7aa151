# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

# Completion of brix for fish.
set -l none 'not __fish_seen_subcommand_from id ls x cat'
complete -c brix -n $none -f -a id -d 'Say what each file is'
complete -c brix -n $none -f -a ls -d 'List everything inside'
complete -c brix -n $none -f -a x -d 'Extract everything inside'
complete -c brix -n $none -f -a cat -d 'Write one member to standard output'
complete -c brix -n $none -f -l version -d 'Print the version'
complete -c brix -s h -l help -d 'Print the usage'
complete -c brix -n '__fish_seen_subcommand_from id ls' -l json -d 'One JSON object a line'
complete -c brix -n '__fish_seen_subcommand_from id ls x' -x -s j -l jobs -d 'Files to work on at once'
complete -c brix -n '__fish_seen_subcommand_from ls x cat' -x -l max-depth -d 'Levels of containers to walk'
complete -c brix -n '__fish_seen_subcommand_from ls x cat' -x -l max-size -d 'Bytes one member may yield'
complete -c brix -n '__fish_seen_subcommand_from ls x cat' -x -l max-ratio -d 'Bytes out for each byte in'
complete -c brix -n '__fish_seen_subcommand_from cat' -x -l nth -d 'Which of the members with that path'
complete -c brix -n '__fish_seen_subcommand_from x' -x -s o -l output -a '(__fish_complete_directories)' -d 'Directory to write to'
complete -c brix -n '__fish_seen_subcommand_from x' -s v -l verbose -d 'Name each file written'
