# Shared by the scripts of this folder.

# Installs the Debian packages of its arguments that are not installed yet.
ensure_packages() {
  local package missing=()
  for package in "$@"; do
    dpkg-query -W -f '${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed ||
      missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  echo "installing ${missing[*]}" >&2
  local as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  quietly "${as_root[@]}" apt-get update
  quietly "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y --no-install-recommends "${missing[@]}"
}

# Runs a command and shows its output only when it fails.
quietly() {
  local output status=0
  output=$("$@" 2>&1) || status=$?
  [ $status -eq 0 ] || printf '%s\n' "$output" >&2
  return $status
}

# with_arm64_apt FOLDER COMMAND...: runs a command whose apt has a package state of its own, in the
# folder, and knows the architecture arm64 alone. The machine's own packages never see a second one.
with_arm64_apt() {
  local state=$1/apt
  shift
  mkdir -p "$state"/{lists,archives}/partial
  : >"$state/status"
  cat >"$state/conf" <<END_OF_CONF
APT::Architecture "arm64";
APT::Architectures { "arm64"; };
APT::Sandbox::User "root";
Acquire::Languages "none";
Acquire::Retries "3";
Dir::State "$state";
Dir::State::status "$state/status";
Dir::Cache "$state";
END_OF_CONF
  local -x APT_CONFIG=$state/conf
  apt-get -q update && "$@"
}
