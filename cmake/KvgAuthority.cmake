# The authorities that the gateway trusts, compiled in as ":/cacerts/<default host>.ca".
# Without KVG_CA_BUNDLE, the build makes a sandbox authority, whose key stays in the build folder.

set(KVG_AUTHORITY_DIR ${PROJECT_BINARY_DIR}/authority)
set(KVG_SANDBOX_CA ${KVG_AUTHORITY_DIR}/authority.pem)
find_program(KVG_OPENSSL openssl REQUIRED)
add_custom_command(
  OUTPUT ${KVG_SANDBOX_CA} ${KVG_AUTHORITY_DIR}/authority.key
  COMMAND sh ${PROJECT_SOURCE_DIR}/cmake/make-authority.sh ${KVG_OPENSSL} ${KVG_AUTHORITY_DIR}
  DEPENDS ${PROJECT_SOURCE_DIR}/cmake/make-authority.sh
  COMMENT "Making the sandbox authority" VERBATIM)
add_custom_target(kvg_authority DEPENDS ${KVG_SANDBOX_CA})

# kvg_trust(target bundle): compiles `bundle` into the executable as its trusted authorities.
function(kvg_trust target bundle)
  set(_qrc ${CMAKE_CURRENT_BINARY_DIR}/${target}_cacerts.qrc)
  set(_cpp ${CMAKE_CURRENT_BINARY_DIR}/qrc_${target}_cacerts.cpp)
  string(REPLACE "&" "&amp;" _escaped "${bundle}")
  file(CONFIGURE OUTPUT ${_qrc} CONTENT "<RCC><qresource prefix=\"/cacerts\">
<file alias=\"@KVG_CLOUD_HOST@.ca\">${_escaped}</file></qresource></RCC>\n" @ONLY)
  add_custom_command(OUTPUT ${_cpp}
    COMMAND Qt5::rcc --name ${target}_cacerts -o ${_cpp} ${_qrc}
    DEPENDS ${bundle} ${_qrc} VERBATIM)
  set_source_files_properties(${_cpp} PROPERTIES SKIP_AUTOGEN ON)
  target_sources(${target} PRIVATE ${_cpp})
  add_dependencies(${target} kvg_authority)
endfunction()
