#compdef kxpolicy
# Completion of kxpolicy for zsh. Whatever path it is called by, the one in PATH is asked.

_kxpolicy() {
  local line
  local -a candidates
  for line in "${(@f)$(command kxpolicy "--complete=${(Q)words[CURRENT]}" "${(@Q)words[2,CURRENT-1]}" 2>/dev/null)}"; do
    case $line in
      '') ;;
      :files) [[ $PREFIX != -*=* ]] || compset -P '*='; _files ;;
      :folders) [[ $PREFIX != -*=* ]] || compset -P '*='; _files -/ ;;
      *$'\t'*) candidates+=("${${line%%$'\t'*}//:/\\:}:${line#*$'\t'}") ;;
      *) candidates+=("${line//:/\\:}") ;;
    esac
  done
  ((${#candidates} == 0)) || _describe kxpolicy candidates
}

if [[ $funcstack[1] == _kxpolicy ]]; then
  _kxpolicy "$@"
else
  compdef _kxpolicy kxpolicy
fi
