# shellcheck shell=sh disable=SC2034 # the lists are for the scripts that source this
# Sourced by the other scripts: which Debian packages they need, and how missing ones get here.

build_packages="g++ cmake ninja-build libgtest-dev libasio-dev nlohmann-json3-dev libcli11-dev
    libfuse3-dev fuse3 libjpeg-dev libopenexr-dev libpng-dev libtiff-dev libxxhash-dev
    libcpp-httplib-dev pkg-config dpkg-dev file"
x86_packages="g++-multilib googletest"
clang_packages="clang libclang-rt-14-dev llvm"
completion_packages="tmux bash zsh fish" # without them the tests of completion are skipped
python_packages="pybind11-dev python3-dev python3-numpy python3-pytest mypy"
pip_packages="python3-pip python3-pkg-resources python3-setuptools python3-venv python3-wheel"
farm_packages="python3-dask python3-distributed python3-matplotlib" # without them their tests are skipped
web_packages="chromium chromium-driver python3-selenium" # of scripts/test-web, which is skipped without them
lint_packages="clang-format clang-tidy shellcheck python3"
docs_packages="doxygen"
hosts_packages="locales"
coverage_packages="gcovr"
valgrind_packages="valgrind"
large_packages="ffmpeg graphicsmagick tshark rsync python3-pil" # of a few tests, so that only .ci/run installs them
bench_packages="libbenchmark-dev"
rival_packages="nginx libcurl4-openssl-dev redis-server libhiredis-dev
    python3-requests python3-redis rclone" # optional, never installed

# Prints those of the packages in the lists that are not there, each with a blank before it.
missing_packages() {
    # shellcheck disable=SC2048 # each argument is a list of words
    for package in $*; do
        state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) || state=absent
        [ "$state" = installed ] || printf ' %s' "$package"
    done
}

# Installs those of the packages in the lists that are not there; apt is not asked for anything else, so
# that a machine without network or rights can work once it has them.
need_packages() {
    missing=$(missing_packages "$@")
    [ -n "$missing" ] || return 0

    as_root=
    if [ "$(id -u)" -ne 0 ]; then
        as_root=sudo
        if ! command -v sudo >/dev/null; then
            echo "Missing packages:$missing" >&2
            echo "Install them as root (apt-get install$missing), then run this again." >&2
            return 1
        fi
    fi
    echo "Installing$missing"
    $as_root apt-get update -qq
    # shellcheck disable=SC2086 # a list of words
    $as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get install -qq -y --no-install-recommends $missing </dev/null
}
