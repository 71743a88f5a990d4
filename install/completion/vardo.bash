# Completion of Vardo's command line programs for bash. Their help names their options.

_vardo_quarantined() {
    local IFS=$'\n'
    mapfile -t COMPREPLY < <(compgen -W "$(ls /var/Quillstone/var/quarantine/vardo 2>/dev/null)" -- "$cur")
}

_vardo() {
    local cur prev words cword split
    _init_completion -s -n : || return
    case $prev in
        --action) COMPREPLY=($(compgen -W 'log delete rename quarantine' -- "$cur")) ;;
        --log-level) COMPREPLY=($(compgen -W 'minimum infected all' -- "$cur")) ;;
        --notify) COMPREPLY=($(compgen -W 'problems all' -- "$cur")) ;;
        --schedule)
            COMPREPLY=($(compgen -W "$("$1" --list-schedules --json 2>/dev/null |
                sed -n 's/.*"id":"\([^"]*\)".*/\1/p')" -- "$cur"))
            ;;
        --quarantine-dir | --exclude-dir | --log) _filedir -d ;;
        --files-from | --config | --engine-config) _filedir ;;
        --rename-extension | --include | --exclude | --max-size | --max-depth | --jobs) ;;
        *)
            if [[ $cur == -* ]]; then
                COMPREPLY=($(compgen -W "$(_parse_help "$1")" -- "$cur"))
                [[ ${COMPREPLY-} != *= ]] || compopt -o nospace
            elif [[ ${1##*/} != vardoquarantine ]]; then
                _filedir
            elif [[ " ${words[*]} " == *' restore '* || " ${words[*]} " == *' delete '* ]]; then
                _vardo_quarantined
            else
                COMPREPLY=($(compgen -W 'list restore delete repair' -- "$cur"))
            fi
            ;;
    esac
} && complete -F _vardo vardoscan vardoquarantine updatenow
