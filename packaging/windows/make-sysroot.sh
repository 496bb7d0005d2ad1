#!/bin/sh
# make-sysroot.sh OUTPUT_DIR
#
# Builds Qt, Qwt and OpenSSL for 64-bit Windows (KVG_WINDOWS_SYSROOT of cmake/windows.cmake) from
# the source packages of the running Debian. Needs no root and leaves apt's configuration and state.
# OUTPUT_DIR appears when it is complete; it may be moved. If it exists already, nothing is done:
# remove it to build newer sources. OUTPUT_DIR.work holds finished stages and logs of an incomplete
# build, and the next call continues there.
set -eu

say() { printf '%s\n' "make-sysroot: $*" >&2; }
fail() { say "$*"; exit 1; }

[ $# -eq 1 ] || fail "usage: make-sysroot.sh OUTPUT_DIR"
case $1 in
/*) out=$1 ;;
*) out=$PWD/$1 ;;
esac
out=${out%/}
case $out in
*[!A-Za-z0-9/._+-]*) fail "the makefiles of Qt and OpenSSL do not work in a folder of this name: $out" ;;
esac
work=$out.work
target=x86_64-w64-mingw32
keyring=/usr/share/keyrings/debian-archive-keyring.gpg
# Only the system's folders, so that no other perl or compiler is used.
PATH=/usr/bin:/bin:/usr/sbin:/sbin
export PATH LC_ALL=C.UTF-8

if [ -e "$out/lib/cmake/Qt5/Qt5Config.cmake" ]; then
    rm -rf "$work" # left by a run that was killed while it cleaned up
    exit 0
fi
[ ! -e "$out" ] || fail "$out exists, but is no sysroot; remove it or name another folder"

missing=
need() {
    package=$1
    shift
    for tool in "$@"; do
        command -v "$tool" >/dev/null 2>&1 || [ -e "$tool" ] || missing="$missing
  $tool (package $package)"
    done
}
need apt apt-get apt-cache apt-config
need debian-archive-keyring "$keyring"
need dpkg-dev dpkg-source dpkg-parsechangelog
need patch patch
need xz-utils xz
need perl perl
need make make
need cmake cmake
need g++ gcc g++
need tcl tclsh
need binutils strip
need util-linux flock
need binutils-mingw-w64-x86-64 $target-ar $target-ld $target-strip $target-windres
need gcc-mingw-w64-x86-64-posix $target-gcc-posix
need g++-mingw-w64-x86-64-posix $target-g++-posix
need gcc-mingw-w64-x86-64-posix-runtime /usr/share/doc/gcc-mingw-w64-x86-64-posix-runtime/copyright
need mingw-w64-x86-64-dev /usr/share/doc/mingw-w64-x86-64-dev/copyright
[ -z "$missing" ] || fail "not on this machine:$missing"
codename=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
[ -n "$codename" ] || fail "/etc/os-release names no release of Debian"

mkdir -p "$work"
# The compilers hold the lock too: one may outlive this shell and must not meet a second run.
exec 9>"$work/lock"
flock -n 9 || fail "another run works in $work"
mkdir -p "$work/logs"

# stage NAME WHAT: runs the function NAME once. After an interruption it starts anew, because make
# would use object files that were written in part.
stage() {
    [ ! -e "$work/$1.done" ] || return 0
    say "$2 (log: $work/logs/$1.log)"
    # Not "||": it would disable "set -e" in the function.
    set +e
    (set -eu; "$1") >"$work/logs/$1.log" 2>&1 </dev/null
    status=$?
    set -e
    if [ $status -ne 0 ]; then
        tail -n 30 "$work/logs/$1.log" >&2
        fail "failed, see $work/logs/$1.log"
    fi
    touch "$work/$1.done"
}

# Runs a command with a clean environment: many variables change the builds of Qt and OpenSSL.
clean() {
    env -i PATH="$work/tools:$PATH" HOME="$work" TMPDIR="${TMPDIR:-/tmp}" LC_ALL="$LC_ALL" \
        SOURCE_DATE_EPOCH="$epoch" "$@"
}

# unpack PACKAGE DIR: with Debian's patches. The date of the changelog goes into the binaries.
unpack() {
    rm -rf "$2"
    dpkg-source -x "$work/src/$1"_*.dsc "$2"
    epoch=$(dpkg-parsechangelog -l "$2/debian/changelog" -S Timestamp)
}

# Prints apt's entries for "main": address, suite, keyring. sources() makes deb-src entries of those
# for this release; it uses Debian's keyring and skips entries with another one.
source_entries() {
    eval "$(apt-config shell list Dir::Etc::sourcelist/f parts Dir::Etc::sourceparts/d)"
    # shellcheck disable=SC2154  # apt-config sets them
    for file in "$list" "$parts"*.list; do
        [ ! -f "$file" ] || awk '
            { sub(/#.*/, "") }
            $1 == "deb" {
                at = 2
                options = ""
                if ($at ~ /^\[/) {
                    while (at < NF && $at !~ /\]$/)
                        options = options " " $(at++)
                    options = options " " $(at++)
                    gsub(/[][]/, " ", options)
                }
                key = ""
                count = split(options, option, " ")
                for (i = 1; i <= count; i++)
                    if (sub(/^signed-by=/, "", option[i]))
                        key = option[i]
                for (i = at + 2; i <= NF; i++)
                    if ($i == "main")
                        print $at, $(at + 1), key
            }' "$file"
    done
    for file in "$parts"*.sources; do
        [ ! -f "$file" ] || awk '
            function has(name, word) { return (" " field[name] " ") ~ ("[ \t]" word "[ \t]") }
            function finish() {
                if (has("types", "deb") && has("components", "main") &&
                    tolower(field["enabled"]) !~ /^[ \t]*(no|false|off|0)[ \t]*$/) {
                    uris = split(field["uris"], uri, " ")
                    suites = split(field["suites"], suite, " ")
                    for (i = 1; i <= uris; i++)
                        for (j = 1; j <= suites; j++)
                            print uri[i], suite[j], field["signed-by"]
                }
                split("", field)
            }
            /^#/ { next }
            /^[ \t]*$/ { finish(); next }
            /^[ \t]/ { field[name] = field[name] " " $0; next }
            {
                at = index($0, ":")
                name = tolower(substr($0, 1, at - 1))
                field[name] = substr($0, at + 1)
            }
            END { finish() }' "$file"
    done
}

