# Completes what follows the name of a program of telnodriver, in bash. Options, subcommands and choices come from the
# program's own --help, labels from the I/O pair file, so that nothing is said twice.
# TELNODRIVER_FOLDER is the configuration's folder where it is not /etc/tav.

# Words below "Subcommands:".
_telnodriver_subcommands() {
    sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\).*/\1/p' <<<"$1"
}

# input|output: the labels of triggers, or those of actions on outputs, in the pair file that the properties file names.
_telnodriver_labels() {
    local kind=$1 folder=${TELNODRIVER_FOLDER:-/etc/tav} properties=$2 pairs
    [[ -n $properties ]] || properties=$folder/telnodriver.conf
    pairs=$(sed -n 's/#.*//; /^ioPairFile=/{s///p;q;}' "$properties" 2>/dev/null)
    [[ -n $pairs ]] || pairs=/etc/tav/telnodriver.xml
    [[ -n $2 ]] || pairs=${pairs/#\/etc\/tav\//$folder/}
    # Comments go; then a line begins at each tag, and what stands between <action and </action is the outputs'.
    sed ':all; $!{N;b all}; s/<!--/\x01/g; s/-->/\x02/g; s/\x01[^\x02]*\x02//g; s/[\t\n]/ /g; s/</\n</g' "$pairs" 2>/dev/null |
        awk -v kind="$kind" '
            /^<action[ >]/ { action = 1 }
            /^<\/action/ { action = 0 }
            kind == "output" && /dev_type *= *["\047]GSM["\047]/ { next }
            (kind == "output") == action && match($0, /io_label *= *("[^"]*"|\047[^\047]*\047)/) {
                label = substr($0, RSTART, RLENGTH)
                sub(/^[^"\047]*["\047]/, "", label)
                print substr(label, 1, length(label) - 1)
            }' | sort -u
}

# Takes those of the lines on standard input that begin with the word to be completed, quoted for the shell; $1 is put
# behind each.
_telnodriver_take() {
    local line quoted
    while IFS= read -r line; do
        printf -v quoted '%q' "$line"
        [[ -z $line || ($line != "$cur"* && $quoted != "$cur"*) ]] || COMPREPLY+=("$quoted$1")
    done
}

# What may follow an option; false where it takes nothing.
_telnodriver_value() {
    local line
    line=$(grep -E -- "^ *(-[a-z],)?$prev( |,|:|$)" <<<"$help" | head -n 1)
    case $line in
    *"--table TEXT"*) _telnodriver_take "" < <(_telnodriver_labels output "$properties") ;;
    *"$prev TEXT:{"*)
        line=${line#*\{}
        _telnodriver_take "" < <(tr , '\n' <<<"${line%%\}*}")
        ;;
    *"$prev INT"* | *"$prev UINT"* | *"$prev FLOAT"*) ;;
    *"$prev "[A-Z]*) compopt -o default 2>/dev/null || : ;;
    *) return 1 ;;
    esac
}

# LABEL=STATUS of "telnodriver-check explain": the shell gives the equals sign as a word of its own.
_telnodriver_status() {
    if [[ $cur == "=" ]]; then
        cur=""
    elif [[ $prev != "=" ]]; then
        return 1
    fi
    _telnodriver_take "" < <(printf '%s\n' set clear warn unknown offline)
}

_telnodriver_positional() {
    local name=${program##*/}
    case "$name $subcommand" in
    "telnodriver-check explain") _telnodriver_take "=" < <(_telnodriver_labels input "$properties") ;;
    "tavctl alarm" | "tavctl drive")
        if [[ $prev == "$subcommand" ]]; then
            local kind=input
            [[ $subcommand == alarm ]] || kind=output
            _telnodriver_take "" < <(_telnodriver_labels $kind "")
        else
            local states="set clear"
            [[ $subcommand == drive ]] || states+=" warn unknown"
            _telnodriver_take "" < <(printf '%s\n' $states)
        fi
        ;;
    *)
        [[ -n $subcommand ]] || _telnodriver_take "" < <(_telnodriver_subcommands "$help")
        [[ $help != *"FILE"* ]] || compopt -o default 2>/dev/null
        ;;
    esac
    [[ ${COMPREPLY[*]} != *= ]] || compopt -o nospace 2>/dev/null
}

_telnodriver() {
    local program=$1 cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]} help subcommand="" properties="" i word
    COMPREPLY=()
    help=$("$program" --help 2>/dev/null)
    for ((i = 1; i < COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        if [[ -z $subcommand && -n $word ]] && _telnodriver_subcommands "$help" | grep -qxF -- "$word"; then
            subcommand=$word
        elif [[ -z $subcommand && $word != -* && -f $word ]]; then
            properties=$word
        fi
    done
    case $subcommand in
    "") ;;
    explain) help=$("$program" explain --help 2>/dev/null; grep -e --server <<<"$help") ;;
    replay) help=$("$program" replay --help 2>/dev/null; grep -e --config -e --daemon -e --speed <<<"$help") ;;
    *) help=$("$program" "$subcommand" --help 2>/dev/null) ;;
    esac
    if [[ $cur == -* ]]; then
        _telnodriver_take "" < <(grep -o -E -- '(^|[ ,])--[a-z][a-z-]*' <<<"$help" | sed 's/^[ ,]*//' | sort -u)
    elif [[ $subcommand == explain ]] && _telnodriver_status; then
        :
    elif [[ $prev != -* ]] || ! _telnodriver_value; then
        _telnodriver_positional
    fi
}

complete -F _telnodriver telnodriver-check tavctl tavbench tavd-sim modem-sim telnodriver-guard
