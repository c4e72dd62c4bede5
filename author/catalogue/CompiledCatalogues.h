// SPDX-License-Identifier: MIT
//
// Catalogues as the pages' program reads them. Authors have .po files; they are compiled into a
// folder that exists as long as this object.
#pragma once

#include <string>

class CompiledCatalogues {
 public:
  // `folder` holds xx.po for each language, or what the build has made of them. Throws Failure when
  // a catalogue can't be compiled.
  explicit CompiledCatalogues(const std::string& folder);
  ~CompiledCatalogues();
  CompiledCatalogues(const CompiledCatalogues&) = delete;
  CompiledCatalogues& operator=(const CompiledCatalogues&) = delete;

  // Holds xx/LC_MESSAGES/vistel.mo for each language.
  const std::string& Folder() const { return folder_; }

 private:
  std::string folder_;
  bool temporary_ = false;
};
