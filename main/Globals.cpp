// SPDX-License-Identifier: MIT
//
// All global objects of the program. They are in one file because the order of construction, from
// top to bottom, is fixed only within a file; they are destroyed in reverse order at exit. Their
// constructors open, read and connect nothing.
#include "base/Settings.h"
#include "main/SvcMgrFunctions.h"
#include "platform/SysMgrProxy.h"
#include "query/SysMgr.h"
#include "query/WGLQueryExecutor.h"
#include "values/WGLEscapedValues.h"
#include "values/WGLVariables.h"
#include "wgl/WGLError.h"
#include "wgl/WGLIncludeStack.h"

const std::string gServiceName = "Vistel";
const std::string gDocumentRoot = VISTEL_DOCUMENT_ROOT;
const std::string gUploadFile = VISTEL_UPLOAD_FILE;
const std::string gFalseWord = "0";
const std::string gTrueWord = "1";
const std::string gTextDomain = "vistel";
const std::string gLocaleDir = VISTEL_LOCALE_DIR;
const std::string gAuthorisationFile = VISTEL_AUTHORISATION_FILE;

WGLVariables gVariables;
WGLEscapedValues gEscapedValues;

static SvcMgrFunctions gSvcMgrFunctions;
SysMgrProxy gSysMgr(gServiceName, gSvcMgrFunctions, gAuthorisationFile);

WGLQueryExecutor gQueryExecutor(yywglerror);

WGLIncludeStack gIncludeStack;
