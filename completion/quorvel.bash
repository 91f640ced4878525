# Completion of quorvel(1) for bash. Like the program, it ignores the case of options.

# Options without a value.
_quorvel_flags='
    -h -help --help -append -filepath_only -indx -objid -alldates -ignore_image_size
    -pair_datetime -l2 -l3 -csv -csvgen -csvl2t -bodyfile -multiline -gzip -zlib -separate_files
    -pipe -verbose -v -split_pathfile -profile -base10 -base16 -no_whitespace -quiet
'

# Options with a value.
_quorvel_values='
    -xml -vmdk -offset -mft -recurse -level -image -drivenum -diags -alias -aliaspath -zlibex
    -threads -signal -hostname -username -cpuinst -cpu -fragment_files -outdir -enumdir
    -num_subdirs -sqlite_log -sqlite -out -outfile -filter -filter_sig -filter_path
    -cmd_start_time -cmd_stop_time -csv_separator -dateformat -timeformat
'

# _quorvel_offer <word>...: suggests the words that begin with the current one.
_quorvel_offer() {
    local word
    for word in "$@"; do
        [[ ${word,,} != "${cur,,}"* ]] || COMPREPLY+=("$word")
    done
}

# _quorvel_files <action>: suggests files; -d suggests folders only.
_quorvel_files() {
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen "$1" -- "$cur")
}

_quorvel() {
    local cur=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local -a known
    COMPREPLY=()
    case ${before,,} in
        -image | -vmdk)
            _quorvel_files -f
            return
            ;;
        # Files that would be overwritten: suggest folders only.
        -out | -outfile | -xml | -diags | -outdir | -enumdir)
            _quorvel_files -d
            return
            ;;
        -csv_separator)
            _quorvel_offer tab
            return
            ;;
        -dateformat)
            _quorvel_offer yyyy-mm-dd mm/dd/yyyy dd/mm/yyyy
            return
            ;;
    esac
    read -r -d '' -a known <<<"$_quorvel_values"
    [[ " ${known[*]} " != *" ${before,,} "* ]] || return
    [[ -z $cur || $cur == -* ]] || return
    # Word splitting is intended: the lists contain no patterns.
    # shellcheck disable=SC2086
    _quorvel_offer $_quorvel_flags $_quorvel_values
}

complete -F _quorvel quorvel
