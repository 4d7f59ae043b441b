#!/usr/bin/env bash
# Checks the Debian package as Debian checks packages (lintian, the desktop
# entry and AppStream validators, the manual pages' renderer), then that what
# it holds works from wherever it is unpacked, without LD_LIBRARY_PATH:
#   tests/package/check.sh build/release/package/qz62_<version>_<arch>.deb
# Ends with "N passed, N failed"; exits 1 when any check failed.
set -uo pipefail
deb="$(realpath "$1")"
source_dir="$(cd "$(dirname "$0")/../.." && pwd)"
scratch="$(mktemp -d)"
sim_pid=""
cleanup() {
  [[ -n "$sim_pid" ]] && kill "$sim_pid" 2>/dev/null
  rm -rf "$scratch"
}
trap cleanup EXIT
root="$scratch/root"
passed=0
failed=0
check() { # check NAME COMMAND...: passes when the command succeeds
  local name="$1"
  shift
  local out
  if out="$("$@" 2>&1)"; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    echo "FAIL: $name"
    [[ -n "$out" ]] && sed 's/^/    /' <<<"$out"
  fi
}

# --- as Debian checks packages
echo "== lintian"
lintian --info --fail-on error "$deb"
lintian_status=$?
if ((lintian_status == 0)); then passed=$((passed + 1)); else
  failed=$((failed + 1))
  echo "FAIL: lintian reports errors"
fi

dpkg-deb -x "$deb" "$root"
version="$(dpkg-deb -f "$deb" Version)"
desktop="$root/usr/share/applications/qz62.desktop"
metainfo="$(echo "$root"/usr/share/metainfo/*.metainfo.xml)"
check "desktop entry validates" desktop-file-validate "$desktop"
check "AppStream metadata validates" appstreamcli validate --no-net "$metainfo"

