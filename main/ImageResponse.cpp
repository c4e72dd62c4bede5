// SPDX-License-Identifier: MIT
#include "main/ImageResponse.h"

#include <string>

#include "base/Settings.h"
#include "image/ImageGenerator.h"
#include "request/RequestHandler.h"
#include "values/WGLVariables.h"

void RespondWithImage(const WGLVariables& variables) {
  RequestHandler::WriteHeaders("image/gif");
  const std::string type = variables.Get("_type", "");
  const std::string folder = gDocumentRoot + "/styles/" + variables.Get("_style", "") + "/img/";
  const ImageGenerator generator;
  if (type == "snr") {
    generator.MakeImageSNR(folder + "snr_template.gif", variables.Get("mac", ""));
  } else if (type == "power") {
    generator.MakeImagePower(folder + "power_template.gif");
  }
}
