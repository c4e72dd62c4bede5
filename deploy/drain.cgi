#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Runs the program for a request with a body, and then reads the rest of the body: the program refuses
# some bodies without reading them, and fcgiwrap answers with its own error if it can't hand over a whole
# body. VISTEL_CGI names the folder of the program.
"$VISTEL_CGI/vistel.cgi"
cat >/dev/null
