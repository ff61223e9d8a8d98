#!/usr/bin/env bash
# Taking the library into a product: the install tree, hosts built against it (CMake package and
# pkg-config), the export list against the header, the Debian package, the man page, and the
# README's embedding example run against kinesalite. Prints each failed check; exits 1 if any.
set -u
: "${RXK_SOURCE_DIR:?}" "${RXK_BINARY_DIR:?}" "${RXK_LIBRARY:?}" "${RXK_VERSION:?}" "${CC:=cc}"
src=$RXK_SOURCE_DIR build=$RXK_BINARY_DIR version=$RXK_VERSION major=${RXK_VERSION%%.*} work=$(mktemp -d) failed=0
usr=$work/usr pids=() flags=${RXK_SANITIZERS:+-fsanitize=$RXK_SANITIZERS -fno-omit-frame-pointer}  # hosts built like the library
trap 'kill "${pids[@]}" 2>/dev/null; rm -rf "$work"' EXIT
check() { [ "$2" = "$3" ] || { failed=$((failed + 1)); printf 'FAILED %s\n  got:  %s\n  want: %s\n' "$1" "${2:0:2000}" "${3:0:2000}"; }; }
files() { (cd "$1" && find . \( -type f -o -type l \) -printf '%P %l\n' | sort); }

# ---- the install tree: files missing or misplaced, the bundled SDK or the build tree leaking in
cmake --install "$build" --prefix "$usr" >/dev/null || check "cmake --install" failed ok
expected="bin/rxkcat |include/rxkinesis.h |include/rxkinesis_exceptions.h |lib/cmake/rxkinesis/rxkinesisConfig.cmake \
|lib/cmake/rxkinesis/rxkinesisConfigVersion.cmake |lib/cmake/rxkinesis/rxkinesisTargets-relwithdebinfo.cmake \
|lib/cmake/rxkinesis/rxkinesisTargets.cmake |lib/librxkinesis.so librxkinesis.so.$major|lib/librxkinesis.so.$major librxkinesis.so.$version\
|lib/librxkinesis.so.$version |lib/pkgconfig/rxkinesis.pc |share/bash-completion/completions/rxkcat |share/man/man1/rxkcat.1.gz "
[ -x "$build/tools/rxkfault/rxkfault" ] && expected+="|bin/rxkfault |share/man/man1/rxkfault.1.gz "
[ -f "$src/LICENSE" ] && expected+="|share/doc/rxkinesis/copyright "
check "installed files" "$(files "$usr")" "$(tr '|' '\n' <<<"$expected" | sort)"
check "installed headers are the sources" "$(cat "$usr"/include/*.h | md5sum)" "$(cat "$src"/include/rxkinesis.h "$src"/include/rxkinesis_exceptions.h | md5sum)"
check "installed texts name no SDK target, build or source tree" \
  "$(grep -rIlE "rxk_awssdk|CURL::|OpenSSL::|simdjson|Threads::|$build|$src/" "$usr/lib" "$usr/include")" ""

# ---- hosts built against the installed copy alone
mkdir -p "$work/host"
printf '#include <rxkinesis.h>\nint main(void) { InititializeInterface(); int32_t c = CreateClient("us-east-1", "a", "b");\n
  int ok = c >= 0 && FreeClient(c) == RXK_OK; CloseInterface(); return !ok; }\n' >"$work/host/host.c"
printf 'cmake_minimum_required(VERSION 3.20)\nproject(host C)\nfind_package(rxkinesis ${V} REQUIRED)\nadd_executable(host host.c)\n
  target_link_libraries(host PRIVATE rxkinesis::rxkinesis)\n' >"$work/host/CMakeLists.txt"
