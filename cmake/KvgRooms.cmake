# Reads cmake/rooms.txt: each target is linked with what its line allows, and a folder below
# "plugins" is a device type that ships: its target goes into KVG_PLUGINS.

set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
             ${PROJECT_SOURCE_DIR}/cmake/rooms.txt)
file(STRINGS ${PROJECT_SOURCE_DIR}/cmake/rooms.txt _kvg_rooms REGEX "^[^#]")
foreach(_line IN LISTS _kvg_rooms)
  string(REGEX REPLACE "[ ]+" ";" _words "${_line}")
  list(POP_FRONT _words _folder _target)
  if(WIN32)
    list(REMOVE_ITEM _words Qt5::DBus)
  endif()
  set(KVG_USES_${_target} "${_words}")
  if(_folder MATCHES "^plugins/(.+)")
    list(APPEND KVG_PLUGIN_FOLDERS ${CMAKE_MATCH_1})
    list(APPEND KVG_PLUGINS ${_target})
  endif()
endforeach()

# For the include check: one line "target file" for each source file.
set(KVG_ROOM_SOURCES ${PROJECT_BINARY_DIR}/room-sources.txt)
file(WRITE ${KVG_ROOM_SOURCES} "")

set(KVG_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual)

function(kvg_compile_options target)
  target_compile_options(${target} PRIVATE ${KVG_WARNINGS})
  target_compile_definitions(${target} PRIVATE
    QT_NO_CAST_TO_ASCII QT_NO_CAST_FROM_BYTEARRAY QT_NO_URL_CAST_FROM_STRING QT_NO_FOREACH
    QT_NO_NARROWING_CONVERSIONS_IN_CONNECT QT_DEPRECATED_WARNINGS)
  if(KVG_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(KVG_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${KVG_SANITIZE} -fno-omit-frame-pointer
                           -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${KVG_SANITIZE})
  endif()
  get_target_property(_kind ${target} TYPE)
  if(KVG_SANITIZE STREQUAL "thread" AND _kind STREQUAL "EXECUTABLE")
    target_link_libraries(${target} PRIVATE kvg_tsanqt)
  endif()
endfunction()

# Teaches the thread sanitizer what Qt does between threads, in every program.
if(KVG_SANITIZE STREQUAL "thread")
  add_library(kvg_tsanqt OBJECT ${PROJECT_SOURCE_DIR}/cmake/tsan_qt.cpp)
  kvg_compile_options(kvg_tsanqt)
  target_link_libraries(kvg_tsanqt PUBLIC Qt5::Core)
  target_compile_definitions(kvg_tsanqt PRIVATE
                             KVG_PLUGIN_FOLDER="${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/plugins")
  set_target_properties(kvg_tsanqt PROPERTIES AUTOMOC OFF)
endif()

# Windows shows these as the properties of a program or library.
if(WIN32)
  enable_language(RC)
endif()
function(kvg_version_resource target)
  string(REPLACE "." "," _numbers "${PROJECT_VERSION}.0")
  get_target_property(_kind ${target} TYPE)
  if(_kind STREQUAL "EXECUTABLE")
    set(_type VFT_APP)
    set(_suffix .exe)
    set(_description "${PROJECT_DESCRIPTION}")
  else()
    set(_type VFT_DLL)
    set(_suffix .dll)
    set(_description "${PROJECT_NAME}: ${target}")
  endif()
  set(_rc ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc)
  configure_file(${PROJECT_SOURCE_DIR}/resources/version.rc.in ${_rc} @ONLY)
  target_sources(${target} PRIVATE ${_rc})
endfunction()

# kvg_room(target STATIC|SHARED|MODULE|EXECUTABLE|INTERFACE sources...): name every .h and .cpp, so
# that the include check knows the target of each file. INTERFACE is for headers alone.
function(kvg_room target kind)
  if(NOT DEFINED KVG_USES_${target})
    message(FATAL_ERROR "${target} has no line in cmake/rooms.txt")
  endif()
  if(kind STREQUAL "EXECUTABLE")
    add_executable(${target} ${ARGN})
  else()
    add_library(${target} ${kind} ${ARGN})
  endif()
  if(kind STREQUAL "INTERFACE")
    target_include_directories(${target} INTERFACE ${PROJECT_SOURCE_DIR})
    target_link_libraries(${target} INTERFACE ${KVG_USES_${target}})
  else()
    kvg_compile_options(${target})
    target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
    if(kind MATCHES "STATIC|SHARED")
      target_link_libraries(${target} PUBLIC ${KVG_USES_${target}})
    else()
      target_link_libraries(${target} PRIVATE ${KVG_USES_${target}})
    endif()
  endif()
  if(WIN32 AND kind MATCHES "SHARED|MODULE|EXECUTABLE")
    kvg_version_resource(${target})
  endif()
  foreach(_source IN LISTS ARGN)
    if(_source MATCHES "\\.(h|cpp)$")
      file(REAL_PATH ${_source} _path BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
      file(RELATIVE_PATH _path ${PROJECT_SOURCE_DIR} ${_path})
      file(APPEND ${KVG_ROOM_SOURCES} "${target} ${_path}\n")
    endif()
  endforeach()
endfunction()

# kvg_plugin(target sources...): a device type, built together with the gateway, into the folder
# "plugins" beside it.
function(kvg_plugin target)
  kvg_room(${target} MODULE ${ARGN})
  set_target_properties(${target} PROPERTIES PREFIX ""
    LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin/plugins)
  add_dependencies(KVG-Gate ${target})
endfunction()
