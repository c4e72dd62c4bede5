#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Checks a request for a web server that can't, and starts the program if nothing is wrong. The rule to
# know: a request that this script doesn't understand is refused, or gets the strict policy. It costs
# the start of a shell, and of grep if there is a query. VISTEL_CGI names the folder of the
# program, VISTEL_WWW the document root.

LC_ALL=C # brackets match bytes; the program chooses its language by itself
export LC_ALL

max_body_bytes=6553600 # uploads of up to 6 MiB, and room for the rest of the form

# ":sys:", each character itself or one of the escapes that the program decodes to it; see
# docs/deploy.md for their origin.
colon='(:|%[3JZjz][Aa]|%[2IYiy][Qq])'
s='(s|%[7Nn]3|%[6Mm][Jj]|%[5Ll][Zz])'
y='(y|%[7Nn]9|%[6Mm][Pp])'
settings=$colon$s$y$s$colon

page_policy="default-src 'none'; script-src 'self'; connect-src 'self'; style-src 'self'; \
img-src 'self'; form-action 'self'; base-uri 'none'; frame-src 'self'; frame-ancestors 'self'"
strict_policy="default-src 'none'; style-src 'self'; img-src 'self'; form-action 'none'; \
base-uri 'none'; frame-ancestors 'self'; sandbox"

headers() { # policy
  printf 'Content-Security-Policy: %s\r\n' "$1"
  printf 'X-Content-Type-Options: nosniff\r\nReferrer-Policy: same-origin\r\n'
  printf 'Cross-Origin-Resource-Policy: same-origin\r\n'
  printf 'Cross-Origin-Opener-Policy: same-origin\r\n'
}

refuse() { # status, reason
  printf 'Status: %s %s\r\n' "$1" "$2"
  if [ "$1" = 429 ]; then printf 'Retry-After: 10\r\n'; fi
  headers "$page_policy"
  if [ -r "$VISTEL_WWW/errors/$1.html" ]; then
    printf 'Content-Type: text/html; charset=utf-8\r\n\r\n'
    if [ "$REQUEST_METHOD" != HEAD ]; then cat -- "$VISTEL_WWW/errors/$1.html"; fi
  else
    printf 'Content-Type: text/plain\r\n\r\n'
    if [ "$REQUEST_METHOD" != HEAD ]; then printf '%s %s\r\n' "$1" "$2"; fi
  fi
  exit 0
}

# Whether the query holds a setting; also true if grep fails.
holds_settings() {
  case $QUERY_STRING in *[:%]*) ;; *) return 1 ;; esac
  printf '%s\n' "$QUERY_STRING" | grep -Eq "$settings" && return 0
  [ $? -ne 1 ]
}

# Whether the text matches the pattern; false if grep fails.
matches() { # text, options of grep, pattern
  printf '%s\n' "$1" | grep "$2" -e "$3"
}

# Whether the device answers under this name. Under another one, somebody else may have led the browser
# here.
named() {
  matches "${HTTP_HOST-}" -Eiq "$VISTEL_HOST_PATTERN"
}

# Whether the request is none that a browser sends for another site: those may only lead to a page.
own_or_link() {
  case ${HTTP_SEC_FETCH_SITE-} in
    [Cc][Rr][Oo][Ss][Ss]-[Ss][Ii][Tt][Ee]) ;;
    *) return 0 ;;
  esac
  case $REQUEST_METHOD in GET | HEAD) ;; *) return 1 ;; esac
  matches "$QUERY_STRING" -Eq "$VISTEL_LINK_PATTERN"
}

# Whether the origin of a post is this host. The scheme is ignored, because a TLS server may be in
# front of this one.
same_origin() {
  case $HTTP_ORIGIN in
    http://?* | https://?*) [ "${HTTP_ORIGIN#*://}" = "$HTTP_HOST" ] ;;
    *) false ;;
  esac
}

# Whether the query can only mean one of the site's own pages, those of VISTEL_PAGES.
known_page() {
  [ -z "$QUERY_STRING" ] || matches "$QUERY_STRING" -Eq "$VISTEL_PAGE_PATTERN"
}

if [ -n "${VISTEL_REFUSED-}" ]; then refuse 429 'Too Many Requests'; fi
case ${REQUEST_URI%%\?*} in
  / | /cgi-bin/vistel.cgi) ;;
  *) refuse 403 Forbidden ;;
esac
if [ -n "${PATH_INFO-}" ]; then refuse 403 Forbidden; fi
if ! named; then refuse 421 'Misdirected Request'; fi
if holds_settings || ! own_or_link; then refuse 403 Forbidden; fi

policy=$strict_policy
case $REQUEST_METHOD in
  GET | HEAD)
    if known_page; then policy=$page_policy; fi
    ;;
  *)
    # Browsers send the origin with every post. A post without one comes from a tool, which acts with
    # its user's rights, and is let through. Its answer has the strict policy, because this script
    # doesn't see what a form names.
    if [ -n "${HTTP_ORIGIN+set}" ]; then
      if ! same_origin; then refuse 403 Forbidden; fi
      policy=$page_policy
    fi
    case ${CONTENT_LENGTH-0} in
      '' | *[!0-9]* | ?????????*) refuse 413 'Payload Too Large' ;;
    esac
    if [ "${CONTENT_LENGTH-0}" -gt "$max_body_bytes" ]; then refuse 413 'Payload Too Large'; fi
    ;;
esac

case $REQUEST_METHOD$QUERY_STRING in
  GET*_file=syscfg*)
    # The program answers a download that is not available with no bytes, or with none behind its headers.
    program=$VISTEL_CGI/vistel.cgi
    case $QUERY_STRING in
      '_file=syscfg&_type=xml' | '_type=xml&_file=syscfg') program=$VISTEL_DEPLOY/download.cgi ;;
    esac
    "$program" | {
      IFS= read -r line || refuse 502 'Bad Gateway'
      headers "$policy"
      printf '%s\n' "$line"
      cat
    }
    exit 0
    ;;
esac
case $REQUEST_METHOD in
  GET)
    headers "$policy"
    exec "$VISTEL_CGI/vistel.cgi"
    ;;
  HEAD)
    # busybox sends everything that it gets, but the answer to a HEAD has no page.
    return=$(printf '\r')
    headers "$policy"
    "$VISTEL_CGI/vistel.cgi" | sed "/^$return\$/q"
    ;;
  *)
    # busybox passes on what comes, and the program would apply the half of a form that was cut off: so
    # the whole body is here before the program starts.
    body=$VISTEL_STATE/body.$$
    umask 077
    head -c "${CONTENT_LENGTH-0}" >"$body"
    bytes=$(wc -c <"$body")
    exec <"$body"
    rm -f -- "$body"
    if [ "$bytes" -ne "${CONTENT_LENGTH-0}" ]; then refuse 400 'Bad Request'; fi
    headers "$policy"
    exec "$VISTEL_CGI/vistel.cgi"
    ;;
esac
