# The libraries that the product stands on; README says what each is for.

find_package(Threads REQUIRED)
find_package(Boost 1.81 REQUIRED)
find_package(CURL 7.88 REQUIRED)
find_package(OpenSSL 3.0 REQUIRED)
find_package(ICU 72 REQUIRED COMPONENTS uc)
find_package(simdjson REQUIRED)
find_package(nlohmann_json 3.11 REQUIRED)
find_package(CLI11 REQUIRED)

if(QUILLMERE_DEVELOPER_MODE OR QUILLMERE_FUZZERS)
  # The engine that runs the page patterns as they are written, as the reference of tests, fuzzers and benchmarks.
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(PCRE2 REQUIRED IMPORTED_TARGET libpcre2-8)
endif()
