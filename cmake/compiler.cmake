# Included before project(): chooses clang where nobody has chosen a compiler.
if(NOT DEFINED CMAKE_CXX_COMPILER AND NOT DEFINED ENV{CXX})
  find_program(RAVANT_CLANG NAMES clang++-19 clang++-20 clang++-18)
  if(RAVANT_CLANG)
    set(CMAKE_CXX_COMPILER ${RAVANT_CLANG})
  endif()
endif()

function(refuse_unfit_compiler)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    message(FATAL_ERROR
      "GCC ${CMAKE_CXX_COMPILER_VERSION} destroys temporaries of co_await expressions twice: Ravant would build "
      "without a warning and corrupt memory at run time. Install clang-19, or name a compiler with "
      "-DCMAKE_CXX_COMPILER=clang++-19.")
  endif()
endfunction()
