# Sourced by the other scripts: makes sure the Debian packages that the build
# and the tests need are installed, installing them when run as root.
KINETRA_PACKAGES="cmake g++ make libgtest-dev libbenchmark-dev octave liboctave-dev"

kinetra_setup() {
    local missing=""
    for package in $KINETRA_PACKAGES; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing="$missing $package"
    done
    # The demo's pictures are drawn by gnuplot; any of Debian's gnuplot builds will do.
    command -v gnuplot >/dev/null 2>&1 || missing="$missing gnuplot-nox"
    [ -z "$missing" ] && return 0
    echo "kinetra: installing missing packages:$missing"
    if [ "$(id -u)" -ne 0 ] || ! command -v apt-get >/dev/null 2>&1; then
        echo "kinetra: please run: apt-get install -y$missing" >&2
        return 1
    fi
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq >/dev/null || { echo "kinetra: apt-get update failed; run: apt-get install -y$missing" >&2; return 1; }
    apt-get install -y -qq $missing >/dev/null || { echo "kinetra: please run: apt-get install -y$missing" >&2; return 1; }
}
