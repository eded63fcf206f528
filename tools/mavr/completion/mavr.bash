# bash completion for mavr
_mavr() {
   local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]}
   local commands="devices preferred prefer option status doctor formats"
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
   esac
}
complete -F _mavr mavr
