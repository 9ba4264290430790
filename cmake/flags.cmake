# Warnings, hardening and sanitizers of every target of the project.
add_compile_options(-Wall -Wextra -Wshadow -Wformat=2 -Werror $<$<COMPILE_LANGUAGE:CXX>:-Wconversion>)
add_compile_options(-ffile-prefix-map=${CMAKE_SOURCE_DIR}/= -ffile-prefix-map=${CMAKE_BINARY_DIR}/=)

if(TELNO_SANITIZE)
  add_compile_options(-fsanitize=${TELNO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${TELNO_SANITIZE})
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