cmake_host() { cmake -S "$work/host" -B "$work/host/$1" -DCMAKE_PREFIX_PATH="$usr" -DV="$1" -DCMAKE_C_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags" >/dev/null 2>&1 && cmake --build "$work/host/$1" >/dev/null 2>&1; }
check "find_package: a host builds and runs" "$(cmake_host "$version" && "$work/host/$version/host" && echo ran)" ran
check "find_package refuses the next major version" "$(cmake_host "$((major + 1))" || echo refused)" refused
export PKG_CONFIG_PATH=$usr/lib/pkgconfig
check "pkg-config names the install prefix and version" "$(pkg-config --variable=prefix rxkinesis) $(pkg-config --modversion rxkinesis)" "$usr $version"
check "pkg-config: a host builds and runs" "$($CC $flags "$work/host/host.c" $(pkg-config --cflags --libs rxkinesis) -Wl,-rpath,"$usr/lib" \
  -o "$work/host/pc" && "$work/host/pc" && echo ran)" ran
check "installed rxkcat finds the installed library and catches its exceptions by type" "$(RXKCAT_LIBRARY= "$usr/bin/rxkcat" -Z exception7 \
  -r us-east-1 --access-key a --secret-key b | grep -o 'delivered RX_Exception \[RX_Exception: exception7\]')" "delivered RX_Exception [RX_Exception: exception7]"

# ---- the export list: every function the header declares, the exception classes' type information and SE_Exception::what, nothing else
declared=$(sed -nE 's/^RXK_API [^(]*[ *]([A-Za-z]+)\(.*/\1/p' "$src/include/rxkinesis.h")
exported() { nm -D --defined-only "$1" | awk '{print $3}' | grep -vE '^__(asan|ubsan|tsan|sanitizer|odr_asan|lsan)|^_ZNK12RX_Exception4whatEv$' | sort; }
check "exported symbols" "$(exported "$RXK_LIBRARY")" "$(printf '%s\n' $declared _ZTI12SE_Exception _ZTS12SE_Exception _ZTI12RX_Exception \
  _ZTS12RX_Exception _ZN12SE_Exception4whatEv | sort)"
check "the reading extension is declared and exported" "$(exported "$RXK_LIBRARY" | grep -cxE 'ReadShardRecord|GetListAllStreams|GetShardLineage')" 3

# ---- the Debian package: name, fields, dependencies, contents, a library that links and loads from /usr
# CPack would build every target of the tree first ("preinstall"); as for Ninja, it installs what is built.
cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work/deb" -D CPACK_CMAKE_GENERATOR=Ninja >"$work/cpack.log" 2>&1 || cat "$work/cpack.log"
deb=$work/deb/rxkinesis_${version}_amd64.deb
check "package fields" "$(dpkg-deb -f "$deb" Package Version Section Architecture | tr '\n' ' ')" "Package: rxkinesis Version: $version Section: libs Architecture: amd64 "
check "Depends covers what the library links" "$(for p in libc6 libstdc++6 libcurl4 libssl3 libsimdjson14 libprotobuf-c1; do dpkg-deb -f "$deb" Depends | grep -qw "$p" || echo "$p"; done)" ""
dpkg-deb -x "$deb" "$work/root"; dpkg-deb -e "$deb" "$work/control"
check "packaged files are the install layout under /usr" "$(files "$work/root" | sed 's/-relwithdebinfo\|-release\|-none//')" \
  "$(files "$usr" | sed 's/-relwithdebinfo\|-release\|-none//; s|^|usr/|')"
[ -f "$src/LICENSE" ] && check "the copyright file is the licence" "$(cmp "$src/LICENSE" "$work/root/usr/share/doc/rxkinesis/copyright" && echo same)" same
check "packaged pkg-config file names /usr" "$(grep -c '^prefix=/usr$' "$work/root/usr/lib/pkgconfig/rxkinesis.pc") $(grep -rc _CPack_Packages "$work/root/usr/lib" | grep -vc ':0$')" "1 0"
check "the stripped library keeps its exports" "$(exported "$work/root/usr/lib/librxkinesis.so.$version")" "$(exported "$RXK_LIBRARY")"
check "shlibs entry and ldconfig trigger" "$(grep -c "^librxkinesis $major rxkinesis" "$work/control/shlibs") $(cat "$work/control"/{triggers,postinst} 2>/dev/null | grep -c ldconfig)" "1 1"
check "apt would install it" "$(apt-get install -s "$deb" 2>&1 | grep -o '^Inst rxkinesis')" "Inst rxkinesis"

# ---- the man page: formats cleanly, documents every option of the help and explains every exit status
check "bash completes rxkcat's flags" "$(bash -c "source '$usr/share/bash-completion/completions/rxkcat'; COMP_WORDS=(rxkcat --ra); COMP_CWORD=1; _rxkcat; echo \${COMPREPLY[*]}")" --raw
check "man page formats without warnings" "$(groff -man -ww -z "$src/tools/rxkcat/rxkcat.1" 2>&1)" ""
options() { grep -oE '(^|[^a-z0-9\\-])(\\?-){1,2}[a-zA-Z0-9][a-z-]*' | grep -oE '\-+[a-zA-Z0-9][a-z-]*$' | sort -u; }
check "options in --help missing from the man page" "$(comm -23 <("$build/tools/rxkcat/rxkcat" --help | options) <(sed 's/\\-/-/g' "$src/tools/rxkcat/rxkcat.1" | options))" ""
check "exit statuses explained" "$(sed -n '/^\.SH EXIT STATUS/,/^\.SH/p' "$src/tools/rxkcat/rxkcat.1" | grep -cE '^\.B [0-3]$')" 4

# ---- the README's embedding example, as shown, compiled cleanly and run against kinesalite
check "README shows examples/embed.c as it is" "$(sed -n '/^## Embed it in a host/,/^## /p' "$src/README.md" | sed -n '/^```c$/,/^```$/p' | sed '1d;$d')" "$(cat "$src/examples/embed.c")"
check "embed.c compiles without warnings" "$($CC $flags -Wall -Wextra -I"$src/include" "$src/examples/embed.c" -ldl -o "$work/embed" 2>&1)" ""
node -e "const s = require(process.argv[1])({createStreamMs: 0}); process.on('SIGTERM', () => process.exit(0));
  s.listen(0, '127.0.0.1', () => console.log(s.address().port));" "$src/node_modules/kinesalite" >"$work/port" & pids+=($!)
for _ in $(seq 150); do grep -q '[0-9]' "$work/port" && break; sleep 0.1; done
export AWS_ENDPOINT_URL_KINESIS=http://127.0.0.1:$(cat "$work/port") AWS_REGION=us-east-1 AWS_ACCESS_KEY_ID=a AWS_SECRET_ACCESS_KEY=b AWS_MAX_ATTEMPTS=1 RXKCAT_LIBRARY=$RXK_LIBRARY
"$build/tools/rxkcat/rxkcat" -N -s embed >/dev/null 2>&1
check "embed sends a batch and reads every outcome back" "$("$work/embed" "$RXK_LIBRARY" embed 2>&1; echo "exit $?")" "PutRecords: 0 (3 put, 0 failed)
$("$build/tools/rxkcat/rxkcat" -C -s embed -e -f '%s %o\n' 2>/dev/null | awk '{n = ($1 == "alpha") ? 0 : ($1 == "beta") ? 1 : 2; print n " ok shardId-000000000000 " $2}')
exit 0"
AWS_REGION= "$work/embed" "$RXK_LIBRARY" embed >"$work/out" 2>"$work/err"
check "embed says why the client was refused, and exits 1" "$? $(grep -q '^log: ' "$work/err" && echo logged) $(wc -c <"$work/out")" "1 logged 0"
"$work/embed" "$RXK_LIBRARY" no-such-stream >"$work/out" 2>"$work/err"
check "embed reports a failed batch, and exits 1" "$? $(grep -c '^PutRecords: -1 ' "$work/out") $(grep -q '^log: ' "$work/err" && echo logged)" "1 1 logged"
[ "$failed" -eq 0 ]
