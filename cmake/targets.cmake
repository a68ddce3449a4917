# One library per folder, tests and benchmarks: all are made by the functions below.

# What every target needs: the define must be the same in all of them, for Asio is compiled once, in platform/async.
add_library(ravant_requirements INTERFACE)
target_compile_definitions(ravant_requirements INTERFACE BOOST_ASIO_SEPARATE_COMPILATION)
target_include_directories(ravant_requirements INTERFACE ${PROJECT_SOURCE_DIR})
target_link_libraries(ravant_requirements INTERFACE Boost::json fmt::fmt Threads::Threads)

# Compiles every header by itself.
add_custom_target(verify_headers)
# Every test program that is run under ThreadSanitizer too.
add_custom_target(actor_tests)

# One precompiled header for all: platform_async builds it, the others reuse it.
function(ravant_precompile NAME)
  if(NAME STREQUAL "platform_async")
    target_precompile_headers(${NAME} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/precompiled.hpp)
  else()
    target_precompile_headers(${NAME} REUSE_FROM platform_async)
  endif()
endfunction()

# ravant_library(NAME [SOURCES file...] [ROOMS folder...] [EXCEPT file...] [DEPENDS library...]
#                [LIBRARIES third-party...])
#
# The static library of the current folder. SOURCES defaults to every .cpp and .hpp directly in the folder and in its
# ROOMS, without those of EXCEPT. Only the folder itself is given the third-party libraries. A folder without sources is an INTERFACE
# library.
function(ravant_library NAME)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;ROOMS;EXCEPT;DEPENDS;LIBRARIES")
  if(NOT ARG_SOURCES)
    set(PATTERNS *.cpp *.hpp)
    foreach(ROOM ${ARG_ROOMS})
      list(APPEND PATTERNS ${ROOM}/*.cpp ${ROOM}/*.hpp)
    endforeach()
    file(GLOB ARG_SOURCES RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} CONFIGURE_DEPENDS ${PATTERNS})
    list(REMOVE_ITEM ARG_SOURCES ${ARG_EXCEPT})
  endif()
  set(HEADERS ${ARG_SOURCES})
  list(FILTER HEADERS INCLUDE REGEX "\\.hpp$")
  list(FILTER ARG_SOURCES EXCLUDE REGEX "\\.hpp$")

  set(VISIBILITY INTERFACE)
  if(ARG_SOURCES)
    set(VISIBILITY PUBLIC)
    add_library(${NAME} STATIC ${ARG_SOURCES})
    ravant_precompile(${NAME})
    target_link_libraries(${NAME} PRIVATE ${ARG_LIBRARIES})
  else()
    add_library(${NAME} INTERFACE)
  endif()
  target_link_libraries(${NAME} ${VISIBILITY} ravant_requirements ${ARG_DEPENDS})
  if(HEADERS AND RAVANT_VERIFY_HEADERS)
    ravant_verify_headers(${NAME} ${HEADERS})
    ravant_precompile(${NAME}_headers)
  endif()
endfunction()

# Compiles each header of the current folder by itself, when the target `verify_headers` is asked for: what a header needs
# of this project it must include itself. The caller adds the precompiled header to NAME_headers.
function(ravant_verify_headers NAME)
  set(SOURCES "")
  foreach(HEADER ${ARGN})
    set(SOURCE ${CMAKE_CURRENT_BINARY_DIR}/headers/${HEADER}.cpp)
    file(CONFIGURE OUTPUT ${SOURCE} CONTENT "#include \"${CMAKE_CURRENT_SOURCE_DIR}/${HEADER}\"\n")
    list(APPEND SOURCES ${SOURCE})
  endforeach()
  add_library(${NAME}_headers OBJECT EXCLUDE_FROM_ALL ${SOURCES})
  target_link_libraries(${NAME}_headers PRIVATE ${NAME})
  add_dependencies(verify_headers ${NAME}_headers)
endfunction()

# ravant_test(NAME SOURCES file... [DEPENDS library...] [ACTORS] [PROGRAM])
#
# A GoogleTest program, run in the tests folder; each of its tests is one test of CTest, with the label `actors` where
# ACTORS is given. PROGRAM is given where the tests start the program `ravant`. Run them by a test preset: it
# gives the sanitizers their options.
function(ravant_test NAME)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "ACTORS;PROGRAM" "" "SOURCES;DEPENDS")
  add_executable(${NAME} ${ARG_SOURCES})
  target_precompile_headers(${NAME} REUSE_FROM test_precompiled)
  target_compile_definitions(${NAME} PRIVATE RAVANT_TESTS_DIR="${PROJECT_SOURCE_DIR}/tests")
  target_link_libraries(${NAME} PRIVATE ${ARG_DEPENDS} test_support GTest::gmock_main)
  if(ARG_PROGRAM)
    target_compile_definitions(${NAME} PRIVATE RAVANT_PROGRAM="$<TARGET_FILE:ravant>")
    add_dependencies(${NAME} ravant)
  endif()
  set(PROPERTIES TIMEOUT 120)
  if(ARG_ACTORS)
    add_dependencies(actor_tests ${NAME})
    list(APPEND PROPERTIES LABELS actors)
  endif()
  gtest_discover_tests(${NAME} DISCOVERY_MODE PRE_TEST NO_PRETTY_VALUES WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}/tests
    PROPERTIES ${PROPERTIES})
endfunction()

# ravant_benchmark(NAME SOURCES file... [DEPENDS library...]): a program that measures, built only when asked for.
function(ravant_benchmark NAME)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;DEPENDS")
  add_executable(${NAME} EXCLUDE_FROM_ALL ${ARG_SOURCES} ${PROJECT_SOURCE_DIR}/tests/support/run.cpp)
  ravant_precompile(${NAME})
  target_link_libraries(${NAME} PRIVATE ${ARG_DEPENDS})
endfunction()
