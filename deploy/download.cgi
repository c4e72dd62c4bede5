#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Runs the program for a download of text. The program writes its headers before it asks the system manager
# for the text; if there is none, this script writes nothing at all, which servers answer with an error.
# Its name for the file is none that a browser can use, so this one takes its place: the kind of device, which
# the text's second line tells, and the day. VISTEL_CGI names the folder of the program.
return=$(printf '\r')
newline='
'
"$VISTEL_CGI/vistel.cgi" | {
  headers=
  while IFS= read -r line && [ "$line" != "$return" ]; do
    case $line in
      [Cc]ontent-[Dd]isposition:*) ;;
      *) headers=$headers$line$newline ;;
    esac
  done
  [ "$line" = "$return" ] || exit 0
  text=
  for _ in 1 2; do
    if IFS= read -r line; then
      text=$text$line$newline
    else
      text=$text$line
      break
    fi
  done
  [ -n "$text" ] || exit 0
  device=
  case $text in
    *"$newline<configuration format="*' device="'*)
      device=${text#*' device="'}
      device=${device%%\"*}
      ;;
  esac
  case $device in
    '' | *[!0-9A-Za-z-]*) device=settings ;;
  esac
  printf '%sContent-Disposition: attachment; filename="%s-%s.xml"\r\n\r\n%s' \
    "$headers" "$device" "$(date +%Y-%m-%d)" "$text"
  cat
}
