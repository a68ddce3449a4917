# How every target is compiled and linked.
set(CMAKE_CXX_STANDARD 23)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_SCAN_FOR_MODULES OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# Option structs are given only the fields that differ: a missing designated initializer is no mistake.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Wnull-dereference
  -Wimplicit-fallthrough -Wno-missing-field-initializers)

# All executables and all libraries are compiled alike, so that they can share one precompiled header.
add_compile_options(-fPIE)
add_link_options(-pie)

add_compile_options("$<$<CONFIG:Release>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3;-D_GLIBCXX_ASSERTIONS>"
  "$<$<CONFIG:Release>:-fstack-protector-strong;-fstack-clash-protection;-ftrivial-auto-var-init=zero>")
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64")
  add_compile_options("$<$<CONFIG:Release>:-fcf-protection>")
endif()
add_link_options("$<$<CONFIG:Release>:-Wl,-z,relro,-z,now>")

if(RAVANT_SANITIZE)
  add_compile_options(-fsanitize=${RAVANT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # It opens a pipe to look at an object, which fails where a test leaves no descriptor.
  add_compile_options(-fno-sanitize=vptr)
  add_link_options(-fsanitize=${RAVANT_SANITIZE})
endif()

# Only lld links the bitcode of clang's ThinLTO.
find_program(RAVANT_MOLD mold)
find_program(RAVANT_LLD NAMES ld.lld-19 ld.lld)
if(RAVANT_LLD AND (CMAKE_INTERPROCEDURAL_OPTIMIZATION OR NOT RAVANT_MOLD))
  add_link_options(-fuse-ld=lld)
elseif(RAVANT_MOLD)
  add_link_options(-fuse-ld=mold)
endif()
if(RAVANT_LLD AND CMAKE_INTERPROCEDURAL_OPTIMIZATION)
  add_link_options(-Wl,--thinlto-cache-dir=${PROJECT_BINARY_DIR}/thinlto)
endif()

# Depending on the dependency file saves ccache a run of the preprocessor for each unit.
find_program(RAVANT_CCACHE ccache)
if(RAVANT_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER env CCACHE_DEPEND=1 CCACHE_SLOPPINESS=pch_defines,time_macros ${RAVANT_CCACHE})
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  # A time stamp inside the precompiled header would make ccache miss every unit that uses it.
  add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
endif()