sources() {
    rm -rf "$work/apt" "$work/src"
    mkdir -p "$work/apt/lists/partial" "$work/apt/cache/archives/partial" "$work/src"
    source_entries | awk -v release="$codename" -v keyring="$keyring" '
        ($2 == release || $2 == release "-updates" || $2 == release "-security") &&
        $1 !~ /^cdrom:/ && ($3 == "" || $3 ~ /debian-archive/) && !seen[$1, $2]++ {
            print "deb-src [signed-by=" keyring "]", $1, $2, "main"
        }' >"$work/apt/sources.list"
    cat "$work/apt/sources.list"
    if [ ! -s "$work/apt/sources.list" ]; then
        echo "apt knows no place for main of Debian's $codename"
        return 1
    fi
    # Without the hooks that apt runs after an update, and without its default release.
    cat >"$work/apt/apt.conf" <<CONF
#clear APT::Update;
#clear APT::Default-Release;
Acquire::Retries "3";
Dir::Etc::sourcelist "$work/apt/sources.list";
Dir::Etc::sourceparts "/dev/null";
Dir::State::lists "$work/apt/lists";
Dir::Cache "$work/apt/cache";
CONF
    apt-get -q -c "$work/apt/apt.conf" --error-on=any update
    : >"$work/versions"
    : >"$work/notes"
    fetch openssl
    fetch sqlite3
    fetch qtbase-opensource-src
    fetch qwt
}

# fetch PACKAGE: the newest version. Some mirrors list a security update but lack its files: then the
# previous version, with a note.
fetch() {
    newest=
    for version in $(apt-cache -c "$work/apt/apt.conf" showsrc --only-source "$1" |
        sed -n 's/^Version: //p' | sort -Vru); do
        newest=${newest:-$version}
        if (cd "$work/src" && apt-get -q -c "$work/apt/apt.conf" source --download-only \
            --only-source "$1=$version"); then
            echo "$1 $version" >>"$work/versions"
            [ "$version" = "$newest" ] ||
                echo "$1 $version: OLDER than $newest, whose files the mirror does not deliver" \
                    >>"$work/notes"
            return 0
        fi
        rm -f "$work/src/$1"_*
    done
    echo "no version of $1 could be fetched"
    return 1
}

openssl() {
    unpack openssl "$work/openssl"
    cd "$work/openssl"
    clean ./Configure mingw64 --cross-compile-prefix=$target- shared no-tests
    # OpenSSL loads configuration and code from these compiled-in folders. The default,
    # /usr/local/ssl, would be in the root of the current drive, where any user may create it. Below
    # "Program Files" only administrators can write, and a folder of our own holds no other program's
    # configuration. Not given to Configure, which takes a drive's name for a relative path.
    private="C:/Program Files/KVG-Gate"
    clean make -j"$jobs" OPENSSLDIR="$private/ssl" ENGINESDIR="$private/ssl/engines" \
        MODULESDIR="$private/ssl/modules" build_libs
}

