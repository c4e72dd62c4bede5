# SPDX-License-Identifier: MIT
#
# Writes a bill of materials: cmake -DOUTPUT=<file> -DSETTINGS=<file> -P <this file>. The rule to know: what is in a
# program is read from its link map, which names each member of an archive that the linker took, and from its list
# of shared libraries. The same sources and libraries give the same bytes.
cmake_minimum_required(VERSION 3.25)
include("${SETTINGS}")

# What libraries are: licence, home, and the names of their files.
set(known "")
macro(component name licence home files)
  list(APPEND known ${name})
  set(licence_${name} "${licence}")
  set(home_${name} "${home}")
  set(files_${name} "${files}")
endmacro()
component(giflib MIT https://giflib.sourceforge.net "^lib(gif|vistel_gif)[.]")
component(sqlite blessing https://sqlite.org "^libsqlite3[.]")
component(libevent BSD-3-Clause https://libevent.org "^libevent(_core)?[-.]")
component(expat MIT https://libexpat.github.io "^libexpat[.]")
component(libsodium ISC https://libsodium.org "^libsodium[.]")
component(libxcrypt LGPL-2.1-or-later https://github.com/besser82/libxcrypt "^libcrypt[.]")
component(libseccomp LGPL-2.1-only https://github.com/seccomp/libseccomp "^libseccomp[.]")
component(gcc "GPL-3.0-or-later WITH GCC-exception-3.1" https://gcc.gnu.org "^lib(gcc|gcc_s|gcc_eh|stdc[+][+]|atomic)[.]")
component(bison "GPL-3.0-or-later WITH Bison-exception-2.2" https://www.gnu.org/software/bison "^$")
component(nlohmann-json MIT https://github.com/nlohmann/json "^$")

set(flags "${FLAGS}")
separate_arguments(flags UNIX_COMMAND "${flags}")
foreach(folder IN LISTS INCLUDES)
  list(APPEND flags "-I${folder}")
endforeach()
execute_process(COMMAND "${COMPILER}" ${flags} -E -P -x c++ -std=c++17 "${SOURCE}/cmake/versions.in"
                OUTPUT_VARIABLE seen COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "(^|\n)version [^\n]+" seen "${seen}")
foreach(line IN LISTS seen)
  string(REGEX MATCH "version ([a-z-]+) *(.*)$" line "${line}")
  set(name "${CMAKE_MATCH_1}")
  string(REGEX REPLACE "[\" ]" "" version_${name} "${CMAKE_MATCH_2}")
endforeach()
execute_process(COMMAND "${BISON}" --version OUTPUT_VARIABLE bison COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCH "[0-9][0-9.]+" version_bison "${bison}")
set(libc_files "^(lib(c|m|mvec|pthread|dl|rt|resolv)|ld[-a-z0-9_]*)[-.]")
if(version_glibc)
  component(glibc LGPL-2.1-or-later https://www.gnu.org/software/libc "${libc_files}")
else()
  component(musl MIT https://musl.libc.org "${libc_files}")
endif()

set(packages "")
set(relationships "")
set(listed "")

function(relate from kind to)
  set(relationships "${relationships},
    {\"spdxElementId\": \"SPDXRef-${from}\", \"relationshipType\": \"${kind}\", \"relatedSpdxElement\": \"SPDXRef-${to}\"}" PARENT_SCOPE)
endfunction()

function(add_package name version licence home)
  set(packages "${packages},
    {
      \"name\": \"${name}\",
      \"SPDXID\": \"SPDXRef-${name}\",
      \"versionInfo\": \"${version}\",
      \"downloadLocation\": \"${home}\",
      \"filesAnalyzed\": false,
      \"licenseConcluded\": \"${licence}\",
      \"licenseDeclared\": \"${licence}\",
      \"copyrightText\": \"NOASSERTION\"
    }" PARENT_SCOPE)
endfunction()

# Each component is listed once, and related to each program once.
function(add_component program kind name)
  if(NOT name IN_LIST listed)
    set(version "${version_${name}}")
    if(NOT version)
      set(version NOASSERTION)
    endif()
    add_package("${name}" "${version}" "${licence_${name}}" "${home_${name}}")
    list(APPEND listed "${name}")
  endif()
  if(NOT "${program}>${name}" IN_LIST listed)
    relate("${program}" "${kind}" "${name}")
    list(APPEND listed "${program}>${name}")
  endif()
  foreach(variable packages relationships listed)
    set(${variable} "${${variable}}" PARENT_SCOPE)
  endforeach()
endfunction()

# Sets `name` to the component that a library's file belongs to.
macro(name_of file)
  cmake_path(GET ${file} FILENAME name)
  foreach(candidate IN LISTS known)
    if(name MATCHES "${files_${candidate}}")
      set(name "${candidate}")
      break()
    endif()
  endforeach()
  if(NOT name IN_LIST known)
    message(WARNING "The programs contain ${name}, whose licence cmake/WriteSbom.cmake doesn't know")
    component("${name}" NOASSERTION NOASSERTION "^$")
  endif()
endmacro()

foreach(path IN LISTS PROGRAMS)
  cmake_path(GET path FILENAME program)
  add_package("${program}" "${VERSION}" "MIT" "NOASSERTION")
  relate(DOCUMENT DESCRIBES "${program}")
  file(STRINGS "${path}.map" members REGEX "^[^ \t].*[.]a[(][^)]+[)]")
  list(TRANSFORM members REPLACE "[.]a[(].*$" ".a")
  list(REMOVE_DUPLICATES members)
  list(SORT members)
  foreach(archive IN LISTS members)
    if(archive MATCHES "libvistel_(base|control|platform|provider|sysmgr)[.]a$")
      continue()
    endif()
    name_of(archive)
    add_component("${program}" STATIC_LINK "${name}")
  endforeach()
  execute_process(COMMAND "${READELF}" --dynamic --wide "${path}" OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX REPLACE "[][]" " " dynamic "${dynamic}")  # brackets would hold a list's elements together
  string(REGEX MATCHALL "Shared library: [^\n]+" shared "${dynamic}")
  foreach(library IN LISTS shared)
    string(REGEX REPLACE "^Shared library: *([^ ]+) *$" "\\1" library "${library}")
    name_of(library)
    add_component("${program}" DYNAMIC_LINK "${name}")
  endforeach()
  if(program STREQUAL "vistel.cgi")
    add_component("${program}" CONTAINS bison)
  elseif(program STREQUAL "sysmgrd")
    add_component("${program}" CONTAINS nlohmann-json)
  endif()
endforeach()

# The time of the sources, unless the one who builds says another.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  file(STRINGS "${SOURCE}/CHANGELOG.md" dates REGEX "^## .* - [0-9-]+$")
  string(REGEX MATCH "[0-9][0-9-]+" created "")
  list(GET dates 0 created)
  string(REGEX REPLACE ".* - " "" created "${created}")
  set(created "${created}T00:00:00Z")
else()
  string(TIMESTAMP created "%Y-%m-%dT%H:%M:%SZ" UTC)
endif()
string(SHA256 content "${packages}${relationships}")
string(REGEX REPLACE "^,\n" "" packages "${packages}")
string(REGEX REPLACE "^,\n" "" relationships "${relationships}")
file(WRITE "${OUTPUT}" "{
  \"spdxVersion\": \"SPDX-2.3\",
  \"dataLicense\": \"CC0-1.0\",
  \"SPDXID\": \"SPDXRef-DOCUMENT\",
  \"name\": \"vistel-${VERSION}\",
  \"documentNamespace\": \"https://spdx.org/spdxdocs/vistel-${VERSION}-${content}\",
  \"creationInfo\": {\"created\": \"${created}\", \"creators\": [\"Tool: vistel-${VERSION}\"]},
  \"packages\": [
${packages}
  ],
  \"relationships\": [
${relationships}
  ]
}
")
