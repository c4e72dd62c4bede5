// SPDX-License-Identifier: MIT
//
// The fixed paths and names of the product. They are set by the build, see docs/settings.md;
// nothing is configured at run time.
#pragma once

#include <string>

extern const std::string gServiceName;        // the name under which the program asks for values
extern const std::string gDocumentRoot;       // absolute, without a "/" at its end
extern const std::string gUploadFile;         // where an uploaded file is kept
extern const std::string gFalseWord;          // how settings spell false
extern const std::string gTrueWord;           // how settings spell true
extern const std::string gTextDomain;         // of the message catalogues
extern const std::string gLocaleDir;          // catalogues: <here>/de/LC_MESSAGES/<text domain>.mo
extern const std::string gAuthorisationFile;  // holds the secret for the system manager
