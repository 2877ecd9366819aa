# What every target of this project is compiled with. Nothing here reaches a consumer.

add_library(quillmere_options INTERFACE)
target_compile_features(quillmere_options INTERFACE cxx_std_20)
target_compile_options(quillmere_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
  -Woverloaded-virtual -Wcast-align -Wformat=2)
if(QUILLMERE_DEVELOPER_MODE OR QUILLMERE_FUZZERS)
  target_compile_options(quillmere_options INTERFACE -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # At -O3 it sees overlapping copies in std::string's operator+ that cannot be (GCC bug 105651).
  target_compile_options(quillmere_options INTERFACE -Wno-restrict)
endif()

if(QUILLMERE_PORTABLE)
  target_compile_definitions(quillmere_options INTERFACE QUILLMERE_PORTABLE)
endif()

if(QUILLMERE_SANITIZE)
  target_compile_options(quillmere_options INTERFACE
    -fsanitize=${QUILLMERE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # clang 14 cannot assemble a coroutine with this check in it ("Cannot represent a difference across sections").
    target_compile_options(quillmere_options INTERFACE -fno-sanitize=function)
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND QUILLMERE_SANITIZE MATCHES "thread")
    # Asio has memory fences, of which g++ warns that ThreadSanitizer does not know them.
    target_compile_options(quillmere_options INTERFACE -Wno-tsan)
  endif()
  target_link_options(quillmere_options INTERFACE -fsanitize=${QUILLMERE_SANITIZE})
endif()

if(QUILLMERE_FUZZERS)
  target_compile_options(quillmere_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
