# KELD_SANITIZE=address gives AddressSanitizer with UndefinedBehaviorSanitizer,
# KELD_SANITIZE=thread gives ThreadSanitizer. Applied to every target.
if(KELD_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(KELD_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(NOT KELD_SANITIZE STREQUAL "none" AND NOT KELD_SANITIZE STREQUAL "OFF")
  message(FATAL_ERROR "KELD_SANITIZE must be none, address or thread")
endif()

# Shared libraries are linked with every symbol resolved, except under clang's
# sanitizers, whose runtime is linked into the executable and not into the
# shared objects.
set(KELD_NO_UNDEFINED -Wl,--no-undefined)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang" AND NOT KELD_SANITIZE STREQUAL "none" AND NOT KELD_SANITIZE STREQUAL "OFF")
  set(KELD_NO_UNDEFINED "")
endif()
