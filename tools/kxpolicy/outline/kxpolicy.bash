# Completion of kxpolicy for bash. Whatever path it is called by, the one in PATH is asked.

_kxpolicy() {
  local word candidate help words=()
  # bash takes "--name=value" for three words.
  for word in "${COMP_WORDS[@]:1:COMP_CWORD}"; do
    if ((${#words[@]})) && [[ $word == = || ${words[-1]} == -*= ]]; then
      words[-1]+=$word
    else
      words+=("$word")
    fi
  done
  local typed=${words[-1]} here=${COMP_WORDS[COMP_CWORD]}
  [[ $here != = ]] || here=

  COMPREPLY=()
  while IFS=$'\t' read -r candidate help; do
    case $candidate in
      :files) compopt -o filenames && mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$here") ;;
      :folders) compopt -o filenames && mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -d -- "$here") ;;
      *) COMPREPLY+=("${candidate#"${typed%"$here"}"}") ;;
    esac
  done < <(command kxpolicy "--complete=$typed" "${words[@]:0:${#words[@]}-1}" 2>/dev/null)
}
complete -F _kxpolicy kxpolicy
