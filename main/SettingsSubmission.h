// SPDX-License-Identifier: MIT
//
// What a form submits for the device: all variables named ":sys:" and a key are settings, which go
// to the system manager as one batch.
#pragma once

class WGLVariables;

// Submits the settings and says in further variables, all safe as HTML text, what came of it:
//   _sys_<key>          the value that was submitted
//   _error_<key>        what is wrong with it; not set when nothing is
//   _error_consistency  what is wrong with the values together; not set when nothing is
//   _errorcount         how many of the "_error_" variables were set; on every request
// In these names every byte of the key but ASCII letters, digits and "_" is "_". A value ends at
// its first NUL byte, as everywhere in the template language. Without errors, "_okdir", "_okpage",
// "_okplain" and "_oktype" replace "_dir", "_page", "_plain" and "_type", as far as they are not
// empty.
void SubmitSettings(WGLVariables& variables);
