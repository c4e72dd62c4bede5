// SPDX-License-Identifier: MIT
//
// Preprocessed, this says which libraries' headers a build sees: a line for each, "version NAME ...".
#if __has_include(<features.h>)
#include <features.h>
#endif
#ifdef __GLIBC__
version glibc __GLIBC__ . __GLIBC_MINOR__
#endif
version gcc __GNUC__ . __GNUC_MINOR__ . __GNUC_PATCHLEVEL__
#if __has_include(<gif_lib.h>)
#include <gif_lib.h>
version giflib GIFLIB_MAJOR . GIFLIB_MINOR . GIFLIB_RELEASE
#endif
#if __has_include(<sqlite3.h>)
#include <sqlite3.h>
version sqlite SQLITE_VERSION
#endif
#if __has_include(<event2/event-config.h>)
#include <event2/event-config.h>
version libevent EVENT__VERSION
#endif
#if __has_include(<expat.h>)
#include <expat.h>
version expat XML_MAJOR_VERSION . XML_MINOR_VERSION . XML_MICRO_VERSION
#endif
#if __has_include(<sodium/version.h>)
#include <sodium/version.h>
version libsodium SODIUM_VERSION_STRING
#endif
#if __has_include(<crypt.h>)
#include <crypt.h>
version libxcrypt XCRYPT_VERSION_STR
#endif
#if __has_include(<seccomp.h>)
#include <seccomp.h>
version libseccomp SCMP_VER_MAJOR . SCMP_VER_MINOR . SCMP_VER_MICRO
#endif
#if __has_include(<nlohmann/json.hpp>)
#include <nlohmann/detail/macro_scope.hpp>
version nlohmann-json NLOHMANN_JSON_VERSION_MAJOR . NLOHMANN_JSON_VERSION_MINOR . NLOHMANN_JSON_VERSION_PATCH
#endif
