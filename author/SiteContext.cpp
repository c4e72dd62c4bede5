// SPDX-License-Identifier: MIT
#include "author/SiteContext.h"

#include "author/Options.h"
#include "author/catalogue/Languages.h"

Context ReadContext(const Options& options) {
  Context context = {DeviceModel::Read(options.model), {}};
  for (const std::string& language : LanguagesOf(options.locale)) {
    context.catalogues[language] = Catalogue::Read(options.locale + "/" + language + ".po");
  }
  return context;
}
