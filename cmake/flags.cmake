# Warnings, hardening and sanitizers of every target of the project.
add_compile_options(-Wall -Wextra -Wshadow -Wformat=2 -Werror $<$<COMPILE_LANGUAGE:CXX>:-Wconversion>)

# No path of the build machine in the programs, absolute or, as a compiler cache makes them, relative to the build folder:
# the same commit gives the same bytes, the build id included.
file(RELATIVE_PATH source_from_build ${CMAKE_BINARY_DIR} ${CMAKE_SOURCE_DIR})
add_compile_options(-ffile-prefix-map=${CMAKE_SOURCE_DIR}/= -ffile-prefix-map=${CMAKE_BINARY_DIR}/=
                    -ffile-prefix-map=${source_from_build}=)

if(TELNO_SANITIZE)
  # A local variable that is read before it is set holds a pattern, so that a test notices.
  add_compile_options(-fsanitize=${TELNO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
                      -ftrivial-auto-var-init=pattern)
  add_link_options(-fsanitize=${TELNO_SANITIZE})
  if(TELNO_SANITIZE MATCHES undefined)
    add_compile_options(-fno-sanitize=vptr) # needs descriptors, which a scenario takes away
  endif()
  if(TELNO_SANITIZE MATCHES thread AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-tsan) # asio's fences, which the sanitizer does not model
  endif()
else()
  add_compile_options(-fstack-protector-strong $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  add_link_options(-Wl,-z,relro,-z,now)
endif()
if(TELNO_FUZZERS)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
