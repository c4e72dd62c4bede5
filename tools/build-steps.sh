# shellcheck shell=bash
# SPDX-License-Identifier: MIT
#
# The steps that ./run and ./test share: packages and build folders. Both source this file with the
# project's root as the current folder; everything is written below build/.

readonly buildPackages=(
  g++ cmake ninja-build flex bison gettext             # the program
  libgif-dev                                           # its status images
  nlohmann-json3-dev libsqlite3-dev libevent-dev       # the system manager
  libexpat1-dev libsodium-dev libcrypt-dev
  lighttpd lighttpd-modules-lua                        # the web server
)
# shellcheck disable=SC2034  # for those who source this file
readonly authorPackages=(libgumbo-dev libgettextpo-dev) # the author's tool
readonly services=(lighttpd nginx fcgiwrap) # of the packages of the same names
readonly policy=/usr/sbin/policy-rc.d # while this file exists, packages start no services

fail() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

asRoot() {
  if [[ $EUID -eq 0 ]]; then "$@"; else sudo "$@"; fi
}

# The services among these packages must not start at the next start of the machine either. Packages enable them
# also where systemd doesn't run.
keepServicesOff() {
  local service
  for service in "${services[@]}"; do
    if [[ " $* " != *" $service "* || ! -e /etc/init.d/$service ]]; then continue; fi
    asRoot update-rc.d "$service" disable >>build/packages.log 2>&1 || true
    asRoot rm -f -- /etc/systemd/system/*.wants/"$service".{service,socket}
    if compgen -G "/etc/rc[2-5].d/S*$service" >/dev/null; then fail "$service stays enabled, see build/packages.log"; fi
  done
}

# installMissing PACKAGE[:COMMAND] ...
# With a command, installs the package only if nothing else provides the command. Runs in a
# subshell, whose end removes the policy file.
installMissing() (
  local package there missing=() log=build/packages.log
  # The package may be installed for another architecture only.
  there=" $(dpkg-query -W -f='${db:Status-Status} ${Architecture} ${Package}\n' 2>/dev/null |
    sed -nE "s/^installed (all|$(dpkg --print-architecture)) //p" | tr '\n' ' ')" || true
  for package in "$@"; do
    if [[ $package == *:* ]]; then
      command -v "${package#*:}" >/dev/null || missing+=("${package%:*}")
    elif [[ $there != *" $package "* ]]; then
      missing+=("$package")
    fi
  done
  if [[ ${#missing[@]} -eq 0 ]]; then return; fi
  command -v apt-get >/dev/null || fail "missing: ${missing[*]} (and there is no apt-get to install them)"
  if [[ $EUID -ne 0 ]] && ! command -v sudo >/dev/null; then
    fail "missing: ${missing[*]} (run this as root once, or install sudo)"
  fi
  printf 'Installing %s ...\n' "${missing[*]}"
  # Debian would start a web server that is open to the network; only the programs are needed.
  trap 'exit 130' INT
  trap 'exit 143' TERM
  # However the installation ends.
  if [[ -e $policy ]]; then
    trap 'keepServicesOff "${missing[@]}"' EXIT
  else
    trap 'asRoot rm -f -- "$policy"; keepServicesOff "${missing[@]}"' EXIT
    printf '#!/bin/sh\nexit 101\n' | asRoot tee "$policy" >/dev/null
    asRoot chmod 755 "$policy"
  fi
  {
    asRoot apt-get -q update &&
    asRoot env DEBIAN_FRONTEND=noninteractive \
      apt-get -q -y --no-install-recommends install "${missing[@]}"
  } >"$log" 2>&1 </dev/null || { cat -- "$log" >&2; fail 'apt-get failed'; }
)

# The cache of a moved or copied tree points to its old place, and one of older presets may name another compiler, so
# CMake has to begin anew.
dropOldCache() {
  local home
  home=$(sed -n 's/^CMAKE_HOME_DIRECTORY:INTERNAL=//p' "$1/CMakeCache.txt" 2>/dev/null || true)
  if [[ -z $home ]]; then return; fi
  if [[ $home != "$PWD" || CMakePresets.json -nt $1/CMakeCache.txt ]]; then rm -rf -- "$1/CMakeCache.txt" "$1/CMakeFiles"; fi
}

# isConfigured FOLDER WORD...
# True if CMake configured the folder with these words and nobody has configured it since; ninja then starts CMake by
# itself where a file of the build system has changed.
isConfigured() {
  local folder=$1 note=$1/configured
  shift
  dropOldCache "$folder"
  [[ -e $folder/build.ninja && -e $folder/CMakeCache.txt && -e $note && ! $folder/CMakeCache.txt -nt $note &&
    $(<"$note") == "$*" ]]
}

# noteConfigured FOLDER WORD...   (after CMake has succeeded)
noteConfigured() {
  local folder=$1
  shift
  printf '%s\n' "$*" >"$folder/configured"
}

# The build folders have many objects in common; with ccache, each is compiled only once.
shareObjects() {
  if ! command -v ccache >/dev/null; then return; fi
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
  export CCACHE_DIR=${CCACHE_DIR:-$PWD/build/ccache} CCACHE_BASEDIR=${CCACHE_BASEDIR:-$PWD}
  export CCACHE_DEPEND=1 # what is new is not preprocessed twice
}
