// SPDX-License-Identifier: MIT
//
// The global objects of vistel-render and vistel-site: those of main/Globals.cpp, with settings
// from the environment.
#include <cstdlib>

#include "author/render/Environment.h"
#include "base/Settings.h"
#include "platform/SvcMgrAdapter.h"
#include "platform/SysMgrProxy.h"
#include "query/SysMgr.h"
#include "query/WGLQueryExecutor.h"
#include "values/WGLEscapedValues.h"
#include "values/WGLVariables.h"
#include "wgl/WGLError.h"
#include "wgl/WGLIncludeStack.h"

namespace {

std::string FromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

}  // namespace

const std::string gServiceName = "Vistel";
const std::string gDocumentRoot = FromEnvironment(RenderEnvironment::kRoot);
const std::string gUploadFile = FromEnvironment(RenderEnvironment::kUpload);
const std::string gFalseWord = "0";
const std::string gTrueWord = "1";
const std::string gTextDomain = "vistel";
const std::string gLocaleDir = FromEnvironment(RenderEnvironment::kLocale);
const std::string gAuthorisationFile = FromEnvironment(RenderEnvironment::kSecret);

WGLVariables gVariables;
WGLEscapedValues gEscapedValues;

static SvcMgrAdapter gNoService;
SysMgrProxy gSysMgr(gServiceName, gNoService, gAuthorisationFile);

WGLQueryExecutor gQueryExecutor(yywglerror);

WGLIncludeStack gIncludeStack;
