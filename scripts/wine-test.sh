#!/usr/bin/env bash
# The plug-in DLL under wine. Cross-builds Reelwright.dll for 32-bit Windows (what the modeller
# loads) and for 64-bit Windows, checks both DLLs' exports and imports, and runs the host
# harness of tests/wine with the 64-bit DLL under wine64 in a virtual X server: the object's
# four slots, the save dialog's request, the message boxes, the log window and its template,
# and for the bundled example and every sample model the NIS bytes, the .script and the log
# against the Linux command `reelwright`. The 32-bit DLL runs the same way when Debian's
# 32-bit wine (wine32:i386) is installed; otherwise it is checked statically only.
#
# Usage: scripts/wine-test.sh [--screenshot]
#   --screenshot  also saves the log window after the example's export as docs/log-window.png
#                 (installs x11-apps and netpbm for it)
# Needs no display and no input; exits non-zero on any failure.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
jobs=$(nproc)
wine64=/usr/lib/wine/wine64
wine32=/usr/lib/wine/wine
wineserver=/usr/lib/wine/wineserver
work=$root/build/wine-test
# 24-bit colour: with xvfb-run's default 8-bit screen wine draws far slower, and screenshots
# lose their colours.
xvfb=(xvfb-run -a -s "-screen 0 1024x768x24")
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="  # no Mono or Gecko prompts

fail() {
  echo "wine-test: FAILED: $*" >&2
  exit 1
}

# A Unix path as wine sees it on its drive Z:, which maps the Unix root.
winpath() {
  local path
  path=$(realpath -m "$1")
  printf 'Z:%s' "${path//\//\\}"
}

# ---- Inside the virtual display: the harness, and the screenshot while it pauses. ----
if [[ "${1:-}" == "--in-display" ]]; then
  shift
  loader=$1
  shift
  "$loader" "$@" &
  harness=$!
  if [[ -n "${RW_SCREENSHOT:-}" ]]; then
    waited=0
    while [[ ! -f $RW_READY && $waited -lt 3000 ]] && kill -0 "$harness" 2>/dev/null; do
      sleep 0.1
      waited=$((waited + 1))
    done
    if [[ -f $RW_READY ]]; then
      read -r x y w h <"$RW_READY"
      sleep 1  # let the window settle after the message box
      xwd -root -silent | xwdtopnm 2>/dev/null | pamcut -left "$x" -top "$y" -width "$w" -height "$h" |
        pnmtopng >"$RW_SCREENSHOT" || true
    fi
    touch "$RW_RELEASE"
  fi
  status=0
  wait "$harness" || status=$?
  "$wineserver" -k 2>/dev/null || true
  exit "$status"
fi

screenshot=""
if [[ "${1:-}" == "--screenshot" ]]; then
  screenshot=$root/docs/log-window.png
fi

scripts/setup-debian.sh --cross
if [[ -n $screenshot ]] && ! { command -v xwd && command -v xwdtopnm; } >/dev/null; then
  sudo=""
  [[ $(id -u) -ne 0 ]] && sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends x11-apps netpbm
fi

# ---- Builds: both DLLs with their harness, and the Linux command for reference outputs. ----
build_windows() {  # ARCH DIR
  echo "== cross-building Reelwright.dll for $1"
  cmake -S . -B "$2" -G Ninja -DCMAKE_BUILD_TYPE=Release -DREELWRIGHT_WERROR=ON \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-$1.cmake" >/dev/null
  cmake --build "$2" -j "$jobs" --target Reelwright msModelLib reelwright-wine-harness
}
build_windows i686 build/mingw32
build_windows x86_64 build/mingw64
echo "== building the Linux reference command"
cmake -S . -B build/linux-ref -G Ninja -DCMAKE_BUILD_TYPE=Release -DREELWRIGHT_WERROR=ON -DBUILD_TESTING=OFF >/dev/null
cmake --build build/linux-ref -j "$jobs" --target reelwright
reelwright=$root/build/linux-ref/cli/reelwright