# Static: one file less that could be exchanged.
sqlite() {
    unpack sqlite3 "$work/sqlite"
    cd "$work/sqlite"
    clean ./configure --disable-tcl --disable-readline
    clean make sqlite3.c
    clean $target-gcc -O2 -DNDEBUG -DSQLITE_THREADSAFE=1 -DSQLITE_DQS=0 \
        -DSQLITE_OMIT_LOAD_EXTENSION -DSQLITE_DEFAULT_MEMSTATUS=0 -DSQLITE_OMIT_DEPRECATED \
        -DSQLITE_OMIT_SHARED_CACHE -c sqlite3.c -o sqlite3.obj
    rm -f libsqlite3.a
    clean $target-ar rcsD libsqlite3.a sqlite3.obj
}

qt() {
    unpack qtbase-opensource-src "$work/qtbase"
    rm -rf "$work/qt" "$work/prefix"
    mkdir "$work/qt"
    cd "$work/qt"
    # zlib is Qt's own copy: the gateway uses zlib only through Qt. Debian's source lacks the headers
    # of the last two features. Qt loads OpenSSL at run time.
    clean "$work/qtbase/configure" -prefix "$work/prefix" -opensource -confirm-license -release \
        -shared -xplatform win32-g++ -device-option CROSS_COMPILE=$target- -no-opengl \
        -nomake examples -nomake tests -openssl-runtime -I "$work/openssl/include" -qt-zlib \
        -qt-pcre -qt-libpng -qt-libjpeg -qt-freetype -qt-harfbuzz -no-icu -no-dbus \
        -no-feature-sql -no-feature-vulkan -no-pch -no-feature-tabletevent -no-feature-direct2d
    clean make -j"$jobs"
    clean make install
}

# Qwt's own qmake project has no option to leave out only the widgets that need SVG and OpenGL.
qwt() {
    unpack qwt "$work/qwt"
    cd "$work/qwt"
    cat >CMakeLists.txt <<'PROJECT'
cmake_minimum_required(VERSION 3.25)
project(qwt LANGUAGES CXX)
set(CMAKE_AUTOMOC ON)
find_package(Qt5 5.15 REQUIRED COMPONENTS Concurrent PrintSupport Widgets)
file(GLOB sources src/qwt*.cpp)
# Plots alone: without OpenGL, SVG, dials and sliders.
list(FILTER sources EXCLUDE REGEX
     "qwt_(abstract_(scale|slider)\\.|analog_|arrow_|compass|counter|dial|knob|plot_glcanvas|plot_svgitem|slider|thermo|wheel)")
add_library(qwt-qt5 SHARED ${sources})
target_compile_definitions(qwt-qt5 PRIVATE QWT_DLL QWT_MAKEDLL QWT_NO_OPENGL QWT_NO_SVG)
target_link_libraries(qwt-qt5 PRIVATE Qt5::Concurrent Qt5::PrintSupport Qt5::Widgets)
PROJECT
    clean cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DCMAKE_SYSTEM_NAME=Windows \
        -DCMAKE_SYSTEM_PROCESSOR=x86_64 -DCMAKE_CXX_COMPILER=$target-g++ \
        -DCMAKE_RC_COMPILER=$target-windres -DCMAKE_PREFIX_PATH="$work/prefix" \
        -DCMAKE_FIND_ROOT_PATH="$work/prefix" -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=ONLY
    clean cmake --build build -j"$jobs"
}

# runtime_file NAME: a DLL of the compiler that programs need at run time.
runtime_file() {
    file=$($target-g++-posix -print-file-name="$1")
    [ -f "$file" ] || { echo "the compiler has no $1"; return 1; }
    readlink -f "$file"
}

