#!/usr/bin/env bash
# Builds the Debian packages, installs them and uses the SDK as an integrator would: the
# examples copied from the installed documentation into a clean folder, built there with
# find_package and with pkg-config and run on the simulator; a five-line capture in
# Python; the README's quick start word for word; the Python suite against the installed
# binding. Every roll must be good, from a fresh process. The packages stay installed.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
bash scripts/install-deps.sh dpkg-dev fakeroot file python3 python3-numpy python3-pytest \
  python3-venv lintian
SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"
PACKAGES=(liblivescannerkx2-1 liblivescannerkx2-dev livescannerkx2-simulator
          livescannerkx2-tools python3-livescannerkx2)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# Quiet steps; the output of one that fails is shown.
log=$work/log
quiet() { "$@" >"$log" 2>&1 || { cat "$log" >&2; echo "package test: failed: $*" >&2; exit 1; }; }

dir=build-pkg
opts=(-DCMAKE_INSTALL_PREFIX=/usr -DLSKX2_TESTS=OFF -DLSKX2_BENCH=OFF
      -DCMAKE_SKIP_INSTALL_ALL_DEPENDENCY=ON)
if command -v ccache >/dev/null; then
  export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$(dirname "$PWD")}" CCACHE_NOHASHDIR=1
  opts+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
fi
quiet cmake -S . -B "$dir" "${opts[@]}"
quiet cmake --build "$dir" -j"$(nproc)" --target livescannerkx2 lskx2 kxScanAPI \
  veltranofakefingerdetectionkx2
rm -f "$dir"/*.deb
quiet cpack -G DEB --config "$dir/CPackConfig.cmake" -B "$root/$dir"
debs=("$root/$dir"/*.deb)
echo "packages: ${debs[*]##*/}"
# Overrides travel in the packages, each with its reason.
lint=$(lintian --tag-display-limit 0 "${debs[@]}" 2>&1 | grep -v 'running with root privileges' || true)
[ -z "$lint" ] || { echo "$lint" >&2; echo "package test: lintian complains" >&2; exit 1; }

# A fresh install every time: rebuilt packages keep their version number.
installed=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" && installed+=("$p")
done
[ ${#installed[@]} -eq 0 ] || quiet $SUDO dpkg --purge "${installed[@]}"
quiet $SUDO env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
  "${debs[@]}"

fail() { echo "package test: $*" >&2; exit 1; }
has() { grep -q -- "$1" <<<"$2"; }  # <pattern> <text>, without a pipe that could break
simdir=$(pkg-config --variable=simulatordir livescannerkx2)
[ "$(livescannerkx2-sim)" = "$simdir" ] || fail "livescannerkx2-sim and pkg-config disagree"
[ -e "$simdir/libkxScanAPI.so" ] || fail "no simulator in $simdir"
[ -x /usr/bin/lskx2 ] || fail "no command-line program"
# Off the default path the simulator must not answer, so that a vendor library would.
query='import livescannerkx2 as kx2
try:
    print(kx2.query_scanners())
except kx2.Error as e:
    print(e.code)'
if ! has 'libkxScanAPI\.so' "$(/sbin/ldconfig -p)"; then
  has '^-200$' "$(/usr/bin/python3 -c "$query")" || fail "the SDK reached a device library by itself"
  # Without it the program names what is missing and the way to the simulator.
  status=0; msg=$(lskx2 list 2>&1) || status=$?
  [ $status -eq 1 ] && has 'libkxScanAPI\.so' "$msg" && has 'livescannerkx2-sim lskx2 list' "$msg" \
    || fail "lskx2 without a device library: $status $msg"
fi
has "^\['KX2 21234567'\]$" "$(livescannerkx2-sim /usr/bin/python3 -c "$query")" \
  || fail "the SDK does not see the simulator"

export VELTRANO_SDK_LOCK_DIR="$work/locks" PYTHONDONTWRITEBYTECODE=1
mkdir "$VELTRANO_SDK_LOCK_DIR"
cp -r /usr/share/doc/liblivescannerkx2-dev/examples "$work/src"

# Each example binary: linked against the installed library, captures on the simulator.
run_examples() {  # <folder of the binaries> <tag>
  for ex in plain_capture roll_capture; do
    has 'NEEDED.*liblivescannerkx2\.so\.1' "$(readelf -d "$1/$ex")" || fail "$ex: not linked"
    quiet livescannerkx2-sim "$1/$ex" "$work/$ex-$2.pgm"  # a roll that is not good fails
    [ "$(head -c 15 "$work/$ex-$2.pgm")" = $'P5\n800 750\n255' ] || fail "$ex: no image"
  done
}
quiet cmake -S "$work/src" -B "$work/with-cmake"
quiet cmake --build "$work/with-cmake"
run_examples "$work/with-cmake" cmake
quiet make -C "$work/src"
run_examples "$work/src" pkg-config

# The binding the package installed, not the source tree's.
cd "$work"
out=$(livescannerkx2-sim /usr/bin/python3 -c '
import livescannerkx2 as kx2
with kx2.Scanner() as scanner:
    plain = scanner.capture_plain()
kx2.save_png("plain.png", plain.image)
print(kx2.__file__, plain.finger)')
has '^/usr/lib/python3/.* True$' "$out" || fail "python: not the installed binding, or no finger"
has 'PNG image data, 800 x 750, 8-bit grayscale' "$(file plain.png)" || fail "python: no PNG"
echo "examples and the five-line Python capture ran on the simulator"

# The README's quick start, word for word, in an empty folder.
mkdir "$work/quick" && cd "$work/quick"
sed -n '/^## Quick start/,/^## /p' "$root/README.md" | sed -n '/^```sh$/,/^```$/p' | sed '1d;$d' \
  > "$work/quick.sh"
# Debian's python3, the one the binding is installed for, even where another comes first.
quick=$(PATH="/usr/bin:$PATH" bash -e "$work/quick.sh" 2>&1) || { echo "$quick" >&2; fail "quick start failed"; }
has 'roll finished after .*: 0 good roll' "$quick" || fail "quick start: C roll not good"
has '^plain finger: True$' "$quick" || fail "quick start: no plain finger in Python"
has '^roll: 0 ' "$quick" || fail "quick start: Python roll not good"
has '^roll_1: 0 ' "$quick" || fail "quick start: lskx2 roll not good"
[ -s examples/captures/report.html ] || fail "quick start: no report"
echo "the README's quick start gave good plain and rolled prints in C, Python and lskx2"

# pip into a virtual environment (offline here, so without build isolation).
cd "$work"
/usr/bin/python3 -m venv --system-site-packages venv
cp -r "$root/python" python-src  # the build leaves its files beside the sources
quiet venv/bin/pip install --no-build-isolation --no-index ./python-src
mkdir venv-run
out=$(livescannerkx2-sim venv/bin/python -m livescannerkx2 venv-run)
has 'roll: 0 good roll' "$out" || fail "python -m livescannerkx2: $out"
has "$work/venv/" "$(venv/bin/python -c 'import livescannerkx2; print(livescannerkx2.__file__)')" \
  || fail "pip did not install into the virtual environment"
livescannerkx2-sim /usr/bin/python3 -m pytest -q -p no:cacheprovider "$root/python/tests"
