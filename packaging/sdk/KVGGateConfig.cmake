# The kit for writers of device types.
include(CMakeFindDependencyMacro)
find_dependency(Qt5 5.15 COMPONENTS Core)
if(Qt5Core_VERSION VERSION_GREATER_EQUAL 5.16)
  set(KVGGate_FOUND FALSE)
  set(KVGGate_NOT_FOUND_MESSAGE "KVG-Gate needs Qt 5.15, and not ${Qt5Core_VERSION}")
  return()
endif()
include(${CMAKE_CURRENT_LIST_DIR}/KVGGateTargets.cmake)

# kvggate_add_device_type(name SOURCES files... [TRANSLATIONS files_<language>.ts...]
#                         [LIBRARIES targets...] [CHECK_OPTIONS options...])
# Builds the plugin thing_<name>, and thing_<name>_<language>.qm beside it. The test contract_<name>
# runs kvg-plugin-check on it, with the options.
function(kvggate_add_device_type name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;TRANSLATIONS;LIBRARIES;CHECK_OPTIONS")
  set(plugin thing_${name})
  add_library(${plugin} MODULE ${ARG_SOURCES})
  target_compile_features(${plugin} PRIVATE cxx_std_17)
  target_link_libraries(${plugin} PRIVATE KVGGate::thing1 ${ARG_LIBRARIES})
  if(UNIX) # or else the loader finds what is missing, without a useful message
    target_link_options(${plugin} PRIVATE LINKER:-z,defs)
  endif()
  set_target_properties(${plugin} PROPERTIES
    PREFIX "" AUTOMOC ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  if(ARG_TRANSLATIONS)
    get_target_property(_qmake Qt5::qmake IMPORTED_LOCATION)
    get_filename_component(_qt_bin ${_qmake} DIRECTORY)
    find_program(KVGGATE_LRELEASE NAMES lrelease lrelease-qt5 HINTS ${_qt_bin} /usr/lib/qt5/bin
                 REQUIRED)
  endif()
  foreach(_file IN LISTS ARG_TRANSLATIONS)
    if(NOT _file MATCHES "_([a-z]+(_[A-Z]+)?)\\.ts$")
      message(FATAL_ERROR "${_file} must end with the language, as in ${name}_ru.ts")
    endif()
    set(_language ${CMAKE_MATCH_1})
    get_filename_component(_file ${_file} ABSOLUTE)
    set_property(TARGET ${plugin} APPEND PROPERTY LINK_DEPENDS ${_file})
    add_custom_command(TARGET ${plugin} POST_BUILD VERBATIM
      COMMAND ${KVGGATE_LRELEASE} -silent ${_file}
              -qm $<TARGET_FILE_DIR:${plugin}>/${plugin}_${_language}.qm)
  endforeach()
  add_test(NAME contract_${name}
    COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:KVGGate::plugin-check>
            ${ARG_CHECK_OPTIONS} $<TARGET_FILE:${plugin}>)
endfunction()
