// SPDX-License-Identifier: MIT
#include "author/catalogue/CompiledCatalogues.h"

#include <cstdlib>
#include <filesystem>

#include "author/catalogue/Languages.h"
#include "author/system/Failure.h"
#include "author/system/Process.h"

namespace fs = std::filesystem;

CompiledCatalogues::CompiledCatalogues(const std::string& folder) : folder_(folder) {
  const std::vector<std::string> languages = LanguagesOf(folder);
  if (languages.empty()) return;
  std::string made = fs::temp_directory_path() / "vistel.XXXXXX";
  if (mkdtemp(made.data()) == nullptr) throw Failure("can't make a folder for catalogues");
  folder_ = made;
  temporary_ = true;
  for (const std::string& language : languages) {
    const fs::path messages = fs::path(made) / language / "LC_MESSAGES";
    fs::create_directories(messages);
    const std::string source = fs::path(folder) / (language + ".po");
    if (RunProcess({"msgfmt", "-o", messages / "vistel.mo", source}).status == 0) continue;
    fs::remove_all(made);
    throw Failure("'" + source + "' is no catalogue");
  }
}

CompiledCatalogues::~CompiledCatalogues() {
  std::error_code ignored;
  if (temporary_) fs::remove_all(folder_, ignored);
}
