// SPDX-License-Identifier: MIT
//
// The CGI meta-variables (RFC 3875, section 4.1), which the web server puts into the environment.
#pragma once

#include <string>

// The variable's value; "" when it is not set.
std::string Environment(const char* name);
