#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Runs the program for a download of text. The program writes its headers before it asks the system manager
# for the text; if there is none, this script writes nothing at all, which servers answer with an error.
# VISTEL_CGI names the folder of the program.
return=$(printf '\r')
"$VISTEL_CGI/vistel.cgi" | {
  headers=
  while IFS= read -r line; do
    headers="$headers$line
"
    if [ "$line" = "$return" ]; then
      if IFS= read -r line; then
        printf '%s%s\n' "$headers" "$line"
        cat
      elif [ -n "$line" ]; then
        printf '%s%s' "$headers" "$line"
      fi
      exit
    fi
  done
}
