#!/usr/bin/env bash
# The library as an integrator gets it, from a preset that is built already:
#
#   check.sh install PRESET    cmake --install into a temporary prefix, which is then moved;
#                              every installed header compiles, and two consumers, one
#                              through pkg-config and one through find_package(ZyraPdParser),
#                              read the gamma module of a binary the installed zyratune writes.
#   check.sh packages PRESET   the Debian packages (cpack): their architecture, lintian
#                              without errors (amd64), and, unpacked with dpkg-deb -x, the
#                              pkg-config consumer built and run against them; for aarch64
#                              with the cross compiler, under qemu-user.
#
# Both check that no installed file names this checkout, and the exported symbols of the
# installed library. Programs run with the installed files only: the consumers find the
# library through their run path, the tool and the library find theirs beside them.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
here=$root/tests/install
mode=$1
preset=$2
build=$root/build/$preset
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

libdir=$(sed -n 's/^CMAKE_INSTALL_LIBDIR:PATH=//p' "$build/CMakeCache.txt")
if [[ $preset == aarch64 ]]; then
  arch=arm64 cross=aarch64-linux-gnu-
  runner=(qemu-aarch64 -L /usr/aarch64-linux-gnu)
else
  arch=amd64 cross=
  runner=()
fi
expected='install_test_gamma: enable 1, 1 trigger(s), [1, 4] green 0 512 1024'

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

# No installed file names the checkout; the exported symbols of the installed library, the
# tool's bundled sample, and a tuning binary written by the installed tool.
check_tree() {
  local prefix=$1
  if grep -rlF "$root" "$prefix"; then
    fail "the installed files above name the checkout $root"
  fi
  python3 "$root/tests/abi/check_exports.py" "${cross}nm" \
    "$prefix/$libdir/libzyrapdparser.so.0" "$root/tests/abi/exported_symbols.txt"
  "${runner[@]}" "$prefix/bin/zyratune" inspect | grep -q '^file: .*/share/zyratune/sample.bin' ||
    fail "zyratune inspect does not find the installed sample"
  "${runner[@]}" "$prefix/bin/zyratune" build "$here/gamma.json" -o "$work/gamma.bin" >/dev/null
}

# Runs a consumer on the written binary and compares what it read.
check_reader() {
  local reader=$1 label=$2 out
  out=$("${runner[@]}" "$reader" "$work/gamma.bin" 2>"$work/reader.log") ||
    { cat "$work/reader.log" >&2; fail "$label consumer"; }
  [[ $out == "$expected" ]] || fail "$label consumer read '$out', expected '$expected'"
  echo "$label consumer: $out"
}

# Builds the consumer with nothing but what pkg-config tells about the tree under prefix.
pkg_config_reader() {
  local prefix=$1 output=$2
  local -a pc=(env PKG_CONFIG_LIBDIR="$prefix/$libdir/pkgconfig" PKG_CONFIG_PATH= pkg-config)
  # shellcheck disable=SC2046  # the flags are words
  "${cross}g++" -std=c++17 -O2 "$here/gamma_reader.cpp" -o "$output" \
    $("${pc[@]}" --cflags --libs zyrapdparser) \
    -Wl,-rpath,"$("${pc[@]}" --variable=libdir zyrapdparser)"
}

check_install() {
  cmake --install "$build" --prefix "$work/staged" >/dev/null
  mv "$work/staged" "$work/moved"
  local prefix=$work/moved
  check_tree "$prefix"

  # Every installed header compiles on its own include folder: the public set is closed.
  find "$prefix/include/zyrapdparser" -name '*.h' -printf '#include "%P"\n' >"$work/all.cpp"
  g++ -std=c++17 -fsyntax-only -I"$prefix/include/zyrapdparser" "$work/all.cpp"

  pkg_config_reader "$prefix" "$work/pkg-config-reader"
  check_reader "$work/pkg-config-reader" "pkg-config"
  cmake -S "$here" -B "$work/cmake-reader" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
  cmake --build "$work/cmake-reader" >/dev/null
  check_reader "$work/cmake-reader/gamma_reader" "find_package"
}

check_packages() {
  rm -rf "$build/packages"
  cpack --config "$build/CPackConfig.cmake" -B "$build/packages" >"$work/cpack.log" 2>&1 ||
    { cat "$work/cpack.log" >&2; fail "cpack"; }
  local debs=("$build/packages"/*.deb) deb
  [[ ${#debs[@]} == 4 ]] || fail "expected 4 packages, cpack wrote ${#debs[@]}"
  for deb in "${debs[@]}"; do
    [[ $(dpkg-deb -f "$deb" Architecture) == "$arch" ]] || fail "$deb is not for $arch"
    printf '%-44s %8d bytes  Depends: %s\n' "$(basename "$deb")" "$(stat -c %s "$deb")" \
      "$(dpkg-deb -f "$deb" Depends)"
    dpkg-deb -x "$deb" "$work/root"
  done
  if [[ $arch == amd64 ]]; then
    lintian --fail-on error "${debs[@]}" 2>/dev/null || fail "lintian found errors"
  else
    check_stated_depends
  fi
  check_tree "$work/root/usr"
  pkg_config_reader "$work/root/usr" "$work/pkg-config-reader"
  check_reader "$work/pkg-config-reader" "pkg-config ($arch packages)"
}

# The cross build states its dependencies by hand (cmake/ZyraPackaging.cmake): they must be
# what dpkg-shlibdeps finds for the same sources in the amd64 packages.
check_stated_depends() {
  local deb native
  for deb in "$build/packages"/*.deb; do
    native=$root/build/release/packages/$(basename "${deb%_arm64.deb}")_amd64.deb
    [[ -f $native ]] || fail "no $native to compare with: check the release packages first"
    [[ $(dpkg-deb -f "$deb" Depends) == "$(dpkg-deb -f "$native" Depends)" ]] ||
      fail "$(basename "$deb") depends on '$(dpkg-deb -f "$deb" Depends)', its amd64" \
        "package on '$(dpkg-deb -f "$native" Depends)'"
  done
}

case $mode in
  install) check_install ;;
  packages) check_packages ;;
  *) fail "usage: check.sh install|packages PRESET" ;;
esac
