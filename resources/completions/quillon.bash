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
    --format) return ;;
  esac
  words='--local --info --check --help --version toggle new timesheet preferences quit status'
  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      status) words='--json --follow --format' && break ;;
      toggle | new | timesheet | preferences | quit) return ;;
    esac
  done
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -F _quillon quillon
