#!/usr/bin/env bash
# Installs the core from a build tree into a temporary prefix and builds the template
# plug-in against it out of tree, once with find_package(Korvane) and once with
# pkg-config, as a plug-in author does; each build is put into the installed plug-in
# directory and must be found and loaded by the installed library with nothing set in
# the environment, its operator created and its storage used.
# Usage: install_kit.sh CMAKE BUILD_DIR SOURCE_DIR WORK_DIR
set -euo pipefail
cmake=$1 build=$2 source=$3 work=$4
prefix=$work/prefix
rm -rf "$work"
mkdir -p "$work"
unset KORVANE_PATH PLUGIN_PATH DATA_PATH BIN_PATH LOG_PATH CONFIG_PATH PKG_CONFIG_PATH DESTDIR

fail() { echo "FAILED: $*" >&2; exit 1; }

echo "== install into $prefix"
"$cmake" --install "$build" --prefix "$prefix" >"$work/install.log"
[ -d "$prefix/plugins" ] && [ -d "$prefix/data" ] || fail "no plugins/ or data/ beside lib/"
[ -f "$prefix/lib/libKorvaneCore.so.1.4.2" ] || fail "library not installed as lib/libKorvaneCore.so.1.4.2"
[ "$(readlink "$prefix/lib/libKorvaneCore.so")" = libKorvaneCore.so.1 ] || fail "no link libKorvaneCore.so"
objdump -p "$prefix/lib/libKorvaneCore.so.1.4.2" | grep -q "SONAME *libKorvaneCore.so.1$" ||
    fail "soname is not libKorvaneCore.so.1"
# Exactly the public headers, nothing from src/.
diff <(cd "$source/include" && find korvane -name '*.h' | sort) \
    <(cd "$prefix/include" && find . -type f | sed 's|^\./||' | sort) ||
    fail "installed headers differ from include/korvane"

echo "== build the check host against the package"
"$cmake" -S "$source/tests/install/host" -B "$work/host" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
"$cmake" --build "$work/host" >/dev/null

# check NAME: runs the check host; the installed plug-in must be loaded and usable.
# The host tool's plug-in listing and launch can take the check host's place here.
check() {
    local output
    output=$(cd "$work" && "$work/host/check_plugins" --operator TemplateInvert \
        --round-trip "$work/check.tgrey") || { echo "$output"; fail "$1: check host failed"; }
    echo "$output"
    grep -qxF "PLUGIN_PATH $prefix/lib/../plugins/" <<<"$output" ||
        fail "$1: the installed library does not look in $prefix/plugins"
    grep -qxF "$prefix/lib/../plugins/TemplatePlugin.so: installed" <<<"$output" ||
        fail "$1: TemplatePlugin.so was not installed by the loader"
    grep -qxF "TemplateInvert: Inverts the samples of 8-bit grey images." <<<"$output" ||
        fail "$1: operator TemplateInvert cannot be created"
    grep -qxF "TemplateInvert: 0 4 8 12 -> 255 251 247 243" <<<"$output" ||
        fail "$1: operator TemplateInvert did not invert an image in a process"
}

echo "== template with find_package(Korvane)"
cp -r "$source/examples/plugin-template" "$work/with-cmake"
"$cmake" -S "$work/with-cmake" -B "$work/with-cmake/build" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
"$cmake" --build "$work/with-cmake/build" >/dev/null
"$cmake" --install "$work/with-cmake/build" --prefix "$prefix" >/dev/null
check find_package
# Hidden visibility: the entry points are the module's only exported functions besides
# the standard library's, whose headers keep them visible (inline functions of the
# core's headers would show as weak ones).
exported=$(nm -D --defined-only "$prefix/plugins/TemplatePlugin.so" |
    awk '($2 == "T" || $2 == "W") && $3 !~ /^_ZN?K?St/ {print $3}' | sort)
[ "$exported" = $'korvPluginInit\nkorvPluginOrganizer' ] || fail "exported functions: $exported"
rm "$prefix/plugins/TemplatePlugin.so"

echo "== template with pkg-config"
cp -r "$source/examples/plugin-template" "$work/with-pkg-config"
PKG_CONFIG_PATH="$prefix/lib/pkgconfig" make -s -C "$work/with-pkg-config" install
check pkg-config
echo "== the installed core builds and loads the template both ways"
