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
