# Completion of korvane for bash. Its words come from the help of the program that is being called.

# Words of the help on standard input: _korvane_words subcommands|options
_korvane_words() {
  awk -v wanted="$1" '
    /^[^ ]/ { section = tolower($1); next }
    section != wanted ":" { next }
    wanted == "subcommands" && /^  [a-z]/ { print $1 }
    wanted == "options" && /^  -/ { gsub(/{[^}]*}/, "", $1); gsub(/,/, "\n", $1); print $1 }'
}

_korvane() {
  local word=${COMP_WORDS[COMP_CWORD]} command=("${COMP_WORDS[0]}") help offered before
  if [[ ${command[0]} == "~/"* ]]; then command[0]=$HOME${command[0]:1}; fi
  help=$("${command[@]}" --help 2>/dev/null) || return
  offered=$(_korvane_words subcommands <<< "$help")
  for before in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    grep -qxFe "$before" <<< "$offered" || continue
    command+=("$before")
    help=$("${command[@]}" --help 2>/dev/null) || return
    offered=$(_korvane_words subcommands <<< "$help")
  done
  if [[ $word == -* ]]; then offered=$(_korvane_words options <<< "$help"); fi
  COMPREPLY=($(compgen -W "$offered" -- "$word"))
}

complete -o bashdefault -o default -F _korvane korvane
