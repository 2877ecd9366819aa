# quillmere_add_test(<dir>/<name>_test [INTERNAL] [LIBS lib...] [LABELS label...]): one test program from one file under
# tests/. INTERNAL is for what reaches into the library, past its public headers.
# The programs whose label is "threads" are built by the target threads_tests, those labelled "readers" by readers_tests:
# what reads foreign text and makes records of it, whose coverage scripts/coverage looks at.
# quillmere_add_bench(<name> [LIBS lib...]): one benchmark program from bench/<name>.cpp.

find_package(GTest 1.12 REQUIRED)
include(GoogleTest)

add_custom_target(threads_tests)
add_custom_target(readers_tests)

function(quillmere_add_test path)
  cmake_parse_arguments(arg "INTERNAL" "TIMEOUT" "LIBS;LABELS" ${ARGN})
  string(REPLACE "/" "_" target ${path})
  add_executable(${target} ${path}.cpp)
  set(library quillmere)
  if(arg_INTERNAL)
    set(library quillmere_whole)
  endif()
  target_link_libraries(${target} PRIVATE ${library} quillmere_options GTest::gmock GTest::gtest_main ${arg_LIBS})
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  if(QUILLMERE_SANITIZE)
    target_compile_definitions(${target} PRIVATE QUILLMERE_SANITIZED)
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  if(path MATCHES "^(commerce|text)/|^(allocation|models|relevance)_|request_url")
    list(APPEND arg_LABELS readers)
  endif()
  foreach(label ${arg_LABELS})
    add_dependencies(${label}_tests ${target})
  endforeach()
  # A list would be taken apart on its way; presets look for a label anywhere in the text.
  string(JOIN " " labels ${arg_LABELS})
  gtest_discover_tests(${target} NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${labels}")
endfunction()

function(quillmere_add_bench name)
  cmake_parse_arguments(arg "" "" "LIBS" ${ARGN})
  add_executable(bench_${name} ${name}.cpp)
  set_target_properties(bench_${name} PROPERTIES OUTPUT_NAME ${name})
  target_link_libraries(bench_${name} PRIVATE quillmere_whole quillmere_options ${arg_LIBS})
  target_include_directories(bench_${name} PRIVATE ${PROJECT_SOURCE_DIR})
endfunction()
