// SPDX-License-Identifier: MIT
//
// Every global object of the program. They stand in one file because only within one file is the
// order of construction, top to bottom, fixed; they go in reverse order at exit. None of them
// opens, reads or connects anything.
#include "base/Settings.h"
#include "main/SvcMgrFunctions.h"
#include "platform/SysMgrProxy.h"
#include "query/SysMgr.h"
#include "query/WGLQueryExecutor.h"
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

static SvcMgrFunctions gSvcMgrFunctions;
SysMgrProxy gSysMgr(gServiceName, gSvcMgrFunctions, gAuthorisationFile);

WGLQueryExecutor gQueryExecutor(yywglerror);

WGLIncludeStack gIncludeStack;
