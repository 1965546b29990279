# shellcheck shell=bash
# Sourced by the other scripts: need PACKAGE... installs missing Debian packages.

need() {
    if ! command -v dpkg-query >/dev/null; then
        echo "not a Debian system: make sure of the equivalents of $*"
        return
    fi
    local package missing=() sudo=()
    for package; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
            missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    echo "installing ${missing[*]}"
    [ "$(id -u)" -eq 0 ] || sudo=(sudo)
    "${sudo[@]}" apt-get -qq update </dev/null
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get -qq install --yes --no-install-recommends "${missing[@]}" </dev/null >/dev/null
}
