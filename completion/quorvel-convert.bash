# Completion of quorvel-convert(1) for bash. After "--" it suggests the options of quorvel.

_quorvel_convert() {
    local cur=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} word
    COMPREPLY=()
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        if [[ $word == -- ]]; then
            declare -F _quorvel >/dev/null || _completion_loader quorvel 2>/dev/null
            ! declare -F _quorvel >/dev/null || _quorvel
            return
        fi
    done
    # The second listing of a comparison.
    if ((COMP_CWORD > 2)) && [[ ${COMP_WORDS[COMP_CWORD - 2]} == --diff ]]; then
        before=--diff
    fi
    case $before in
        --to)
            mapfile -t COMPREPLY < <(compgen -W 'body timeline csv jsonl sqlite html' -- "$cur")
            return
            ;;
        --input | --diff)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$cur")
            return
            ;;
        # A file that would be overwritten: suggest folders only.
        --output)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -d -- "$cur")
            return
            ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W \
        '--to --output --input --diff --force --summary --print-command --help --version --' -- "$cur")
}

complete -F _quorvel_convert quorvel-convert
