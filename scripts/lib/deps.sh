# Installs the build and test tools when a command or package is missing.
# Sourced by the scripts; apt-get runs only when something is absent.

# The host platform's IP stack and update services use OpenSSL and libcurl;
# the end-to-end tests start their peers with socat, openssl, Python's servers
# and mosquitto, on the loopback interface.
tandrel_packages=(cmake ninja-build g++ clang libgtest-dev libgmock-dev googletest
                  libbenchmark-dev python3 libssl-dev libcurl4-openssl-dev openssl socat
                  python3-pyftpdlib python3-aiosmtpd mosquitto mosquitto-clients)

tandrel_install_deps() {
    local missing=()
    local p
    for p in "${tandrel_packages[@]}" "$@"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "installing: ${missing[*]}" >&2
    local sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    $sudo apt-get update >&2
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends "${missing[@]}" >&2
}
