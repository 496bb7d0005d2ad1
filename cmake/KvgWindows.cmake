# The DLLs and plugins that the program for Windows needs, and how Linux runs it.

set(_sysroot ${KVG_WINDOWS_SYSROOT})
foreach(_name IN ITEMS Qt5Core Qt5Gui Qt5Network Qt5Widgets libcrypto-3-x64 libgcc_s_seh-1 libqwt-qt5
                       libssl-3-x64 libstdc++-6 libwinpthread-1)
  list(APPEND KVG_RUNTIME_LIBRARIES ${_sysroot}/bin/${_name}.dll)
endforeach()
set(KVG_RUNTIME_PLUGINS platforms/qwindows styles/qwindowsvistastyle imageformats/qico)
# It is installed as qt_ru.qm. Debian's own qt_ru.qm is only a list of other catalogues.
find_file(KVG_QT_RUSSIAN qtbase_ru.qm PATHS /usr/share/qt5/translations NO_CMAKE_FIND_ROOT_PATH
          REQUIRED)

# kvg_deploy(folder): copies them into the folder, as part of the build.
function(kvg_deploy folder)
  set(_copies "")
  foreach(_library IN LISTS KVG_RUNTIME_LIBRARIES)
    get_filename_component(_name ${_library} NAME)
    list(APPEND _copies ${folder}/${_name})
    add_custom_command(OUTPUT ${folder}/${_name} DEPENDS ${_library}
      COMMAND ${CMAKE_COMMAND} -E copy ${_library} ${folder}/${_name} VERBATIM)
  endforeach()
  foreach(_plugin IN LISTS KVG_RUNTIME_PLUGINS)
    list(APPEND _copies ${folder}/${_plugin}.dll)
    add_custom_command(OUTPUT ${folder}/${_plugin}.dll DEPENDS ${_sysroot}/plugins/${_plugin}.dll
      COMMAND ${CMAKE_COMMAND} -E copy ${_sysroot}/plugins/${_plugin}.dll ${folder}/${_plugin}.dll
      VERBATIM)
  endforeach()
  list(APPEND _copies ${folder}/translations/qt_ru.qm)
  add_custom_command(OUTPUT ${folder}/translations/qt_ru.qm DEPENDS ${KVG_QT_RUSSIAN}
    COMMAND ${CMAKE_COMMAND} -E copy ${KVG_QT_RUSSIAN} ${folder}/translations/qt_ru.qm VERBATIM)
  add_custom_target(kvg_runtime ALL DEPENDS ${_copies})
endfunction()

set(KVG_NATIVE_BUILD "" CACHE PATH "Build folder for Linux, whose sandbox cloud the tests use")
if(CMAKE_CROSSCOMPILING)
  set(CMAKE_CROSSCOMPILING_EMULATOR
      ${KVG_PYTHON} ${PROJECT_SOURCE_DIR}/tools/wine/wine.py
      --template ${PROJECT_BINARY_DIR}/wine/template --path ${_sysroot}/bin
      --path ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
endif()
