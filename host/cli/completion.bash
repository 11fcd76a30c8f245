# Completion of korvel-host for bash. It asks the command itself, so that it offers what is there.

_korvel_host() {
  local current=${COMP_WORDS[COMP_CWORD]} previous='' command='' word
  ((COMP_CWORD > 0)) && previous=${COMP_WORDS[COMP_CWORD - 1]}
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    [[ $word == -* ]] || { command=$word && break; }
  done
  local tool=${COMP_WORDS[0]} offered=''
  tool=${tool/#\~/$HOME}

  case $previous in
    --level) offered='1 2 3 4 5' ;;
    --only) offered=$("$tool" validate --list 2>/dev/null | awk '{ print $2 }') ;;
    --seed | --period | --cycles | --priority | --jobs | -j | --cutoff | --ground | --contact-* | --from | --to | --object) return ;;
    -o | --output | --module | --urdf | --mjcf | --soles | --limits | --cut | --csv | --results) ;;
    *)
      if [[ -z $command ]]; then
        offered=$("$tool" --help 2>/dev/null | sed -n '/^Subcommands:/,$s/^  \([a-z][a-z]*\) .*/\1/p')
        offered+=' --help --version'
      elif [[ $current == -* ]]; then
        offered=$("$tool" "$command" --help 2>/dev/null | sed -n 's/^ *\(-[a-z],\)\{0,1\}\(--[a-z-]*\).*/\2/p')
      fi
      ;;
  esac

  if [[ -n $offered ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$offered" -- "$current")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
    compopt -o filenames 2>/dev/null
  fi
}

complete -F _korvel_host korvel-host