# ---- Static checks of a DLL: format, the one undecorated export, only known imports. ----
check_dll() {  # OBJDUMP DLL FORMAT
  local dump exports dlls dll unknown
  dump=$("$1" -p "$2")
  grep -q "file format $3\$" <<<"$dump" || fail "$2 is not $3"
  exports=$(sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' <<<"$dump" | sed -n 's/^\s*\[ *[0-9]*\] //p')
  [[ "$exports" == "CreatePlugIn" ]] || fail "$2 exports [$exports], expected exactly CreatePlugIn undecorated"
  dlls=$(sed -n 's/^\s*DLL Name: //p' <<<"$dump" | tr 'A-Z' 'a-z' | sort)
  for dll in $dlls; do
    case $dll in
      msmodellib.dll | kernel32.dll | user32.dll | comdlg32.dll | gdi32.dll | advapi32.dll | msvcrt.dll) ;;
      *) fail "$2 imports $dll (only msModelLib.dll and system DLLs may be needed)" ;;
    esac
  done
  grep -qx msmodellib.dll <<<"$dlls" || fail "$2 does not import msModelLib.dll"
  # What it takes from msModelLib.dll: bare names, each one of host/msModelLib.def.
  unknown=$(sed -n '/DLL Name: msModelLib.dll/,/^$/p' <<<"$dump" | awk 'NR > 2 && NF >= 3 { print $NF }' |
    grep -vxF -f <(sed -n 's/^  \(ms[A-Za-z_]*\)$/\1/p' host/msModelLib.def) || true)
  [[ -z $unknown ]] || fail "$2 imports from msModelLib.dll names not in host/msModelLib.def: $unknown"
  echo "ok: $2: $3, exports CreatePlugIn, imports $(echo $dlls)"
}
echo "== static checks"
check_dll i686-w64-mingw32-objdump build/mingw32/bin/Reelwright.dll pei-i386
check_dll x86_64-w64-mingw32-objdump build/mingw64/bin/Reelwright.dll pei-x86-64

