#!/bin/bash
# Checks the bash completion of slidebox-cli against the program's own
# --help (every command, subcommand and option it lists is offered where it
# belongs) and checks that file names are filtered by the kind an argument
# takes.  Usage: test_completion.sh SLIDEBOX_CLI COMPLETION_FILE
set -u
export LC_ALL=C
cli=$1
# shellcheck disable=SC1091
source /usr/share/bash-completion/bash_completion
# shellcheck disable=SC1090
source "$2"

failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# Completes the last word of a command line into COMPREPLY.
complete_line() {
    COMP_WORDS=(slidebox-cli "$@")
    COMP_CWORD=$#
    COMP_LINE="slidebox-cli $*"
    COMP_POINT=${#COMP_LINE}
    COMPREPLY=()
    _slidebox_cli slidebox-cli "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
}

expect_offer() { # WORD, then the command line
    local word=$1 offer
    shift
    complete_line "$@"
    for offer in "${COMPREPLY[@]}"; do [[ $offer == "$word" ]] && return; done
    fail "'slidebox-cli $*' does not offer '$word'"
}

# Every entry of --help: "  GROUP [SUB] synopsis   description", continued
# by synopsis lines indented less than the description column.
help=$("$cli" --help) || { echo "FAIL: $cli --help"; exit 1; }
entries=0
group='' sub=''
while IFS= read -r line; do
    if [[ $line =~ ^\ \ ([a-z][a-z0-9-]*)(\ ([a-z][a-z0-9-]*))?(\ |$) ]]; then
        group=${BASH_REMATCH[1]} sub=${BASH_REMATCH[3]}
        entries=$((entries + 1))
        expect_offer "$group" "${group:0:1}"
        [[ -n $sub ]] && expect_offer "$sub" "$group" ''
    elif [[ $line =~ ^\ {3,30}[^\ ] && -n $group ]]; then
        :
    else
        group=''
        continue
    fi
    synopsis=${line%%   [! ]*}
    for option in $(grep -oE -- '--[a-z0-9-]+' <<<"$synopsis"); do
        if [[ -n $sub ]]; then expect_offer "$option" "$group" "$sub" -; else expect_offer "$option" "$group" -; fi
    done
done < <(sed -n '/^Commands:/,/^$/p' <<<"$help")
((entries >= 10)) || fail "only $entries commands read from --help"
for option in $(sed -n '/^Options:/,/^$/p' <<<"$help" | grep -oE -- '--[a-z0-9-]+'); do
    expect_offer "$option" --
done

# File names by kind, in a folder of one file of each kind.
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch" || exit 1
touch a.icc b.ICM c.tif d.tiff e.png f.jpg g.txt
mkdir folder
profiles=$'a.icc\nb.ICM\nfolder'
images=$'c.tif\nd.tiff\ne.png\nf.jpg\nfolder'
while IFS='|' read -r expected line; do
    # shellcheck disable=SC2086
    complete_line $line ''
    got=$(printf '%s\n' "${COMPREPLY[@]}" | sort | paste -sd' ')
    [[ $got == "$expected" ]] || fail "'slidebox-cli $line ' offers '$got', not '$expected'"
done <<EOF_CASES
$(paste -sd' ' <<<"$profiles")|icc info
$(paste -sd' ' <<<"$profiles")|icc grade x.icc --gamut --speed 50 --tolerance 1 --absolute
$(paste -sd' ' <<<"$profiles")|icc compare --src-a
$(paste -sd' ' <<<"$profiles"$'\nlab')|icc transform --src
$(paste -sd' ' <<<"$images")|icc transform --src a.icc --intent 1
$(paste -sd' ' <<<"$images")|icc compare --src-a a.icc
$(paste -sd' ' <<<"$images")|image scale
$(paste -sd' ' <<<"$profiles")|image scale c.tif e.png --size 64 --profile
folder|icc list --dir
folder|libraries find
folder|switch --no-test
0 1 2 3|icc inks a.icc --intent
|color xyz2lab
EOF_CASES

((failures == 0)) && echo "completion: every command, subcommand and option of --help is offered"
exit $((failures > 0))
