#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Runs the program for a request with a body, and then reads what the program left of it: it refuses
# some bodies unread, and fcgiwrap answers with an error of its own when it can't hand over all of
# one. VISTEL_CGI names the folder of the program.
"$VISTEL_CGI/vistel.cgi"
cat >/dev/null
