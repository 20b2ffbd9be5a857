# The flags every target of ours is built with. Headers of others are included as system headers, so that these warnings
# say nothing about them.
add_library(lumvex_options INTERFACE)
target_compile_options(lumvex_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wimplicit-fallthrough)
# Published methods count with signed LONGs, the standard library with std::size_t. Casts wherever they meet would hide
# the conversions that lose something, which -Wconversion reports all the same.
target_compile_options(lumvex_options INTERFACE -Wno-sign-conversion)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(lumvex_options INTERFACE -Wno-restrict)  # g++ 12 reports it for its own std::string
endif()
if(LUMVEX_BUILD_FUZZERS)
  target_compile_options(lumvex_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(WIN32)
  # UTF-16 text is wchar_t to the system and char16_t to us, and is read as either without a copy.
  target_compile_options(lumvex_options INTERFACE -fno-strict-aliasing)
  target_compile_definitions(lumvex_options INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN)
endif()
if(NOT WIN32)
  # The addresses of the system's functions are found when a program starts and are write-protected from then on. Found
  # at each one's first call they would be an eighth of what opening a document takes in a fresh process.
  target_link_options(lumvex_options INTERFACE -Wl,-z,relro,-z,now)
endif()
if(LUMVEX_WARNINGS_AS_ERRORS)
  target_compile_options(lumvex_options INTERFACE -Werror)
endif()
if(LUMVEX_SANITIZE)
  target_compile_options(lumvex_options INTERFACE -fsanitize=${LUMVEX_SANITIZE} -fno-omit-frame-pointer
                         -fno-sanitize-recover=all)
  target_link_options(lumvex_options INTERFACE -fsanitize=${LUMVEX_SANITIZE})
  # What the sanitizers know of each check is full of addresses: to find a million of them was a fifth of each start of
  # the tool, and its tests start it thousands of times. Programs at a fixed place know them.
  target_link_options(lumvex_options INTERFACE $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-no-pie>)
endif()