# --- what the package holds: exactly these files (the unit's own data and
# sample pictures stay out), with the libraries in their private folder.
allowed=(
  usr/bin/qz62 usr/bin/qz62ctl usr/bin/qz62-sim
  'usr/lib/qz62/libqz62*.so'
  usr/share/applications/qz62.desktop
  usr/share/icons/hicolor/scalable/apps/qz62.svg
  'usr/share/metainfo/*.metainfo.xml'
  usr/share/man/man1/qz62.1.gz usr/share/man/man1/qz62ctl.1.gz usr/share/man/man1/qz62-sim.1.gz
  usr/share/doc/qz62/copyright usr/share/doc/qz62/changelog.gz
  usr/share/bash-completion/completions/qz62ctl
  lib/udev/rules.d/70-qz62.rules
)
contents() {
  local unexpected=() missing=() path pattern found
  while IFS= read -r path; do
    found=0
    for pattern in "${allowed[@]}"; do
      # shellcheck disable=SC2053 # the pattern is a glob on purpose
      [[ "$path" == $pattern ]] && found=1
    done
    ((found)) || unexpected+=("$path")
  done < <(cd "$root" && find . -type f -o -type l | sed 's|^\./||' | sort)
  for pattern in "${allowed[@]}"; do
    compgen -G "$root/$pattern" >/dev/null || missing+=("$pattern")
  done
  ((${#unexpected[@]})) && echo "not expected: ${unexpected[*]}"
  ((${#missing[@]})) && echo "missing: ${missing[*]}"
  ((${#unexpected[@]} + ${#missing[@]} == 0))
}
check "package holds exactly the expected files" contents

# --- the libraries are found through the run paths inside the unpacked tree
runpath() { # runpath FILE EXPECTED
  local got
  got="$(readelf -d "$1" | sed -n 's/.*(RUNPATH).*\[\(.*\)\]/\1/p')"
  [[ "$got" == "$2" ]] || { echo "$1: run path '$got', expected '$2'"; return 1; }
}
resolved_inside() { # every project library a program needs comes from the package
  local out name path status=0
  out="$(env -u LD_LIBRARY_PATH ldd "$1")" || return 1
  if grep -q "not found" <<<"$out"; then grep "not found" <<<"$out"; return 1; fi
  while read -r name path; do
    [[ "$(realpath "$path")" == "$root/usr/lib/qz62/$name" ]] || { echo "$name => $path"; status=1; }
  done < <(sed -n 's/^\s*\(libqz62[^ ]*\) => \(.*\) (0x.*/\1 \2/p' <<<"$out")
  return $status
}
for program in qz62 qz62ctl qz62-sim; do
  check "$program run path" runpath "$root/usr/bin/$program" '$ORIGIN/../lib/qz62'
  check "$program finds its libraries in the package" resolved_inside "$root/usr/bin/$program"
done
for library in "$root"/usr/lib/qz62/*.so; do
  check "$(basename "$library") run path" runpath "$library" '$ORIGIN'
done
depends="$(dpkg-deb -f "$deb" Depends)"
check "dependencies come from the libraries used" \
  bash -c '[[ "$1" == *libqt6widgets6* && "$1" == *libc6* && "$1" != *qz62* ]] || echo "$1"' _ "$depends"

# --- the unpacked programs run
bin="$root/usr/bin"
mkdir -m 700 "$scratch/run"
run() { env -u LD_LIBRARY_PATH QT_QPA_PLATFORM=offscreen XDG_RUNTIME_DIR="$scratch/run" "$@"; }
equals() { [[ "$1" == "$2" ]] || { echo "got '$1', expected '$2'"; return 1; }; }
check "qz62ctl --version" equals "$(run "$bin/qz62ctl" --version 2>&1)" "qz62ctl $version"
check "qz62 --version" equals "$(run "$bin/qz62" --version 2>&1)" "qz62 $version"
sim_help="$(run "$bin/qz62-sim" --help 2>&1)"
check "qz62-sim --help" grep -q '^usage: qz62-sim' <<<"$sim_help"
check "changelog names the package's version" equals \
  "$(dpkg-parsechangelog -l "$source_dir/packaging/changelog" -S Version)" "$version"
check "AppStream metadata names the package's version" \
  grep -q "<release version=\"$version\"" "$metainfo"

# The simulated unit and the tool, both from the package, talk to each other.
coproc SIM { exec env -u LD_LIBRARY_PATH "$bin/qz62-sim" 2>&1; }
sim_pid=$SIM_PID
pty=""
read -r -t 10 pty <&"${SIM[0]}"
check "qz62ctl probe finds qz62-sim" equals "$(run "$bin/qz62ctl" probe --port "$pty" 2>&1)" "$pty"
kill "$sim_pid" 2>/dev/null && wait "$sim_pid" 2>/dev/null
sim_pid=""

# --- manual pages render cleanly and name every option and command
rendered() { LC_ALL=C.UTF-8 MANWIDTH=100 man -l "$root/usr/share/man/man1/$1.1.gz" 2>/dev/null | col -b; }
renders_cleanly() {
  local warnings
  warnings="$(LC_ALL=C.UTF-8 man --warnings -E UTF-8 -l -Tutf8 -Z "$1" 2>&1 >/dev/null)"
  [[ -z "$warnings" ]] || { echo "$warnings"; return 1; }
  [[ -n "$(man -l "$1" 2>/dev/null)" ]]
}
names_every() { # names_every PAGE WORD...
  local page="$1" text word missing=()
  shift
  text="$(rendered "$page")"
  for word in "$@"; do grep -q -F -e "$word" <<<"$text" || missing+=("$word"); done
  ((${#missing[@]} == 0)) || { echo "$page(1) lacks: ${missing[*]}"; return 1; }
}
# A command is named where an entry begins with it, not merely in the text.
names_every_command() { # names_every_command PAGE COMMAND...
  local page="$1" text word missing=()
  shift
  text="$(rendered "$page")"
  for word in "$@"; do grep -q -E -e "^ +$word( |\$)" <<<"$text" || missing+=("$word"); done
  ((${#missing[@]} == 0)) || { echo "$page(1) has no entry for: ${missing[*]}"; return 1; }
}
options_of() { grep -o -E -- '--[a-z0-9][a-z0-9-]*' | sort -u; }
for page in "$root"/usr/share/man/man1/*.1.gz; do
  check "$(basename "$page") renders without warnings" renders_cleanly "$page"
done
mapfile -t app_options < <(run "$bin/qz62" --help 2>&1 | options_of)
check "qz62(1) names every option" names_every qz62 "${app_options[@]}"
mapfile -t sim_options < <(options_of <<<"$sim_help")
check "qz62-sim(1) names every option" names_every qz62-sim "${sim_options[@]}"
# qz62ctl's commands are the first words of its usage lines; each command's
# options are those its own help names.
mapfile -t ctl_commands < <(run "$bin/qz62ctl" --help | sed -n 's/^  \([a-z][a-z-]*\).*/\1/p' | sort -u)
options_of_command() { run "$bin/qz62ctl" "$1" --help | options_of; }
mapfile -t ctl_options < <({
  run "$bin/qz62ctl" --help
  for command in "${ctl_commands[@]}"; do run "$bin/qz62ctl" "$command" --help; done
} | options_of | sort -u)
helps_exit_zero() {
  local command failed=()
  for command in "${ctl_commands[@]}"; do
    run "$bin/qz62ctl" "$command" --help >/dev/null 2>&1 || failed+=("$command")
  done
  ((${#failed[@]} == 0)) || { echo "--help fails for: ${failed[*]}"; return 1; }
}
check "qz62ctl has commands" test "${#ctl_commands[@]}" -ge 10
check "qz62ctl COMMAND --help exits 0 for every command" helps_exit_zero
check "qz62ctl(1) has an entry for every command" names_every_command qz62ctl "${ctl_commands[@]}"
check "qz62ctl(1) names every option" names_every qz62ctl "${ctl_options[@]}"

# --- bash completion offers every command
completion="$root/usr/share/bash-completion/completions/qz62ctl"
completes_commands() {
  local offered word missing=()
  offered="$(bash -c 'source "$1"; COMP_WORDS=(qz62ctl ""); COMP_CWORD=1; _qz62ctl
    printf "%s\n" "${COMPREPLY[@]}"' _ "$completion")" || return 1
  for word in "${ctl_commands[@]}"; do grep -q -x -F -e "$word" <<<"$offered" || missing+=("$word"); done
  ((${#missing[@]} == 0)) || { echo "not completed: ${missing[*]}"; return 1; }
}
check "bash completion offers every qz62ctl command" completes_commands
completes_options() {
  local command offered word missing=()
  for command in "${ctl_commands[@]}"; do
    offered="$(bash -c 'source "$1"; COMP_WORDS=(qz62ctl "$2" -); COMP_CWORD=2; _qz62ctl
      printf "%s\n" "${COMPREPLY[@]}"' _ "$completion" "$command")" || return 1
    for word in $(options_of_command "$command"); do
      grep -q -x -F -e "$word" <<<"$offered" || missing+=("$command $word")
    done
  done
  ((${#missing[@]} == 0)) || { echo "not completed: ${missing[*]}"; return 1; }
}
check "bash completion offers every option of every qz62ctl command" completes_options

echo "package: $passed passed, $failed failed"
((failed == 0))
