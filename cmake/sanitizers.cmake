# RXKINESIS_SANITIZE=address,undefined or thread instruments every target of the build.
if(RXKINESIS_SANITIZE)
  add_compile_options(-fsanitize=${RXKINESIS_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=${RXKINESIS_SANITIZE})
endif()

# RXKINESIS_FUZZ (clang): every target gets the fuzzer's coverage hooks and ASan+UBSan; only the
# fuzz targets link the fuzzer's main (tests/fuzz).
if(RXKINESIS_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "RXKINESIS_FUZZ needs clang: configure with CC=clang CXX=clang++")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer
                      -fno-sanitize-recover=undefined
                      -fsanitize-ignorelist=${CMAKE_CURRENT_LIST_DIR}/sanitizer-ignorelist.txt)
  # The library links with --no-undefined, so it needs the sanitizer runtime as a shared object
  # (clang's default, a static runtime in the executable, leaves its symbols undefined there).
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libclang_rt.asan-x86_64.so
                  OUTPUT_VARIABLE RXK_ASAN_RUNTIME OUTPUT_STRIP_TRAILING_WHITESPACE)
  get_filename_component(RXK_ASAN_RUNTIME_DIR ${RXK_ASAN_RUNTIME} DIRECTORY)
  add_link_options(-fsanitize=address,undefined -shared-libsan -Wl,-rpath,${RXK_ASAN_RUNTIME_DIR})
endif()
