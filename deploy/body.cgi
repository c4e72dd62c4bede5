#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Runs the program for a request with a body when the whole body is there: the program refuses some bodies without
# reading them, and Apache would lose its answer then. VISTEL_CGI names the folder of the program, VISTEL_STATE
# that of the body.
body=$VISTEL_STATE/body.$$
trap 'rm -f -- "$body"; exit 1' TERM HUP
umask 077
refuse() {
  rm -f -- "$body"
  printf 'Status: %s\r\nContent-Type: text/plain\r\n\r\n%s\r\n' "$1" "$1"
  exit 0
}
head -c "${CONTENT_LENGTH:-0}" >"$body" || refuse '507 Insufficient Storage'
[ "$(wc -c <"$body")" -eq "${CONTENT_LENGTH:-0}" ] || refuse '400 Bad Request'
exec <"$body"
rm -f -- "$body"
exec "$VISTEL_CGI/vistel.cgi"
