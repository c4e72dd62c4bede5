#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Runs the program for a request with a body when the whole body is there: the program refuses some bodies without
# reading them, and Apache would lose its answer then. VISTEL_CGI names the folder of the program, VISTEL_STATE
# that of the body.
body=$VISTEL_STATE/body.$$
trap 'rm -f -- "$body"; exit 1' TERM HUP
umask 077
head -c "${CONTENT_LENGTH:-0}" >"$body"
bytes=$(wc -c <"$body")
exec <"$body"
rm -f -- "$body"
if [ "$bytes" -ne "${CONTENT_LENGTH:-0}" ]; then
  printf 'Status: 400 Bad Request\r\nContent-Type: text/plain\r\n\r\n400 Bad Request\r\n'
  exit 0
fi
exec "$VISTEL_CGI/vistel.cgi"
