# Completion of quillon for bash.

_quillon() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} words='' i
  # In --info=FILE bash takes the sign for a word of its own.
  if [ "$word" = = ]; then
    word=''
  elif [ "$before" = = ]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  COMPREPLY=()
  case $before in
    --info)
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      return
      ;;
    --day | -d)
      mapfile -t COMPREPLY < <(compgen -W 'today yesterday monday tuesday wednesday thursday friday saturday sunday' -- "$word")
      return
      ;;
    --format | --note | -n | --at | --ago | --timeout | -t) return ;;
  esac
  words='--local --background --info --check --help --version toggle new timesheet preferences quit status
    start stop continue add note log projects recent'
  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      status) words='--json --follow --format' && break ;;
      start) words='--note --at --ago --timeout' && break ;;
      add) words='--note --day --timeout' && break ;;
      log) words='today yesterday week --json --csv --timeout' && break ;;
      projects | recent) words='--json --timeout' && break ;;
      stop | continue | note) words='--timeout' && break ;;
      toggle | new | timesheet | preferences | quit) return ;;
    esac
  done
  if [[ ${COMP_WORDS[i]} == @(start|add) && $word != -* ]]; then
    # The account's projects, then the tasks of the one that was named; their blanks are quoted.
    local name typed=${word#[\"\']} before=()
    typed=${typed//\\/}
    for name in "${COMP_WORDS[@]:i:COMP_CWORD - i}"; do
      name=${name//\\/} name=${name#[\"\']}
      before+=("${name%[\"\']}")
    done
    while IFS= read -r name; do
      [[ ${name,,} == "${typed,,}"* ]] || continue
      [[ $word == [\"\']* ]] && COMPREPLY+=("$name") || COMPREPLY+=("$(printf %q "$name")")
    done < <(quillon complete "${before[@]}" 2>/dev/null)
    return
  fi
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -F _quillon quillon
