#!/bin/sh
# What is installed: these files and no others, none of which knows where it was built, all of one
# version.
#   installedFiles.sh SOURCE_FOLDER BUILD_FOLDER C_COMPILER VERSION
set -eu
. "$(dirname "$0")/support.sh"
version=$flags
install_and_move

(cd "$libraries" && find . ! -type d | sort) > "$work/found"
cat > "$work/expected" <<END
./cmake/brairu/brairuConfig.cmake
./cmake/brairu/brairuConfigVersion.cmake
./libbrairu-log.so.0
./libbrairu-log.so.$version
./libbrairu-npu.so.0
./libbrairu-npu.so.$version
./libbrairu.so
./libbrairu.so.0
./libbrairu.so.$version
./pkgconfig/brairu.pc
END
diff "$work/expected" "$work/found" || fail "other libraries are installed"
(cd "$prefix/include" && find . ! -type d | sort) > "$work/found"
printf '%s\n' ./brairu-platform/npu.h ./brairu-platform/platformLog.h ./brairu.h > "$work/expected"
diff "$work/expected" "$work/found" || fail "other headers are installed"

if grep -rlF -e "$source" -e "$build" -e "$work/first" "$prefix"; then
    fail "these hold a folder of the build"
fi
for library in brairu brairu-npu brairu-log; do
    readelf -d "$libraries/lib$library.so.0" > "$work/dynamic"
    grep -q "soname: \[lib$library.so.0\]" "$work/dynamic" || fail "lib$library: another soname"
    [ "$(sed -n 's/.*runpath: \[\(.*\)\]/\1/p' "$work/dynamic")" = "\$ORIGIN" ] ||
        fail "lib$library: another run path"
done

[ "$(PKG_CONFIG_PATH=$libraries/pkgconfig pkg-config --modversion brairu)" = "$version" ] ||
    fail "pkg-config has another version"
[ "$("$build/brairu" --version)" = "brairu $version" ] || fail "the tool has another version"

cat > "$work/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.16)
project(versions LANGUAGES C)
find_package(brairu $version EXACT REQUIRED)
find_package(brairu 99 QUIET)
if(brairu_FOUND)
    message(FATAL_ERROR "version 99 was found")
endif()
END
cmake -S "$work" -B "$work/built" -DCMAKE_PREFIX_PATH="$prefix" > /dev/null ||
    fail "find_package has another version"
