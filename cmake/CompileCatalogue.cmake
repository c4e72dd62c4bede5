# SPDX-License-Identifier: MIT
#
# Compiles one message catalogue: cmake -DMSGFMT=.. -DSOURCE=x.po -DCATALOGUE=x.mo -P <this file>
#
# The compiled catalogue doesn't name its character set. Pages are UTF-8 and get the catalogue's own
# bytes. If the catalogue named UTF-8, gettext would load the C library's tables to convert it into itself.
execute_process(COMMAND "${MSGFMT}" --check "--output-file=${CATALOGUE}" "${SOURCE}"
                COMMAND_ERROR_IS_FATAL ANY)

file(READ "${SOURCE}" messages)
string(REGEX REPLACE "; *[Cc][Hh][Aa][Rr][Ss][Ee][Tt]=[Uu][Tt][Ff]-8" "" unnamed "${messages}")
if(unnamed STREQUAL messages)
  message(FATAL_ERROR "${SOURCE}: the header must say charset=UTF-8")
endif()
file(WRITE "${CATALOGUE}.po" "${unnamed}")
# Its only warning now is the missing character set.
execute_process(COMMAND "${MSGFMT}" --output-file=${CATALOGUE} "${CATALOGUE}.po"
                ERROR_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(REMOVE "${CATALOGUE}.po")
