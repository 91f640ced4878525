# Completion of quorvel(1) for bash. Like the program, it ignores the case of options.

# All options, from everyday options to those without effect.
_quorvel_options='
    -image -offset -level -quiet -csv -alldates -filepath_only -xml -out -mft -filter -objid -indx
    -diags -vmdk -h -base10 -pair_datetime -no_whitespace -csv_separator -dateformat -timeformat
    -ignore_image_size -recurse -outfile -base16 -split_pathfile -csvgen -multiline -csvl2t
    -bodyfile -drivenum -profile -pipe -cmd_start_time -cmd_stop_time -filter_sig -help --help
    -sqlite -sqlite_log -append -l2 -l3 -alias -aliaspath -filter_path -zlibex -threads -signal
    -hostname -username -cpuinst -cpu -fragment_files -outdir -enumdir -num_subdirs -gzip -zlib
    -separate_files -verbose -v
'

# Those with a value.
_quorvel_values='
    -image -offset -level -xml -out -mft -filter -diags -vmdk -csv_separator -dateformat -timeformat
    -recurse -outfile -drivenum -cmd_start_time -cmd_stop_time -filter_sig -sqlite -sqlite_log
    -alias -aliaspath -filter_path -zlibex -threads -signal -hostname -username -cpuinst -cpu
    -fragment_files -outdir -enumdir -num_subdirs
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
    compopt -o nosort 2>/dev/null # since bash 4.4
    # Word splitting is intended: the list contains no patterns.
    # shellcheck disable=SC2086
    _quorvel_offer $_quorvel_options
}

complete -F _quorvel quorvel
