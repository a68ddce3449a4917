# How the desktop program's folders become libraries and QML modules. Included only where it is built.
set(QT_NO_CREATE_VERSIONLESS_FUNCTIONS ON)
find_package(Qt6 6.4 REQUIRED COMPONENTS Core DBus Gui Network Qml Quick QuickControls2)
set(CMAKE_AUTOMOC ON)
set(QT_QML_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/qml)

# CMake 3.25 does not look for meta objects again where nothing but a header was added.
function(remake_meta_objects_of_new_headers NAME)
  set(KNOWN_FILE ${CMAKE_CURRENT_BINARY_DIR}/${NAME}_sources.txt)
  set(KNOWN "")
  if(EXISTS ${KNOWN_FILE})
    file(READ ${KNOWN_FILE} KNOWN)
  endif()
  get_target_property(SOURCES ${NAME} SOURCES)
  if(NOT KNOWN STREQUAL SOURCES)
    file(REMOVE ${CMAKE_CURRENT_BINARY_DIR}/${NAME}_autogen/timestamp)
    file(WRITE ${KNOWN_FILE} "${SOURCES}")
  endif()
endfunction()

# Qt's headers refuse code that is compiled for an executable only, so these targets cannot use the others' precompiled
# header: desktop_loop builds one for all of them.
function(ravant_desktop_target NAME)
  remake_meta_objects_of_new_headers(${NAME})
  target_compile_options(${NAME} PRIVATE -fPIC)
  target_compile_definitions(${NAME} PRIVATE QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII QT_NO_FOREACH)
  if(NAME STREQUAL "desktop_loop")
    target_precompile_headers(${NAME} PRIVATE ${PROJECT_SOURCE_DIR}/desktop/precompiled.hpp)
  else()
    target_precompile_headers(${NAME} REUSE_FROM desktop_loop)
  endif()
endfunction()

function(ravant_verify_desktop_headers NAME)
  file(GLOB HEADERS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} CONFIGURE_DEPENDS *.hpp)
  if(HEADERS AND RAVANT_VERIFY_HEADERS)
    ravant_verify_headers(${NAME} ${HEADERS})
    set_target_properties(${NAME}_headers PROPERTIES AUTOMOC OFF)
    ravant_desktop_target(${NAME}_headers)
  endif()
endfunction()

# ravant_desktop_library(NAME [DEPENDS library...] [LIBRARIES third-party...])
#
# The static library of the current folder's sources, with Qt's meta objects.
function(ravant_desktop_library NAME)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "DEPENDS;LIBRARIES")
  file(GLOB SOURCES CONFIGURE_DEPENDS *.cpp *.hpp)
  qt6_add_library(${NAME} STATIC ${SOURCES})
  ravant_desktop_target(${NAME})
  target_link_libraries(${NAME} PUBLIC ravant_requirements ${ARG_DEPENDS} ${ARG_LIBRARIES})
  ravant_verify_desktop_headers(${NAME})
endfunction()

# ravant_qml_module(NAME URI uri [DEPENDS library...] [LIBRARIES third-party...] [RESOURCES file...])
#
# The QML module of the current folder: its sources and every .qml file, those named in SINGLETONS as singletons.
function(ravant_qml_module NAME)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "URI" "DEPENDS;LIBRARIES;RESOURCES")
  file(GLOB SOURCES RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} CONFIGURE_DEPENDS *.cpp *.hpp)
  file(GLOB QML_FILES RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} CONFIGURE_DEPENDS *.qml)
  qt6_add_library(${NAME} STATIC)
  qt6_add_qml_module(${NAME}
    URI ${ARG_URI}
    VERSION 1.0
    RESOURCE_PREFIX /qt/qml
    DEPENDENCIES QtQuick
    IMPORT_PATH ${PROJECT_BINARY_DIR}/qml
    SOURCES ${SOURCES}
    QML_FILES ${QML_FILES}
    RESOURCES ${ARG_RESOURCES})
  ravant_desktop_target(${NAME})
  ravant_desktop_target(${NAME}plugin)
  target_include_directories(${NAME} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(${NAME} PUBLIC ravant_requirements ${ARG_DEPENDS} ${ARG_LIBRARIES} Qt6::Quick)
  ravant_verify_desktop_headers(${NAME})
  set_property(GLOBAL APPEND PROPERTY RAVANT_QML_MODULES ${NAME})
  set_property(GLOBAL APPEND PROPERTY RAVANT_QML_PLUGINS ${NAME}plugin)
endfunction()
