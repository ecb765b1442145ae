# Bash completion of the reelwright command: its commands, each command's options, and file
# names by extension: models (.ms3d, .gltf, .glb) for export, NIS files for dump, check, preview,
# import and compare, and a .script as the second file of check, preview and import. Installed as share/bash-completion/completions/reelwright; or
# source it from ~/.bashrc.

# Adds to COMPREPLY the folders and the files whose names end in "." and one of EXTENSIONS (in any
# letter case) that start with CUR; with no EXTENSIONS, every file.
_reelwright_files() {  # CUR EXTENSIONS...
  local cur=$1 path lower ext
  shift
  while IFS= read -r path; do
    if [[ -d $path || $# -eq 0 ]]; then
      COMPREPLY+=("$path")
      continue
    fi
    lower=${path,,}
    for ext; do
      if [[ $lower == *."$ext" ]]; then
        COMPREPLY+=("$path")
        break
      fi
    done
  done < <(compgen -f -- "$cur")
  # Folders get a slash and names are quoted as needed (only while bash is completing).
  compopt -o filenames 2>/dev/null || true
}

_reelwright() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    mapfile -t COMPREPLY < <(compgen -W "export dump check preview import compare --help --version" -- "$cur")
    return 0
  fi

  # The options of each command, and the file types of its file arguments in order (the last
  # type serves every later file).
  local options types
  case ${COMP_WORDS[1]} in
    export)
      options="-o --output --animation --log --report -f --force -q --quiet"
      types=("ms3d gltf glb")
      case $prev in
        -o | --output) _reelwright_files "$cur" nis; return 0 ;;
        --log | --report) _reelwright_files "$cur"; return 0 ;;
        --animation) return 0 ;;
      esac
      ;;
    dump) options="--json --keys --frames" types=("nis" "script") ;;
    check) options="--strict" types=("nis" "script") ;;
    preview)
      options="-o --output -f --force"
      types=("nis" "script")
      case $prev in
        -o | --output) _reelwright_files "$cur" html; return 0 ;;
      esac
      ;;
    import)
      options="-o --output -f --force"
      types=("nis" "script")
      case $prev in
        -o | --output) _reelwright_files "$cur" glb; return 0 ;;
      esac
      ;;
    compare)
      options="--imported --map"
      types=("nis")
      case $prev in
        --map) return 0 ;;
      esac
      ;;
    *) return 0 ;;
  esac
  # Which file argument this word is: count the file words before it, skipping options and the
  # values that follow -o, --output, --log, --report, --animation and --map; after "--" every word is a file.
  local i files=0 ended=0
  for ((i = 2; i < COMP_CWORD; i++)); do
    if ((ended)); then
      ((files++))
      continue
    fi
    case ${COMP_WORDS[i]} in
      --) ended=1 ;;
      -o | --output | --log | --report | --animation | --map) ((i++)) ;;
      -*) ;;
      *) ((files++)) ;;
    esac
  done
  if [[ $cur == -* ]] && ((!ended)); then
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
    return 0
  fi
  ((files < ${#types[@]})) || files=$((${#types[@]} - 1))
  # shellcheck disable=SC2086  # the type list is meant to split into words
  _reelwright_files "$cur" ${types[files]}
  return 0
}

complete -F _reelwright reelwright