# ---- Models and their Linux reference outputs. ----
samples=${REELWRIGHT_SAMPLES:-$root/../shared/samples/ms3d}
models=("$root/examples/fleet.ms3d")
if compgen -G "$samples/*.ms3d" >/dev/null; then
  models+=("$samples"/*.ms3d)
elif [[ -n ${REELWRIGHT_REQUIRE_SAMPLES:-} ]]; then
  fail "sample models not found in $samples"
else
  echo "skipped: sample models not found in $samples (set REELWRIGHT_SAMPLES to their folder); exporting the example only"
fi
rm -rf "$work"
mkdir -p "$work/ref"
echo "== Linux reference outputs"
# A model whose export logs an error (bones without keys) fails the command, which then places
# no NIS file or script but still writes its log; the plug-in writes all three, as it always has.
# For such a model only the logs are compared.
logged_error=" "
for model in "${models[@]}"; do
  name=$(basename "$model" .ms3d)
  status=0
  "$reelwright" export "$model" -o "$work/ref/$name.nis" --log "$work/ref/$name.log" -f -q >/dev/null 2>&1 || status=$?
  if [[ $status -eq 1 ]] && grep -q '^ERROR' "$work/ref/$name.log"; then
    logged_error+="$name "
  elif [[ $status -ne 0 ]]; then
    fail "reelwright export $model (exit $status)"
  fi
done

# ---- One architecture under wine: prefix, harness, comparisons. ----
run_under_wine() {  # LABEL LOADER WINEARCH BUILD_DIR
  local label=$1 loader=$2 arch=$3 bin=$root/$4/bin
  local prefix=$root/build/wineprefix-$label out=$work/$label
  export WINEPREFIX=$prefix WINEARCH=$arch
  # A wine server left from an interrupted run would still talk to its old, gone display.
  [[ -d $prefix ]] && "$wineserver" -k 2>/dev/null || true
  if [[ ! -f $prefix/system.reg ]]; then
    echo "== initialising the wine prefix $prefix"
    "${xvfb[@]}" sh -c "'$loader' wineboot --init && '$wineserver' -w" >"$prefix.log" 2>&1 ||
      { cat "$prefix.log"; fail "wineboot in $prefix"; }
  fi
  # Windows open inside one wine desktop window. Without a window manager wine's top-level
  # windows lose their captions and frames in Xvfb, and every repaint costs X round trips;
  # in its own desktop wine draws frames itself, and faster.
  if ! grep -q '^\[Software\\\\Wine\\\\Explorer\\\\Desktops\]' "$prefix/user.reg"; then
    "${xvfb[@]}" sh -c "'$loader' reg add 'HKCU\\Software\\Wine\\Explorer' /v Desktop /d Default /f &&
      '$loader' reg add 'HKCU\\Software\\Wine\\Explorer\\Desktops' /v Default /d 1024x768 /f &&
      '$wineserver' -w" >>"$prefix.log" 2>&1 || { cat "$prefix.log"; fail "virtual desktop in $prefix"; }
  fi
  mkdir -p "$out/run"
  local args=("$(winpath "$out/run")")
  local model name
  for model in "${models[@]}"; do
    name=$(basename "$model" .ms3d)
    args+=(--export "$(winpath "$model")" "$(winpath "$out/$name.nis")")
    if [[ -n $screenshot && $name == fleet ]]; then
      args+=(--pause "$(winpath "$out/ready")" "$(winpath "$out/release")")
    fi
  done

  echo "== harness with the $label DLL under wine"
  local status=0
  RW_SCREENSHOT=$([[ -n $screenshot && $label == x86_64 ]] && echo "$out/log-window.png" || true) \
    RW_READY=$out/ready RW_RELEASE=$out/release \
    timeout 1800 "${xvfb[@]}" "$0" --in-display "$loader" "$bin/reelwright-wine-harness.exe" "${args[@]}" || status=$?
  [[ $status -eq 0 ]] || fail "the harness with the $label DLL (exit $status)"

  echo "== $label outputs against the Linux command"
  for model in "${models[@]}"; do
    name=$(basename "$model" .ms3d)
    if [[ $logged_error != *" $name "* ]]; then
      cmp "$work/ref/$name.nis" "$out/$name.nis" || fail "$name.nis differs from the Linux command's"
      # The script file is written in text mode: on Windows each LF goes out as CR LF.
      perl -pe 's/\n/\r\n/' "$work/ref/$name.script" | cmp - "$out/$name.script" ||
        fail "$name.script differs from the Linux command's (after LF -> CR LF)"
    fi
    # The logs name the output paths, and the run's seconds differ.
    cmp <(DIR="$work/ref/" perl -pe 's/\Q$ENV{DIR}\E/<out>\//g; s/(Export took about )\d+/${1}N/' "$work/ref/$name.log") \
      <(DIR="$(winpath "$out")\\" perl -pe 's/\Q$ENV{DIR}\E/<out>\//g; s/(Export took about )\d+/${1}N/' "$out/$name.nis.log") ||
      fail "the log window's text for $name differs from the Linux command's log"
    if [[ $logged_error == *" $name "* ]]; then
      echo "ok: $name: the export logs an error; log identical but for paths and seconds"
    else
      echo "ok: $name: NIS identical, script identical but for CR LF, log identical but for paths and seconds"
    fi
  done
  if [[ -n $screenshot && $label == x86_64 ]]; then
    [[ -s $out/log-window.png ]] || fail "no screenshot taken"
    cp "$out/log-window.png" "$screenshot"
    echo "saved $screenshot"
  fi
}

run_under_wine x86_64 "$wine64" win64 build/mingw64
if [[ -x $wine32 ]]; then
  run_under_wine i686 "$wine32" win32 build/mingw32
else
  echo "note: 32-bit wine (wine32:i386) is not installed: the i686 DLL was checked statically only"
fi
echo "wine-test: all checks passed"
