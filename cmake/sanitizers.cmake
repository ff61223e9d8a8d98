# RXKINESIS_SANITIZE=address,undefined or thread instruments every target of the build.
if(RXKINESIS_SANITIZE)
  add_compile_options(-fsanitize=${RXKINESIS_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=${RXKINESIS_SANITIZE})
endif()
