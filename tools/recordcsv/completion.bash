# bash completion for recordcsv
_recordcsv() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local options='--help --rejects --reject-reasons --max-errors --columns --delimiter --no-header --null --skip --count --jobs
        --exact --summary'
    if ((COMP_CWORD == 1)); then
        mapfile -t COMPREPLY < <(compgen -W 'to-csv from-csv check --help --version' -- "$current")
    elif [[ $previous == --floats ]]; then
        mapfile -t COMPREPLY < <(compgen -W 'shortest scientific' -- "$current")
    elif [[ $previous =~ ^--(max-errors|columns|delimiter|null|skip|count|jobs)$ ]]; then
        COMPREPLY=()
    elif [[ $current == -* ]]; then
        case ${COMP_WORDS[1]} in
            to-csv) options+=' --floats' ;;
            check) options='--help' ;;
        esac
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
    else
        compopt -o default
        COMPREPLY=()
    fi
}
complete -F _recordcsv recordcsv
