# bash completion for mavr
_mavr() {
   local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]}
   local commands="devices preferred prefer option status doctor formats record dump redirect"
   COMPREPLY=()
   if [ "$COMP_CWORD" -eq 1 ]; then
      mapfile -t COMPREPLY < <(compgen -W "$commands --help --version" -- "$word")
      return
   fi
   case $command in
   devices | preferred | status | doctor)
      mapfile -t COMPREPLY < <(compgen -W "--json --help" -- "$word")
      ;;
   option)
      mapfile -t COMPREPLY < <(compgen -W "all default preferred --json --help" -- "$word")
      ;;
   formats)
      mapfile -t COMPREPLY < <(compgen -W "--json --help" -- "$word")
      ;;
   prefer)
      if [ "$COMP_CWORD" -eq 2 ]; then
         mapfile -t COMPREPLY < <(compgen -W "camera microphone --help" -- "$word")
      else
         mapfile -t COMPREPLY < <(compgen -W "--id --name --clear --help" -- "$word")
      fi
      ;;
   record)
      case $COMP_CWORD:${COMP_WORDS[2]}:${COMP_WORDS[COMP_CWORD - 1]} in
      2:*) mapfile -t COMPREPLY < <(compgen -W "video audio --help" -- "$word") ;;
      *:*:--out) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
      *:video:*) mapfile -t COMPREPLY < <(compgen -W "--device --size --fps --seconds --out --json --help" -- "$word") ;;
      *:audio:*) mapfile -t COMPREPLY < <(compgen -W "--device --rate --chunk-ms --seconds --out --json --help" -- "$word") ;;
      esac
      ;;
   redirect)
      case ${COMP_WORDS[COMP_CWORD - 1]} in
      --out) mapfile -t COMPREPLY < <(compgen -d -- "$word") ;;
      *) mapfile -t COMPREPLY < <(compgen -W "--seconds --loss --out --reliable-video --json --help" -- "$word") ;;
      esac
      ;;
   dump)
      case $COMP_CWORD:${COMP_WORDS[2]} in
      2:*) mapfile -t COMPREPLY < <(compgen -W "info convert --help" -- "$word") ;;
      *:info) mapfile -t COMPREPLY < <(compgen -f -W "--json --help" -- "$word") ;;
      *:convert) mapfile -t COMPREPLY < <(compgen -f -W "--rate --help" -- "$word") ;;
      esac
      ;;
   esac
}
complete -F _mavr mavr
