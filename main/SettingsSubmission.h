// SPDX-License-Identifier: MIT
//
// Submits the settings of a form to the system manager, as one batch: all variables whose names are
// ":sys:" and a key.
#pragma once

class WGLVariables;

// Submits the settings and stores the results in variables, all safe as HTML text:
//   _sys_<key>          the value that was submitted
//   _error_<key>        what is wrong with it; not set if nothing is
//   _error_consistency  what is wrong with the values together; not set if nothing is
//   _errorcount         the number of "_error_" variables; set on every request
// In these names, every byte of the key but ASCII letters, digits and "_" becomes "_". A value ends
// at its first NUL byte, as everywhere in the template language. Without errors, "_okdir",
// "_okpage", "_okplain" and "_oktype" replace "_dir", "_page", "_plain" and "_type", unless they
// are empty.
void SubmitSettings(WGLVariables& variables);
