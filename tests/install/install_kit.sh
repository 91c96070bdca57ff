#!/usr/bin/env bash
# Installs the core from a build tree into a temporary prefix and builds the template
# plug-in against it out of tree, once with find_package(Korvane) and once with
# pkg-config, as a plug-in author does; each build is put into the installed plug-in
# directory, where the installed korvane tool must find and load it with nothing set in
# the environment and run its operator and storage.
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

korvane=$prefix/bin/korvane
[ -x "$korvane" ] || fail "the korvane tool is not installed in bin/"

# samples FILE: the samples of a TemplateGrey file (after its one header line), one
# decimal number per line.
samples() { tail -n +2 "$1" | od -An -v -tu1 | tr -s ' ' '\n' | sed '/^$/d'; }

# check NAME: the installed tool, with nothing set in the environment, must list the
# template plug-in as installed and run its operator and storage behind the simulated
# camera (once reached through its model name, which only the installed
# data/Cameras/Alias.txt maps to SimCamera): each inverted sample is 255 minus the
# plain one.
check() {
    local output
    output=$("$korvane" plugins) || { echo "$output"; fail "$1: korvane plugins failed"; }
    echo "$output"
    local plugins
    plugins=$(sed -n 's/^Modules (PLUGIN_PATH: \(.*\))$/\1/p' <<<"$output")
    [ "$(cd "$plugins" && pwd -P)" = "$(cd "$prefix/plugins" && pwd -P)" ] ||
        fail "$1: the installed tool looks in '$plugins', not in $prefix/plugins"
    grep -qE "^ *installed +${plugins}TemplatePlugin.so$" <<<"$output" ||
        fail "$1: TemplatePlugin.so was not installed by the loader"
    "$korvane" plugins TemplateInvert | grep -qF "Inverts the samples of 8-bit grey images." ||
        fail "$1: korvane plugins TemplateInvert does not describe the operator"
    rm -rf "$work/frames"
    (cd "$work" &&
        "$korvane" launch 'SimCamera Width=16 Height=8 ! TemplateGrey File=frames/plain_%d.tgrey' -n 2 &&
        "$korvane" launch 'SimCam-1 Width=16 Height=8 ! TemplateInvert ! TemplateGrey File=frames/inverted_%d.tgrey' -n 2) ||
        fail "$1: korvane launch with the template operator and storage failed"
    local frame
    for frame in 0 1; do
        [ "$(head -n 1 "$work/frames/inverted_$frame.tgrey")" = "TGREY 16 8" ] ||
            fail "$1: frame $frame has no 16x8 TGREY header"
        diff <(samples "$work/frames/plain_$frame.tgrey" | awk '{print 255 - $1}') \
            <(samples "$work/frames/inverted_$frame.tgrey") >/dev/null ||
            fail "$1: TemplateInvert did not invert frame $frame"
    done
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
