# Completion of quillon-service for bash.

_quillon_service() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} words
  # In --data=FILE bash takes the sign for a word of its own.
  if [ "$word" = = ]; then
    word=''
  elif [ "$before" = = ]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  COMPREPLY=()
  case $before in
    --data | --restore | --tls-certificate | --tls-key)
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      ;;
    --bind) mapfile -t COMPREPLY < <(compgen -W '127.0.0.1 0.0.0.0' -- "$word") ;;
    --port | --account | --first-email) ;;
    *)
      words='--port --bind --tls-certificate --tls-key --data --account --first-email --restore --reset-password --help --version'
      mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
      ;;
  esac
}
complete -F _quillon_service quillon-service
