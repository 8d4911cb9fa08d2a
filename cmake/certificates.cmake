# Writes the certificates that are compiled in as numbers for C++, to NAME_certificate.inc in the build folder.
set(development_authority ${PROJECT_SOURCE_DIR}/src/security/development_authority)
set(QUILL_PARENT_CERTIFICATE ${development_authority}/parent.der CACHE FILEPATH
  "DER file of the authority that issues the certificates with which regulatory tables are signed")
set(QUILL_TOP_CERTIFICATE ${development_authority}/top.der CACHE FILEPATH
  "DER file of the authority above that one")

function(quill_certificate name file)
  file(READ "${file}" bytes HEX)
  string(LENGTH "${bytes}" digits)
  math(EXPR size "${digits} / 2")
  # Certificates of 260 bytes to 64 KiB begin with a sequence (30) whose length has two bytes (82).
  string(SUBSTRING "${bytes}00000000" 0 4 start)
  string(SUBSTRING "${bytes}00000000" 4 4 length)
  math(EXPR whole "0x${length} + 4")
  if(NOT start STREQUAL "3082" OR NOT size EQUAL whole)
    message(FATAL_ERROR "${file} is not one certificate in DER form (openssl x509 -outform DER makes it from PEM)")
  endif()
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  file(CONFIGURE OUTPUT ${name}_certificate.inc CONTENT "${bytes}\n" @ONLY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
endfunction()
quill_certificate(parent "${QUILL_PARENT_CERTIFICATE}")
quill_certificate(top "${QUILL_TOP_CERTIFICATE}")

foreach(file QUILL_PARENT_CERTIFICATE QUILL_TOP_CERTIFICATE)
  if(${file} MATCHES "^${development_authority}/")
    message(WARNING "${file} is the development authority's, whose private keys are published: this build takes "
      "regulatory tables that anybody has signed. Name a deployment's own with -D${file}=FILE.der.")
  endif()
endforeach()