assemble() {
    root=$work/sysroot
    rm -rf "$root"
    mkdir -p "$root/bin" "$root/lib" "$root/mkspecs/win32-g++"
    cd "$work/prefix"
    for tool in moc rcc uic qmake; do
        cp "bin/$tool" "$root/bin/"
        strip "$root/bin/$tool"
    done
    cp bin/*.dll "$root/bin/"
    cp -R include plugins "$root/"
    cp -R lib/*.a lib/cmake lib/metatypes "$root/lib/"
    rm "$root/lib/libQt5Bootstrap.a" # for tools on the host only
    cp mkspecs/win32-g++/qmake.conf mkspecs/win32-g++/qplatformdefs.h "$root/mkspecs/win32-g++/"

    cd "$work/openssl"
    cp libcrypto-3-x64.dll libssl-3-x64.dll "$root/bin/"
    cp libcrypto.dll.a libssl.dll.a "$root/lib/"
    mkdir "$root/include/openssl"
    cp include/openssl/*.h "$root/include/openssl/"

    cp "$work/sqlite/libsqlite3.a" "$root/lib/"
    cp "$work/sqlite/sqlite3.h" "$root/include/"

    cp "$work/qwt/build/libqwt-qt5.dll" "$root/bin/"
    cp "$work/qwt/build/libqwt-qt5.dll.a" "$root/lib/"
    mkdir "$root/include/qwt"
    cp "$work"/qwt/src/qwt*.h "$root/include/qwt/"

    for name in libgcc_s_seh-1.dll libstdc++-6.dll libwinpthread-1.dll; do
        file=$(runtime_file $name)
        cp "$file" "$root/bin/"
    done
    chmod 644 "$root"/bin/*.dll "$root"/lib/*.a
    epoch=$(dpkg-parsechangelog -l "$work/qtbase/debian/changelog" -S Timestamp)
    find "$root/bin" "$root/plugins" -name '*.dll' | while read -r file; do
        clean $target-strip --strip-all "$file"
    done
    licences "$root/licences"

    if grep -rIlF "$work" "$root"; then
        echo "these files name the folder they were built in"
        return 1
    fi
}

# licences DIR: the licence texts of the DLLs, and the versions of their sources.
licences() {
    mkdir -p "$1/openssl" "$1/qwt" "$1/qt/3rdparty" "$1/runtime" "$1/common"
    cp "$work/openssl/LICENSE.txt" "$1/openssl/"
    cp "$work/openssl/debian/copyright" "$1/openssl/debian-copyright"
    cp "$work/qwt/COPYING" "$1/qwt/"
    cp "$work"/qtbase/LICENSE.*GPL* "$1/qt/"
    cp "$work/qtbase/debian/copyright" "$1/qt/debian-copyright"
    # All third-party code in Qt, whether Windows uses it or not.
    (cd "$work/qtbase/src" && find . -name qt_attribution.json) | while read -r file; do
        folder=$(dirname "${file#./}")
        sed -n 's/.*"LicenseFiles*": *//p' "$work/qtbase/src/$file" | grep -o '"[^"]*"' |
            tr -d '"' | while read -r name; do
                # Debian's source lacks a few libraries and their texts.
                [ ! -f "$work/qtbase/src/$folder/$name" ] ||
                    cp "$work/qtbase/src/$folder/$name" \
                        "$1/qt/3rdparty/$(echo "$folder" | tr / -)-$(basename "$name")"
            done
    done
    ls "$1/qt/3rdparty"/* >/dev/null # fails if there is none; the pipeline above would not
    for package in gcc-mingw-w64-x86-64-posix-runtime mingw-w64-x86-64-dev; do
        cp "/usr/share/doc/$package/copyright" "$1/runtime/$package-copyright"
    done
    # The copyright files of Debian refer to these.
    grep -rhoE 'common-licenses/[A-Za-z0-9.-]*[A-Za-z0-9]' "$1" | sort -u | while read -r name; do
        [ ! -f "/usr/share/$name" ] || cp -L "/usr/share/$name" "$1/common/"
    done
    ls "$1/common"/* >/dev/null
    {
        echo "Source packages of Debian $codename that these files were built from:"
        cat "$work/versions"
        # shellcheck disable=SC2016  # dpkg-query's own variables
        dpkg-query -W -f '${source:Package} ${source:Version}\n' \
            gcc-mingw-w64-x86-64-posix-runtime mingw-w64-x86-64-dev
    } >"$1/SOURCES.txt"
}

# compiler NAME COMMAND: makes the command NAME for the makefiles. It keeps the folder's name out of
# the DLLs, and uses ccache to speed up a build after an interruption.
compiler() {
    cat >"$work/tools/$1" <<TOOL
#!/bin/sh
export CCACHE_DIR=$work/ccache
exec $(command -v ccache || true) $(command -v "$2") -ffile-prefix-map=$work=. "\$@"
TOOL
    chmod 755 "$work/tools/$1"
}
rm -rf "$work/tools"
mkdir "$work/tools"
# The compiler without a suffix may be the one for Windows threads, which lacks std::mutex.
compiler $target-gcc $target-gcc-posix
compiler $target-g++ $target-g++-posix
compiler gcc gcc
compiler g++ g++
jobs=$(nproc)

stage sources "fetching the sources"
stage openssl "building OpenSSL"
stage sqlite "building SQLite"
stage qt "building Qt, which takes by far the longest"
stage qwt "building Qwt"
stage assemble "putting it together"
while read -r note; do
    say "note: $note"
done <"$work/notes"
mv "$work/sysroot" "$out"
rm -rf "$work"
say "complete: $out"
