# Bash completion for slidebox-cli: commands, subcommands, options, and file
# names of the kind an argument takes (ICC profiles, images, folders).

_slidebox_cli_profiles() { _filedir '@(icc|icm|ICC|ICM)'; }
_slidebox_cli_images() { _filedir '@(tif|tiff|png|jpg|jpeg|TIF|TIFF|PNG|JPG|JPEG)'; }

_slidebox_cli() {
    local cur prev words cword
    _init_completion || return

    local group=${words[1]-} sub=${words[2]-}

    if ((cword == 1)); then
        COMPREPLY=($(compgen -W 'color icc image libraries switch --help --version' -- "$cur"))
        return
    fi

    # The value of an option.
    case $prev in
        --src | --dst | --src-a | --src-b | --profile)
            _slidebox_cli_profiles
            [[ $prev == --dst || $prev == --src ]] && COMPREPLY+=($(compgen -W 'lab' -- "$cur"))
            return
            ;;
        --intent | --intent-out | --intent-a | --intent-b)
            COMPREPLY=($(compgen -W '0 1 2 3' -- "$cur"))
            return
            ;;
        --dir)
            _filedir -d
            return
            ;;
        --tolerance | --speed | --mask | --use | --space | --size)
            return
            ;;
    esac

    if ((cword == 2)); then
        case $group in
            color) COMPREPLY=($(compgen -W 'xyz2lab lab2xyz lab2lch lch2lab deltae encode-lab decode-lab' -- "$cur")) ;;
            icc) COMPREPLY=($(compgen -W 'compare grade header info inks list match transform' -- "$cur")) ;;
            image) COMPREPLY=($(compgen -W 'scale' -- "$cur")) ;;
            libraries) COMPREPLY=($(compgen -W 'find images' -- "$cur")) ;;
            switch)
                if [[ $cur == -* ]]; then
                    COMPREPLY=($(compgen -W '--no-test' -- "$cur"))
                else
                    _filedir -d
                fi
                ;;
        esac
        return
    fi

    local options=''
    case $group/$sub in
        color/deltae) options='--cie94' ;;
        icc/compare) options='--tolerance --cie94 --mask --patches --src-a --intent-a --src-b --intent-b --json' ;;
        icc/grade) options='--bijectivity --gamut --absolute --perceptual --tolerance --speed --json' ;;
        icc/header | icc/info) options='--json' ;;
        icc/inks) options='--intent --json' ;;
        icc/list) options='--use --space --brief --report --dir --no-file-names --json' ;;
        icc/match) options='--src --dst --intent --intent-out --bpc --no-optimize --lab --rgb --cmyk --gray --fields' ;;
        icc/transform) options='--src --dst --intent --intent-out --bpc --no-optimize' ;;
        image/scale) options='--size --profile' ;;
        libraries/find | libraries/images) options='-0 --null' ;;
        switch/*) options='--no-test' ;;
    esac
    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
        return
    fi

    # Positional arguments.
    case $group/$sub in
        icc/header | icc/info | icc/inks | icc/grade) _slidebox_cli_profiles ;;
        icc/compare | icc/transform | image/scale) _slidebox_cli_images ;;
        libraries/* | switch/*) _filedir -d ;;
    esac
} &&
    complete -F _slidebox_cli slidebox-cli
